// Binary dataset 58: "58b" header with byte order 1 (little-endian), floating-point format 2
// (IEEE 754), 11 text lines, then the floats and the end mark right after the last byte.
#include "writer/uff/UffChannelRecordBinary.h"

#include <algorithm>

#include "support/LittleEndian.h"
#include "support/NumberText.h"

namespace travune {

namespace {

// The byte count is the fifth field of the "%6db%6d%6d%12d%12d..." line.
constexpr int64_t kByteCountColumn = 6 + 1 + 6 + 6 + 12;
constexpr int kByteCountWidth = 12;

}  // namespace

int64_t UffChannelRecordBinary::Place(int32_t chan, platform::File& output, int64_t offset, int64_t capacity) {
  Start(chan, std::string());
  output_ = &output;
  start_ = offset;
  WriteLine("    -1");
  byteCountInHeader_ = static_cast<int64_t>(PendingBytes()) + kByteCountColumn;
  WriteLine(FormatC("%6db%6d%6d%12d%12lld%6d%6d%12d%12d", 58, 1, 2, 11,
                    static_cast<long long>(declaredValues_ * BytesPerValue()), 0, 0, 0, 0));
  QueueDatasetHeader();
  headerBytes_ = static_cast<int64_t>(PendingBytes());
  if (!FlushLinesAt(output, offset)) return -1;
  return offset + BytesFor(capacity);
}

bool UffChannelRecordBinary::BeginBlock(const UffBlock& block) {
  if (output_ == nullptr || (!evenSpacing_ && block.seconds == nullptr)) return false;
  blockFirstValue_ = valuesWritten_;
  return ReserveBlockBytes(static_cast<size_t>(std::max<int64_t>(0, block.scans) * BytesPerValue()));
}

void UffChannelRecordBinary::EncodeScans(const UffBlock& block, int64_t from, int64_t to) {
  char* out = EncodedEnd();
  const double* value = block.values + from * block.chans + chan_;
  for (int64_t scan = from; scan < to; ++scan, value += block.chans) {
    if (!evenSpacing_) {
      le::PutF32(out, static_cast<float>(block.seconds[scan]));
      out += 4;
    }
    le::PutF32(out, static_cast<float>(*value));
    out += 4;
  }
  EncodedUpTo(out);
  valuesWritten_ += to - from;
}

bool UffChannelRecordBinary::EndBlock() {
  const int64_t at = start_ + headerBytes_ + blockFirstValue_ * BytesPerValue();
  return EncodedBytes() == 0 || output_->WriteAt(static_cast<uint64_t>(at), Encoded(), EncodedBytes());
}

bool UffChannelRecordBinary::FinishChannel() {
  if (output_ == nullptr) return false;
  if (!output_->WriteAt(static_cast<uint64_t>(start_ + BytesWritten()), kEndMark.data(), kEndMark.size())) return false;
  finished_ = true;
  if (valuesWritten_ == declaredValues_) return true;
  return RewriteValueCount(*output_, start_ + valueCountInLines_) &&
         RewriteCount(*output_, start_ + byteCountInHeader_, kByteCountWidth, valuesWritten_ * BytesPerValue());
}

int64_t UffChannelRecordBinary::BytesFor(int64_t capacity) const {
  return headerBytes_ + capacity * BytesPerValue() + static_cast<int64_t>(kEndMark.size());
}

int64_t UffChannelRecordBinary::BytesWritten() const {
  return headerBytes_ + valuesWritten_ * BytesPerValue() + (finished_ ? static_cast<int64_t>(kEndMark.size()) : 0);
}

bool UffChannelRecordBinary::MoveTo(int64_t offset) {
  if (output_ == nullptr || !MoveWithinFile(*output_, start_, offset, BytesWritten())) return false;
  start_ = offset;
  return true;
}

}  // namespace travune
