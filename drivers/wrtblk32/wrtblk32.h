/* WrtBlk32 block-writer library (our own build): one data block held in memory, described and
 * filled through these entries, then written as a tab-separated "Data Block" text file. */
#ifndef WRTBLK32_WRTBLK32_H
#define WRTBLK32_WRTBLK32_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define WRTBLK32_API __declspec(dllexport)
#else
#define WRTBLK32_API __attribute__((visibility("default")))
#endif

/* Every entry returns a 16-bit status: 0 for success, non-zero for a refused call. Numbers are
 * passed by address, except the sample number, which is passed by value. Traces and samples
 * are numbered from 1. Texts are null-terminated and copied. */

/* Empties the block: no traces, no samples, every setting back to its default. */
WRTBLK32_API int16_t INITIALIZEWRTBLOCK(void);
/* The library's major version: 3. */
WRTBLK32_API int16_t GETWRTBLOCKVERSION(void);

/* 1: uniform (x = (sample - 1 - start) * increment); 2: non-uniform (x given per sample). */
WRTBLK32_API int16_t SETDATABLOCKXAXISSPACING(const int16_t* spacing);
/* 0: real values; the only format this library holds. */
WRTBLK32_API int16_t SETDATABLOCKTRACEDATAFORMAT(const int16_t* format);
/* 1 to 32767 traces. Clears the samples: the number of samples is set again afterwards. */
WRTBLK32_API int16_t SETDATABLOCKNUMBEROFTRACES(const int32_t* traces);
/* Reserves traces x samples values and samples x values, all 0. Non-zero when the traces are not
 * set, the count is negative or the block would not fit in memory. */
WRTBLK32_API int16_t SETDATABLOCKNUMBEROFSAMPLES(const int32_t* samples);
/* Uniform spacing: the number of samples that lie before x = 0. */
WRTBLK32_API int16_t SETDATABLOCKXAXISSTART(const int32_t* start);
/* Uniform spacing: the x distance between two samples. */
WRTBLK32_API int16_t SETDATABLOCKXAXISINCREMENT(const float* increment);
WRTBLK32_API int16_t SETDATABLOCKLABEL(const char* label);
WRTBLK32_API int16_t SETDATABLOCKXAXISUNITS(const char* units);
/* 1: time waveform; the only measurement type this library writes. */
WRTBLK32_API int16_t SETDATABLOCKMEASUREMENTTYPE(const int16_t* type);
/* Accepted for compatibility; the block file has no use for the peak/RMS code. */
WRTBLK32_API int16_t SETDATABLOCKPEAKRMS(const int16_t* code);
WRTBLK32_API int16_t SETTRACELABEL(const int16_t* trace, const char* label);
WRTBLK32_API int16_t SETTRACEMEASUREMENTUNITS(const int16_t* trace, const char* units);
/* Non-uniform spacing only: the x value of one sample. */
WRTBLK32_API int16_t SETDATABLOCKXAXISVALUE(int32_t sample, const float* x);
/* One value of one trace; imaginary is the imaginary part of complex formats, unused for real. */
WRTBLK32_API int16_t SETTRACESAMPLEVALUE(const int16_t* trace, int32_t sample, const float* value,
                                         const float* imaginary);
/* Writes the block to path (created or replaced). Non-zero when no traces or samples were set, or
 * the file cannot be written or is held locked by another open. The block stays in memory until
 * INITIALIZEWRTBLOCK. */
WRTBLK32_API int16_t OUTPUTDATABLOCK(const char* path);

#ifdef WRTBLK32_FAIL_ON_DEMAND
/* Only in the test build libwrtblk32_failing.so: after `successes` more successful calls of the
 * entry named `entry`, every further call of it returns `result` (GETWRTBLOCKVERSION reports it
 * as the version) or, when `raise` is non-zero, throws instead of returning. A null or empty
 * entry name clears the failure. */
WRTBLK32_API void WRTBLK32INJECTFAILURE(const char* entry, int32_t successes, int16_t result, int16_t raise);
#endif

#ifdef __cplusplus
}
#endif

#endif /* WRTBLK32_WRTBLK32_H */
