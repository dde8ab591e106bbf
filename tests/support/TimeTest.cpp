// Tests of the scan-time helpers: seconds splitting, day numbers to calendar fields and back,
// checked by hand-worked dates and against the C library's own civil-date conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>

#include "support/Time.h"

namespace travune {
namespace {

constexpr int64_t kFirstDay1901 = 367;   // 1 January 1901
constexpr int64_t kLastDay2099 = 73050;  // 31 December 2099
constexpr int64_t kUnixEpochDay = 25569; // 1 January 1970

TEST(TimeTest, SplitSecondsCases) {
  struct Case {
    double seconds;
    int32_t hour, minute, second;
  };
  const Case cases[] = {
      {90061.5, 25, 1, 1}, {7200.0, 2, 0, 0},  {0.0, 0, 0, 0},       {59.999, 0, 0, 59},
      {3599.0, 0, 59, 59}, {86399.0, 23, 59, 59}, {-1.0, -1, -1, -1},  // remainders keep the sign
  };
  for (const Case& c : cases) {
    int32_t second = -99, minute = -99, hour = -99;
    SplitSeconds(c.seconds, &second, &minute, &hour);
    EXPECT_EQ(hour, c.hour) << c.seconds;
    EXPECT_EQ(minute, c.minute) << c.seconds;
    EXPECT_EQ(second, c.second) << c.seconds;
  }
}

TEST(TimeTest, DaysToCalendarCases) {
  struct Case {
    double days;
    int32_t year, month, day, dayOfYear, hour, minute, second;
  };
  // Whole days are checked against the C library below; these add times of day.
  const Case cases[] = {
      {37623.0, 103, 0, 2, 2, 0, 0, 0},     // 2 January 2003
      {37623.5, 103, 0, 2, 2, 12, 0, 0},
      {37623.25, 103, 0, 2, 2, 6, 0, 0},
      {37623.0 + 47655.0 / 86400.0, 103, 0, 2, 2, 13, 14, 15},
      // Outside the four-year cycle's range the true (Gregorian) date is given.
      {61.0, 0, 2, 1, 60, 0, 0, 0},         // 1 March 1900 (1900 has no 29 February)
      {-0.25, -1, 11, 29, 363, 18, 0, 0},   // 29 December 1899, 18:00
  };
  for (const Case& c : cases) {
    CalendarTime t;
    t.dayOfWeek = 5;
    t.isDst = 1;
    DaysToCalendar(c.days, &t);
    EXPECT_EQ(t.year, c.year) << c.days;
    EXPECT_EQ(t.month, c.month) << c.days;
    EXPECT_EQ(t.dayOfMonth, c.day) << c.days;
    EXPECT_EQ(t.dayOfYear, c.dayOfYear) << c.days;
    EXPECT_EQ(t.hour, c.hour) << c.days;
    EXPECT_EQ(t.minute, c.minute) << c.days;
    EXPECT_EQ(t.second, c.second) << c.days;
    EXPECT_EQ(t.dayOfWeek, 5);  // left as it was
    EXPECT_EQ(t.isDst, 1);
  }
}

TEST(TimeTest, TimeJustBelowMidnightCarriesIntoTheNextDay) {
  // 400 is 3 February 1901; the largest double below it is a few nanoseconds before midnight.
  CalendarTime t;
  DaysToCalendar(std::nextafter(400.0, 0.0), &t);
  EXPECT_EQ(t.month, 1);
  EXPECT_EQ(t.dayOfMonth, 3);
  EXPECT_EQ(t.hour, 0);
  EXPECT_EQ(t.minute, 0);
  EXPECT_EQ(t.second, 0);
  // A microsecond before midnight still belongs to the day before.
  DaysToCalendar(400.0 - 1e-6 / 86400.0, &t);
  EXPECT_EQ(t.dayOfMonth, 2);
  EXPECT_EQ(t.hour, 23);
  EXPECT_EQ(t.minute, 59);
  EXPECT_EQ(t.second, 59);
}

// Every day of the served range, and a few thousand beyond both ends, against gmtime_r.
TEST(TimeTest, DaysToCalendarMatchesTheCLibraryEveryDay) {
  for (int64_t day = -5000; day <= kLastDay2099 + 5000; ++day) {
    const time_t unixSeconds = static_cast<time_t>((day - kUnixEpochDay) * 86400);
    struct tm expected = {};
    ASSERT_NE(gmtime_r(&unixSeconds, &expected), nullptr);
    CalendarTime t;
    DaysToCalendar(static_cast<double>(day), &t);
    ASSERT_EQ(t.year, expected.tm_year) << day;
    ASSERT_EQ(t.month, expected.tm_mon) << day;
    ASSERT_EQ(t.dayOfMonth, expected.tm_mday) << day;
    ASSERT_EQ(t.dayOfYear, expected.tm_yday + 1) << day;
  }
}

TEST(TimeTest, CalendarRoundTripEveryDayFrom1901To2099) {
  for (int64_t day = kFirstDay1901; day <= kLastDay2099; ++day) {
    CalendarTime t;
    DaysToCalendar(static_cast<double>(day), &t);
    double back = -1.0;
    CalendarToDays(t, &back);
    ASSERT_EQ(back, static_cast<double>(day)) << day;

    // A time of day in whole seconds. Below day 65536 (6 June 2079) the double resolves the
    // day fraction to better than the half microsecond added before cutting, so the second
    // comes back exactly; above it the fraction may fall short by more and lose one second.
    const int32_t secondOfDay = static_cast<int32_t>((day * 7919) % 86400);
    const double withTime = static_cast<double>(day) + secondOfDay / 86400.0;
    DaysToCalendar(withTime, &t);
    const int32_t seconds = t.hour * 3600 + t.minute * 60 + t.second;
    if (day < 65536) {
      ASSERT_EQ(seconds, secondOfDay) << day;
    } else {
      ASSERT_TRUE(seconds == secondOfDay || seconds == secondOfDay - 1) << day;
    }
    CalendarToDays(t, &back);
    ASSERT_NEAR(back, withTime, 1.0 / 86400.0) << day;
  }
}

TEST(TimeTest, CalendarToDaysCases) {
  struct Case {
    int32_t year, month, day, hour, minute, second;
    double expected;
  };
  // Whole days come back through the round trip above; these are worked out by hand.
  const Case cases[] = {
      {103, 0, 2, 12, 0, 0, 37623.5}, {100, 1, 29, 0, 0, 0, 36585.0}, {199, 11, 31, 18, 0, 0, 73050.75},
  };
  for (const Case& c : cases) {
    CalendarTime t;
    t.year = c.year;
    t.month = c.month;
    t.dayOfMonth = c.day;
    t.hour = c.hour;
    t.minute = c.minute;
    t.second = c.second;
    double days = 0.0;
    CalendarToDays(t, &days);
    EXPECT_EQ(days, c.expected) << c.year << "/" << c.month << "/" << c.day;
  }
  CalendarTime t;
  CalendarToDays(t, nullptr);  // no output asked for
}

TEST(TimeTest, SystemTimeConversions) {
  SystemTime s;
  s.dayOfWeek = 6;
  s.milliseconds = 999;
  DaysToSystemTime(37623.5 + 61.0 / 86400.0, &s);
  EXPECT_EQ(s.year, 2003);
  EXPECT_EQ(s.month, 1);
  EXPECT_EQ(s.day, 2);
  EXPECT_EQ(s.hour, 12);
  EXPECT_EQ(s.minute, 1);
  EXPECT_EQ(s.second, 1);
  EXPECT_EQ(s.dayOfWeek, 6);  // left as they were
  EXPECT_EQ(s.milliseconds, 999);

  SystemTime leapDay;
  leapDay.year = 2000;
  leapDay.month = 2;
  leapDay.day = 29;
  leapDay.hour = 23;
  leapDay.minute = 59;
  leapDay.second = 58;
  CalendarTime t;
  t.dayOfYear = 77;
  SystemTimeToCalendar(leapDay, &t);
  EXPECT_EQ(t.year, 100);
  EXPECT_EQ(t.month, 1);
  EXPECT_EQ(t.dayOfMonth, 29);
  EXPECT_EQ(t.hour, 23);
  EXPECT_EQ(t.minute, 59);
  EXPECT_EQ(t.second, 58);
  EXPECT_EQ(t.dayOfYear, 77);  // not touched
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
  extreme.year = INT32_MIN;
  extreme.month = INT32_MAX;
  extreme.hour = INT32_MAX;
  extreme.minute = INT32_MIN;
  extreme.second = INT32_MAX;
  extreme.dayOfMonth = INT32_MAX;
  double days = 0.0;
  CalendarToDays(extreme, &days);
  EXPECT_TRUE(std::isfinite(days));
  SystemTime s;
  CalendarToSystemTime(extreme, &s);
}

}  // namespace
}  // namespace travune
