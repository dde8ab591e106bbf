// Binary dataset 58: "58b" header with byte order 1 (little-endian), floating-point format 2
// (IEEE 754), 11 text lines, then the floats and the end mark right after the last byte.
#include "writer/uff/UffChannelRecordBinary.h"

#include "support/LittleEndian.h"
#include "support/NumberText.h"

namespace travune {

namespace {

// The byte count is the fifth field of the "%6db%6d%6d%12d%12d..." line.
constexpr int64_t kByteCountColumn = 6 + 1 + 6 + 6 + 12;
constexpr int kByteCountWidth = 12;

}  // namespace

bool UffChannelRecordBinary::BeginChannel(int32_t chan, const std::string& path) {
  Start(chan, path);
  platform::File file = platform::File::CreateExclusive(path_.c_str());
  const int64_t base = file.IsOpen() ? file.Size() : -1;
  WriteLine("    -1");
  byteCountOffset_ = base + static_cast<int64_t>(PendingBytes()) + kByteCountColumn;
  WriteLine(FormatC("%6db%6d%6d%12d%12lld%6d%6d%12d%12d", 58, 1, 2, 11,
                    static_cast<long long>(declaredValues_ * BytesPerValue()), 0, 0, 0, 0));
  return WriteDatasetHeader(file);
}

bool UffChannelRecordBinary::AppendBlock(const UffBlock& block) {
  if (block.scans <= 0) return true;
  if (!evenSpacing_ && block.seconds == nullptr) return false;
  const size_t needed = static_cast<size_t>(block.scans * BytesPerValue());
  char* const start = ReserveBlockBytes(needed);
  if (start == nullptr) return false;
  char* out = start;
  const double* value = block.values + chan_;
  for (int64_t scan = 0; scan < block.scans; ++scan, value += block.chans) {
    if (!evenSpacing_) {
      le::PutF32(out, static_cast<float>(block.seconds[scan]));
      out += 4;
    }
    le::PutF32(out, static_cast<float>(*value));
    out += 4;
  }
  valuesWritten_ += block.scans;
  return AppendToTempFile(start, needed);
}

bool UffChannelRecordBinary::CorrectDeclaredCounts(platform::File& file) {
  if (valuesWritten_ == declaredValues_) return true;
  return UffChannelRecord::CorrectDeclaredCounts(file) &&
         RewriteCount(file, byteCountOffset_, kByteCountWidth, valuesWritten_ * BytesPerValue());
}

}  // namespace travune
