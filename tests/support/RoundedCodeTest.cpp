// The 16-bit code rounding of the code writers against floor(code + 0.5) modulo 2^16 in plain
// double arithmetic: edge values in every lane of rows of every length, and a dense sweep.
#include "support/RoundedCode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace travune {
namespace {

// floor(code + 0.5) modulo 2^16, the non-finite ones as 0.
uint16_t PlainLowBits(double code) {
  const double whole = std::floor(code + 0.5);
  if (!std::isfinite(whole)) return 0;
  return static_cast<uint16_t>(whole - 65536.0 * std::floor(whole / 65536.0));
}

// PutRoundedCodes over a row starting on an odd address; fails on the first code that differs
// from the plain rounding or on a byte written outside the row.
testing::AssertionResult RowAgrees(const std::vector<double>& values, const std::vector<CodeLine>& lines) {
  std::vector<uint8_t> out(2 * values.size() + 2, 0xA5);
  PutRoundedCodes(values.data(), lines.data(), values.size(), out.data() + 1);
  for (size_t i = 0; i < values.size(); ++i) {
    const uint16_t expected = PlainLowBits(values[i] * lines[i].slope + lines[i].offset);
    if ((out[1 + 2 * i] | out[2 + 2 * i] << 8) != expected) {
      return testing::AssertionFailure() << values[i] << " * " << lines[i].slope << " + " << lines[i].offset
                                         << ", lane " << i << " of " << values.size();
    }
  }
  if (out.front() != 0xA5 || out.back() != 0xA5) return testing::AssertionFailure() << "written past a row";
  return testing::AssertionSuccess();
}

// Rows of up to three values take the scalar routine only, longer rows four at a time with the
// rest one by one; each edge value meets each line in every lane.
TEST(RoundedCode, AgreesWithFloorInEveryLaneAndOverASweep) {
  const double inf = std::numeric_limits<double>::infinity();
  const double edges[] = {
      0.0, -0.0, 1e-320, 1.5, -1.5, -1.6, 32767.4, -12345.5, -32768.0,
      0.49999999999999994,  // + 0.5 rounds to 1.0 in double arithmetic: 1
      0.5, -0.5, -0.50000000000000011, 65535.5,  // 65536 wraps to 0
      2147483647.0, 2147483647.4999998, 2147483647.5, 2147483647.6,  // at and beyond int32
      -2147483647.5, -2147483648.4, -2147483648.5, -2147483648.6,
      4294967299.0, -4294967299.0, 1e300, -1e300, inf, -inf, std::nan("")};
  const CodeLine lines[] = {{1.0, 0.0}, {-1.0, 0.0}, {0.5, 32767.5}, {3276.75, -0.5}, {1.0, 1e9}};
  const size_t edgeCount = std::size(edges);
  for (size_t rotation = 0; rotation < edgeCount * std::size(lines); ++rotation) {
    for (size_t length = 0; length <= 17; ++length) {
      std::vector<double> values(length);
      std::vector<CodeLine> rowLines(length);
      for (size_t i = 0; i < length; ++i) {
        values[i] = edges[(rotation + i) % edgeCount];
        rowLines[i] = lines[(rotation / edgeCount + i) % std::size(lines)];
      }
      ASSERT_TRUE(RowAgrees(values, rowLines));
    }
  }
  // Quarter steps (plus 1/1024) over ±70000 and a nanocode to each side, in rows of five, so
  // that each code takes both the four-wide and the one-by-one path.
  const std::vector<CodeLine> identity(5);
  for (double code = -70000.0; code <= 70000.0; code += 0.25 + 1.0 / 1024.0) {
    ASSERT_TRUE(RowAgrees({code, code + 1e-9, code - 1e-9, code + 1e-9, code}, identity));
  }
}

}  // namespace
}  // namespace travune
