/* Travune public C API: convert data-acquisition recordings (a description file plus a raw
 * data file of interleaved scans) into analysis formats. This is the only header users include. */
#ifndef TRAVUNE_TRAVUNE_H
#define TRAVUNE_TRAVUNE_H

#include <stdint.h>

#ifdef __cplusplus
#define TRAVUNE_EXTERN_C extern "C"
#define TRAVUNE_NOEXCEPT noexcept
#else
#define TRAVUNE_EXTERN_C
#define TRAVUNE_NOEXCEPT
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
 * standard Windows calling convention on 32-bit Windows. TRAVUNE_NOEXCEPT after a declaration
 * tells C++ callers that no exception leaves the function; failures come back as statuses. */
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
  TRAVUNE_FMT_PERNIX = 15,
  TRAVUNE_FMT_HDF5 = 16 /* handle API only (tvnConvOpen); present when built with HDF5 */
};

/* Format kinds reported by the registry queries. */
enum { TRAVUNE_KIND_SOURCE = 1, TRAVUNE_KIND_TARGET = 2, TRAVUNE_KIND_RESERVED_TARGET = 6 };

/* Conversion flags of cvtInitDataFileEx. */
enum {
  TRAVUNE_FLAG_SCAN_TIMES = 1, /* spreadsheet and Halvard writers add scan times */
  TRAVUNE_FLAG_OWN_STAMPS = 2, /* sources with stamps in the data read every scan's own stamp */
  TRAVUNE_FLAG_COMPRESS = 4,   /* HDF5: gzip-compressed datasets */
  TRAVUNE_FLAG_ONE_THREAD = 8  /* handle API: read, format and write on the calling thread only */
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
TRAVUNE_API(int32_t) cvtReadBinDescFile(const char* descName, const char* dataName,
                                        int32_t sourceType) TRAVUNE_NOEXCEPT;
/* Same as cvtInitDataFileEx with flags 0. */
TRAVUNE_API(int32_t) cvtInitDataFile(const char* headerName, const char* dataName,
                                     int32_t formatId) TRAVUNE_NOEXCEPT;
/* Creates the writer for formatId and the output file(s). Returns 0 or a negative status. */
TRAVUNE_API(int32_t) cvtInitDataFileEx(const char* headerName, const char* dataName, int32_t formatId,
                                       uint32_t flags) TRAVUNE_NOEXCEPT;
/* Narrows the open conversion to numScans scans from firstScan. Always 0. */
TRAVUNE_API(int32_t) cvtSetBinDataBlock(uint32_t firstScan, uint32_t numScans, uint32_t unused) TRAVUNE_NOEXCEPT;
/* Converts one block. Returns the percentage done (0..100) or a negative status. */
TRAVUNE_API(int32_t) cvtConvertBinData(int32_t formatId) TRAVUNE_NOEXCEPT;
/* Finishes the writer and closes the output files. 0, or -1003 when finishing failed. */
TRAVUNE_API(int32_t) cvtCloseDataFile(int32_t formatId) TRAVUNE_NOEXCEPT;
/* Closes every open file and releases the current source. Always 0. */
TRAVUNE_API(int32_t) cvtReleaseResources(void) TRAVUNE_NOEXCEPT;
/* Facts of the current source; -1 without one. */
TRAVUNE_API(int32_t) cvtGetNumChansUser(void) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) cvtGetScanSize(void) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) cvtGetNumScans(void) TRAVUNE_NOEXCEPT;

/* ---- Format registry ------------------------------------------------------------------ */

/* Writes the version text "2.5.6" (bounded to size characters) and returns 0x00060502. */
TRAVUNE_API(int32_t) cvtGetVersion(char* buffer, int32_t size) TRAVUNE_NOEXCEPT;
/* Number of target formats (14). */
TRAVUNE_API(int32_t) cvtGetMaxFormats(void) TRAVUNE_NOEXCEPT;
/* Describes a format; flags bit 0 selects the source section. 1 when found, -1 when not. */
TRAVUNE_API(int32_t) cvtGetFormatById(int32_t id, int32_t flags, char* displayName, char* ext1, char* ext2,
                                      char* shortName, int32_t* kind) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) cvtGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1,
                                         char* ext2, char* shortName, int32_t* kind, int32_t* id) TRAVUNE_NOEXCEPT;
/* Adjusts the last path component of fileName in place to the format's naming rules. */
TRAVUNE_API(char*) cvtGetFmtFileName(int32_t formatId, char* fileName) TRAVUNE_NOEXCEPT;

/* ---- Travune extensions ------------------------------------------------------------- */

/* The id of a format named by text in the section that flags bit 0 selects (set: source types,
 * clear: target formats): its name ("morvane", "Float32") or display name in any case, a
 * target's short name, or its decimal id. -1 when no row has that name. */
TRAVUNE_API(int32_t) tvnFormatIdFromName(const char* name, int32_t flags) TRAVUNE_NOEXCEPT;
/* The name users type for a format of the section (the application name of a source type,
 * "morvane"; the short name of a target format, "Float32"), or null for an unknown id. */
TRAVUNE_API(const char*) tvnFormatName(int32_t id, int32_t flags) TRAVUNE_NOEXCEPT;
/* cvtGetFormatByIndex over every format of the section the handle API knows: the target
 * section adds the formats only tvnConvOpen writes (HDF5) after the fourteen exported ones. */
TRAVUNE_API(int32_t) tvnGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1, char* ext2,
                                         char* shortName, int32_t* kind, int32_t* id) TRAVUNE_NOEXCEPT;

/* Guesses the source type of a description file from its name and content. Returns the
 * source type id, or -1 when no type fits. When several recognisers accept the file the
 * evidence decides (valid channel records, data-file size a whole number of scans). A
 * one-line explanation is written to why (bounded to whySize bytes) when given. */
TRAVUNE_API(int32_t) tvnGuessSourceType(const char* descName, char* why, int32_t whySize) TRAVUNE_NOEXCEPT;

/* Facts of the current conversion source. Texts are bounded to their sizes; any pointer may
 * be null. Returns 0, or -1 without a source. */
TRAVUNE_API(int32_t) tvnGetSourceInfo(char* appTitle, int32_t titleSize, char* version, int32_t versionSize,
                                      double* preTrigRate, double* postTrigRate, int32_t* preTrigCount,
                                      int32_t* progScans, int32_t* timeKind) TRAVUNE_NOEXCEPT;
/* Facts of one channel of the current conversion source. Returns 0, -1 without a source,
 * -5 for a channel out of range. */
TRAVUNE_API(int32_t) tvnGetChanInfo(int32_t chan, char* label, int32_t labelSize, char* units, int32_t unitsSize,
                                    double* lower, double* upper, int32_t* precision) TRAVUNE_NOEXCEPT;
/* Scan time of the current source: 0 and *days set, or -1. With stamps in the data the scan's
 * block must be current; use it on scan 0 and the trigger scan (cached at open). */
TRAVUNE_API(int32_t) tvnGetScanTime(uint32_t scan, double* days) TRAVUNE_NOEXCEPT;

/* Time kinds reported by tvnGetSourceInfo. */
enum { TRAVUNE_TIME_UNTIMED = 0, TRAVUNE_TIME_RELATIVE = 1, TRAVUNE_TIME_ABSOLUTE = 2 };


/* ---- The handle API: any size, any channel subset, many at once ------------------------
 * Acquisitions and conversions behind opaque handles, 64-bit counts, no process-wide state:
 * different handles may be used from different threads at the same time; one handle (an
 * acquisition together with the conversions made from it) is used by one thread at a time.
 * Every function returns a tvnStatus; tvnStatusText says it in words. */

typedef enum tvnStatus {
  TVN_OK = 0,
  TVN_ERR_ARGUMENT = 1,         /* a null pointer, a channel, scan range or id out of range */
  TVN_ERR_NO_MEMORY = 2,        /* memory could not be had */
  TVN_ERR_DESC_OPEN = 3,        /* the description file cannot be opened */
  TVN_ERR_DATA_OPEN = 4,        /* the data file cannot be opened (missing, unreadable or held) */
  TVN_ERR_DESC_READ = 5,        /* the description file cannot be read completely */
  TVN_ERR_DESC_INVALID = 6,     /* the description is not one the source type accepts */
  TVN_ERR_UNKNOWN_TYPE = 7,     /* no source type recognises the description */
  TVN_ERR_DATA_READ = 8,        /* reading the data file failed or came short */
  TVN_ERR_OUTPUT_CREATE = 9,    /* an output file cannot be created */
  TVN_ERR_OUTPUT_WRITE = 10,    /* writing an output file failed (disk full, file too large) */
  TVN_ERR_DISK_SPACE = 11,      /* not enough free space for the output */
  TVN_ERR_WRITER = 12,          /* the target format cannot be written from this acquisition */
  TVN_ERR_CANCELLED = 13,       /* the progress callback asked to stop */
  TVN_ERR_NO_TIMES = 14,        /* the acquisition has no times for these scans */
  TVN_ERR_FAILED = 15           /* anything else */
} tvnStatus;

typedef struct tvnAcq tvnAcq;
typedef struct tvnConv tvnConv;

/* The words of a status ("the data file cannot be opened"); never null. */
TRAVUNE_API(const char*) tvnStatusText(int32_t status) TRAVUNE_NOEXCEPT;

/* Opens an acquisition. sourceType 0 guesses the type from the description; dataName null
 * finds the data file beside the description (its extension .bin, or .hxt for Celdrin, in any
 * case). On success *acq is a new handle for tvnAcqClose. */
TRAVUNE_API(int32_t) tvnAcqOpen(const char* descName, const char* dataName, int32_t sourceType, tvnAcq** acq) TRAVUNE_NOEXCEPT;
/* Closes the handle and its files; null is ignored. Conversions made from it must be closed first. */
TRAVUNE_API(void) tvnAcqClose(tvnAcq* acq) TRAVUNE_NOEXCEPT;

typedef struct tvnAcqInfo {
  int32_t sourceType;        /* source type id (TRAVUNE_SRC_*) */
  int32_t channels;
  int64_t scans;             /* scans the source counts: the whole scans in the data file, or for
                                a source that counts what its description programs (Tarquil)
                                that count, even where the file holds fewer (reads past the
                                file's end, and conversions of such scans, fail with
                                TVN_ERR_DATA_READ) */
  int64_t programmedScans;   /* scans the description programs */
  int64_t scanBytes;         /* bytes of one raw scan */
  int64_t dataBytes;         /* size of the data file */
  int64_t preTrigScans;      /* index of the trigger scan */
  double preTrigRate;        /* scans per second before and after the trigger */
  double postTrigRate;
  int32_t timeKind;          /* TRAVUNE_TIME_UNTIMED, _RELATIVE or _ABSOLUTE */
  int32_t stampsInData;      /* 1 when scan times come from stamps in the data */
  char appTitle[32];
  char descVersion[32];
} tvnAcqInfo;

typedef struct tvnChanInfo {
  char label[64];
  char units[64];
  double lower;
  double upper;
  int32_t precision;         /* digits right of the decimal point */
} tvnChanInfo;

TRAVUNE_API(int32_t) tvnAcqGetInfo(tvnAcq* acq, tvnAcqInfo* info) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) tvnAcqGetChanInfo(tvnAcq* acq, int32_t chan, tvnChanInfo* info) TRAVUNE_NOEXCEPT;
/* *valid becomes 1 when the channel records are ones the recording application writes, 0 when
 * not (a file of another type, or one cut short). */
TRAVUNE_API(int32_t) tvnAcqChannelRecordsValid(tvnAcq* acq, int32_t* valid) TRAVUNE_NOEXCEPT;
/* Scan times of count scans from first: seconds from the trigger scan for relative sources,
 * days since 30 December 1899 for absolute ones (timeKind says which), scan counts from the
 * trigger for untimed sources. */
TRAVUNE_API(int32_t) tvnAcqGetScanTimes(tvnAcq* acq, int64_t first, int64_t count, double* times) TRAVUNE_NOEXCEPT;
/* Scaled values of count scans from first, for the listed channels (null: every channel, and
 * numChans is ignored), scan after scan: count × channels values. The float32 values are the
 * bits the raw-float conversion writes. */
TRAVUNE_API(int32_t) tvnAcqReadFloat32(tvnAcq* acq, int64_t first, int64_t count, const int32_t* chans,
                                       int32_t numChans, float* values) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) tvnAcqReadFloat64(tvnAcq* acq, int64_t first, int64_t count, const int32_t* chans,
                                       int32_t numChans, double* values) TRAVUNE_NOEXCEPT;

/* A conversion of an acquisition into a target format. */
typedef struct tvnConvOptions {
  int32_t format;            /* target format id (TRAVUNE_FMT_*) */
  const char* dataName;      /* the output data file */
  const char* headerName;    /* the header file of formats with one; null: the data file's name
                                with the format's second extension */
  uint32_t flags;            /* TRAVUNE_FLAG_SCAN_TIMES, TRAVUNE_FLAG_OWN_STAMPS */
  int64_t first;             /* first scan to convert */
  int64_t count;             /* scans to convert; -1: to the end */
  const int32_t* chans;      /* the channels to convert, in this order; null: every channel */
  int32_t numChans;
} tvnConvOptions;

/* Progress: done and total scans; return non-zero to cancel. */
typedef int32_t (*tvnProgressFn)(int64_t done, int64_t total, void* user);

/* Creates the writer and the output files and writes the headers, which announce exactly the
 * scans and channels chosen. Scans the data file does not hold (a Tarquil description may program
 * more) fail with TVN_ERR_DATA_READ here, before any file is created. */
TRAVUNE_API(int32_t) tvnConvOpen(tvnAcq* acq, const tvnConvOptions* options, tvnConv** conv) TRAVUNE_NOEXCEPT;
/* Converts one block; *done (optional) becomes the scans converted so far. TVN_OK with
 * *done equal to the total means finished. Without TRAVUNE_FLAG_ONE_THREAD the block may still be
 * being written on return: a failed write is reported by the next tvnConvStep or tvnConvFinish,
 * the data file then ends after the last whole block written, and every later call reports it. */
TRAVUNE_API(int32_t) tvnConvStep(tvnConv* conv, int64_t* done) TRAVUNE_NOEXCEPT;
/* Converts every remaining block, calling progress (optional) after each. */
TRAVUNE_API(int32_t) tvnConvRun(tvnConv* conv, tvnProgressFn progress, void* user) TRAVUNE_NOEXCEPT;
/* Finishes the output files; then the handle only answers tvnConvClose. */
TRAVUNE_API(int32_t) tvnConvFinish(tvnConv* conv) TRAVUNE_NOEXCEPT;
/* Releases the handle; an unfinished conversion's files are closed as they are. */
TRAVUNE_API(void) tvnConvClose(tvnConv* conv) TRAVUNE_NOEXCEPT;


/* ---- Binary descriptors: raw values of an acquisition held in memory --------------------
 * A caller describes an acquisition with the records a Morvane (type 3) or Tarquil (type 4)
 * description file holds and converts raw samples to user units and back, without any file.
 * There is one descriptor per process. Records are little-endian and byte-packed:
 *   type 3: a 32-byte header and 56-byte channel records;
 *   type 4: a 26-byte header and 38-byte channel records.
 * Callers that cannot pass the channel records in one piece build them one by one:
 * cvtVbAllocBdc(type, n); cvtVbBuildBdc(i, record i) for each i; then cvtSetBinDesc(type,
 * header, NULL) or cvtSetScanDesc(type, n, NULL), which take the built records over. */

/* Status codes of the binary-descriptor functions. */
enum {
  TRAVUNE_BDC_OK = 0,
  TRAVUNE_BDC_NO_BUFFER = -1,        /* the build buffer could not be allocated; a pointer the call
                                        needs (raw values, the result) is null */
  TRAVUNE_BDC_NO_RECORDS = -2,       /* no channel records: no build buffer, one of another type or
                                        with fewer records than asked for, a build index out of
                                        range, or a type other than 3 and 4 for the build buffer */
  TRAVUNE_BDC_NO_DESCRIPTOR = -1001, /* no descriptor has been set */
  TRAVUNE_BDC_BAD_TYPE = -1006       /* a type other than 3 and 4, or the descriptor could not be made */
};

/* Replaces the descriptor by one built from a header and its channel records (NULL: the built
 * records). A replaced descriptor is gone even when the new one cannot be made. */
TRAVUNE_API(int32_t) cvtSetBinDesc(int32_t sourceType, const void* header, const void* channels) TRAVUNE_NOEXCEPT;
/* The same from a channel count alone: no rates, no trigger, no packing; for value conversions. */
TRAVUNE_API(int32_t) cvtSetScanDesc(int32_t sourceType, int32_t numChans, const void* channels) TRAVUNE_NOEXCEPT;
/* Scales scans 0 .. scans - 1 of raw (in the source type's raw layout; packed Tarquil samples in
 * whole six-byte groups) into out: scans x channels floats, scan after scan. raw is only read. */
TRAVUNE_API(int32_t) cvtCvtBinData(int32_t reserved, int32_t scans, const void* raw, float* out) TRAVUNE_NOEXCEPT;
/* Does nothing; the descriptor stays. Always 0. */
TRAVUNE_API(int32_t) cvtEndBinDesc(int32_t reserved) TRAVUNE_NOEXCEPT;
/* One raw value (its low 16 bits are the sample) of a channel in user units. */
TRAVUNE_API(int32_t) cvtCvtBinToUser(int32_t reserved, int32_t chan, uint32_t raw, double* user) TRAVUNE_NOEXCEPT;
/* One user value back to a raw count; only Tarquil channels that are not reciprocal convert,
 * any other gives 0. */
TRAVUNE_API(int32_t) cvtCvtUserToBin(int32_t reserved, int32_t chan, double user, uint32_t* raw) TRAVUNE_NOEXCEPT;
/* Allocates the build buffer for count channel records of sourceType (replacing an earlier one). */
TRAVUNE_API(int32_t) cvtVbAllocBdc(int32_t sourceType, int32_t count) TRAVUNE_NOEXCEPT;
/* Copies one channel record into slot index (0 .. count - 1) of the build buffer. */
TRAVUNE_API(int32_t) cvtVbBuildBdc(int32_t index, const void* record) TRAVUNE_NOEXCEPT;

/* ---- Data File Access: scaled data of many acquisitions at once, by handle --------------
 * dfaOpen opens an acquisition by its description file (the data file is the description's
 * name with the extension ".bin", or ".hxt" for Celdrin, beside it) and returns a handle, the
 * lowest free one from 0 up. Both files stay open, held exclusively, until dfaClose. Every
 * function returns a dfaErrorT (dfaOpen a handle or a negative dfaErrorT); the status of a
 * session's last query or read is kept for dfaGetLastErrorCode. */

/* The type of acquisition to open. */
typedef enum dfaSourceDataT {
  sdUnknown = 1, /* detect it: Morvane, Quillon, Tarquil (".dsc"), Celdrin (".hx$"), Brenlow (".dsc") */
  sdBrenlow = 2,
  sdMorvane = 3,
  sdTarquil = 4,
  sdQuillon = 5,
  sdCeldrin = 6
} dfaSourceDataT;

/* dfaGetAcqInfo requests; the answer's type and lOption's meaning follow each. */
typedef enum dfaAcqInfoT {
  acqScanTimeAbs = 0,    /* double: date (days since 30 December 1899) of scan lOption */
  acqScanTimeRel = 1,    /* double: seconds of scan lOption from the reference scan */
  acqNumChans = 2,       /* int32_t */
  acqNumScans = 3,       /* int32_t: scans in the data file */
  acqNumProgScans = 4,   /* int32_t: scans the description programs */
  acqScanSize = 5,       /* int32_t: bytes of one scan of scaled values (4 x channels) */
  acqSampleSize = 6,     /* int32_t: 4, the bytes of one float */
  acqPreTrigRate = 7,    /* double: scans per second */
  acqPostTrigRate = 8,   /* double */
  acqPreTrigCount = 9,   /* int32_t: index of the trigger scan */
  acqAppTitle = 10,      /* text into lOption bytes */
  acqAppTitleLength = 11, /* int32_t: length of the title + 1 */
  acqSourceDataType = 12 /* int32_t: the dfaSourceDataT opened (the detected one for sdUnknown) */
} dfaAcqInfoT;

/* dfaGetChanInfo requests. */
typedef enum dfaChanInfoT {
  chnRangeUpper = 0,  /* double: upper limit in user units */
  chnRangeLower = 1,  /* double */
  chnPrecision = 2,   /* int32_t: digits right of the decimal point */
  chnLabel = 3,       /* text into lOption bytes */
  chnUnits = 4,       /* text into lOption bytes */
  chnLabelLength = 5, /* int32_t: length of the label + 1 */
  chnUnitsLength = 6  /* int32_t: length of the units + 1 */
} dfaChanInfoT;

typedef enum dfaErrorT {
  errNoError = 0,
  errInvalidDataType = -1,  /* a type outside 1 to 6, or no type detected */
  errInvalidFileName = -2,  /* description or data file missing, unreadable or held open */
  errInvalidRequest = -3,
  errInvalidOption = -4,    /* a text buffer length below 1, or no time for the scan */
  errInvalidChannel = -5,
  errInvalidOffset = -6,    /* the scan lies at byte 2^31 or beyond */
  errInvalidCount = -7,     /* not returned */
  errInvalHandle = -8,
  errInvalidPointer = -9,   /* the buffer is not writable for what is asked */
  errAlreadyOpen = -10,     /* not returned: a held file gives errInvalidFileName */
  errMemoryAllocation = -11,
  errFileRead = -12,        /* a file could not be read, or came short */
  errBadHeaderFormat = -13  /* the description is not one of the type asked for */
} dfaErrorT;

/* The channel argument of dfaGetData: a channel number, or every channel. */
typedef enum dfaChanSpecT { csAllChans = -1 } dfaChanSpecT;

TRAVUNE_API(int32_t) dfaOpen(const char* pDescFile, int32_t sdtType) TRAVUNE_NOEXCEPT;
/* 1 when dHdl named an open session, now closed; 0 otherwise. */
TRAVUNE_API(int32_t) dfaClose(int32_t dHdl) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) dfaGetLastErrorCode(int32_t dHdl) TRAVUNE_NOEXCEPT;
/* Text answers are cut to lOption - 1 characters, NUL-filled to lOption bytes. */
TRAVUNE_API(int32_t) dfaGetAcqInfo(int32_t dHdl, int32_t typeInfo, int32_t lOption, void* pInfoBuf) TRAVUNE_NOEXCEPT;
TRAVUNE_API(int32_t) dfaGetChanInfo(int32_t dHdl, int32_t dwChan, int32_t typeInfo, int32_t lOption,
                                    void* pInfoBuf) TRAVUNE_NOEXCEPT;
/* Scaled values of dwScanReq scans from dwScanOffset (clipped to the data file's end) of every
 * channel (csAllChans: channel after channel, scan after scan) or of one, into pDataBuf, which
 * must be writable for dwScanReq scans. *dwScanRet (may be NULL) receives the scans delivered. */
TRAVUNE_API(int32_t) dfaGetData(int32_t dHdl, float* pDataBuf, uint32_t dwScanOffset, uint32_t dwScanReq,
                                uint32_t* dwScanRet, int32_t csChan) TRAVUNE_NOEXCEPT;

#endif /* TRAVUNE_TRAVUNE_H */
