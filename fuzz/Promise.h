// Checks of what an interface promises, for the fuzz targets: a broken promise aborts with a
// message, so that libFuzzer keeps the input like any crash.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace travune::fuzz {

inline void Expect(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "promise broken: %s\n", promise);
  std::abort();
}

}  // namespace travune::fuzz
