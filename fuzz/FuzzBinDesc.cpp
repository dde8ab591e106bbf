// Fuzz target: binary descriptors from fuzzed records, and raw buffers scaled through them (BinDescInput.h).
#include "BinDescInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseBinDesc(data, size);
  return 0;
}
