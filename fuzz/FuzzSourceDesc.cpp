// Fuzz target: the input as a description image for every source type (SourceDescInput.h).
#include "SourceDescInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseSourceDesc(data, size);
  return 0;
}
