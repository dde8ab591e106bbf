// Saves, clears and restores the error printer of the calling thread's default HDF5 error stack
// (per thread in the thread-safe HDF5 builds).
#include "writer/Hdf5Quiet.h"

#include <hdf5.h>

namespace travune {

Hdf5Quiet::Hdf5Quiet() {
  H5E_auto2_t function = nullptr;
  H5Eget_auto2(H5E_DEFAULT, &function, &previousData_);
  previousFunction_ = reinterpret_cast<void*>(function);
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

Hdf5Quiet::~Hdf5Quiet() {
  H5Eset_auto2(H5E_DEFAULT, reinterpret_cast<H5E_auto2_t>(previousFunction_), previousData_);
}

}  // namespace travune
