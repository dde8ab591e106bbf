// Fuzz target: the keyword-section description parser (KeywordDescInput.h).
#include "KeywordDescInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseKeywordDesc(data, size);
  return 0;
}
