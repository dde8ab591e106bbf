// Force-included into the test suites built for Windows: the few POSIX calls they share
// (mkdtemp, setenv, unsetenv, gmtime_r), made from the C runtime's own functions.
#pragma once

// rand_s is declared only on request.
#define _CRT_RAND_S
#include <direct.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

// Replaces the trailing "XXXXXX" of pattern with letters and digits that name a directory not
// there yet, creates it and returns pattern; null when none could be made.
inline char* mkdtemp(char* pattern) {
  const size_t length = strlen(pattern);
  if (length < 6 || strcmp(pattern + length - 6, "XXXXXX") != 0) return nullptr;
  static const char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  for (int attempt = 0; attempt < 1000; ++attempt) {
    for (size_t i = length - 6; i < length; ++i) {
      unsigned int r = 0;
      if (rand_s(&r) != 0) return nullptr;
      pattern[i] = kLetters[r % (sizeof kLetters - 1)];
    }
    if (_mkdir(pattern) == 0) return pattern;
  }
  return nullptr;
}

inline int setenv(const char* name, const char* value, int overwrite) {
  if (overwrite == 0 && getenv(name) != nullptr) return 0;
  return _putenv_s(name, value) == 0 ? 0 : -1;
}

// An empty value removes the variable.
inline int unsetenv(const char* name) { return _putenv_s(name, "") == 0 ? 0 : -1; }

inline struct tm* gmtime_r(const time_t* time, struct tm* out) { return gmtime_s(out, time) == 0 ? out : nullptr; }
