// The conversion session: opens an acquisition, sizes one block buffer, runs the block loop
// (one positioned read and at most one write per block) and closes the output files.
#include "api/CvtSession.h"

#include <algorithm>
#include <new>

#include "source/SourceFactory.h"
#include "support/String.h"
#include "writer/WriterFactory.h"
#include "travune/travune.h"

namespace travune {

namespace {

constexpr int64_t kMinBlockBytes = 4096;

int32_t StatusOfOpen(Acquisition::Status status) {
  switch (status) {
    case Acquisition::Status::kOk: return 0;
    case Acquisition::Status::kNoMemory: return TRAVUNE_ERR_FAILED;
    case Acquisition::Status::kDescOpen: return TRAVUNE_ERR_DESC_OPEN;
    case Acquisition::Status::kDescRead: return TRAVUNE_ERR_DESC_READ;
    case Acquisition::Status::kDataTooLarge: return TRAVUNE_ERR_DATA_READ;
    case Acquisition::Status::kInvalid: return TRAVUNE_ERR_DESC_INVALID;
    case Acquisition::Status::kDataOpen:
    case Acquisition::Status::kUnknownType: break;
  }
  return TRAVUNE_ERR_SOURCE;
}

}  // namespace

CvtSession& TheCvtSession() {
  static CvtSession session;
  return session;
}

bool HasDiskSpace(const char* dataName, uint64_t neededBytes) {
  uint64_t freeBytes = 0;
  if (!platform::FreeDiskBytes(dataName, &freeBytes)) return true;
  return freeBytes > neededBytes;
}

int64_t CvtSession::ReadDescription(const char* descName, const char* dataName, int32_t sourceType,
                                    uint64_t maxDataSize) {
  // A caller that did not release the previous acquisition gets a clean start instead of
  // leaked, still-locked files.
  ReleaseResources();
  SourceContext context;
  context.listSeparator = listSeparator_.c_str();
  const Acquisition::Status status = acquisition_.Open(descName, dataName, sourceType, context, maxDataSize);
  if (status != Acquisition::Status::kOk) return StatusOfOpen(status);
  dataFileSize_ = acquisition_.DataFileSize();
  totalScans_ = static_cast<uint64_t>(std::max<int64_t>(0, acquisition_.Source()->GetNumScans()));
  return dataFileSize_;
}

int32_t CvtSession::InitConversion(const char* headerName, const char* dataName, int32_t formatId, uint32_t flags) {
  const int32_t position = FindFormat(FormatSection::kTarget, formatId);
  if (position < 0) return TRAVUNE_ERR_BAD_FORMAT_ID;
  if (!acquisition_.Source()) return TRAVUNE_ERR_SOURCE;
  FinishOpenConversion();

  acquisition_.SetOptions((flags & TRAVUNE_FLAG_OWN_STAMPS) ? 1u : 0u);
  OutputPair& pair = outputs_[static_cast<size_t>(position)];
  // A null header name serves formats that write no header file; one that needs it fails below.
  String header(headerName != nullptr ? headerName : "");
  String data(dataName);
  int32_t result = 0;
  if (dataName == nullptr) result = TRAVUNE_ERR_DATA_CREATE;
  if (result == 0 && (header.IsEmpty() || data.IsEmpty())) result = TRAVUNE_ERR_FAILED;
  if (result == 0) {
    cvtGetFmtFileName(formatId, header.Data());
    cvtGetFmtFileName(formatId, data.Data());
    WriterContext context;
    context.flags = flags;
    context.listSeparator = listSeparator_.c_str();
    context.decimalMark = decimalMark_;
    writer_ = writerMaker_(formatId, acquisition_.Source(), context);
    writerFormatPos_ = position;
    if (!writer_ || !writer_->IsOk()) result = TRAVUNE_ERR_WRITER;
  }
  if (result == 0) {
    const uint64_t scans = static_cast<uint64_t>(std::max<int64_t>(0, acquisition_.Source()->GetNumScans()));
    const uint64_t needed = scans * static_cast<uint64_t>(std::max<int64_t>(0, writer_->OutputBytesPerScan()));
    if (!HasDiskSpace(data.c_str(), needed)) result = TRAVUNE_ERR_DISK_SPACE;
  }
  if (result == 0 && !AllocateBlockBuffer()) result = TRAVUNE_ERR_FAILED;
  if (result == 0 && !writer_->PrepareBlocks(block_.MaxScans())) result = TRAVUNE_ERR_FAILED;
  if (result == 0 && writer_->WantsHeaderFile()) {
    if (headerName != nullptr) pair.header = platform::File::Create(header.c_str());
    if (!pair.header.IsOpen()) result = TRAVUNE_ERR_WRITER;
  }
  if (result == 0) {
    pair.data = platform::File::Create(data.c_str());
    if (!pair.data.IsOpen()) result = TRAVUNE_ERR_DATA_CREATE;
  }
  if (result != 0) {
    ClosePair(pair);
    return result;
  }
  preConvertFailed_ = !writer_->PreConvert(data.c_str(), &pair.data, pair.header.IsOpen() ? &pair.header : nullptr,
                                           static_cast<int64_t>(totalScans_));
  preConverted_ = true;
  // Blocks follow whatever PreConvert wrote; a file whose end cannot be told would have them
  // written over its header.
  const int64_t end = pair.data.IsOpen() ? pair.data.Size() : 0;
  if (end < 0) {
    CloseConversion(formatId);
    return TRAVUNE_ERR_DATA_CREATE;
  }
  dataOffset_ = static_cast<uint64_t>(end);
  scansDone_ = 0;
  firstScan_ = 0;
  return 0;
}

bool CvtSession::AllocateBlockBuffer() {
  const int64_t start = startBlockBytes_ > 0 ? startBlockBytes_ : dataFileSize_ / 100;
  return block_.Allocate(*acquisition_.Source(), acquisition_.Source()->GetNumScans(), writer_->OutputBytesPerScan(), start, kMinBlockBytes);
}

void CvtSession::SetScanRange(uint64_t firstScan, uint64_t numScans) {
  firstScan_ = firstScan;
  scansDone_ = 0;
  totalScans_ = numScans;
}

int32_t CvtSession::ConvertBlock(int32_t formatId) {
  const int32_t position = FindFormat(FormatSection::kTarget, formatId);
  if (position < 0) return TRAVUNE_ERR_BAD_FORMAT_ID;
  OutputPair& pair = outputs_[static_cast<size_t>(position)];
  const bool writerOwnsData = writer_ && writer_->TookDataFile() && writerFormatPos_ == position;
  if ((!pair.data.IsOpen() && !writerOwnsData) || !writer_ || !acquisition_.Source() || !block_.IsAllocated()) return TRAVUNE_ERR_DATA_CREATE;

  const uint64_t remaining = totalScans_ > scansDone_ ? totalScans_ - scansDone_ : 0;
  int64_t count = static_cast<int64_t>(std::min<uint64_t>(remaining, INT64_MAX));
  const int64_t first = static_cast<int64_t>(firstScan_ + scansDone_);
  platform::File* out = writer_->TookDataFile() ? nullptr : &pair.data;
  switch (block_.Convert(*acquisition_.Source(), acquisition_.DataFile(), *writer_, out, &dataOffset_, first, &count)) {
    case BlockBuffer::Result::kOk: break;
    case BlockBuffer::Result::kReadFailed: return TRAVUNE_ERR_DATA_READ;
    case BlockBuffer::Result::kWriterFailed:
    case BlockBuffer::Result::kWriteFailed: return TRAVUNE_ERR_FAILED;
  }
  scansDone_ += static_cast<uint64_t>(count);

  if (totalScans_ == 0) return 100;
  const double percent = static_cast<double>(scansDone_) * 100.0 / static_cast<double>(totalScans_);
  return percent >= 100.0 ? 100 : static_cast<int32_t>(percent);
}

int32_t CvtSession::CloseConversion(int32_t formatId) {
  int32_t result = 0;
  bool tookData = false;
  if (writer_) {
    // Only a writer whose files were prepared has anything to finish.
    if (preConverted_ && (!writer_->FinishConversion() || preConvertFailed_)) result = TRAVUNE_ERR_WRITER;
    tookData = writer_->TookDataFile();
    writer_.reset();
  }
  preConverted_ = preConvertFailed_ = false;
  // The source keeps a pointer to the last block it was given: it goes with the block.
  if (acquisition_.Source() != nullptr) acquisition_.Source()->SetRawBlock(nullptr, 0, 0);
  block_.Release();
  const int32_t position = FindFormat(FormatSection::kTarget, formatId);
  if (position >= 0) {
    OutputPair& pair = outputs_[static_cast<size_t>(position)];
    if (!tookData) pair.data.Close();
    pair.header.Close();
  }
  writerFormatPos_ = -1;
  return result;
}

void CvtSession::FinishOpenConversion() {
  if (!writer_) return;
  const FormatRow* row = FormatAt(FormatSection::kTarget, writerFormatPos_);
  CloseConversion(row ? row->id : 0);
}

void CvtSession::ClosePair(OutputPair& pair) {
  pair.data.Close();
  pair.header.Close();
}

void CvtSession::ReleaseResources() {
  // A writer still open refers to the source about to go: let it finish its files first.
  FinishOpenConversion();
  for (OutputPair& pair : outputs_) ClosePair(pair);
  acquisition_.Close();
}

}  // namespace travune
