// An owned HDF5 identifier (file, dataset, dataspace, property list, type or attribute) that
// closes itself with the close function of its kind.
#pragma once

#include <cstdint>

namespace travune {

class Hdf5Id {
 public:
  using Closer = int (*)(int64_t id);

  Hdf5Id() = default;
  // Takes id over; a negative id (a failed HDF5 call) is held as invalid and never closed.
  Hdf5Id(int64_t id, Closer closer) : id_(id), closer_(closer) {}
  Hdf5Id(Hdf5Id&& other) noexcept;
  Hdf5Id& operator=(Hdf5Id&& other) noexcept;
  Hdf5Id(const Hdf5Id&) = delete;
  Hdf5Id& operator=(const Hdf5Id&) = delete;
  ~Hdf5Id() { Close(); }

  bool Valid() const { return id_ >= 0; }
  int64_t Get() const { return id_; }
  // Closes the identifier now; false when HDF5 reported a failure (for a file: the final flush).
  bool Close();

 private:
  int64_t id_ = -1;
  Closer closer_ = nullptr;
};

}  // namespace travune
