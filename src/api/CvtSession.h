// The process-wide conversion session: the current source, the current writer, the block
// buffer and the output files of each target format. 64-bit throughout; the exported
// functions apply their 32-bit limits on top.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "api/BlockBuffer.h"
#include "api/FormatRegistry.h"
#include "platform/Platform.h"
#include "source/Acquisition.h"
#include "source/SrcFmt.h"
#include "writer/TgtFmt.h"
#include "writer/WriterFactory.h"

namespace travune {

class CvtSession {
 public:
  // Opens the description and data files and builds the source. Returns the data-file size or a
  // negative status. Data files of maxDataSize bytes or more are refused with -1002.
  int64_t ReadDescription(const char* descName, const char* dataName, int32_t sourceType, uint64_t maxDataSize);
  // Closes the source data file (a caller that cannot represent the size gives up the data file).
  void CloseSourceDataFile() { acquisition_.DataFile().Close(); }
  int32_t InitConversion(const char* headerName, const char* dataName, int32_t formatId, uint32_t flags);
  void SetScanRange(uint64_t firstScan, uint64_t numScans);
  int32_t ConvertBlock(int32_t formatId);
  int32_t CloseConversion(int32_t formatId);
  void ReleaseResources();

  // Replaces the start block size (a hundredth of the data file) by bytes; 0 restores it.
  // Lets tests and tuning run the block loop with any block size.
  void SetStartBlockBytes(int64_t bytes) { startBlockBytes_ = bytes; }

  // Replaces the writer table (tests inject writers that fail or lie); null restores it.
  void SetWriterMaker(WriterMaker maker) { writerMaker_ = maker ? maker : CreateWriter; }

  SrcFmt* Source() { return acquisition_.Source(); }
  int64_t BlockSize() const { return block_.BlockBytes(); }
  uint64_t TotalScans() const { return totalScans_; }
  const std::string& ListSeparator() const { return listSeparator_; }
  void SetListSeparator(std::string separator) { listSeparator_ = std::move(separator); }
  void SetDecimalMark(char mark) { decimalMark_ = mark; }

 private:
  struct OutputPair {
    platform::File header;
    platform::File data;
  };

  bool AllocateBlockBuffer();
  void ClosePair(OutputPair& pair);
  void FinishOpenConversion();

  Acquisition acquisition_;
  int64_t dataFileSize_ = 0;
  WriterMaker writerMaker_ = CreateWriter;
  std::unique_ptr<TgtFmt> writer_;
  int32_t writerFormatPos_ = -1;
  bool preConverted_ = false;
  // PreConvert reported failure (a header write or allocation): the conversion goes on, as
  // callers expect, and its close reports the failure.
  bool preConvertFailed_ = false;
  BlockBuffer block_;
  uint64_t dataOffset_ = 0;  // where the next block goes in the output data file
  int64_t startBlockBytes_ = 0;
  uint64_t totalScans_ = 0;
  uint64_t scansDone_ = 0;
  uint64_t firstScan_ = 0;
  std::array<OutputPair, kNumTargetRows + 1> outputs_;
  std::string listSeparator_ = ",";
  char decimalMark_ = '.';
};

// The one session of the process.
CvtSession& TheCvtSession();

// True when the volume of dataName has more than neededBytes free (or cannot be asked).
bool HasDiskSpace(const char* dataName, uint64_t neededBytes);

}  // namespace travune
