// Numbers as text without the process locale: std::to_chars gives printf's exact digits under
// the "C" rules; the decimal mark and the exponent width are then adjusted in place.
#include "support/NumberText.h"

#include "platform/Platform.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace travune {
namespace {

// printf's default precision, used when a negative one is given.
constexpr int kDefaultPrecision = 6;
// Longest exponent to_chars writes for a double ("e-324"): three digits.
constexpr int kMaxNativeExpDigits = 3;
// The characters around the digits of "%.*e": sign, point, 'e', exponent sign.
constexpr int kScientificOverhead = 4;
// Most digits before the point that "%f" writes for a finite double (DBL_MAX has 309).
constexpr int kMaxIntegerDigits = 309;

// Widest exponent asked for; anything wider is taken as this.
constexpr int kMaxExpDigits = 8;

int EffectivePrecision(int precision) { return precision < 0 ? kDefaultPrecision : precision; }

// Non-finite values the way glibc's printf writes them: "inf", "-inf", "nan", "-nan";
// upper case for the upper-case conversions ("%E" gives "INF").
char* AppendNonFinite(char* out, double value, bool upper) {
  if (std::signbit(value)) *out++ = '-';
  const char* word = std::isnan(value) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
  std::memcpy(out, word, 3);
  return out + 3;
}

// Replaces the first '.' in [begin, end) by mark.
void SetDecimalMark(char* begin, char* end, char mark) {
  if (mark == '.') return;
  char* point = std::find(begin, end, '.');
  if (point != end) *point = mark;
}

// Rewrites the exponent at the end of [begin, end) ("e+01") with the letter expLetter and at
// least expDigits digits; returns the new end. The exponent is the text after the last 'e'.
char* FixExponent(char* begin, char* end, int expDigits, char expLetter) {
  expDigits = std::min(expDigits, kMaxExpDigits);
  char* e = end;
  while (e != begin && e[-1] != 'e') --e;
  if (e == begin) return end;
  e[-1] = expLetter;
  char* digits = e + ((*e == '+' || *e == '-') ? 1 : 0);
  const int have = static_cast<int>(end - digits);
  if (have >= expDigits) return end;
  const int pad = expDigits - have;
  std::memmove(digits + pad, digits, static_cast<size_t>(have));
  std::memset(digits, '0', static_cast<size_t>(pad));
  return end + pad;
}

// Most precision that keeps the scientific form within kMaxNumberChars.
int MaxScientificPrecision(int expDigits) {
  return static_cast<int>(kMaxNumberChars) - kScientificOverhead - 1 -
         std::clamp(expDigits, kMaxNativeExpDigits, kMaxExpDigits);
}

// The scientific form's fast path: precisions and decimal exponents for which the value
// scaled to precision + 1 integer digits is one correctly rounded operation with an exact power
// of ten (10^0 ... 10^22 are doubles) and stays far below 2^53.
constexpr int kMaxFastPrecision = 8;
constexpr int kMaxExactPowerOfTen = 22;
constexpr double kExactPowersOfTen[kMaxExactPowerOfTen + 1] = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// |value| * 10^shift in one rounding, or a negative number when the power is not exact.
double ScaleByPowerOfTen(double magnitude, int shift) {
  if (shift > kMaxExactPowerOfTen || shift < -kMaxExactPowerOfTen) return -1.0;
  return shift >= 0 ? magnitude * kExactPowersOfTen[shift] : magnitude / kExactPowersOfTen[-shift];
}

// a * b as hi + lo exactly, hi being the rounded product (Dekker's product: each factor split
// into halves of 26 and 27 bits whose products are exact; no fused multiply-add is assumed, and
// the build keeps the compiler from contracting these steps into one).
struct ExactProduct {
  double hi;
  double lo;
};

ExactProduct MultiplyExactly(double a, double b) {
  constexpr double kSplitter = 134217729.0;  // 2^27 + 1
  const auto split = [](double x, double* high, double* low) {
    const double c = kSplitter * x;
    *high = c - (c - x);
    *low = x - *high;
  };
  double aHigh, aLow, bHigh, bLow;
  split(a, &aHigh, &aLow);
  split(b, &bHigh, &bLow);
  const double hi = a * b;
  const double lo = ((aHigh * bHigh - hi) + aHigh * bLow + aLow * bHigh) + aLow * bLow;
  return {hi, lo};
}

// Where the exact magnitude * 10^shift lies against scaled, its once-rounded value: 1 above,
// -1 below, 0 on it. Magnitudes and shifts are those of the fast path, far from overflow and
// underflow.
int SideOfExactScaling(double magnitude, int shift, double scaled) {
  if (shift >= 0) {
    const double lo = MultiplyExactly(magnitude, kExactPowersOfTen[shift]).lo;
    return lo > 0.0 ? 1 : (lo < 0.0 ? -1 : 0);
  }
  // The quotient lies above scaled when magnitude exceeds scaled * 10^-shift; magnitude - hi
  // is exact, the two being within a factor of two of each other.
  const ExactProduct back = MultiplyExactly(scaled, kExactPowersOfTen[-shift]);
  const double rest = magnitude - back.hi;
  return rest > back.lo ? 1 : (rest < back.lo ? -1 : 0);
}

// The decimal exponent of magnitude, exact or one too low: log10(2) times its binary exponent.
// magnitude is a positive normal double here; its biased exponent field gives the binary one.
int EstimateDecimalExponent(double magnitude) {
  const int binaryExponent = static_cast<int>((std::bit_cast<uint64_t>(magnitude) >> 52) & 0x7FF) - 1023;
  return static_cast<int>(std::floor(binaryExponent * 0.30102999566398120));
}

// "00" to "99": two decimal digits per step.
constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes the count decimal digits of value (fewer than 10^count), leading zeros included,
// into text[0 .. count). Unsigned 32 or 64 bits: the narrower divides faster.
template <typename Unsigned>
void PutDigits(char* text, Unsigned value, int count) {
  for (; count >= 2; count -= 2, value /= 100) std::memcpy(text + count - 2, kDigitPairs + 2 * (value % 100), 2);
  if (count == 1) text[0] = static_cast<char>('0' + value % 10);
}

// Writes "d.ddd" for the precision + 1 digits of digits (precision 0: "d").
char* AppendDigitsWithPoint(char* out, uint64_t digits, int precision, char mark) {
  // precision + 1 <= 9 digits: below 10^9, so 32 bits hold them. They go one place to the
  // right, and the first moves back in front of the mark (no copy through a buffer, whose
  // wide reads of narrow stores would stall).
  PutDigits(out + 1, static_cast<uint32_t>(digits), precision + 1);
  out[0] = out[1];
  if (precision == 0) return out + 1;
  out[1] = mark;
  return out + precision + 2;
}

// Writes the exponent letter, its sign and at least expDigits (two or more) digits.
char* AppendExponent(char* out, int exponent, int expDigits, char expLetter) {
  *out++ = expLetter;
  *out++ = exponent < 0 ? '-' : '+';
  // A double's decimal exponent has at most three digits.
  const unsigned magnitude = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
  const int count = std::max(expDigits, magnitude >= 100 ? 3 : (magnitude >= 10 ? 2 : 1));
  PutDigits(out, magnitude, count);
  return out + count;
}

// "%.*e" of a finite value without to_chars when the rounding is certain: the digits come
// from one scaling by an exact power of ten. Null when the value needs the exact path.
char* AppendScientificFast(char* out, double value, int precision, int expDigits, char mark, char expLetter) {
  const double magnitude = std::fabs(value);
  if (precision > kMaxFastPrecision) return nullptr;
  if (magnitude == 0.0) {
    // Zero has only zero digits and the exponent 0; a negative zero keeps its sign.
    if (std::signbit(value)) *out++ = '-';
    out = AppendDigitsWithPoint(out, 0, precision, mark);
    return AppendExponent(out, 0, std::clamp(expDigits, 2, kMaxExpDigits), expLetter);
  }
  const double lowest = kExactPowersOfTen[precision];
  const double pastHighest = kExactPowersOfTen[precision + 1];
  int exponent = EstimateDecimalExponent(magnitude);
  double scaled = ScaleByPowerOfTen(magnitude, precision - exponent);
  if (scaled >= pastHighest) scaled = ScaleByPowerOfTen(magnitude, precision - ++exponent);
  if (scaled < lowest - 0.5 || scaled >= pastHighest) return nullptr;
  // scaled is positive and below 2^53: truncation is its floor, and the fraction is exact.
  const uint64_t whole = static_cast<uint64_t>(scaled);
  const double fraction = scaled - static_cast<double>(whole);
  // The exact product lies within half a unit in the last place of scaled, and a fraction other
  // than one half is at least a whole unit away from it (scaled < 2^30): the fraction alone
  // decides, except at one half exactly, where the exact product's side does, and an exact
  // half rounds to even as printf does.
  bool up = fraction > 0.5;
  if (fraction == 0.5) {
    const int side = SideOfExactScaling(magnitude, precision - exponent, scaled);
    up = side > 0 || (side == 0 && (whole & 1) != 0);
  }
  uint64_t digits = whole + (up ? 1 : 0);
  if (digits < static_cast<uint64_t>(lowest)) return nullptr;
  if (digits == static_cast<uint64_t>(pastHighest)) {
    digits = static_cast<uint64_t>(lowest);
    ++exponent;
  }
  if (value < 0.0) *out++ = '-';
  out = AppendDigitsWithPoint(out, digits, precision, mark);
  return AppendExponent(out, exponent, std::clamp(expDigits, 2, kMaxExpDigits), expLetter);
}

// Whole numbers below this are exact doubles, and so are their fractions.
constexpr double kTwoTo53 = 9007199254740992.0;

// Writes the decimal digits of value, without leading zeros ("0" for zero).
char* AppendWholeNumber(char* out, uint64_t value) {
  int count = 1;
  for (uint64_t rest = value; rest >= 10; rest /= 10) ++count;
  PutDigits(out, value, count);
  return out + count;
}

// "%.0f" of a finite value below 2^53 in magnitude: the nearest whole number, an exact half to
// the even one, as printf rounds; the sign stays on values that round to zero ("-0").
char* AppendRoundedWhole(char* out, double value) {
  const double magnitude = std::fabs(value);
  const auto whole = static_cast<uint64_t>(magnitude);
  const double fraction = magnitude - static_cast<double>(whole);
  const bool up = fraction > 0.5 || (fraction == 0.5 && (whole & 1) != 0);
  if (std::signbit(value)) *out++ = '-';
  return AppendWholeNumber(out, whole + (up ? 1 : 0));
}

}  // namespace

std::string FormatC(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text;
  {
    platform::ScopedCLocale c;
    va_list sizing;
    va_copy(sizing, args);
    const int length = std::vsnprintf(nullptr, 0, format, sizing);
    va_end(sizing);
    if (length > 0) {
      std::vector<char> buffer(static_cast<size_t>(length) + 1);
      std::vsnprintf(buffer.data(), buffer.size(), format, args);
      text.assign(buffer.data(), static_cast<size_t>(length));
    }
  }
  va_end(args);
  return text;
}

char* AppendFixed(char* out, double value, int digits, char mark) {
  if (!std::isfinite(value)) return AppendNonFinite(out, value, false);
  if (digits == 0 && std::fabs(value) < kTwoTo53) return AppendRoundedWhole(out, value);
  // Keeps the worst case (DBL_MAX) within kMaxNumberChars: sign, 309 digits, point, digits.
  const int precision = std::min(EffectivePrecision(digits), static_cast<int>(kMaxNumberChars) - kMaxIntegerDigits - 2);
  const auto result = std::to_chars(out, out + kMaxNumberChars, value, std::chars_format::fixed, precision);
  SetDecimalMark(out, result.ptr, mark);
  return result.ptr;
}

char* AppendScientific(char* out, double value, int digits, int expDigits, char mark, char expLetter) {
  // No <cctype> here: its tables are the locale's, looked up for every value.
  const bool upper = expLetter >= 'A' && expLetter <= 'Z';
  if (!std::isfinite(value)) return AppendNonFinite(out, value, upper);
  const int precision = std::min(EffectivePrecision(digits), MaxScientificPrecision(expDigits));
  if (char* end = AppendScientificFast(out, value, precision, expDigits, mark, expLetter)) return end;
  const auto result = std::to_chars(out, out + kMaxNumberChars, value, std::chars_format::scientific, precision);
  SetDecimalMark(out, result.ptr, mark);
  return FixExponent(out, result.ptr, expDigits, expLetter);
}

}  // namespace travune
