// Tests of the scan-time helpers: day numbers to calendar fields and back, checked by
// hand-worked dates and against the C library's own civil-date conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>

#include "support/Time.h"

namespace travune {
namespace {

constexpr int64_t kFirstDay1901 = 367;    // 1 January 1901
constexpr int64_t kLastDay2099 = 73050;   // 31 December 2099
constexpr int64_t kUnixEpochDay = 25569;  // 1 January 1970

TEST(TimeTest, HandWorkedTimesAndTheCarryAtMidnight) {
  const struct { double days; int32_t year, month, day, hour, minute, second; } cases[] = {
      {37623.0 + 47655.0 / 86400.0, 103, 0, 2, 13, 14, 15},  // 2 January 2003
      {-0.25, -1, 11, 29, 18, 0, 0},                         // 29 December 1899, 18:00
      // 400 is 3 February 1901: the largest double below it is a few nanoseconds before
      // midnight and rounds up; a microsecond before midnight still belongs to the day before.
      {std::nextafter(400.0, 0.0), 1, 1, 3, 0, 0, 0},
      {400.0 - 1e-6 / 86400.0, 1, 1, 2, 23, 59, 59},
  };
  for (const auto& c : cases) {
    CalendarTime t;
    t.dayOfWeek = 5;
    DaysToCalendar(c.days, &t);
    EXPECT_EQ(t.year * 10000 + t.month * 100 + t.dayOfMonth, c.year * 10000 + c.month * 100 + c.day) << c.days;
    EXPECT_EQ(t.hour * 3600 + t.minute * 60 + t.second, c.hour * 3600 + c.minute * 60 + c.second) << c.days;
    EXPECT_EQ(t.dayOfWeek, 5);  // left as it was
  }
  int32_t second = 0, minute = 0, hour = 0;
  SplitSeconds(90061.5, &second, &minute, &hour);
  EXPECT_EQ(hour * 10000 + minute * 100 + second, 250101);
  // System time fields count months and years from one.
  SystemTime s;
  s.milliseconds = 999;
  DaysToSystemTime(37623.5 + 61.0 / 86400.0, &s);  // 2 January 2003, 12:01:01
  EXPECT_EQ(s.year * 10000 + s.month * 100 + s.day, 20030102);
  EXPECT_EQ(s.hour * 10000 + s.minute * 100 + s.second, 120101);
  EXPECT_EQ(s.milliseconds, 999);  // left as it was
}

// Every day of the served range, and a few thousand beyond both ends, against gmtime_r where the
// C library converts it (the Windows one has no days before 1970); from 1901 to 2099 also back
// to the day number, with a time of day in whole seconds. Below day 65536 (6 June 2079) the
// double resolves the day fraction to better than the half microsecond added before cutting, so
// the second comes back exactly; above it one second may be lost.
TEST(TimeTest, EveryDayMatchesTheCLibraryAndComesBack) {
  for (int64_t day = -5000; day <= kLastDay2099 + 5000; ++day) {
    const time_t unixSeconds = static_cast<time_t>((day - kUnixEpochDay) * 86400);
    struct tm expected = {};
    CalendarTime t;
    DaysToCalendar(static_cast<double>(day), &t);
    if (gmtime_r(&unixSeconds, &expected) != nullptr) {
      ASSERT_EQ(t.year, expected.tm_year) << day;
      ASSERT_EQ(t.month, expected.tm_mon) << day;
      ASSERT_EQ(t.dayOfMonth, expected.tm_mday) << day;
      ASSERT_EQ(t.dayOfYear, expected.tm_yday + 1) << day;
    } else {
      ASSERT_LT(unixSeconds, 0) << day;
    }
    if (day < kFirstDay1901 || day > kLastDay2099) continue;
    double back = -1.0;
    CalendarToDays(t, &back);
    ASSERT_EQ(back, static_cast<double>(day)) << day;

    const int32_t secondOfDay = static_cast<int32_t>((day * 7919) % 86400);
    const double withTime = static_cast<double>(day) + secondOfDay / 86400.0;
    DaysToCalendar(withTime, &t);
    const int32_t seconds = t.hour * 3600 + t.minute * 60 + t.second;
    ASSERT_TRUE(seconds == secondOfDay || (day >= 65536 && seconds == secondOfDay - 1)) << day;
    CalendarToDays(t, &back);
    ASSERT_NEAR(back, withTime, 1.0 / 86400.0) << day;
  }
}

TEST(TimeTest, HostileValuesDoNotCrash) {
  const double values[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(), 1e300, -1e300, 1e15};
  for (double v : values) {
    CalendarTime t;
    DaysToCalendar(v, &t);
    int32_t second = 0, minute = 0, hour = 0;
    SplitSeconds(v, &second, &minute, &hour);
    EXPECT_GE(t.month, 0) << v;
    EXPECT_LE(t.month, 11) << v;
  }
  CalendarTime extreme;
  extreme.year = extreme.minute = INT32_MIN;
  extreme.month = extreme.hour = extreme.second = extreme.dayOfMonth = INT32_MAX;
  double days = 0.0;
  CalendarToDays(extreme, &days);
  EXPECT_TRUE(std::isfinite(days));
  SystemTime s;
  CalendarToSystemTime(extreme, &s);
}

}  // namespace
}  // namespace travune
