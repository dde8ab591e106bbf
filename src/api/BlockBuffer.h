// The block buffer of a conversion and its one step: read a block of raw scans, let the writer
// format it into a bounded output area, write what it produced. Shared by every conversion path;
// the step's phases are public too, so that a pipeline can run reads and writes on another thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/Platform.h"
#include "source/Acquisition.h"
#include "source/SrcFmt.h"
#include "writer/TgtFmt.h"

namespace travune {

class BlockBuffer {
 public:
  enum class Result { kOk, kReadFailed, kWriterFailed, kWriteFailed };

  // Allocates one piece: an output area for the most scans a block holds, a spare byte, and an
  // input area of block bytes. The block starts at startBytes (at least minBytes), is widened
  // until one scan fits and halved while the allocation fails, never below minBytes.
  bool Allocate(const SrcFmt& source, int64_t allScans, int64_t outputBytesPerScan, int64_t startBytes,
                int64_t minBytes);
  void Release();
  bool IsAllocated() const { return memory_ != nullptr; }

  int64_t BlockBytes() const { return blockBytes_; }
  int64_t MaxScans() const { return maxScans_; }

  // Converts the block of at most *count scans from first: reads it from in, has the writer
  // format it, and writes the bytes produced at *offset of out (advancing it). *count becomes
  // the scans the block held. A writer that produces more than it announced is refused. After a
  // failed write the file ends at *offset again, after the last whole block.
  Result Convert(SrcFmt& source, const platform::File& in, TgtFmt& writer, platform::File* out, uint64_t* offset,
                 int64_t first, int64_t* count);

  // The phases of Convert. LayOut asks the source (const calls only) where the block of at most
  // count scans from first lies; false when the layout is invalid or holds no scan of a wanted one.
  bool LayOut(const SrcFmt& source, int64_t first, int64_t count, RawBlockLayout* block) const;
  // Reads a laid-out block into the input area. Touches neither source nor writer, so it may run
  // on another thread while the writer formats a block of another buffer.
  bool Read(const platform::File& in, const RawBlockLayout& block);
  // Points the source at the block read and has the writer format it into the output area;
  // *produced becomes the bytes to write.
  Result Format(SrcFmt& source, TgtFmt& writer, const RawBlockLayout& block, int64_t* produced);
  // Writes the first bytes of the output area at offset of out; a failed write cuts the file back
  // to offset, so that it ends with the last whole block written before.
  bool Write(platform::File& out, uint64_t offset, int64_t bytes) const;

 private:
  std::unique_ptr<uint8_t[]> memory_;
  uint8_t* input_ = nullptr;
  size_t outputBytes_ = 0;
  int64_t blockBytes_ = 0;
  int64_t maxScans_ = 0;
};

}  // namespace travune
