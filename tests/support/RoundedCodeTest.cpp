// The 16-bit code rounding of the code writers: hand-derived codes at the edges of the fast
// range, and agreement with floor over a dense sweep and over rows of every length and lane.
#include "support/RoundedCode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

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

// floor(code + 0.5) modulo 2^16, the non-finite ones as 0, in plain double arithmetic.
uint16_t PlainLowBits(double code) {
  const double whole = std::floor(code + 0.5);
  if (!std::isfinite(whole)) return 0;
  return static_cast<uint16_t>(whole - 65536.0 * std::floor(whole / 65536.0));
}

// Every row length up to 17, every edge value in every lane, rows starting on odd addresses.
TEST(RoundedCode, RowsAgreeWithFloorInEveryLane) {
  const double inf = std::numeric_limits<double>::infinity();
  const double edges[] = {0.0, -0.0, 0.49999999999999994, 0.5, -0.5, -0.50000000000000011, 1.5,
                          -1.5, -1.6, 1e-320, 32767.4, -12345.5, 65535.5, -32768.0,
                          2147483647.0, 2147483647.4999998, 2147483647.5, 2147483647.6,
                          -2147483647.5, -2147483648.4, -2147483648.5, -2147483648.6,
                          4294967299.0, -4294967299.0, 1e300, -1e300, inf, -inf, std::nan("")};
  const CodeLine lines[] = {{1.0, 0.0}, {-1.0, 0.0}, {0.5, 32767.5}, {3276.75, -0.5}, {1.0, 1e9}};
  const size_t edgeCount = std::size(edges);
  for (size_t rotation = 0; rotation < edgeCount * std::size(lines); ++rotation) {
    for (size_t length = 0; length <= 17; ++length) {
      std::vector<double> values(length + 1);
      std::vector<CodeLine> rowLines(length + 1);
      std::vector<uint8_t> out(2 * length + 2, 0xA5);
      for (size_t i = 0; i < length; ++i) {
        values[i + 1] = edges[(rotation + i) % edgeCount];
        rowLines[i + 1] = lines[(rotation / edgeCount + i) % std::size(lines)];
      }
      PutRoundedCodes(values.data() + 1, rowLines.data() + 1, length, out.data() + 1);
      for (size_t i = 0; i < length; ++i) {
        const CodeLine& line = rowLines[i + 1];
        const uint16_t expected = PlainLowBits(values[i + 1] * line.slope + line.offset);
        ASSERT_EQ(out[1 + 2 * i] | out[2 + 2 * i] << 8, expected)
            << values[i + 1] << " * " << line.slope << " + " << line.offset << ", lane " << i
            << " of " << length;
      }
      EXPECT_EQ(out[0], 0xA5);
      EXPECT_EQ(out[2 * length + 1], 0xA5) << "written past a row of " << length;
    }
  }
}

}  // namespace
}  // namespace travune
