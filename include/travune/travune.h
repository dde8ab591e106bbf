/* Travune public C API: convert data-acquisition recordings (a description file plus a raw
 * data file of interleaved scans) into analysis formats. This is the only header users include. */
#ifndef TRAVUNE_TRAVUNE_H
#define TRAVUNE_TRAVUNE_H

#include <stdint.h>

#ifdef __cplusplus
#define TRAVUNE_EXTERN_C extern "C"
#else
#define TRAVUNE_EXTERN_C
#endif

#if defined(_WIN32)
#if defined(TRAVUNE_BUILDING_LIBRARY)
#define TRAVUNE_VISIBLE __declspec(dllexport)
#else
#define TRAVUNE_VISIBLE __declspec(dllimport)
#endif
#if !defined(_WIN64)
#define TRAVUNE_CALL __stdcall
#else
#define TRAVUNE_CALL
#endif
#else
#define TRAVUNE_VISIBLE __attribute__((visibility("default")))
#define TRAVUNE_CALL
#endif

/* Every exported function is declared with this macro: C linkage, exported, and the
 * standard Windows calling convention on 32-bit Windows. */
#define TRAVUNE_API(ret) TRAVUNE_EXTERN_C TRAVUNE_VISIBLE ret TRAVUNE_CALL

/* ---- Source type ids (cvtReadBinDescFile) -------------------------------------------- */
enum {
  TRAVUNE_SRC_BRENLOW = 2,
  TRAVUNE_SRC_MORVANE = 3,
  TRAVUNE_SRC_TARQUIL = 4,
  TRAVUNE_SRC_QUILLON = 5,
  TRAVUNE_SRC_CELDRIN = 6,
  TRAVUNE_SRC_VEXMOOR = 7,
  TRAVUNE_SRC_THRENIX = 8
};

/* ---- Target format ids (cvtInitDataFileEx and friends) --------------------------------- */
enum {
  TRAVUNE_FMT_HALVARD = 2,
  TRAVUNE_FMT_ASCII = 3,
  TRAVUNE_FMT_SNAPMASTER = 4,
  TRAVUNE_FMT_DADISP = 5,
  TRAVUNE_FMT_DASYLAB = 6,
  TRAVUNE_FMT_DIADEM = 7,
  TRAVUNE_FMT_MATLAB = 8,
  TRAVUNE_FMT_FLOAT32 = 9,
  TRAVUNE_FMT_TEXT = 10,
  TRAVUNE_FMT_UFF58_ASCII = 11,
  TRAVUNE_FMT_UFF58_BINARY = 12,
  TRAVUNE_FMT_WAV = 13,
  TRAVUNE_FMT_MESCOPE = 14,
  TRAVUNE_FMT_PERNIX = 15
};

/* Format kinds reported by the registry queries. */
enum { TRAVUNE_KIND_SOURCE = 1, TRAVUNE_KIND_TARGET = 2, TRAVUNE_KIND_RESERVED_TARGET = 6 };

/* Conversion flags of cvtInitDataFileEx. */
enum {
  TRAVUNE_FLAG_SCAN_TIMES = 1, /* spreadsheet and Halvard writers add scan times */
  TRAVUNE_FLAG_OWN_STAMPS = 2  /* sources with stamps in the data read every scan's own stamp */
};

/* Status codes of the conversion functions. */
enum {
  TRAVUNE_ERR_FAILED = -1,          /* no memory, or a writer or output-write failure */
  TRAVUNE_ERR_BAD_FORMAT_ID = -2,   /* not a target format id */
  TRAVUNE_ERR_DISK_SPACE = -1000,   /* not enough free disk space for the output */
  TRAVUNE_ERR_DESC_READ = -1001,    /* the description file could not be read completely */
  TRAVUNE_ERR_DATA_READ = -1002,    /* the data file is too large, or reading it failed */
  TRAVUNE_ERR_WRITER = -1003,       /* writer or header file could not be created, or finishing failed */
  TRAVUNE_ERR_DATA_CREATE = -1004,  /* the output data file could not be created / is not open */
  TRAVUNE_ERR_DESC_OPEN = -1005,    /* the description file could not be opened */
  TRAVUNE_ERR_SOURCE = -1006,       /* data file could not be opened, or unknown source type */
  TRAVUNE_ERR_DESC_INVALID = -1007  /* the description was not accepted */
};

/* ---- Conversion session ------------------------------------------------------------ */

/* Opens a description file and its raw data file and makes them the current source.
 * Returns the data-file size in bytes, or a negative status. */
TRAVUNE_API(int32_t) cvtReadBinDescFile(const char* descName, const char* dataName, int32_t sourceType);
/* Same as cvtInitDataFileEx with flags 0. */
TRAVUNE_API(int32_t) cvtInitDataFile(const char* headerName, const char* dataName, int32_t formatId);
/* Creates the writer for formatId and the output file(s). Returns 0 or a negative status. */
TRAVUNE_API(int32_t) cvtInitDataFileEx(const char* headerName, const char* dataName, int32_t formatId,
                                       uint32_t flags);
/* Narrows the open conversion to numScans scans from firstScan. Always 0. */
TRAVUNE_API(int32_t) cvtSetBinDataBlock(uint32_t firstScan, uint32_t numScans, uint32_t unused);
/* Converts one block. Returns the percentage done (0..100) or a negative status. */
TRAVUNE_API(int32_t) cvtConvertBinData(int32_t formatId);
/* Finishes the writer and closes the output files. 0, or -1003 when finishing failed. */
TRAVUNE_API(int32_t) cvtCloseDataFile(int32_t formatId);
/* Closes every open file and releases the current source. Always 0. */
TRAVUNE_API(int32_t) cvtReleaseResources(void);
/* Facts of the current source; -1 without one. */
TRAVUNE_API(int32_t) cvtGetNumChansUser(void);
TRAVUNE_API(int32_t) cvtGetScanSize(void);
TRAVUNE_API(int32_t) cvtGetNumScans(void);

/* ---- Format registry ------------------------------------------------------------------ */

/* Writes the version text "2.5.6" (bounded to size characters) and returns 0x00060502. */
TRAVUNE_API(int32_t) cvtGetVersion(char* buffer, int32_t size);
/* Number of target formats (14). */
TRAVUNE_API(int32_t) cvtGetMaxFormats(void);
/* Describes a format; flags bit 0 selects the source section. 1 when found, -1 when not. */
TRAVUNE_API(int32_t) cvtGetFormatById(int32_t id, int32_t flags, char* displayName, char* ext1, char* ext2,
                                      char* shortName, int32_t* kind);
TRAVUNE_API(int32_t) cvtGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1,
                                         char* ext2, char* shortName, int32_t* kind, int32_t* id);
/* Adjusts the last path component of fileName in place to the format's naming rules. */
TRAVUNE_API(char*) cvtGetFmtFileName(int32_t formatId, char* fileName);

/* ---- Travune extensions ------------------------------------------------------------- */

/* Guesses the source type of a description file from its name and content. Returns the
 * source type id, or -1 when no type fits. When several recognisers accept the file the
 * evidence decides (valid channel records, data-file size a whole number of scans). A
 * one-line explanation is written to why (bounded to whySize bytes) when given. */
TRAVUNE_API(int32_t) tvnGuessSourceType(const char* descName, char* why, int32_t whySize);

/* Facts of the current conversion source. Texts are bounded to their sizes; any pointer may
 * be null. Returns 0, or -1 without a source. */
TRAVUNE_API(int32_t) tvnGetSourceInfo(char* appTitle, int32_t titleSize, char* version, int32_t versionSize,
                                      double* preTrigRate, double* postTrigRate, int32_t* preTrigCount,
                                      int32_t* progScans, int32_t* timeKind);
/* Facts of one channel of the current conversion source. Returns 0, -1 without a source,
 * -5 for a channel out of range. */
TRAVUNE_API(int32_t) tvnGetChanInfo(int32_t chan, char* label, int32_t labelSize, char* units, int32_t unitsSize,
                                    double* lower, double* upper, int32_t* precision);
/* Scan time of the current source: 0 and *days set, or -1. With stamps in the data the scan's
 * block must be current; use it on scan 0 and the trigger scan (cached at open). */
TRAVUNE_API(int32_t) tvnGetScanTime(uint32_t scan, double* days);

/* Time kinds reported by tvnGetSourceInfo. */
enum { TRAVUNE_TIME_UNTIMED = 0, TRAVUNE_TIME_RELATIVE = 1, TRAVUNE_TIME_ABSOLUTE = 2 };

#endif /* TRAVUNE_TRAVUNE_H */
