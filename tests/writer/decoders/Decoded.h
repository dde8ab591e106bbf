// What a test decoder reads back from a converted file: the values it holds, scan after scan,
// and how closely they can match the scaled values (the format's printed precision).
#pragma once

#include <cstdint>
#include <vector>

namespace travune::testing {

struct Decoded {
  int64_t scans = 0;
  int32_t chans = 0;
  std::vector<double> values;  // scans × chans, scan after scan
  // A decoded value v matches a scaled value x when |v - x| <= absTolerance + relTolerance * |x|
  // (0 and 0 for formats that hold the float32 or the double itself).
  double absTolerance = 0.0;
  double relTolerance = 0.0;
  bool ok = false;  // false when the file could not be decoded
};

}  // namespace travune::testing
