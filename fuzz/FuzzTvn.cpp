// Fuzz target: the handle API on a fuzzed acquisition with fuzzed ranges and channels (TvnInput.h).
#include "TvnInput.h"
#include "ScratchTmpdir.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  travune::fuzz::RouteTemporaryFilesToScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseTvn(data, size);
  return 0;
}
