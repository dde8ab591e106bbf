// UFF number fields (exact widths, two exponent digits, decimal mark, exponent letter), the
// dates of dataset 151 and dataset 58 from file times and calendar fields, and moves of records
// inside a file.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"

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

// Moves of several megabytes, longer than the distance moved, in both directions: the result is
// what memmove gives in memory.
TEST(UffRecord, MovesWithinAFileAsMemmoveDoes) {
  struct Move {
    int64_t from, to, bytes;
  };
  constexpr int64_t kMiB = int64_t{1} << 20;
  const Move moves[] = {{0, 1000, 3 * kMiB}, {1000, 0, 3 * kMiB}, {5, 2 * kMiB + 3, kMiB + 7}, {7, 7, kMiB}};
  apitest::ScratchDir dir;
  for (const Move& move : moves) {
    SCOPED_TRACE(::testing::Message() << move.from << " -> " << move.to << ", " << move.bytes << " bytes");
    std::vector<char> expected(static_cast<size_t>(4 * kMiB));
    for (size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<char>(i * 2654435761u >> 24);
    platform::File file = platform::File::Create(dir.File("move").c_str());
    ASSERT_TRUE(file.WriteAt(0, expected.data(), expected.size()));
    std::memmove(expected.data() + move.to, expected.data() + move.from, static_cast<size_t>(move.bytes));
    ASSERT_TRUE(MoveWithinFile(file, move.from, move.to, move.bytes));
    std::vector<char> actual(expected.size());
    ASSERT_TRUE(file.ReadAt(0, actual.data(), actual.size()));
    EXPECT_TRUE(actual == expected);
  }
}

}  // namespace
}  // namespace travune
