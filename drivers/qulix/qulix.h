/* Qulix acquisition driver library (our stand-in): sample conversions the acquisition
 * applications' raw data needs, with the maker's argument lists and 0-for-success results. */
#ifndef QULIX_QULIX_H
#define QULIX_QULIX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* On Windows the entries are exported by ordinal through qulix.def. */
#if defined(_WIN32)
#define QULIX_API
#else
#define QULIX_API __attribute__((visibility("default")))
#endif

typedef int32_t (*QlxCallback)(int32_t, int32_t);

/* Results of the entries: 0 for success, otherwise the reason. */
#define QLX_OK 0
#define QLX_ERR_ARGUMENT 1 /* a null address or a word count other than 1 or 2 */
#define QLX_ERR_SENSOR 2   /* a thermocouple kind other than 1..8 */
#define QLX_ERR_RANGE 3    /* a reading or a reference outside the sensor's range */

/* Ordinal 5: registers the caller's callback; keeps the pointer. Returns 0. */
QULIX_API int32_t QlxRegisterCallback(QlxCallback callback);

/* Ordinal 170: thermocouple temperature. gain (0 counts as 1) divides the measured voltage;
 * the low byte of kind is the sensor type (1 J, 2 K, 3 T, 4 E, 5 R, 6 S, 7 B, 8 N). words
 * holds numWords unsigned 16-bit little-endian codes: with 2, the cold-junction reference
 * code then the thermocouple code; with 1, the thermocouple code (cold junction at 0 °C).
 * Writes the temperature in tenths of °C (signed 16-bit, little-endian) at out.
 * Returns 0, or non-zero for an unknown type, a bad word count or a value out of range. */
QULIX_API int32_t QlxThermocouple(int32_t a0, int32_t a1, int32_t a2, int32_t gain, int32_t kind, int32_t a5,
                                  const void* words, int32_t a7, void* out, int32_t numWords);

/* Ordinal 190: 4-wire Pt100 RTD. words holds four unsigned codes s_hi, s_lo, r_hi, r_lo;
 * R = 400 ohm * (s_hi - s_lo) / (r_hi - r_lo). Writes tenths of °C (signed 16-bit) at out.
 * Returns 0, or non-zero when r_hi = r_lo or the temperature lies outside -200..850 °C. */
QULIX_API int32_t QlxRtd(int32_t a0, int32_t a1, int32_t a2, int32_t gain, int32_t a4, const void* words,
                         int32_t a6, void* out, int32_t a8);

/* Ordinal 173: unpacks count * channels 12-bit samples, packed four to six bytes, in place
 * into 16-bit little-endian words (sample << 4), starting at the block's first byte.
 * count or channels <= 0 does nothing. Returns 0, or QLX_ERR_ARGUMENT for a null block. */
QULIX_API int32_t QlxUnpack12(void* block, int32_t a1, int32_t count, int32_t count2, int32_t channels);

#ifdef __cplusplus
}
#endif

#endif /* QULIX_QULIX_H */
