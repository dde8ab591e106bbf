// Calendar arithmetic for the samples' absolute times: civil dates to day numbers and back,
// and Automation dates (days since 30 December 1899).
#pragma once

#include <cstdint>

namespace travune::samples {

struct CivilTime {
  int year = 1970;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int64_t microsecond = 0;
};

// Days from 1 January 1970 to the given date (proleptic Gregorian calendar).
int64_t DaysFromCivil(int year, int month, int day);

// The Automation date (days since 30 December 1899) of midnight at the given date.
int64_t AutomationDay(int year, int month, int day);

// The civil time that lies microseconds after 1 January 1970, 00:00 (may be negative).
CivilTime CivilFromMicroseconds(int64_t microseconds);

// Microseconds from 1 January 1970, 00:00 to time.
int64_t MicrosecondsFromCivil(const CivilTime& time);

}  // namespace travune::samples
