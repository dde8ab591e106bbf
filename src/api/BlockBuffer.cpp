// Block sizing and the read-format-write step of a conversion.
#include "api/BlockBuffer.h"

#include <algorithm>
#include <new>

namespace travune {

namespace {

// Upper bound when a block is widened so that at least one scan fits.
constexpr int64_t kMaxBlockBytes = int64_t{1} << 40;

}  // namespace

bool BlockBuffer::Allocate(const SrcFmt& source, int64_t allScans, int64_t outputBytesPerScan, int64_t startBytes,
                           int64_t minBytes) {
  Release();
  allScans = std::max<int64_t>(0, allScans);
  outputBytesPerScan = std::max<int64_t>(0, outputBytesPerScan);
  int64_t block = std::max(startBytes, minBytes);
  // A scan larger than the start block would never fit: widen the block until one does.
  int64_t fits = allScans;
  source.FitScansToBuffer(block, &fits, nullptr);
  while (allScans > 0 && fits == 0 && block < kMaxBlockBytes) {
    block *= 2;
    fits = allScans;
    source.FitScansToBuffer(block, &fits, nullptr);
  }
  for (; block >= minBytes; block /= 2) {
    int64_t scans = allScans;
    source.FitScansToBuffer(block, &scans, nullptr);
    if (allScans > 0 && scans == 0) return false;
    // A block's layout may hold more scans than the fit rounds to (packed data counts whole
    // sample groups): the output area serves the larger of the two.
    int64_t laidOut = allScans, layoutBytes = 0, layoutOffset = 0;
    source.GetBlockLayout(block, &laidOut, &layoutBytes, 0, &layoutOffset);
    scans = std::max(scans, laidOut);
    if (outputBytesPerScan > 0 && scans > (INT64_MAX - block - 1) / outputBytesPerScan) continue;
    const int64_t outputBytes = scans * outputBytesPerScan;
    // One spare byte between the areas lets a text writer terminate its last line without
    // touching the raw input.
    memory_.reset(new (std::nothrow) uint8_t[static_cast<size_t>(outputBytes + 1 + block)]);
    if (memory_) {
      outputBytes_ = static_cast<size_t>(outputBytes);
      input_ = memory_.get() + outputBytes + 1;
      blockBytes_ = block;
      maxScans_ = scans;
      return true;
    }
  }
  return false;
}

void BlockBuffer::Release() {
  memory_.reset();
  input_ = nullptr;
  outputBytes_ = 0;
  blockBytes_ = maxScans_ = 0;
}

BlockBuffer::Result BlockBuffer::Convert(SrcFmt& source, const platform::File& in, TgtFmt& writer,
                                         platform::File* out, uint64_t* offset, int64_t first, int64_t* count) {
  RawBlockLayout block;
  if (!LayOut(source, first, *count, &block) || !Read(in, block)) return Result::kReadFailed;
  *count = block.scans;
  int64_t produced = 0;
  const Result formatted = Format(source, writer, block, &produced);
  if (formatted != Result::kOk || produced == 0) return formatted;
  if (out == nullptr || !Write(*out, *offset, produced)) return Result::kWriteFailed;
  *offset += static_cast<uint64_t>(produced);
  return Result::kOk;
}

bool BlockBuffer::LayOut(const SrcFmt& source, int64_t first, int64_t count, RawBlockLayout* block) const {
  return LayOutRawBlock(source, blockBytes_, first, count, block) && (count <= 0 || block->scans > 0);
}

bool BlockBuffer::Read(const platform::File& in, const RawBlockLayout& block) {
  // A conversion whose data file was given up reads nothing, not even an empty block.
  return in.IsOpen() && ReadRawBytes(in, block, input_);
}

BlockBuffer::Result BlockBuffer::Format(SrcFmt& source, TgtFmt& writer, const RawBlockLayout& block, int64_t* produced) {
  source.SetRawBlock(input_, block.scans, block.first);
  const uint64_t allowed = static_cast<uint64_t>(block.scans) * static_cast<uint64_t>(writer.OutputBytesPerScan());
  OutputArea area(memory_.get(), static_cast<size_t>(std::min<uint64_t>(outputBytes_, allowed)) + 1);
  *produced = writer.ConvertDataBlock(block.scans, area, block.first);
  if (*produced < 0 || area.Overflowed() || static_cast<uint64_t>(*produced) > allowed) return Result::kWriterFailed;
  return Result::kOk;
}

bool BlockBuffer::Write(platform::File& out, uint64_t offset, int64_t bytes) const {
  if (out.WriteAt(offset, memory_.get(), static_cast<size_t>(bytes))) return true;
  // A write that failed part-way (disk full, file too large) may have stored the start of the
  // block: cut it off, so that the file ends with the last whole block written.
  out.Resize(offset);
  return false;
}

}  // namespace travune
