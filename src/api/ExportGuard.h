// The wall around every exported function: its body runs in the user's locale, and no
// exception gets out to a C caller; a failure becomes the function's status instead.
#pragma once

#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/Platform.h"

namespace travune {

// Runs body() (which returns the function's int32_t result) with the user's locale as the
// thread's locale. Running out of memory returns noMemoryStatus, any other exception
// failureStatus.
template <class Body>
int32_t GuardedCall(int32_t noMemoryStatus, int32_t failureStatus, Body&& body) noexcept {
  static_assert(std::is_same_v<std::invoke_result_t<Body>, int32_t>, "an exported body returns int32_t");
  try {
    const platform::ScopedUserLocale userLocale;
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return noMemoryStatus;
  } catch (...) {
    return failureStatus;
  }
}

}  // namespace travune
