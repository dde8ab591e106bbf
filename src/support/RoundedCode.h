// The low 16 bits of floor(x + 0.5) for the 16-bit code writers, without a libm call per value
// where the rounded value fits 32 bits (the baseline x86-64 target has no rounding instruction),
// and a row routine that maps and rounds four values at a time with packed SSE2 conversions.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "support/LittleEndian.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace travune {

// One channel's map from user units onto codes: code = value * slope + offset.
struct CodeLine {
  double slope = 1.0;
  double offset = 0.0;
};
static_assert(sizeof(CodeLine) == 2 * sizeof(double), "the row routine loads slope and offset as one pair");

// Values beyond ±2^31: the integer's low 16 bits through the exact remainder; not-a-number
// and infinities give 0.
inline uint16_t LowBitsOfLargeRoundedCode(double shifted) {
  const double rounded = std::floor(shifted);
  if (!std::isfinite(rounded)) return 0;
  if (std::fabs(rounded) < 2147483648.0) return static_cast<uint16_t>(static_cast<int32_t>(rounded));
  const double low = std::fmod(rounded, 65536.0);  // exact; sign of rounded
  return static_cast<uint16_t>(static_cast<int32_t>(low < 0.0 ? low + 65536.0 : low));
}

// Truncation toward zero is exact for |x| < 2^31; stepping down by one where the truncated
// value lies above x turns it into the floor, bit for bit what std::floor gives.
inline uint16_t LowBitsOfRoundedCode(double code) {
  const double shifted = code + 0.5;
  if (!(std::fabs(shifted) < 2147483648.0)) return LowBitsOfLargeRoundedCode(shifted);
  const int32_t truncated = static_cast<int32_t>(shifted);
  const int32_t floor = truncated - (static_cast<double>(truncated) > shifted ? 1 : 0);
  return static_cast<uint16_t>(floor);
}

// The scalar routine over count values: the path of groups that fail the range check, of a
// row's last values and of targets without SSE2.
inline void PutRoundedCodesOneByOne(const double* values, const CodeLine* lines, size_t count,
                                    uint8_t* out) {
  for (size_t i = 0; i < count; ++i, out += 2) {
    le::PutU16(out, LowBitsOfRoundedCode(values[i] * lines[i].slope + lines[i].offset));
  }
}

#if defined(__SSE2__)
namespace rounded_code_detail {

// values[0..1] * slope + offset + 0.5, with the same three roundings as the scalar routine.
inline __m128d ShiftedPair(const double* values, const CodeLine* lines) {
  const __m128d first = _mm_loadu_pd(&lines[0].slope);   // slope, offset of the first value
  const __m128d second = _mm_loadu_pd(&lines[1].slope);  // and of the second
  const __m128d code = _mm_add_pd(_mm_mul_pd(_mm_loadu_pd(values), _mm_unpacklo_pd(first, second)),
                                  _mm_unpackhi_pd(first, second));
  return _mm_add_pd(code, _mm_set1_pd(0.5));
}

// All ones in both lanes where |shifted| < 2^31 (not-a-number compares false).
inline __m128d InTruncationRange(__m128d shifted) {
  const __m128d magnitude = _mm_andnot_pd(_mm_set1_pd(-0.0), shifted);
  return _mm_cmplt_pd(magnitude, _mm_set1_pd(2147483648.0));
}

// floor of two values in range as two int32 in the low lanes: truncate, then subtract one
// (add the all-ones compare mask) where the truncated value lies above the input.
inline __m128i FloorPair(__m128d shifted) {
  const __m128i truncated = _mm_cvttpd_epi32(shifted);
  const __m128d above = _mm_cmpgt_pd(_mm_cvtepi32_pd(truncated), shifted);
  const __m128i aboveLow = _mm_shuffle_epi32(_mm_castpd_si128(above), _MM_SHUFFLE(3, 3, 2, 0));
  return _mm_add_epi32(truncated, aboveLow);
}

// Writes the low 16 bits of four int32 as four little-endian codes. Sign-extending the low
// halves first makes the saturating pack exact; x86 stores the lanes lowest first and each
// lane little-endian, which is the codes' byte order, all eight bytes in one store.
inline void PutLowHalvesOfFour(__m128i firstPair, __m128i secondPair, uint8_t* out) {
  const __m128i four = _mm_unpacklo_epi64(firstPair, secondPair);
  const __m128i low = _mm_srai_epi32(_mm_slli_epi32(four, 16), 16);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packs_epi32(low, low));
}

}  // namespace rounded_code_detail
#endif

// Writes LowBitsOfRoundedCode(values[i] * lines[i].slope + lines[i].offset) for i < count as
// little-endian 16-bit codes. Four values at a time are mapped, checked against ±2^31 once and
// rounded without a branch; only a group holding a value beyond that range, not-a-number or an
// infinity takes the scalar routine.
inline void PutRoundedCodes(const double* values, const CodeLine* lines, size_t count, uint8_t* out) {
  size_t done = 0;
#if defined(__SSE2__)
  using namespace rounded_code_detail;
  for (; done + 4 <= count; done += 4, out += 8) {
    const __m128d first = ShiftedPair(values + done, lines + done);
    const __m128d second = ShiftedPair(values + done + 2, lines + done + 2);
    const __m128d inRange = _mm_and_pd(InTruncationRange(first), InTruncationRange(second));
    if (_mm_movemask_pd(inRange) == 3) {
      PutLowHalvesOfFour(FloorPair(first), FloorPair(second), out);
    } else {
      PutRoundedCodesOneByOne(values + done, lines + done, 4, out);
    }
  }
#endif
  PutRoundedCodesOneByOne(values + done, lines + done, count - done, out);
}

}  // namespace travune
