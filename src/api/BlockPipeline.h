// Read-ahead and write-behind for the blocks of one handle-API conversion: while the calling
// thread has the writer format block k, a worker thread writes block k-1 and reads block k+1.
// The writer is called on the calling thread only and in block order; the source is only asked
// for layouts and pointed at blocks on the calling thread, the worker only reads and writes files.
//
// Each Convert returns once the write of the block before it has ended, so that a write failure
// is reported by the next Convert at the latest (the last block's by Finish). After a failed write
// the data file ends after the last whole block written and every later call reports the failure
// again: the blocks formatted meanwhile are never written.
#pragma once

#include <cstdint>
#include <memory>

#include "api/BlockBuffer.h"
#include "api/IoWorker.h"
#include "platform/Platform.h"
#include "source/SrcFmt.h"
#include "writer/TgtFmt.h"

namespace travune {

class BlockPipeline {
 public:
  // A pipeline over primary (allocated for the source) and a second buffer of the same size;
  // null when that buffer or the worker thread cannot be had.
  static std::unique_ptr<BlockPipeline> Start(BlockBuffer& primary, const SrcFmt& source, int64_t allScans,
                                              int64_t outputBytesPerScan);
  // BlockBuffer::Convert's contract, except that the block's bytes are written after it returns
  // (*offset already counts them) and that a write failure may be the previous block's.
  BlockBuffer::Result Convert(SrcFmt& source, const platform::File& in, TgtFmt& writer, platform::File* out,
                              uint64_t* offset, int64_t first, int64_t* count);
  // Waits for the last write; false when a write failed.
  bool Finish();

 private:
  // Reading a laid-out block into one buffer.
  class ReadTask : public IoWorker::Task {
   public:
    void Run() override { ok = buffer->Read(*in, block); }
    BlockBuffer* buffer = nullptr;
    const platform::File* in = nullptr;
    int64_t wanted = 0;  // the scans asked for, which the layout may have cut
    RawBlockLayout block;
    bool ok = false;
  };
  // Writing the bytes one buffer's output area holds.
  class WriteTask : public IoWorker::Task {
   public:
    void Run() override { ok = buffer->Write(*out, offset, bytes); }
    BlockBuffer* buffer = nullptr;
    platform::File* out = nullptr;
    uint64_t offset = 0;
    int64_t bytes = 0;
    bool ok = true;
  };

  BlockPipeline(BlockBuffer& primary, std::unique_ptr<BlockBuffer> second);

  // Reads the block from first on this thread unless the worker already read it into the
  // current buffer; false when the read failed.
  bool HaveBlock(const SrcFmt& source, const platform::File& in, int64_t first, int64_t count);
  // Has the worker read the block after the current one into the other buffer.
  void ReadAhead(const SrcFmt& source, const platform::File& in, int64_t first, int64_t count);
  // Waits for the write posted last; false when it (or any before) failed.
  bool WritesOk();

  std::unique_ptr<BlockBuffer> second_;
  BlockBuffer* buffers_[2];
  int current_ = 0;
  ReadTask reads_[2];
  WriteTask writes_[2];
  uint64_t readTicket_[2] = {0, 0};  // 0: no read posted into that buffer
  uint64_t writeTicket_ = 0;  // 0: no write waiting to be checked
  const WriteTask* lastWrite_ = nullptr;
  bool writeFailed_ = false;
  IoWorker worker_;  // last: it runs what was posted and stops before the buffers and tasks go
};

}  // namespace travune
