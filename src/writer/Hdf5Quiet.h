// Keeps HDF5 from printing its error stack to standard error while the library works on this
// thread: failures are reported as statuses instead. The previous setting comes back after.
#pragma once

namespace travune {

class Hdf5Quiet {
 public:
  Hdf5Quiet();
  ~Hdf5Quiet();
  Hdf5Quiet(const Hdf5Quiet&) = delete;
  Hdf5Quiet& operator=(const Hdf5Quiet&) = delete;

 private:
  void* previousFunction_ = nullptr;
  void* previousData_ = nullptr;
};

}  // namespace travune
