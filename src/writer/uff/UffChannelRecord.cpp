// Dataset 58 with text data: six values per line with even spacing, else three (time, value)
// pairs per line, in narrow fields of 13 characters.
#include "writer/uff/UffChannelRecord.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "support/NumberText.h"

namespace travune {

namespace {

constexpr int kValuesPerLine = 6;
constexpr int kPairsPerLine = 3;
// Two narrow fields and a line end: the most one scan adds to the text.
constexpr size_t kMaxTextPerScan = 2 * 13 + 2;
// The temporary file is copied in large reads and writes: few system calls per byte.
constexpr int64_t kCopyChunk = int64_t{1} << 20;
// Record 7 starts with the ten-character data type field; the value count follows.
constexpr int64_t kValueCountColumn = 10;
constexpr int kValueCountWidth = 10;

}  // namespace

void UffChannelRecord::Start(int32_t chan, const std::string& path) {
  chan_ = chan;
  path_ = path;
  evenSpacing_ = source_->GetPreTrigCount() == 0;
  declaredValues_ = source_->GetNumScans();
}

bool UffChannelRecord::BeginChannel(int32_t chan, const std::string& path) {
  Start(chan, path);
  platform::File file = platform::File::OpenReadWrite(path_.c_str());
  const int64_t base = file.IsOpen() ? file.Size() : -1;
  WriteLine("    -1");
  WriteLine("    58");
  QueueDatasetHeader();
  valueCountOffset_ = base < 0 ? -1 : base + valueCountInLines_;
  return FlushLinesTo(file);
}

void UffChannelRecord::QueueDatasetHeader() {
  double lower = 0.0;
  double upper = 0.0;
  source_->GetChanRange(chan_, &lower, &upper);
  const std::string label = source_->GetChanLabel(chan_);
  const std::string units = source_->GetChanUnits(chan_);
  char limits[2 * kMaxNumberChars];
  char* end = AppendFixed(limits, lower, 6, decimalMark_);
  const std::string lowerText(limits, end);
  end = AppendFixed(limits, upper, 6, decimalMark_);
  const std::string upperText(limits, end);

  WriteLine(PadTo80("Channel: " + label + "; " + lowerText + " to " + upperText + " " + units));
  WriteLine(PadTo80("NONE"));
  WriteLine(FormatDate(CurrentSystemTime()));
  WriteLine(PadTo80("NONE"));
  WriteLine(PadTo80("NONE"));
  WriteLine(FormatC("%5d%10d%5d%10d %-10s%10d%4d %-10s%10d%4d", 1, 0, 1, 0, "NONE", 1, 1, "NONE", 1, 1));

  // Record 7: real single-precision ordinates, the value count, spacing, abscissa start and step.
  valueCountInLines_ = static_cast<int64_t>(PendingBytes()) + kValueCountColumn;
  const double rate = source_->GetPostTrigRate();
  const double increment = evenSpacing_ ? 1.0 / (rate == 0.0 ? 1.0 : rate) : 0.0;
  char numbers[3 * kMaxNumberChars];
  end = AppendNumber(numbers, UffNumberForm::kNarrow, 0.0, decimalMark_);
  end = AppendNumber(end, UffNumberForm::kNarrow, increment, decimalMark_);
  end = AppendNumber(end, UffNumberForm::kNarrow, 0.0, decimalMark_);
  WriteLine(FormatC("%10d%10lld%10d", 2, static_cast<long long>(declaredValues_), evenSpacing_ ? 1 : 0) +
            std::string(numbers, end));

  // Records 8 to 11: abscissa time, ordinate in the channel's units, the rest unused.
  const char* kAxisFormat = "%10d%5d%5d%5d %-20s %-20s";
  WriteLine(FormatC(kAxisFormat, 17, 0, 0, 0, "NONE", "NONE"));
  WriteLine(FormatC(kAxisFormat, 0, 0, 0, 0, label.c_str(), units.c_str()));
  WriteLine(FormatC(kAxisFormat, 0, 0, 0, 0, "NONE", "NONE"));
  WriteLine(FormatC(kAxisFormat, 0, 0, 0, 0, "NONE", "NONE"));
}

bool UffChannelRecord::BeginBlock(const UffBlock& block) {
  if (!evenSpacing_ && block.seconds == nullptr) return false;
  return ReserveBlockBytes(static_cast<size_t>(std::max<int64_t>(0, block.scans)) * kMaxTextPerScan);
}

void UffChannelRecord::EncodeScans(const UffBlock& block, int64_t from, int64_t to) {
  const int perLine = evenSpacing_ ? kValuesPerLine : kPairsPerLine;
  char* out = EncodedEnd();
  const double* value = block.values + from * block.chans + chan_;
  for (int64_t scan = from; scan < to; ++scan, value += block.chans) {
    if (!evenSpacing_) out = AppendNumber(out, UffNumberForm::kNarrow, block.seconds[scan], decimalMark_);
    out = AppendNumber(out, UffNumberForm::kNarrow, *value, decimalMark_);
    if (++valuesOnLine_ == perLine) {
      *out++ = '\r';
      *out++ = '\n';
      valuesOnLine_ = 0;
    }
  }
  EncodedUpTo(out);
  valuesWritten_ += to - from;
}

bool UffChannelRecord::EndBlock() { return EncodedBytes() == 0 || AppendToTempFile(Encoded(), EncodedBytes()); }

bool UffChannelRecord::ReserveBlockBytes(size_t n) {
  encodedBytes_ = 0;
  try {
    if (blockBytes_.size() < n) blockBytes_.resize(n);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool UffChannelRecord::FinishChannel() {
  platform::File file = platform::File::OpenReadWrite(path_.c_str());
  if (valuesOnLine_ != 0) WriteLine("");
  valuesOnLine_ = 0;
  WriteLine("    -1");
  return FlushLinesTo(file) && CorrectDeclaredCounts(file);
}

bool UffChannelRecord::CorrectDeclaredCounts(platform::File& file) {
  if (valuesWritten_ == declaredValues_) return true;
  return RewriteValueCount(file, valueCountOffset_);
}

bool UffChannelRecord::RewriteValueCount(platform::File& file, int64_t offset) const {
  return RewriteCount(file, offset, kValueCountWidth, valuesWritten_);
}

bool UffChannelRecord::RewriteCount(platform::File& file, int64_t offset, int width, int64_t count) {
  if (offset < 0) return false;
  const std::string field = FormatC("%*lld", width, static_cast<long long>(count));
  // A count wider than its field would overwrite the next one.
  if (field.size() != static_cast<size_t>(width)) return false;
  return file.WriteAt(static_cast<uint64_t>(offset), field.data(), field.size());
}

bool UffChannelRecord::AppendToTempFile(const void* data, size_t n) {
  platform::File file = platform::File::OpenReadWrite(path_.c_str());
  return file.IsOpen() && AppendToFile(file, data, n);
}

bool UffChannelRecord::CopyInto(platform::File& output) {
  platform::File file = platform::File::OpenRead(path_.c_str());
  int64_t end = output.Size();
  const int64_t size = file.IsOpen() ? file.Size() : -1;
  if (size < 0 || end < 0) return false;
  // A chunk no larger than the channel's file, left unfilled: a short channel costs no
  // megabyte of zeroes.
  const size_t chunkBytes = static_cast<size_t>(std::clamp<int64_t>(size, 1, kCopyChunk));
  const std::unique_ptr<char[]> chunk(new (std::nothrow) char[chunkBytes]);
  if (!chunk) return false;
  for (;;) {
    const int64_t got = file.Read(chunk.get(), chunkBytes);
    if (got < 0) return false;
    if (got == 0) return true;
    if (!output.WriteAt(static_cast<uint64_t>(end), chunk.get(), static_cast<size_t>(got))) return false;
    end += got;
  }
}

}  // namespace travune
