// Fuzz target: a fuzzed acquisition converted into every writer (ConversionInput.h).
#include "ConversionInput.h"
#include "ScratchTmpdir.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  travune::fuzz::RouteTemporaryFilesToScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseConversion(data, size);
  return 0;
}
