// Tests of the locale-free number text: printf's digits and rounding, the decimal mark, the
// widened exponents, non-finite values, and independence from the thread's locale.
#include <gtest/gtest.h>
#include <locale.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

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

std::string General(double value, int precision, int expDigits = 2, char mark = '.') {
  char buffer[kMaxNumberChars];
  return std::string(buffer, AppendGeneral(buffer, value, precision, expDigits, mark));
}

// Makes the calling thread's locale one with a comma decimal mark for the test's lifetime.
class CommaThreadLocale {
 public:
  CommaThreadLocale() : comma_(newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(nullptr))) {
    if (comma_) previous_ = uselocale(comma_);
  }
  ~CommaThreadLocale() {
    if (!comma_) return;
    uselocale(previous_);
    freelocale(comma_);
  }
  bool Active() const { return comma_ != static_cast<locale_t>(nullptr); }

 private:
  locale_t comma_;
  locale_t previous_ = static_cast<locale_t>(nullptr);
};

TEST(NumberTextTest, FixedMatchesPrintfDigits) {
  struct Case {
    double value;
    int digits;
    char mark;
    const char* expected;
  } cases[] = {
      {1.5, 3, '.', "1.500"},
      {42.0, 0, '.', "42"},
      {2.5, 0, '.', "2"},      // an exact tie rounds to even
      {3.5, 0, '.', "4"},
      {0.125, 2, '.', "0.12"},  // 0.125 is exact: tie to even
      {0.375, 2, '.', "0.38"},
      {-0.0, 1, '.', "-0.0"},
      {1e20, 0, '.', "100000000000000000000"},
      {0.1, 20, '.', "0.10000000000000000555"},  // the double nearest 0.1 is 0.1000000000000000055511...
      {-1.25, 2, ',', "-1,25"},
      {7.0, -1, '.', "7.000000"},  // a negative precision means printf's default, 6
      {kNan, 3, '.', "nan"},
      {-kNan, 3, ',', "-nan"},
      {kInf, 3, '.', "inf"},
      {-kInf, 0, '.', "-inf"},
  };
  for (const Case& c : cases) EXPECT_EQ(Fixed(c.value, c.digits, c.mark), c.expected) << c.value << " " << c.digits;
}

TEST(NumberTextTest, ScientificWidensTheExponent) {
  struct Case {
    double value;
    int digits;
    int expDigits;
    char mark;
    char letter;
    const char* expected;
  } cases[] = {
      {15.0, 3, 3, '.', 'e', "1.500e+001"},
      {1.5, 3, 3, '.', 'e', "1.500e+000"},
      {1.5, 3, 2, '.', 'e', "1.500e+00"},
      {0.0, 3, 3, '.', 'e', "0.000e+000"},
      {1e100, 1, 3, '.', 'e', "1.0e+100"},
      {1e-300, 2, 3, '.', 'e', "1.00e-300"},
      {1e-300, 2, 2, '.', 'e', "1.00e-300"},  // never narrower than needed
      {-2.5e-5, 1, 3, ',', 'e', "-2,5e-005"},
      {9.9996, 3, 3, '.', 'e', "1.000e+001"},  // rounding carries into the exponent
      {5.0, 0, 3, '.', 'e', "5e+000"},
      {2.5, 0, 2, '.', 'e', "2e+00"},  // exact tie to even
      {123456.0, 2, 4, ',', 'e', "1,23e+0005"},
      {1.0, 17, 2, '.', 'D', "1.00000000000000000D+00"},
      {-1.5, 17, 2, '.', 'E', "-1.50000000000000000E+00"},
      {kNan, 3, 3, '.', 'e', "nan"},
      {-kInf, 3, 3, ',', 'e', "-inf"},
      {kNan, 7, 2, '.', 'E', "NAN"},  // as "%E" prints it
      {kInf, 7, 2, '.', 'D', "INF"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Scientific(c.value, c.digits, c.expDigits, c.mark, c.letter), c.expected) << c.value << " " << c.digits;
  }
}

TEST(NumberTextTest, GeneralFollowsPercentG) {
  struct Case {
    double value;
    int precision;
    int expDigits;
    char mark;
    const char* expected;
  } cases[] = {
      {0.0001, 6, 2, '.', "0.0001"},
      {0.00001, 6, 2, '.', "1e-05"},
      {0.00001, 6, 3, '.', "1e-005"},
      {123456789.0, 6, 2, '.', "1.23457e+08"},
      {100000.0, 6, 2, '.', "100000"},
      {1000000.0, 6, 3, '.', "1e+006"},
      {1.5, 0, 2, '.', "2"},  // precision 0 counts as 1; the tie goes to even
      {2.5, 0, 2, '.', "2"},
      {0.5, 6, 2, ',', "0,5"},
      {-0.0, 6, 2, '.', "-0"},
      {1.25e-10, 3, 3, ',', "1,25e-010"},
      {1.0 / 3.0, 17, 2, '.', "0.33333333333333331"},
      {kNan, 6, 3, '.', "nan"},
      {-kInf, 6, 3, '.', "-inf"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(General(c.value, c.precision, c.expDigits, c.mark), c.expected) << c.value << " " << c.precision;
  }
}

TEST(NumberTextTest, HugePrecisionsStayWithinTheBound) {
  struct Case {
    double value;
    char form;
  } cases[] = {{DBL_MAX, 'f'}, {-DBL_MAX, 'f'}, {-DBL_MAX, 'e'}, {-DBL_MIN, 'e'}, {-DBL_MAX, 'g'}, {-5e-324, 'g'}};
  for (const Case& c : cases) {
    // Canaries after the bound catch a write past kMaxNumberChars.
    char buffer[kMaxNumberChars + 16];
    std::fill(buffer, buffer + sizeof buffer, '#');
    char* end = c.form == 'f'   ? AppendFixed(buffer, c.value, 1000)
                : c.form == 'e' ? AppendScientific(buffer, c.value, 1000, 3)
                                : AppendGeneral(buffer, c.value, 1000, 3);
    EXPECT_LE(end - buffer, static_cast<long>(kMaxNumberChars)) << c.form;
    EXPECT_GT(end - buffer, 40) << c.form;
    for (size_t i = kMaxNumberChars; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], '#') << c.form;
    EXPECT_EQ(std::strtod(std::string(buffer, end).c_str(), nullptr), c.value) << c.form;
  }
}

// glibc's printf is an independent exact formatter: the fast forms must agree with it digit for
// digit over values of every magnitude, both signs, and ties.
TEST(NumberTextTest, FastFormsAgreeWithPrintf) {
  std::mt19937_64 random(17);
  std::uniform_int_distribution<uint64_t> bits;
  std::uniform_int_distribution<int> precision(0, 20);
  std::uniform_real_distribution<double> scale(-12.0, 12.0);
  for (int i = 0; i < 20000; ++i) {
    // Half the values come from random bit patterns (any magnitude), half from a decimal range
    // with few binary digits, where printf's ties show.
    double value = 0;
    if (i % 2 == 0) {
      const uint64_t pattern = bits(random);
      std::memcpy(&value, &pattern, sizeof value);
      if (!std::isfinite(value)) continue;
    } else {
      value = std::ldexp(static_cast<double>(static_cast<int64_t>(bits(random) % 4096) - 2048), -8) *
              std::pow(10.0, std::floor(scale(random)));
    }
    const int p = precision(random);
    if (std::fabs(value) < 1e30) {
      EXPECT_EQ(Fixed(value, p), FormatC("%.*f", p, value)) << value;
    }
    EXPECT_EQ(Scientific(value, p, 2), FormatC("%.*e", p, value)) << value;
    EXPECT_EQ(General(value, p), FormatC("%.*g", p, value)) << value;
  }
}

TEST(NumberTextTest, FormatCIgnoresTheThreadLocale) {
  CommaThreadLocale comma;
  if (!comma.Active()) GTEST_SKIP() << "no de_DE.UTF-8 locale on this machine";
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 1.5);
  ASSERT_STREQ(probe, "1,5") << "the comma locale is not in effect";

  EXPECT_EQ(FormatC("%.2f|%g|%5.1e|%d", 1.5, 0.25, 15.0, -3), "1.50|0.25|1.5e+01|-3");
  const std::string longText(1000, 'x');
  EXPECT_EQ(FormatC("%s.%03d", longText.c_str(), 7), longText + ".007");
  EXPECT_EQ(FormatC("%s", ""), "");
  // The thread's own locale is back afterwards.
  std::snprintf(probe, sizeof probe, "%.1f", 2.5);
  EXPECT_STREQ(probe, "2,5");
}

TEST(NumberTextTest, TextRewriting) {
  struct Case {
    const char* text;
    int expDigits;
    char mark;
    const char* widened;
    const char* marked;
  } cases[] = {
      {"1.5e+01\t-2e-05 x", 3, ',', "1.5e+001\t-2e-005 x", "1,5e+01\t-2e-05 x"},
      {"1.5e+123 1E+05", 3, ',', "1.5e+123 1E+005", "1,5e+123 1E+05"},
      {"Time e+01 file.exe+01 name.txt", 3, ',', "Time e+01 file.exe+01 name.txt", "Time e+01 file.exe+01 name.txt"},
      {"1.e+01 v.2 3. -0.25", 4, ',', "1.e+0001 v.2 3. -0.25", "1,e+01 v.2 3. -0,25"},
      {"12.5;7.25", 2, '.', "12.5;7.25", "12.5;7.25"},
      {"", 3, ',', "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WidenExponents(c.text, c.expDigits), c.widened) << c.text;
    EXPECT_EQ(WithDecimalMark(c.text, c.mark), c.marked) << c.text;
  }
}

}  // namespace
}  // namespace travune
