// The abstract target writer: the session creates it for a format, hands it the output files,
// lets it format each block of scans from the source and finishes it.
//
// The contract between the session and a writer:
// - Construction sets the ok flag last; a writer whose flag is false is deleted unused. The
//   constructor sets OutputBytesPerScan (the most bytes one scan adds to a block) and, for a
//   format with a second file, the header-file flag.
// - PrepareBlocks(maxScans) is called once the block size is known, before PreConvert; it
//   reserves what every block needs so that no block allocates.
// - PreConvert(name, data, header, totalScans) runs once after the session created the files.
//   totalScans is the scan count current when the conversion was opened: a later scan range
//   changes the scans converted, not this argument. The writer may write into both files with
//   WriteAt (headers) and keep the pointers until PostConvert.
// - ConvertDataBlock(scans, out, firstScan) formats scans [firstScan, firstScan + scans) into
//   out, from its start, and returns the bytes produced (at most scans * OutputBytesPerScan).
//   The session writes them to the data file at a tracked offset: the first block right after
//   whatever PreConvert left in the file (its size then), each further block right after the
//   previous one. A writer that places data itself returns 0. A negative result fails the block.
// - PostConvert runs once at close while the files are still open; false reports failure.
// - A writer that takes the data file over (closes it in PreConvert and produces the file by
//   other means) sets TookDataFile; the session then never writes to it or closes it again.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/Platform.h"
#include "source/SrcFmt.h"
#include "writer/OutputArea.h"

namespace travune {

// What a writer may be told beyond its source: the conversion flags and the user's number
// conventions (the decimal mark and list separator of the locale captured at load).
struct WriterContext {
  uint32_t flags = 0;  // bit 0: scan times wanted
  const char* listSeparator = ",";
  char decimalMark = '.';
  // Threads that may format one block of text together (1: the calling thread only).
  int32_t formatThreads = 1;
};

class TgtFmt {
 public:
  TgtFmt(const TgtFmt&) = delete;
  TgtFmt& operator=(const TgtFmt&) = delete;
  virtual ~TgtFmt();

  virtual bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                          int64_t totalScans);
  virtual bool PostConvert();
  virtual int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan);

  // PostConvert as the session calls it: anything it throws (no memory for a name) counts as a
  // failure to finish, so that the session still closes its files and reports the failure.
  bool FinishConversion() noexcept;
  // Reserves the scaled values of the largest block; false when that cannot be allocated.
  bool PrepareBlocks(int64_t maxScansPerBlock);

  bool IsOk() const { return ok_; }
  bool WantsHeaderFile() const { return headerFile_; }
  int64_t OutputBytesPerScan() const { return outputBytesPerScan_; }
  bool TookDataFile() const { return tookDataFile_; }

 protected:
  explicit TgtFmt(SrcFmt* source) : source_(source) {}

  // The scaled values of scans [firstScan, firstScan + scans) of the current raw block, scan
  // after scan, NumChans() values per scan: exactly the values of GetScaledValue asked in
  // channel order. Valid until the next call. Null only when no memory could be had.
  const double* ScaleBlock(int64_t firstScan, int64_t scans);
  // The same values rounded once to the nearest float32, little-endian, appended to out (4 bytes
  // a value). The appended bytes, or null when the block cannot be scaled or the area is full.
  const uint8_t* AppendFloat32Block(int64_t firstScan, int64_t scans, OutputArea& out);
  int32_t NumChans() const { return source_->GetNumChans(); }

  bool ok_ = false;
  SrcFmt* source_;
  bool headerFile_ = false;
  int64_t outputBytesPerScan_ = -1;
  bool tookDataFile_ = false;

 private:
  bool Reserve(int64_t scans);
  std::vector<double> scaled_;
};

}  // namespace travune
