// Scan-time conversions between day counts (days since midnight of 30 December 1899),
// seconds, broken-down calendar fields and SYSTEMTIME records.
#include "support/Time.h"

#include <cmath>

namespace travune {

namespace {

constexpr double kSecondsPerHour = 3600.0;
constexpr double kHoursPerSecond = 1.0 / 3600.0;
constexpr double kSecondsPerMinute = 60.0;
constexpr double kMinutesPerSecond = 1.0 / 60.0;
constexpr int64_t kDaysBeforeCycles = 366;  // 30 December 1899 to 31 December 1900
constexpr int64_t kCycleDays = 1461;        // 1901 to 1904: 365, 365, 365, 366
constexpr int32_t kYearLengths[4] = {365, 365, 365, 366};
constexpr int32_t kMonthLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// The four-year cycle gives true dates from 1 January 1901 up to 28 February 2100.
constexpr int64_t kFirstCycleDay = 367;
constexpr int64_t kLastCycleDay = 73109;
constexpr int64_t kUnixEpochDay = 25569;  // 1 January 1970
// Day numbers are limited so that every year still fits the calendar's 32-bit field.
constexpr double kDayLimit = 1e10;

int32_t TruncateToInt32(double v) {
  if (std::isnan(v)) return 0;
  if (v <= static_cast<double>(INT32_MIN)) return INT32_MIN;
  if (v >= static_cast<double>(INT32_MAX)) return INT32_MAX;
  return static_cast<int32_t>(v);
}

int32_t MonthLength(int32_t month, bool leap) { return month == 1 && leap ? 29 : kMonthLengths[month]; }

// Turns the day of the year r (1 based) into month field and day of the month.
void SetMonthAndDay(int32_t r, bool leap, CalendarTime* out) {
  int32_t month = 0;
  while (month < 11 && r > MonthLength(month, leap)) {
    r -= MonthLength(month, leap);
    ++month;
  }
  out->month = month;
  out->dayOfMonth = r;
}

// The four-year cycle starting with 1901. The remainder is counted from 1, so that the last
// day of a cycle is day 366 of its leap year rather than day 0 of the following January.
void SetDateFromCycle(int64_t day, CalendarTime* out) {
  const int64_t n = day - kDaysBeforeCycles;
  int64_t year = 4 * ((n - 1) / kCycleDays);
  int32_t r = static_cast<int32_t>((n - 1) % kCycleDays + 1);
  int i = 0;
  while (i < 3 && r > kYearLengths[i]) {
    r -= kYearLengths[i];
    ++year;
    ++i;
  }
  out->dayOfYear = r;
  SetMonthAndDay(r, i == 3, out);
  out->year = static_cast<int32_t>(year + 1);
}

bool IsGregorianLeap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

// Proleptic Gregorian date of a day outside the cycle's range, from the civil-date
// decomposition into 400-year eras of March-based years.
void SetDateFromCivil(int64_t day, CalendarTime* out) {
  const int64_t z = day - kUnixEpochDay + 719468;  // days since 1 March of year 0
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfMarchYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t marchMonth = (5 * dayOfMarchYear + 2) / 153;  // 0 = March
  const int64_t year = yearOfEra + era * 400 + (marchMonth >= 10 ? 1 : 0);
  const bool leap = IsGregorianLeap(year);
  const int32_t daysBeforeMarch = leap ? 60 : 59;
  const int32_t dayOfYear = static_cast<int32_t>(
      marchMonth >= 10 ? dayOfMarchYear - 306 : dayOfMarchYear + daysBeforeMarch);
  out->dayOfYear = dayOfYear + 1;
  SetMonthAndDay(dayOfYear + 1, leap, out);
  out->year = static_cast<int32_t>(year - 1900);
}

}  // namespace

double DaysToSeconds(double days) { return days * kSecondsPerDay; }

double SecondsToDays(double seconds) { return seconds * kDaysPerSecond; }

void SplitSeconds(double seconds, int32_t* second, int32_t* minute, int32_t* hour) {
  *hour = TruncateToInt32(std::floor(seconds * kHoursPerSecond));
  *minute = TruncateToInt32(std::floor(std::fmod(seconds, kSecondsPerHour) * kMinutesPerSecond));
  *second = TruncateToInt32(std::floor(std::fmod(seconds, kSecondsPerMinute)));
}

void DaysToCalendar(double days, CalendarTime* out) {
  if (out == nullptr) return;
  const double d = std::isnan(days) ? 0.0 : std::fmax(-kDayLimit, std::fmin(kDayLimit, days));
  double whole = std::floor(d);
  double secondsOfDay = DaysToSeconds(d - whole) + kHalfMicrosecond;
  if (secondsOfDay >= kSecondsPerDay) {
    // Within half a microsecond of midnight: the time rounds to 0:00:00 of the next day.
    whole += 1.0;
    secondsOfDay -= kSecondsPerDay;
  }
  SplitSeconds(secondsOfDay, &out->second, &out->minute, &out->hour);
  const int64_t day = static_cast<int64_t>(whole);
  if (day >= kFirstCycleDay && day <= kLastCycleDay) {
    SetDateFromCycle(day, out);
  } else {
    SetDateFromCivil(day, out);
  }
}

void CalendarToDays(const CalendarTime& t, double* out) {
  const int64_t secs = t.second + 60 * (t.minute + 60 * static_cast<int64_t>(t.hour));
  double days = SecondsToDays(static_cast<double>(secs));
  const int64_t y = static_cast<int64_t>(t.year) - 1;
  days += static_cast<double>(kDaysBeforeCycles + kCycleDays * (y / 4) + 365 * (y % 4));
  const bool leap = y % 4 == 3;
  for (int32_t month = 0; month < t.month && month < 12; ++month) days += MonthLength(month, leap);
  days += t.dayOfMonth;
  if (out != nullptr) *out = days;
}

void DaysToSystemTime(double days, SystemTime* out) {
  CalendarTime t;
  DaysToCalendar(days, &t);
  CalendarToSystemTime(t, out);
}

void CalendarToSystemTime(const CalendarTime& t, SystemTime* out) {
  out->year = static_cast<uint16_t>(static_cast<int64_t>(t.year) + 1900);
  out->month = static_cast<uint16_t>(static_cast<int64_t>(t.month) + 1);
  out->day = static_cast<uint16_t>(t.dayOfMonth);
  out->hour = static_cast<uint16_t>(t.hour);
  out->minute = static_cast<uint16_t>(t.minute);
  out->second = static_cast<uint16_t>(t.second);
}

}  // namespace travune
