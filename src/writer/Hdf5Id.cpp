// Closing and moving owned HDF5 identifiers.
#include "writer/Hdf5Id.h"

#include <utility>

namespace travune {

Hdf5Id::Hdf5Id(Hdf5Id&& other) noexcept
    : id_(std::exchange(other.id_, -1)), closer_(std::exchange(other.closer_, nullptr)) {}

Hdf5Id& Hdf5Id::operator=(Hdf5Id&& other) noexcept {
  if (this != &other) {
    Close();
    id_ = std::exchange(other.id_, -1);
    closer_ = std::exchange(other.closer_, nullptr);
  }
  return *this;
}

bool Hdf5Id::Close() {
  if (id_ < 0 || closer_ == nullptr) return true;
  const int result = closer_(std::exchange(id_, -1));
  return result >= 0;
}

}  // namespace travune
