// A Morvane acquisition whose channels all share one type: the input that measures the
// per-sample scaling of that type on its own.
#pragma once

#include <cstdint>
#include <string>

namespace travune::bench {

struct UniformMorvane {
  int32_t type = 0;       // channel type of every channel (one raw word each: not 2)
  int32_t channels = 16;
  int64_t scans = 0;

  int64_t DataBytes() const { return scans * channels * 2; }
  // Writes the description (current 5040 form) and the raw words, a fixed pseudo-random
  // sequence; empty on success, else what failed.
  std::string Write(const std::string& descPath, const std::string& dataPath) const;
};

}  // namespace travune::bench
