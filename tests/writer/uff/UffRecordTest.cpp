// UFF number fields (exact widths, signs, three-digit exponents, infinity), the dates of
// dataset 151 from file times, and moves of records inside a file.
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

std::string Field(UffNumberForm form, double value) {
  char text[kMaxNumberChars];
  return std::string(text, UffRecord::AppendNumber(text, form, value, '.', 'E'));
}

TEST(UffRecord, NumberFieldsHaveTheirExactWidth) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    UffNumberForm form;
    double value;
    const char* expected;
  } cases[] = {
      // A negative number starts with one blank (a positive one with two: the whole files show
      // those, the exponent letter D and rounding that carries; Uff58Conversion the comma).
      {UffNumberForm::kWide, -1.5, " -1.50000000000000000E+00"},
      {UffNumberForm::kMedium, -1.5, " -1.5000000E+00"},
      {UffNumberForm::kNarrow, -0.0, " -0.00000E+00"},
      // Three-digit exponents take the place of blanks; a negative one fills the field.
      {UffNumberForm::kNarrow, 1e100, " 1.00000E+100"},
      {UffNumberForm::kNarrow, -1e-100, "-1.00000E-100"},
      {UffNumberForm::kNarrow, 5e-324, " 4.94066E-324"},
      {UffNumberForm::kMedium, -1e200, "-1.0000000E+200"},
      {UffNumberForm::kNarrow, inf, "          INF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(Field(c.form, c.value), c.expected);
    EXPECT_EQ(static_cast<int>(std::string(c.expected).size()), UffRecord::FieldWidth(c.form));
  }
}

// File times: 100-ns ticks since 1 January 1601 in universal time; the fraction of a second is
// dropped, never rounded up. (Tick 0 and the clock's fields: the whole files; the calendar of
// every day: TimeTest.EveryDayMatchesTheCLibraryAndComesBack.)
TEST(UffRecord, DatesFromFileTimes) {
  const struct {
    uint64_t ticks;
    const char* expected;
  } cases[] = {
      {116444736000000000ull, "01-Jan-70   00:00:00"},  // the Unix epoch
      {126913468290000000ull + 9999999, "05-Mar-03   14:07:09"},
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
