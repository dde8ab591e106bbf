// Small text and arithmetic helpers: bounded copy, trimming, ASCII comparison, rounding up.
#pragma once

#include <cstdint>

namespace travune {

// Copies text into destination of size bytes (size >= 1). Returns false when it was cut.
bool BoundedCopy(char* destination, const char* text, int64_t size);
// Removes, in place, the leading run of characters from leadingSet and the trailing run of
// characters from trailingSet. Returns text.
char* Trim(char* text, const char* leadingSet, const char* trailingSet);
// The white-space set used for trimming descriptions: space, tab, line feed, carriage return.
inline constexpr const char* kWhiteSpace = " \t\n\r";
// True when a and b are equal with A-Z folded to a-z and nothing else: names and keywords are
// ASCII and compare alike in every locale (a Turkish one folds 'I' to a dotless i).
bool EqualsIgnoringAsciiCase(const char* a, const char* b);
// x rounded up to a multiple of m (x unchanged when already a multiple, when x mod m <= 0,
// when m <= 0, or when the next multiple would not fit in 64 bits).
int64_t RoundUpToMultiple(int64_t x, int64_t m);

}  // namespace travune
