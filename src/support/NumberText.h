// Numbers as text without the process locale: printf's forms produced through the "C" rules,
// with the decimal mark and the exponent width the output format asks for.
#pragma once

#include <cstddef>
#include <string>

namespace travune {

// printf-style formatting under the "C" rules whatever the process or thread locale is.
std::string FormatC(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Fast forms for per-value output. Each writes at most kMaxNumberChars characters at out, with
// no terminator, and returns the end of what it wrote. mark replaces the decimal point.
inline constexpr size_t kMaxNumberChars = 352;
// "%.*f"
char* AppendFixed(char* out, double value, int digits, char mark = '.');
// "%.*e" with an exponent of at least expDigits digits ("1.500e+001" for expDigits 3);
// expLetter replaces the 'e' ('E', 'D').
char* AppendScientific(char* out, double value, int digits, int expDigits = 2, char mark = '.', char expLetter = 'e');

}  // namespace travune
