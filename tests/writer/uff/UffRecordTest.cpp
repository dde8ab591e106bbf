// UFF number fields (exact widths, two exponent digits, decimal mark, exponent letter) and the
// dates of dataset 151 and dataset 58 from file times and calendar fields.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "support/NumberText.h"
#include "writer/uff/UffRecord.h"

namespace travune {
namespace {

std::string Field(UffNumberForm form, double value, char mark = '.', char letter = 'E') {
  char text[kMaxNumberChars];
  return std::string(text, UffRecord::AppendNumber(text, form, value, mark, letter));
}

TEST(UffRecord, NumberFieldsHaveTheirExactWidth) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    UffNumberForm form;
    double value;
    char mark;
    char letter;
    const char* expected;
  } cases[] = {
      // A positive number starts with two blanks, a negative one with one.
      {UffNumberForm::kWide, 1.0, '.', 'E', "  1.00000000000000000E+00"},
      {UffNumberForm::kWide, -1.5, '.', 'E', " -1.50000000000000000E+00"},
      {UffNumberForm::kWide, 1.0, '.', 'D', "  1.00000000000000000D+00"},
      {UffNumberForm::kMedium, 1.0, '.', 'E', "  1.0000000E+00"},
      {UffNumberForm::kMedium, -1.5, '.', 'E', " -1.5000000E+00"},
      {UffNumberForm::kMedium, 1000.0, ',', 'E', "  1,0000000E+03"},
      {UffNumberForm::kNarrow, 1.0, '.', 'E', "  1.00000E+00"},
      {UffNumberForm::kNarrow, -1.5, '.', 'E', " -1.50000E+00"},
      {UffNumberForm::kNarrow, 0.001, ',', 'E', "  1,00000E-03"},
      {UffNumberForm::kNarrow, 9.9999951, '.', 'E', "  1.00000E+01"},  // rounding carries
      {UffNumberForm::kNarrow, 0.0, '.', 'E', "  0.00000E+00"},
      {UffNumberForm::kNarrow, -0.0, '.', 'E', " -0.00000E+00"},
      // Three-digit exponents take the place of blanks; a negative one fills the field.
      {UffNumberForm::kNarrow, 1e100, '.', 'E', " 1.00000E+100"},
      {UffNumberForm::kNarrow, -1e-100, '.', 'E', "-1.00000E-100"},
      {UffNumberForm::kNarrow, 5e-324, '.', 'E', " 4.94066E-324"},
      {UffNumberForm::kMedium, -1e200, '.', 'E', "-1.0000000E+200"},
      {UffNumberForm::kNarrow, inf, '.', 'E', "          INF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(Field(c.form, c.value, c.mark, c.letter), c.expected);
    EXPECT_EQ(static_cast<int>(std::string(c.expected).size()), UffRecord::FieldWidth(c.form));
  }
}

TEST(UffRecord, DatesFromFileTimesAndCalendarFields) {
  SystemTime march;
  march.year = 2003;
  march.month = 3;
  march.day = 5;
  march.hour = 14;
  march.minute = 7;
  march.second = 9;
  EXPECT_EQ(UffRecord::FormatDate(march), "05-Mar-03   14:07:09");

  // File times: 100-ns ticks since 1 January 1601 in universal time; the fraction of a second
  // is dropped, never rounded up.
  const struct {
    uint64_t ticks;
    const char* expected;
  } cases[] = {
      {0, "01-Jan-01   00:00:00"},
      {116444736000000000ull, "01-Jan-70   00:00:00"},  // the Unix epoch
      {126913468290000000ull + 9999999, "05-Mar-03   14:07:09"},
      {125963423990000000ull, "29-Feb-00   23:59:59"},
      {157468320010000000ull, "31-Dec-99   00:00:01"},  // 2099
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    const SystemTime time = FileTimeToSystemTime(static_cast<uint32_t>(c.ticks), static_cast<uint32_t>(c.ticks >> 32));
    EXPECT_EQ(UffRecord::FormatDate(time), c.expected);
  }
}

}  // namespace
}  // namespace travune
