// Plain text and spreadsheet writers: golden lines written by hand for known values and times,
// the same file for every block size and process locale, and areas too small for a block.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/TgtFmtAscii.h"
#include "writer/TgtFmtText.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;
using testing::ScratchDir;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

enum class Kind { kText, kAscii };

struct Golden {
  const char* name;
  Kind kind;
  uint32_t flags;
  char mark;
  std::vector<FakeChannel> channels;
  std::vector<double> values;
  TimeFormat time;
  std::vector<double> times;  // native, one per scan
  int64_t bytesPerScan;
  std::string expected;
};

// Value columns used below. Widths: "-1.000e+001" is 11 characters, " 100" is 4.
const FakeChannel kE3{"Volt", "V", -10.0, 10.0, 3};
const FakeChannel kWhole{"Count", "n", 0.0, 100.0, 0};
const FakeChannel kE1{"Val", "u", -1.0, 1.0, 1};  // "-1.0e+000": 9 characters

const double kDaysPerSecond = 1.0 / 86400.0;
// 2 January 2003 is day 37623 after 30 December 1899, 31 December 1999 day 36525.
const double k20030102At143015_25 = 37623.0 + (14 * 3600 + 30 * 60 + 15.25) * kDaysPerSecond;
const double k19991231At235959_9994 = 36525.0 + 86399.9994 * kDaysPerSecond;

std::vector<Golden> Goldens() {
  return {
      // Per line: value, tab, value, tab, CR LF; every value led by a blank or its minus sign.
      // Exponent form with three exponent digits; 9.9996 rounds up into the next exponent; the
      // whole-number column rounds ties to even (2.5 -> 2, 99.5 -> 100) and keeps -0. The time
      // flag means nothing to the plain text writer.
      {"text", Kind::kText, 1, '.', {kE3, kWhole}, {1.5, 42, -10, 100, 9.9996, 2.5, -0.0, -0.4, 0.000123456, 99.5},
       {}, {0, 0, 0, 0, 0}, (11 + 1) + (4 + 1) + 2,
       " 1.500e+000\t 42\t\r\n"
       "-1.000e+001\t 100\t\r\n"
       " 1.000e+001\t 2\t\r\n"
       "-0.000e+000\t-0\t\r\n"
       " 1.235e-004\t 100\t\r\n"},
      {"text with a comma mark", Kind::kText, 0, ',', {kE3, kWhole}, {1.5, 42, -10, 100}, {}, {0, 0}, 19,
       " 1,500e+000\t 42\t\r\n"
       "-1,000e+001\t 100\t\r\n"},
      // Whole-number columns are at least 4 wide (" nan", "-inf"): ranges 0..10 and -1..1 give 4
      // each. A wider value borrows the room its line has left (12345 fits the 12 bytes of a
      // line); a line that still does not fit writes the too-wide field as asterisks.
      {"text beyond the range", Kind::kText, 0, '.', {{"a", "", 0.0, 10.0, 0}, {"b", "", -1.0, 1.0, 0}},
       {12345, 1, 1234567, 1, kNan, -kInf, -5, 0.4}, {}, {0, 0, 0, 0}, (4 + 1) + (4 + 1) + 2,
       " 12345\t 1\t\r\n"
       "****\t 1\t\r\n"
       " nan\t-inf\t\r\n"
       "-5\t 0\t\r\n"},
      // Two header lines, labels and units, each field followed by a tab.
      {"ascii without time", Kind::kAscii, 0, ',', {kE3, kWhole}, {1.5, 42}, {.digits = 3}, {0}, 19,
       "Volt\tCount\t\r\n"
       "V\tn\t\r\n"
       " 1,500e+000\t 42\t\r\n"},
      // Relative times: sign, three hour digits, minutes, seconds, then milliseconds after half
      // a millisecond was added: 65.0004 s -> 000, 65.0006 s -> 001. The time column reserves
      // "+000:00:00\t000" (14) plus two hour digits and a tab: 12 + 17 bytes per scan.
      {"ascii relative, 3 digits", Kind::kAscii, 1, '.', {kE1}, {0.25, -0.75, 1.0, 0.0}, {.digits = 3},
       {65.0004 * kDaysPerSecond, 65.0006 * kDaysPerSecond, -0.5, 0.0}, 12 + 17,
       "Time\tms\tVal\t\r\n"
       " hhh:mm:ss\t\tu\t\r\n"
       "+000:01:05\t000\t 2.5e-001\t\r\n"
       "+000:01:05\t001\t-7.5e-001\t\r\n"
       "-012:00:00\t000\t 1.0e+000\t\r\n"
       "+000:00:00\t000\t 0.0e+000\t\r\n"},
      // Without digits half a second rounds to whole seconds; 1000 hours take a fourth hour
      // digit, which the reserved column width holds.
      {"ascii relative, 0 digits", Kind::kAscii, 1, '.', {kE1}, {0, 0, 0, 0}, {},
       {1.4 * kDaysPerSecond, 1.6 * kDaysPerSecond, 3725 * kDaysPerSecond, 1000.0 / 24.0}, 12 + 13,
       "Time\tVal\t\r\n"
       " hhh:mm:ss\tu\t\r\n"
       "+000:00:01\t 0.0e+000\t\r\n"
       "+000:00:02\t 0.0e+000\t\r\n"
       "+001:02:05\t 0.0e+000\t\r\n"
       "+1000:00:00\t 0.0e+000\t\r\n"},
      // Dates: clock time from the calendar fields, milliseconds after half a millisecond was
      // added (23:59:59.9994 -> 999), then MM-DD-YYYY. "hh:mm:ss\t000\tMM-DD-YYYY" is 23 wide.
      {"ascii absolute, 3 digits", Kind::kAscii, 1, ',', {kE1}, {0.25, -1}, {.absolute = 1, .digits = 3},
       {k20030102At143015_25, k19991231At235959_9994}, 12 + 24,
       "Time\tms\tDate\tVal\t\r\n"
       "hh:mm:ss\t\tMM-DD-YYYY\tu\t\r\n"
       "14:30:15\t250\t01-02-2003\t 2,5e-001\t\r\n"
       "23:59:59\t999\t12-31-1999\t-1,0e+000\t\r\n"},
      // Six digits: milliseconds, a point (whatever the decimal mark) and microseconds.
      {"ascii absolute, 6 digits", Kind::kAscii, 1, ',', {kE1}, {0.25}, {.absolute = 1, .digits = 6},
       {k20030102At143015_25}, 12 + 28,
       "Time\tms\tDate\tVal\t\r\n"
       "hh:mm:ss\t\tMM-DD-YYYY\tu\t\r\n"
       "14:30:15\t250.000\t01-02-2003\t 2,5e-001\t\r\n"},
      // Untimed: the scan count from the trigger, floor(native + 0.1), with a sign position and
      // nine digits (-9.95 is scan -10). A count of ten digits does not fit the column of a line
      // without room to spare and is written as asterisks.
      {"ascii untimed", Kind::kAscii, 1, '.', {kE1}, {0, 0, 0, 0, 0}, {.timed = 0},
       {-10, -9.95, 0, 5, 1234567890}, 12 + 11,
       "Time\tVal\t\r\n"
       "scans\tu\t\r\n"
       "-000000010\t 0.0e+000\t\r\n"
       "-000000010\t 0.0e+000\t\r\n"
       " 000000000\t 0.0e+000\t\r\n"
       " 000000005\t 0.0e+000\t\r\n"
       "**********\t 0.0e+000\t\r\n"},
  };
}

std::unique_ptr<TgtFmt> MakeWriter(const Golden& g, SrcFmt* source) {
  WriterContext context;
  context.flags = g.flags;
  context.decimalMark = g.mark;
  if (g.kind == Kind::kText) return std::make_unique<TgtFmtText>(source, context);
  return std::make_unique<TgtFmtAscii>(source, context);
}

// Every golden in blocks of every scan, of one scan and of three, and once more while the
// process locale prints decimal commas (where installed): the mark comes from the context only.
TEST(TgtFmtText, GoldenLinesForEveryBlockSizeAndProcessLocale) {
  ScratchDir dir;
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  for (const Golden& g : Goldens()) {
    SCOPED_TRACE(g.name);
    FakeSource source(g.channels, g.values);
    source.SetTimes(g.time, g.times);
    const int64_t scans = static_cast<int64_t>(g.times.size());
    for (const int64_t blockScans : {scans, int64_t{1}, int64_t{3}, int64_t{-1}}) {
      const bool german = blockScans < 0 && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
      std::unique_ptr<TgtFmt> writer = MakeWriter(g, &source);
      EXPECT_EQ(writer->OutputBytesPerScan(), g.bytesPerScan);
      const std::string written =
          testing::RunWriter(*writer, dir.File("out.txt"), "", scans, 0, scans, blockScans < 0 ? 2 : blockScans).data;
      std::setlocale(LC_ALL, previous.c_str());
      EXPECT_EQ(written, g.expected) << "blocks of " << blockScans << (german ? " under de_DE" : "");
    }
  }
}

TEST(TgtFmtText, EmptyBlocksAndAreasThatAreTooSmall) {
  FakeSource source({kE3}, {1.5, 2.5});
  TgtFmtText writer(&source, WriterContext{});
  std::vector<uint8_t> bytes(64, 0xEE);
  OutputArea empty(bytes.data(), 0);
  EXPECT_EQ(writer.ConvertDataBlock(0, empty, 0), 0);
  EXPECT_EQ(writer.ConvertDataBlock(-1, empty, 0), 0);
  // One scan needs 14 bytes: refused in 13, never written past them.
  OutputArea small(bytes.data(), 13);
  EXPECT_LT(writer.ConvertDataBlock(1, small, 0), 0);
  OutputArea exact(bytes.data(), 14);
  EXPECT_EQ(writer.ConvertDataBlock(1, exact, 1), 14);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 14), " 2.500e+000\t\r\n");
  EXPECT_EQ(bytes[14], 0xEE);
}

}  // namespace
}  // namespace travune
