// The abstract acquisition source: one object per acquisition (description + raw data file),
// with the behaviour every source shares (block layout, sample addressing, scan times).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Platform.h"
#include "support/String.h"

namespace travune {

// How scan times are expressed, natively by a source or as requested from GetScanTime.
struct TimeFormat {
  uint8_t timed = 1;         // 1: durations or dates in days; 0: scan counts from the trigger
  uint8_t absolute = 0;      // 1: dates in days since 30 December 1899
  uint8_t stampsInData = 0;  // 1: times are read from stamps in the raw data
  uint32_t reference = 2;    // 1: relative to the first scan; 2: to the trigger scan
  uint32_t digits = 0;       // decimal places for printing seconds: 0, 3 or 6
};

inline constexpr uint32_t kRefFirstScan = 1;
inline constexpr uint32_t kRefTrigger = 2;
// Reference bit 31: only scan 0's stamp is read; later scans follow from it and the rate.
inline constexpr uint32_t kRefDerivedFromFirst = 0x80000000u;
// A time cache holds this value while unknown.
inline constexpr double kUnknownTime = -1.7e308;

class SrcFmt {
 public:
  SrcFmt(const SrcFmt&) = delete;
  SrcFmt& operator=(const SrcFmt&) = delete;

  // Reads the stamps of scan 0 and of the trigger scan from the data file into the time
  // caches when the source keeps stamps in its data. False on a read or allocation failure.
  bool LoadTimeStamps(platform::File* dataFile);
  virtual ~SrcFmt();
  // Position of the channel's first raw sample within a scan, in samples.
  virtual int64_t GetChanIndex(int32_t chan) const;
  // The scan's time in the source's native format (days, or scan counts when untimed).
  virtual bool GetNativeScanTime(int64_t scan, double* out) = 0;
  // The scan's time converted to request (native when request is null); out may be null.
  bool GetScanTime(int64_t scan, double* out, const TimeFormat* request = nullptr);
  virtual int32_t GetNumChans() const = 0;
  // Whole scans in the data file when its size is known, else the programmed count.
  virtual int64_t GetNumScans() const;
  bool HasDataFileSize() const { return dataFileSize_ >= 0.0; }
  virtual int64_t GetNumProgScans() const = 0;
  void SetDataFileSize(double bytes) { dataFileSize_ = bytes; }
  virtual int64_t GetScanSize() const = 0;
  virtual int32_t GetSampleSize() const = 0;
  virtual bool GetChanRange(int32_t chan, double* lower, double* upper) const = 0;
  virtual const char* GetChanLabel(int32_t chan) const = 0;
  virtual const char* GetChanUnits(int32_t chan) const = 0;
  virtual int32_t GetChanPrecision(int32_t chan) const = 0;
  virtual double GetPreTrigRate() const = 0;
  virtual double GetPostTrigRate() const = 0;
  virtual int64_t GetPreTrigCount() const = 0;
  virtual bool HasUniformRate() const = 0;
  virtual const char* GetAppTitle() const = 0;
  virtual const char* GetDescVersion() const = 0;
  // Where the block of at most bufBytes raw bytes that starts at firstScan lies: lowers
  // *scans to what fits, sets *bytes and *fileOffset for one positioned read.
  virtual void GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                              int64_t* fileOffset) const;
  // Lowers *scans to the whole scans that fit into bufBytes; sets *bytes when given.
  virtual void FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const;
  // Hands over the raw block just read. The buffer stays the caller's.
  virtual void SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan);
  void SetOptions(uint32_t flags);
  // Stores both names and the information on both open files; says what could not be had.
  enum class FileInfoResult { kOk, kNoMemory, kDescUnreadable, kDataUnreadable };
  FileInfoResult SetFileInfo(const char* descName, const char* dataName, const platform::File* descFile,
                           const platform::File* dataFile);
  // Takes over another source's file names and information (a view of that source). Throws
  // std::bad_alloc when a name cannot be copied.
  void CopyFileInfo(const SrcFmt& from);
  size_t GetDataFileName(char* buf, size_t size) const;
  size_t GetDescFileName(char* buf, size_t size) const;
  void GetDataFileInfo(platform::FileInformation* out) const { *out = dataInfo_; }
  void GetDescFileInfo(platform::FileInformation* out) const { *out = descInfo_; }
  int32_t GetStatus() const { return status_; }
  // Sets the native time format from the rates; sources adjust it in their overrides.
  virtual void InitTimeFormat();
  // Address of the raw sample of chan in scan; a static zero sample when scan does not lie in
  // the current block (or no block was handed over).
  virtual const uint8_t* GetRawSample(int64_t scan, int32_t chan) const;
  // The raw sample at raw in user units.
  virtual double ScaleSample(int32_t chan, const uint8_t* raw) const = 0;
  // A user value converted back to a raw count, where the source can.
  virtual uint32_t UserToRaw(int32_t chan, double value) const;
  virtual bool CanUserToRaw(int32_t chan) const;
  void SetStatus(int32_t status) { status_ = status; }

  // False when a channel record holds values its application never writes (an unknown type,
  // unknown flag bits, a non-finite factor). Used to tell apart formats whose descriptions
  // can have the same size.
  virtual bool HasValidChannelRecords() const { return true; }

  // Scales every channel of scans [firstScan, firstScan + scans) of the current block into out,
  // scan after scan, GetNumChans() doubles per scan: exactly the values of GetScaledValue asked
  // in channel order. Every source overrides it with a loop over its own tables.
  virtual void ScaleScans(int64_t firstScan, int64_t scans, double* out) const;

  // The scaled value of chan in scan; always true.
  bool GetScaledValue(int64_t scan, int32_t chan, double* out) const {
    *out = ScaleSample(chan, GetRawSample(scan, chan));
    return true;
  }
  // Single-value conversions of the binary-descriptor interface.
  void ConvertRawToUser(int32_t chan, double* user, uint32_t raw) const;
  void ConvertUserToRaw(int32_t chan, uint32_t* raw, double user) const;

  const TimeFormat& NativeTimeFormat() const { return native_; }
  uint32_t Options() const { return options_; }
  double FirstScanTime() const { return firstScanTime_; }
  double TrigScanTime() const { return trigScanTime_; }

 protected:
  SrcFmt() = default;
  // The raw-block state for the overrides of the block operations.
  const uint8_t* Block() const { return block_; }
  int64_t BlockFirstScan() const { return blockFirstScan_; }
  int64_t BlockScans() const { return blockScans_; }
  bool BlockSet() const { return blockSet_; }
  // True when scan lies in the current raw block.
  bool BlockHolds(int64_t scan) const;
  // The time relative times are measured from: the trigger scan's own time, else scan 0's
  // (a trigger scan whose stamp lies beyond the data), else t itself.
  double TriggerReference(double t);
  // Base address computation with an explicit sample position within the scan.
  const uint8_t* RawSampleAt(int64_t scan, int64_t position) const;
  void SetFirstScanTime(double t) { firstScanTime_ = t; }
  static bool IsKnownTime(double t) { return t != kUnknownTime; }

  TimeFormat native_;
  double dataFileSize_ = -1.0;

 private:
  uint32_t options_ = 0;
  double firstScanTime_ = kUnknownTime;
  double trigScanTime_ = kUnknownTime;
  const uint8_t* block_ = nullptr;
  int64_t blockScanSize_ = 0;    // GetScanSize() and GetSampleSize(), fixed once a block is set
  int64_t blockSampleSize_ = 0;
  int64_t blockScans_ = 0;
  int64_t blockFirstScan_ = 0;
  bool blockSet_ = false;
  String descName_;
  String dataName_;
  platform::FileInformation descInfo_;
  platform::FileInformation dataInfo_;
  int32_t status_ = 0;
};

// A zero-filled raw sample large enough for every source's widest sample.
extern const uint8_t kZeroSample[16];

}  // namespace travune
