// Civil dates to day numbers and back (the era-based algorithm of the proleptic Gregorian
// calendar: 400-year eras of 146097 days, years starting in March).
#include "samples/Calendar.h"

namespace travune::samples {
namespace {

constexpr int64_t kMicrosPerDay = 86400LL * 1000000LL;

int64_t FloorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0); }

}  // namespace

int64_t DaysFromCivil(int year, int month, int day) {
  const int64_t y = static_cast<int64_t>(year) - (month <= 2 ? 1 : 0);
  const int64_t era = FloorDiv(y, 400);
  const int64_t yearOfEra = y - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

int64_t AutomationDay(int year, int month, int day) {
  return DaysFromCivil(year, month, day) - DaysFromCivil(1899, 12, 30);
}

CivilTime CivilFromMicroseconds(int64_t microseconds) {
  const int64_t days = FloorDiv(microseconds, kMicrosPerDay);
  int64_t rest = microseconds - days * kMicrosPerDay;
  CivilTime t;
  t.microsecond = rest % 1000000;
  rest /= 1000000;
  t.second = static_cast<int>(rest % 60);
  t.minute = static_cast<int>(rest / 60 % 60);
  t.hour = static_cast<int>(rest / 3600);

  const int64_t z = days + 719468;
  const int64_t era = FloorDiv(z, 146097);
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t mp = (5 * dayOfYear + 2) / 153;
  t.day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
  t.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  t.year = static_cast<int>(yearOfEra + era * 400 + (t.month <= 2 ? 1 : 0));
  return t;
}

int64_t MicrosecondsFromCivil(const CivilTime& time) {
  const int64_t seconds =
      DaysFromCivil(time.year, time.month, time.day) * 86400 + time.hour * 3600LL + time.minute * 60LL + time.second;
  return seconds * 1000000 + time.microsecond;
}

}  // namespace travune::samples
