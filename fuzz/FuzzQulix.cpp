// Fuzz target: the driver library's entries with arguments from the input (QulixInput.h).
#include "QulixInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  travune::fuzz::ExerciseQulix(data, size);
  return 0;
}
