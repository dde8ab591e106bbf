// Scan-time helpers: day counts, seconds and calendar fields (dates counted in days since
// midnight of 30 December 1899; exact from 1 January 1901 to 31 December 2099).
#pragma once

#include <cstdint>

namespace travune {

inline constexpr double kSecondsPerDay = 86400.0;
inline constexpr double kDaysPerSecond = 1.0 / 86400.0;
inline constexpr double kHalfMicrosecond = 5e-07;

// Broken-down time with the meanings of the C runtime's tm.
struct CalendarTime {
  int32_t second = 0;
  int32_t minute = 0;
  int32_t hour = 0;
  int32_t dayOfMonth = 0;
  int32_t month = 0;       // 0 = January
  int32_t year = 0;        // years since 1900
  int32_t dayOfWeek = 0;   // not set by these functions
  int32_t dayOfYear = 0;   // 1 = 1 January
  int32_t isDst = 0;       // not set by these functions
};

// The Win32 SYSTEMTIME record.
struct SystemTime {
  uint16_t year = 0, month = 0, dayOfWeek = 0, day = 0, hour = 0, minute = 0, second = 0, milliseconds = 0;
};

double DaysToSeconds(double days);
double SecondsToDays(double seconds);
void SplitSeconds(double seconds, int32_t* second, int32_t* minute, int32_t* hour);
// Day numbers outside the four-year cycle's range get their proleptic Gregorian date; a time
// within half a microsecond below midnight becomes 0:00:00 of the next day.
void DaysToCalendar(double days, CalendarTime* out);
void CalendarToDays(const CalendarTime& t, double* out);
void DaysToSystemTime(double days, SystemTime* out);
void CalendarToSystemTime(const CalendarTime& t, SystemTime* out);

}  // namespace travune
