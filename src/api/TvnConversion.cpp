// Opening, stepping and finishing a conversion of the handle API.
#include "api/TvnConversion.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "api/CvtSession.h"
#include "api/FormatRegistry.h"
#include "platform/Platform.h"
#include "support/FilePath.h"

namespace travune {

namespace {

// Raw bytes per block at most: memory stays flat whatever the size of the recording.
constexpr int64_t kMaxBlockBytes = int64_t{16} << 20;
constexpr int64_t kMinBlockBytes = 4096;
// Scaled values of one block at most: the raw block, its scaled values and its output are then
// small enough to stay in the processor's caches between scaling and formatting.
constexpr int64_t kMaxScaledBytes = int64_t{2} << 20;

// Raw bytes of the first block: every scan of the conversion when they fit the caps above.
// Never a block larger than the data file either: a source that counts the scans its description
// programs (Tarquil) may claim billions of them for a file of a few bytes.
int64_t StartBlockBytes(const SrcFmt& source, int64_t count, int32_t chans, int64_t dataFileBytes) {
  const int64_t scanBytes = std::max<int64_t>(1, source.GetScanSize());
  const int64_t scansByValues = std::max<int64_t>(1, kMaxScaledBytes / (8 * std::max<int32_t>(1, chans)));
  const int64_t scans = std::min(count, scansByValues);
  return std::clamp(std::min(scans * scanBytes, dataFileBytes), kMinBlockBytes, kMaxBlockBytes);
}

// Whether the data file holds every raw byte of count scans from first. A source that counts the
// scans its description programs (Tarquil) may claim more than the file holds; the reads past the
// file's end would fail anyway, and a writer that keeps the whole conversion in memory (the
// block-writer library) would first size its block by the claim.
bool DataFileHolds(const SrcFmt& source, int64_t first, int64_t count, int64_t dataFileBytes) {
  if (count == 0) return true;
  int64_t scans = count;
  int64_t bytes = 0;
  int64_t offset = 0;
  source.GetBlockLayout(INT64_MAX / 4, &scans, &bytes, first, &offset);
  return scans == count && offset >= 0 && bytes >= 0 && offset <= dataFileBytes - bytes;
}

// Threads for formatting a block of text: every core unless the caller asked for one.
int32_t FormatThreads(uint32_t flags) {
  if ((flags & TRAVUNE_FLAG_ONE_THREAD) != 0) return 1;
  return static_cast<int32_t>(std::max(1u, std::thread::hardware_concurrency()));
}

// The header file's name: the data file's name with the format's second extension.
std::string HeaderNameFor(const std::string& dataName, const char* ext2) {
  const char* separator = platform::LastPathSeparator(dataName.c_str());
  const size_t nameStart = separator == nullptr ? 0 : static_cast<size_t>(separator - dataName.c_str()) + 1;
  const size_t dot = dataName.find_last_of('.');
  const std::string stem = (dot != std::string::npos && dot >= nameStart)
                               ? dataName.substr(0, dot)
                               : dataName;
  return stem + "." + ext2;
}

}  // namespace

// The pipeline's last write ends before the files close.
TvnConversion::~TvnConversion() {
  ReleaseBlock();
  CloseFiles();
}

// The source keeps a pointer to the last block it was given; the acquisition outlives this
// conversion, so the pointer goes before the block does.
void TvnConversion::ReleaseBlock() {
  if (view_) view_->SetRawBlock(nullptr, 0, 0);
  pipeline_.reset();
  block_.Release();
}

int32_t TvnConversion::Open(const tvnConvOptions& options) {
  const FormatRow* row = FormatById(FormatSection::kHandleTarget, options.format);
  if (row == nullptr || options.dataName == nullptr) return TVN_ERR_ARGUMENT;
  if (row->makeWriter == nullptr) return TVN_ERR_WRITER;
  SrcFmt& source = acquisition_.Source();
  const int64_t scans = source.GetNumScans();
  const int64_t count = options.count < 0 ? scans - options.first : options.count;
  if (options.first < 0 || options.first > scans || count < 0 || count > scans - options.first) {
    return TVN_ERR_ARGUMENT;
  }
  std::vector<int32_t> chans;
  if (options.chans == nullptr) {
    for (int32_t c = 0; c < source.GetNumChans(); ++c) chans.push_back(c);
  } else {
    if (options.numChans <= 0) return TVN_ERR_ARGUMENT;
    chans.assign(options.chans, options.chans + options.numChans);
    for (int32_t c : chans) {
      if (c < 0 || c >= source.GetNumChans()) return TVN_ERR_ARGUMENT;
    }
  }
  if (!DataFileHolds(source, options.first, count, acquisition_.Files().DataFileSize())) return TVN_ERR_DATA_READ;
  acquisition_.Files().SetOptions((options.flags & TRAVUNE_FLAG_OWN_STAMPS) ? 1u : 0u);
  view_ = std::make_unique<SrcFmtView>(source, options.first, count, std::move(chans));
  total_ = count;

  WriterContext context;
  context.flags = options.flags;
  context.listSeparator = platform::UserNumberConventions().listSeparator.c_str();
  context.decimalMark = platform::UserNumberConventions().decimalMark;
  context.formatThreads = FormatThreads(options.flags);
  writer_ = row->makeWriter(view_.get(), context);
  if (!writer_) return TVN_ERR_NO_MEMORY;
  if (!writer_->IsOk()) return TVN_ERR_WRITER;
  const int64_t perScan = std::max<int64_t>(0, writer_->OutputBytesPerScan());
  if (!HasDiskSpace(options.dataName, static_cast<uint64_t>(count) * static_cast<uint64_t>(perScan))) {
    return TVN_ERR_DISK_SPACE;
  }
  const int64_t start = StartBlockBytes(source, count, view_->GetNumChans(), acquisition_.Files().DataFileSize());
  if (!block_.Allocate(*view_, count, perScan, start, kMinBlockBytes) ||
      !writer_->PrepareBlocks(block_.MaxScans())) {
    return TVN_ERR_NO_MEMORY;
  }
  const int32_t created = CreateFiles(options, row->ext2);
  if (created != TVN_OK) return created;
  // A header that could not be written, or a data file whose end cannot be told (the blocks
  // would go over the header), fails the open.
  const bool started = writer_->PreConvert(dataName_.c_str(), &data_, header_.IsOpen() ? &header_ : nullptr, count);
  const int64_t end = data_.IsOpen() ? data_.Size() : 0;
  if (!started || end < 0) {
    CloseFiles();
    return TVN_ERR_OUTPUT_WRITE;
  }
  offset_ = static_cast<uint64_t>(end);
  // A conversion of one block has nothing to overlap.
  if ((options.flags & TRAVUNE_FLAG_ONE_THREAD) == 0 && block_.MaxScans() < count) {
    pipeline_ = BlockPipeline::Start(block_, *view_, count, perScan);
  }
  open_ = true;
  return TVN_OK;
}

int32_t TvnConversion::CreateFiles(const tvnConvOptions& options, const char* ext2) {
  std::vector<char> data(options.dataName, options.dataName + std::strlen(options.dataName) + 1);
  cvtGetFmtFileName(options.format, data.data());
  dataName_ = data.data();
  if (writer_->WantsHeaderFile()) {
    std::string header = options.headerName ? options.headerName : HeaderNameFor(dataName_, ext2);
    std::vector<char> adjusted(header.begin(), header.end());
    adjusted.push_back('\0');
    cvtGetFmtFileName(options.format, adjusted.data());
    header_ = platform::File::Create(adjusted.data());
    if (!header_.IsOpen()) return TVN_ERR_OUTPUT_CREATE;
  }
  data_ = platform::File::Create(dataName_.c_str());
  return data_.IsOpen() ? TVN_OK : TVN_ERR_OUTPUT_CREATE;
}

int32_t TvnConversion::Step(int64_t* done) {
  if (!open_) return TVN_ERR_ARGUMENT;
  if (done_ < total_) {
    int64_t count = total_ - done_;
    platform::File* out = writer_->TookDataFile() ? nullptr : &data_;
    const platform::File& in = acquisition_.Files().DataFile();
    const BlockBuffer::Result result = pipeline_ ? pipeline_->Convert(*view_, in, *writer_, out, &offset_, done_, &count)
                                                 : block_.Convert(*view_, in, *writer_, out, &offset_, done_, &count);
    switch (result) {
      case BlockBuffer::Result::kOk: break;
      case BlockBuffer::Result::kReadFailed: return TVN_ERR_DATA_READ;
      case BlockBuffer::Result::kWriterFailed: return TVN_ERR_WRITER;
      case BlockBuffer::Result::kWriteFailed: return TVN_ERR_OUTPUT_WRITE;
    }
    done_ += count;
  }
  if (done != nullptr) *done = done_;
  return TVN_OK;
}

int32_t TvnConversion::Finish() {
  if (!open_) return TVN_ERR_ARGUMENT;
  open_ = false;
  // Every write was checked when it was made; forcing the bytes to the device is left to the
  // caller, who knows whether it needs them there (the tool does so before deleting a backup).
  const bool written = pipeline_ == nullptr || pipeline_->Finish();
  const bool finished = writer_->FinishConversion();
  ReleaseBlock();
  CloseFiles();
  if (!written) return TVN_ERR_OUTPUT_WRITE;
  return finished ? TVN_OK : TVN_ERR_WRITER;
}

void TvnConversion::CloseFiles() {
  data_.Close();
  header_.Close();
}

}  // namespace travune
