// Tests of the locale-free number text: printf's digits and rounding, the decimal mark, the
// exponent's letter and width, non-finite values, and independence from the thread's locale.
#include <gtest/gtest.h>
#include <locale.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include "support/NumberText.h"

namespace travune {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::string Fixed(double value, int digits, char mark = '.') {
  char buffer[kMaxNumberChars];
  return std::string(buffer, AppendFixed(buffer, value, digits, mark));
}

std::string Scientific(double value, int digits, int expDigits, char mark = '.', char letter = 'e') {
  char buffer[kMaxNumberChars];
  return std::string(buffer, AppendScientific(buffer, value, digits, expDigits, mark, letter));
}

// What printf cannot be asked for: other decimal marks, exponent letters and widths, and the
// spellings of values that are no numbers.
TEST(NumberTextTest, MarksExponentsNonFiniteValuesAndHugePrecisions) {
  const struct { std::string got; const char* expected; } cases[] = {
      {Fixed(-1.25, 2, ','), "-1,25"},
      {Fixed(7.0, -1), "7.000000"},  // a negative precision means printf's default, 6
      {Fixed(-kNan, 3, ','), "-nan"},
      {Fixed(-kInf, 0), "-inf"},
      {Scientific(15.0, 3, 3), "1.500e+001"},
      {Scientific(1e-300, 2, 2), "1.00e-300"},  // never narrower than needed
      {Scientific(9.9996, 3, 3), "1.000e+001"},  // rounding carries into the exponent
      {Scientific(123456.0, 2, 4, ','), "1,23e+0005"},
      {Scientific(-1.5, 17, 2, '.', 'D'), "-1.50000000000000000D+00"},
      {Scientific(kNan, 7, 2, '.', 'E'), "NAN"},  // as "%E" prints it
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.expected);
  // Huge precisions stay within the bound: canaries after it catch a write past kMaxNumberChars.
  for (const bool fixed : {true, false}) {
    char buffer[kMaxNumberChars + 16];
    std::fill(buffer, buffer + sizeof buffer, '#');
    const double value = fixed ? -DBL_MAX : -DBL_MIN;
    char* end = fixed ? AppendFixed(buffer, value, 1000) : AppendScientific(buffer, value, 1000, 3);
    EXPECT_LE(end - buffer, static_cast<long>(kMaxNumberChars)) << fixed;
    for (size_t i = kMaxNumberChars; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], '#') << fixed;
    EXPECT_EQ(std::strtod(std::string(buffer, end).c_str(), nullptr), value) << fixed;
  }
}

// glibc's printf is an independent exact formatter: the fast forms must agree with it digit for
// digit over values of every magnitude, both signs, and ties.
TEST(NumberTextTest, FastFormsAgreeWithPrintf) {
  std::mt19937_64 random(17);
  std::uniform_int_distribution<uint64_t> bits;
  std::uniform_int_distribution<int> precision(0, 20);
  std::uniform_real_distribution<double> scale(-12.0, 12.0);
  // Zeros of both signs, and quotients by a power of ten that round to an exact half without
  // being one, where the side of the exact quotient decides (found by a search with exact
  // fractions).
  const std::pair<double, int> fixed[] = {{0.0, 4}, {-0.0, 4}, {0.0, 0}, {-0.0, 8}, {7.338368349999999e+28, 7},
                                          {7.33836835e+28, 7}, {1.38047335e+20, 7}, {1.0353335e+21, 6},
                                          {3.99845e+23, 4}, {1.098837275e+21, 8}};
  for (const auto& [value, p] : fixed) EXPECT_EQ(Scientific(value, p, 2), FormatC("%.*e", p, value)) << value;
  // Whole numbers: exact halves go to the even neighbour, negatives that round to zero keep
  // their sign, and the largest magnitudes below and at 2^53 have every digit.
  const double wholes[] = {0.5,  1.5,  2.5,  -0.5, -2.5, -0.0,    0.49999999999999994, 99.5, 100.5,
                           -1e15 - 0.5, 4503599627370495.5, 9007199254740991.0, 9007199254740992.0, 123456789012.75};
  for (double value : wholes) EXPECT_EQ(Fixed(value, 0), FormatC("%.0f", value)) << value;
  for (int i = 0; i < 30000; ++i) {
    // A third of the values come from random bit patterns (any magnitude), a third from a
    // decimal range with few binary digits, and a third are short binary fractions (k / 2^n, as
    // 16-bit codes times a range over 2^16 give), whose decimal digits end in an exact half.
    double value = 0;
    if (i % 3 == 0) {
      const uint64_t pattern = bits(random);
      std::memcpy(&value, &pattern, sizeof value);
      if (!std::isfinite(value)) continue;
    } else if (i % 3 == 1) {
      value = std::ldexp(static_cast<double>(static_cast<int64_t>(bits(random) % 4096) - 2048), -8) *
              std::pow(10.0, std::floor(scale(random)));
    } else {
      value = std::ldexp(static_cast<double>(static_cast<int64_t>(bits(random) % (1 << 24)) - (1 << 23)),
                         -static_cast<int>(bits(random) % 40));
    }
    const int p = precision(random);
    if (std::fabs(value) < 1e30) {
      EXPECT_EQ(Fixed(value, p), FormatC("%.*f", p, value)) << value;
    }
    EXPECT_EQ(Scientific(value, p, 2), FormatC("%.*e", p, value)) << value;
  }
}

TEST(NumberTextTest, FormatCIgnoresTheThreadLocale) {
  const locale_t comma = newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(nullptr));
  if (comma == static_cast<locale_t>(nullptr)) GTEST_SKIP() << "no de_DE.UTF-8 locale on this machine";
  const locale_t previous = uselocale(comma);
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 1.5);
  EXPECT_STREQ(probe, "1,5") << "the comma locale is not in effect";
  EXPECT_EQ(FormatC("%.2f|%g|%5.1e|%d", 1.5, 0.25, 15.0, -3), "1.50|0.25|1.5e+01|-3");
  const std::string longText(1000, 'x');
  EXPECT_EQ(FormatC("%s.%03d", longText.c_str(), 7), longText + ".007");
  std::snprintf(probe, sizeof probe, "%.1f", 2.5);
  EXPECT_STREQ(probe, "2,5");  // the thread's own locale is back afterwards
  uselocale(previous);
  freelocale(comma);
}

}  // namespace
}  // namespace travune
