// UFF 58 writer steps shared by the text and binary forms: headers at PreConvert, each block
// appended channel by channel, the channels joined at PostConvert; the text form's records are
// gathered in temporary files.
#include "writer/TgtFmtUff58Ascii.h"

#include <algorithm>
#include <array>
#include <new>

#include "support/ParallelChunks.h"
#include "support/Time.h"
#include "writer/uff/UffChannelRecordBinary.h"

namespace travune {

namespace {

// The output estimate per channel and scan: a 15-character text field, or one 32-bit float
// (two when each value carries its time) in the binary form.
constexpr int64_t kTextBytesPerValue = 15;
constexpr int64_t kFloatBytes = 4;
// Scans whose values (scaled to doubles, every channel) stay in the cache while a group of
// channels encodes them: 64 KiB for 16 channels.
constexpr int64_t kScansPerEncodingStep = 512;

}  // namespace

TgtFmtUff58Ascii::TgtFmtUff58Ascii(SrcFmt* source, const WriterContext& context)
    : TgtFmtUff58Ascii(source, context, DataForm::kText) {}

TgtFmtUff58Ascii::TgtFmtUff58Ascii(SrcFmt* source, const WriterContext& context, DataForm form)
    : TgtFmt(source),
      header_(source, context.decimalMark),
      units_(source, context.decimalMark, form == DataForm::kBinary),
      // Binary records are encoded at copying speed, and writers on several threads would
      // contend for the output file's lock: only text is worth the threads.
      formatThreads_(form == DataForm::kText ? context.formatThreads : 1) {
  const int32_t chans = source->GetNumChans();
  if (form == DataForm::kText) qualifiers_ = std::make_unique<UffQualifierRecord>(source, context.decimalMark);
  for (int32_t chan = 0; chan < chans; ++chan) {
    if (form == DataForm::kText) {
      channels_.push_back(std::make_unique<UffChannelRecord>(source, context.decimalMark));
    } else {
      channels_.push_back(std::make_unique<UffChannelRecordBinary>(source, context.decimalMark));
    }
  }
  const int64_t perChannel =
      form == DataForm::kText ? kTextBytesPerValue : (source->GetPreTrigCount() == 0 ? 1 : 2) * kFloatBytes;
  outputBytesPerScan_ = perChannel * chans;
  ok_ = true;
}

TgtFmtUff58Ascii::~TgtFmtUff58Ascii() { RemoveTempFiles(); }

bool TgtFmtUff58Ascii::PreConvert(const char*, platform::File* dataFile, platform::File*, int64_t totalScans) {
  output_ = dataFile;
  plannedScans_ = std::max<int64_t>(0, totalScans);
  evenSpacing_ = source_->GetPreTrigCount() == 0;
  const bool started =
      output_ != nullptr && header_.WriteHeader(*output_) && units_.WriteUnits(*output_) && StartChannels();
  if (!started) failed_ = true;
  return started;
}

bool TgtFmtUff58Ascii::StartChannels() {
  if (channels_.empty()) return true;
  tempDir_ = platform::MakePrivateTempDir();
  if (tempDir_.empty()) return false;
  for (size_t i = 0; i < channels_.size(); ++i) {
    const int32_t chan = static_cast<int32_t>(i);
    const std::string path = UffTempFileName(tempDir_, chan);
    if (qualifiers_ && !qualifiers_->WriteQualifiers(path)) return false;
    if (!channels_[i]->BeginChannel(chan, path)) return false;
  }
  return true;
}

int64_t TgtFmtUff58Ascii::ConvertDataBlock(int64_t scans, OutputArea&, int64_t firstScan) {
  if (failed_) return -1;
  if (scans <= 0 || channels_.empty()) return 0;
  UffBlock block;
  block.values = ScaleBlock(firstScan, scans);
  block.chans = NumChans();
  block.scans = scans;
  if (!evenSpacing_) block.seconds = SecondsOfBlock(firstScan, scans);
  bool appended = block.values != nullptr && (evenSpacing_ || block.seconds != nullptr) && ReserveScans(scans);
  if (appended) {
    // Every channel has its own record (and, in text, its own file): groups of channels are
    // independent.
    std::array<bool, ParallelChunks::kMaxChunks> chunkAppended{};
    const size_t chunks = std::min(channels_.size(), ParallelChunks::ChunksFor(scans * block.chans, formatThreads_));
    ParallelChunks::Run(channels_.size(), chunks, [&](size_t chunk, size_t first, size_t last) {
      chunkAppended[chunk] = AppendToChannels(block, first, last);
    });
    for (size_t chunk = 0; chunk < chunks; ++chunk) appended = appended && chunkAppended[chunk];
  }
  if (!appended) failed_ = true;
  return appended ? 0 : -1;
}

bool TgtFmtUff58Ascii::AppendToChannels(const UffBlock& block, size_t first, size_t last) {
  for (size_t i = first; i < last; ++i) {
    if (!channels_[i]->BeginBlock(block)) return false;
  }
  // Scan range by scan range, so that each range's values serve every channel of the group
  // from the cache instead of the whole block being read again for every channel.
  for (int64_t from = 0; from < block.scans; from += kScansPerEncodingStep) {
    const int64_t to = std::min(block.scans, from + kScansPerEncodingStep);
    for (size_t i = first; i < last; ++i) channels_[i]->EncodeScans(block, from, to);
  }
  for (size_t i = first; i < last; ++i) {
    if (!channels_[i]->EndBlock()) return false;
  }
  return true;
}

const double* TgtFmtUff58Ascii::SecondsOfBlock(int64_t firstScan, int64_t scans) {
  try {
    if (seconds_.size() < static_cast<size_t>(scans)) seconds_.resize(static_cast<size_t>(scans));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  // The source's own time base, as a duration from the trigger scan.
  TimeFormat request = source_->NativeTimeFormat();
  request.absolute = 0;
  request.reference = kRefTrigger;
  for (int64_t i = 0; i < scans; ++i) {
    double days = 0.0;
    // A scan whose time the source cannot give (no rate) is placed at the trigger.
    if (!source_->GetScanTime(firstScan + i, &days, &request)) days = 0.0;
    seconds_[static_cast<size_t>(i)] = DaysToSeconds(days);
  }
  return seconds_.data();
}

bool TgtFmtUff58Ascii::PostConvert() {
  const bool finished = !failed_ && JoinChannels();
  RemoveTempFiles();
  return finished;
}

bool TgtFmtUff58Ascii::JoinChannels() {
  bool finished = true;
  for (size_t i = 0; finished && i < channels_.size(); ++i) finished = channels_[i]->FinishChannel();
  for (size_t i = 0; finished && i < channels_.size(); ++i) finished = channels_[i]->CopyInto(*output_);
  return finished;
}

void TgtFmtUff58Ascii::RemoveTempFiles() {
  if (tempDir_.empty()) return;
  // By name, so that a file whose channel failed half-way through its start goes too.
  for (size_t i = 0; i < channels_.size(); ++i) {
    platform::DeleteFile(UffTempFileName(tempDir_, static_cast<int32_t>(i)).c_str());
  }
  platform::RemoveDir(tempDir_.c_str());
  tempDir_.clear();
}

}  // namespace travune
