// The failure a test injected into one entry of the test build: which entry, how many calls
// still succeed, then the result it returns or the exception it throws.
#include "FailOnDemand.h"

#include <stdexcept>
#include <string>

#include "wrtblk32.h"

namespace wrtblk32 {
namespace {

struct InjectedFailure {
  std::string entry;  // empty: nothing injected
  int32_t successes = 0;
  int16_t result = 0;
  bool raise = false;
};

InjectedFailure& TheFailure() {
  static InjectedFailure failure;
  return failure;
}

}  // namespace

std::optional<int16_t> InjectedResult(const char* entry) {
  InjectedFailure& failure = TheFailure();
  if (failure.entry.empty() || failure.entry != entry) return std::nullopt;
  if (failure.successes > 0) {
    --failure.successes;
    return std::nullopt;
  }
  if (failure.raise) throw std::runtime_error(std::string("injected fault in ") + entry);
  return failure.result;
}

}  // namespace wrtblk32

extern "C" void WRTBLK32INJECTFAILURE(const char* entry, int32_t successes, int16_t result, int16_t raise) {
  wrtblk32::InjectedFailure& failure = wrtblk32::TheFailure();
  failure.entry = entry != nullptr ? entry : "";
  failure.successes = successes;
  failure.result = result;
  failure.raise = raise != 0;
}
