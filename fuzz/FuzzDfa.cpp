// Fuzz target: Data File Access on a fuzzed acquisition with fuzzed arguments (DfaInput.h).
#include "DfaInput.h"
#include "ScratchTmpdir.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  travune::fuzz::RouteTemporaryFilesToScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseDfa(data, size);
  return 0;
}
