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

// Descriptions are small; a larger file is not a description and is not loaded whole.
constexpr int64_t kMaxDescriptionBytes = int64_t{256} << 20;
constexpr int64_t kMinBlockBytes = 4096;
// Upper bound when a block is widened so that at least one scan fits.
constexpr int64_t kMaxBlockBytes = int64_t{1} << 40;

// Reads the whole description file into a new buffer; 0, -1 (no memory) or -1001.
int32_t ReadWholeFile(const platform::File& file, std::unique_ptr<uint8_t[]>* image, size_t* size) {
  const int64_t bytes = file.Size();
  if (bytes < 0) return TRAVUNE_ERR_DESC_READ;
  if (bytes > kMaxDescriptionBytes) return TRAVUNE_ERR_FAILED;
  image->reset(new (std::nothrow) uint8_t[static_cast<size_t>(bytes) + 1]);
  if (!*image) return TRAVUNE_ERR_FAILED;
  if (bytes > 0 && !file.ReadAt(0, image->get(), static_cast<size_t>(bytes))) return TRAVUNE_ERR_DESC_READ;
  *size = static_cast<size_t>(bytes);
  return 0;
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
  int64_t result = 0;
  descFile_ = platform::File::OpenRead(descName);
  if (!descFile_.IsOpen()) {
    result = TRAVUNE_ERR_DESC_OPEN;
  } else {
    sourceData_ = platform::File::OpenRead(dataName);
    if (!sourceData_.IsOpen()) result = TRAVUNE_ERR_SOURCE;
  }
  std::unique_ptr<uint8_t[]> image;
  size_t imageSize = 0;
  if (result == 0) result = ReadWholeFile(descFile_, &image, &imageSize);
  if (result == 0) {
    dataFileSize_ = sourceData_.Size();
    if (dataFileSize_ < 0 || static_cast<uint64_t>(dataFileSize_) >= maxDataSize) result = TRAVUNE_ERR_DATA_READ;
  }
  if (result == 0) {
    SourceContext context;
    context.listSeparator = listSeparator_.c_str();
    context.dataFileSize = dataFileSize_;
    source_ = CreateSource(sourceType, image.get(), imageSize, context);
    if (!source_) {
      result = TRAVUNE_ERR_SOURCE;
    } else if (source_->GetStatus() != 0) {
      source_.reset();
      result = TRAVUNE_ERR_DESC_INVALID;
    }
  }
  if (result == 0) {
    source_->SetDataFileSize(static_cast<double>(dataFileSize_));
    totalScans_ = static_cast<uint64_t>(std::max<int64_t>(0, source_->GetNumScans()));
    source_->SetFileInfo(descName, dataName, &descFile_, &sourceData_);
    source_->LoadTimeStamps(&sourceData_);
    result = dataFileSize_;
  }
  descFile_.Close();
  if (result < 0) sourceData_.Close();
  return result;
}

int32_t CvtSession::InitConversion(const char* headerName, const char* dataName, int32_t formatId, uint32_t flags) {
  const int32_t position = FindFormat(FormatSection::kTarget, formatId);
  if (position < 0) return TRAVUNE_ERR_BAD_FORMAT_ID;
  if (!source_) return TRAVUNE_ERR_SOURCE;
  FinishOpenConversion();

  source_->SetOptions((flags & TRAVUNE_FLAG_OWN_STAMPS) ? 1u : 0u);
  OutputPair& pair = outputs_[static_cast<size_t>(position)];
  String header(headerName);
  String data(dataName);
  int32_t result = 0;
  if (header.IsEmpty() || data.IsEmpty()) result = TRAVUNE_ERR_FAILED;
  if (result == 0) {
    cvtGetFmtFileName(formatId, header.Data());
    cvtGetFmtFileName(formatId, data.Data());
    WriterContext context;
    context.flags = flags;
    context.listSeparator = listSeparator_.c_str();
    writer_ = CreateWriter(formatId, source_.get(), context);
    writerFormatPos_ = position;
    if (!writer_ || !writer_->IsOk()) result = TRAVUNE_ERR_WRITER;
  }
  if (result == 0) {
    const uint64_t scans = static_cast<uint64_t>(std::max<int64_t>(0, source_->GetNumScans()));
    const uint64_t needed = scans * static_cast<uint64_t>(std::max<int64_t>(0, writer_->OutputBytesPerScan()));
    if (!HasDiskSpace(data.c_str(), needed)) result = TRAVUNE_ERR_DISK_SPACE;
  }
  if (result == 0 && !AllocateBlockBuffer()) result = TRAVUNE_ERR_FAILED;
  if (result == 0 && writer_->WantsHeaderFile()) {
    pair.header = platform::File::Create(header.c_str());
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
  writer_->PreConvert(data.c_str(), &pair.data, pair.header.IsOpen() ? &pair.header : nullptr,
                      static_cast<int64_t>(totalScans_));
  preConverted_ = true;
  scansDone_ = 0;
  firstScan_ = 0;
  return 0;
}

bool CvtSession::AllocateBlockBuffer() {
  buffer_.reset();
  outputArea_ = inputArea_ = nullptr;
  const int64_t allScans = std::max<int64_t>(0, source_->GetNumScans());
  int64_t block = std::max<int64_t>(startBlockBytes_ > 0 ? startBlockBytes_ : dataFileSize_ / 100, kMinBlockBytes);
  // A scan larger than the start block would never fit: widen the block until one does.
  int64_t fits = allScans;
  source_->FitScansToBuffer(block, &fits, nullptr);
  while (allScans > 0 && fits == 0 && block < kMaxBlockBytes) {
    block *= 2;
    fits = allScans;
    source_->FitScansToBuffer(block, &fits, nullptr);
  }
  while (block >= kMinBlockBytes) {
    int64_t scans = allScans;
    source_->FitScansToBuffer(block, &scans, nullptr);
    if (allScans > 0 && scans == 0) return false;
    const int64_t outputBytes = scans * std::max<int64_t>(0, writer_->OutputBytesPerScan());
    // One spare byte after the input area lets text writers terminate their last line.
    uint8_t* memory = new (std::nothrow) uint8_t[static_cast<size_t>(outputBytes + block + 1)];
    if (memory != nullptr) {
      buffer_.reset(memory);
      outputArea_ = memory;
      inputArea_ = memory + outputBytes;
      blockSize_ = block;
      return true;
    }
    block /= 2;
  }
  return false;
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
  if ((!pair.data.IsOpen() && !writerOwnsData) || !writer_ || !source_ || !buffer_) return TRAVUNE_ERR_DATA_CREATE;

  const uint64_t remaining = totalScans_ > scansDone_ ? totalScans_ - scansDone_ : 0;
  int64_t count = static_cast<int64_t>(std::min<uint64_t>(remaining, INT64_MAX));
  const int64_t first = static_cast<int64_t>(firstScan_ + scansDone_);
  int64_t bytes = 0;
  int64_t offset = 0;
  source_->GetBlockLayout(blockSize_, &count, &bytes, first, &offset);
  if (remaining > 0 && count <= 0) return TRAVUNE_ERR_DATA_READ;
  if (bytes > 0 && !sourceData_.ReadAt(static_cast<uint64_t>(offset), inputArea_, static_cast<size_t>(bytes))) {
    return TRAVUNE_ERR_DATA_READ;
  }
  source_->SetRawBlock(inputArea_, count, first);
  const int64_t produced = writer_->ConvertDataBlock(count, outputArea_, first);
  if (produced < 0) return TRAVUNE_ERR_FAILED;
  if (produced > 0 && !pair.data.Write(outputArea_, static_cast<size_t>(produced))) return TRAVUNE_ERR_FAILED;
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
    if (preConverted_ && !writer_->PostConvert()) result = TRAVUNE_ERR_WRITER;
    tookData = writer_->TookDataFile();
    writer_.reset();
  }
  preConverted_ = false;
  buffer_.reset();
  outputArea_ = inputArea_ = nullptr;
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
  sourceData_.Close();
  descFile_.Close();
  source_.reset();
}

}  // namespace travune
