// Failures on demand for the test build of the library (libwrtblk32_failing.so): an entry can be
// made to return a chosen result, or to throw, so that every failure path of a caller is reached.
// In the normal build nothing is ever injected.
#pragma once

#include <cstdint>
#include <optional>

namespace wrtblk32 {

#ifdef WRTBLK32_FAIL_ON_DEMAND
// The result to return instead of running the entry, when a failure was injected for it and its
// successful calls are used up; throws when the failure is to be raised.
std::optional<int16_t> InjectedResult(const char* entry);
#else
inline std::optional<int16_t> InjectedResult(const char*) { return std::nullopt; }
#endif

}  // namespace wrtblk32
