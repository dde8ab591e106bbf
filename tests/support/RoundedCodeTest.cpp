// The 16-bit code rounding of the code writers: hand-derived codes at the edges of the fast
// range, and agreement with floor through 64-bit integers over a dense sweep.
#include "support/RoundedCode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace travune {
namespace {

TEST(RoundedCode, LowBitsMatchFloorOfValuePlusHalf) {
  struct Case {
    double code;
    uint16_t expected;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {0.0, 0},
      {0.49999999999999994, 1},  // + 0.5 rounds to 1.0 in double arithmetic: floor is 1
      {0.5, 1},
      {-0.5, 0},
      {-0.50000000000000011, 0xFFFF},
      {-1.5, 0xFFFF},           // floor(-1.0) = -1
      {-1.6, 0xFFFE},           // floor(-1.1) = -2
      {32767.4, 32767},
      {65535.5, 0},             // 65536 wraps
      {-32768.0, 0x8000},
      {2147483647.0, 0xFFFF},   // floor(2^31 - 0.5) = 2^31 - 1
      {2147483647.6, 0},        // 2^31 exactly: beyond int32, low bits 0
      {-2147483648.6, 0xFFFF},  // floor(-2^31 - 0.1) = -2^31 - 1
      {4294967296.0 + 3.0, 3},
      {-4294967296.0 - 3.0, 0xFFFD},
      {1e300, 0},
      {inf, 0},
      {-inf, 0},
      {std::nan(""), 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LowBitsOfRoundedCode(c.code), c.expected) << c.code;
  }
}

TEST(RoundedCode, AgreesWithFloorThroughInt64OverASweep) {
  for (double code = -70000.0; code <= 70000.0; code += 0.25 + 1.0 / 1024.0) {
    for (double delta : {0.0, 1e-9, -1e-9}) {
      const double v = code + delta;
      const int64_t whole = static_cast<int64_t>(std::floor(v + 0.5));
      ASSERT_EQ(LowBitsOfRoundedCode(v), static_cast<uint16_t>(whole & 0xFFFF)) << v;
    }
  }
}

}  // namespace
}  // namespace travune
