// The overlapped conversion step: block k is formatted on the calling thread while the worker
// writes block k-1 and reads block k+1, each into or from the other of two block buffers.
#include "api/BlockPipeline.h"

#include <exception>
#include <utility>

namespace travune {

std::unique_ptr<BlockPipeline> BlockPipeline::Start(BlockBuffer& primary, const SrcFmt& source, int64_t allScans,
                                                    int64_t outputBytesPerScan) {
  // Without the memory or the thread the conversion goes on in one thread: not worth a failure.
  try {
    auto second = std::make_unique<BlockBuffer>();
    const int64_t blockBytes = primary.BlockBytes();
    if (!second->Allocate(source, allScans, outputBytesPerScan, blockBytes, blockBytes) ||
        second->MaxScans() != primary.MaxScans()) {
      return nullptr;
    }
    return std::unique_ptr<BlockPipeline>(new BlockPipeline(primary, std::move(second)));
  } catch (const std::exception&) {
    return nullptr;
  }
}

BlockPipeline::BlockPipeline(BlockBuffer& primary, std::unique_ptr<BlockBuffer> second)
    : second_(std::move(second)), buffers_{&primary, second_.get()} {
  for (int b = 0; b < 2; ++b) {
    reads_[b].buffer = buffers_[b];
    writes_[b].buffer = buffers_[b];
  }
}

BlockBuffer::Result BlockPipeline::Convert(SrcFmt& source, const platform::File& in, TgtFmt& writer,
                                           platform::File* out, uint64_t* offset, int64_t first, int64_t* count) {
  using Result = BlockBuffer::Result;
  if (writeFailed_) return Result::kWriteFailed;
  const int64_t wanted = *count;
  if (!HaveBlock(source, in, first, wanted)) return WritesOk() ? Result::kReadFailed : Result::kWriteFailed;
  const RawBlockLayout block = reads_[current_].block;
  *count = block.scans;
  if (block.scans < wanted) ReadAhead(source, in, first + block.scans, wanted - block.scans);
  int64_t produced = 0;
  const Result formatted = buffers_[current_]->Format(source, writer, block, &produced);
  if (!WritesOk()) return Result::kWriteFailed;
  if (formatted != Result::kOk) return formatted;
  if (produced > 0) {
    if (out == nullptr) return Result::kWriteFailed;
    WriteTask& write = writes_[current_];
    write.out = out;
    write.offset = *offset;
    write.bytes = produced;
    lastWrite_ = &write;
    writeTicket_ = worker_.Post(write);
    *offset += static_cast<uint64_t>(produced);
  }
  current_ ^= 1;
  return Result::kOk;
}

bool BlockPipeline::Finish() { return WritesOk(); }

bool BlockPipeline::HaveBlock(const SrcFmt& source, const platform::File& in, int64_t first, int64_t count) {
  ReadTask& read = reads_[current_];
  if (readTicket_[current_] != 0) {
    worker_.Wait(std::exchange(readTicket_[current_], 0));
    // A read-ahead that failed is the failure of this block, as a read made now would be.
    if (read.block.first == first && read.wanted == count) return read.ok;
  }
  read.wanted = count;
  return buffers_[current_]->LayOut(source, first, count, &read.block) && buffers_[current_]->Read(in, read.block);
}

void BlockPipeline::ReadAhead(const SrcFmt& source, const platform::File& in, int64_t first, int64_t count) {
  const int next = current_ ^ 1;
  // A read into that buffer left by a step that failed must end before its task is reused.
  if (readTicket_[next] != 0) worker_.Wait(std::exchange(readTicket_[next], 0));
  ReadTask& read = reads_[next];
  read.in = &in;
  read.wanted = count;
  // A layout the source refuses is left to the step of that block, which lays it out again.
  if (!buffers_[next]->LayOut(source, first, count, &read.block)) return;
  readTicket_[next] = worker_.Post(read);
}

bool BlockPipeline::WritesOk() {
  if (writeTicket_ != 0) {
    worker_.Wait(std::exchange(writeTicket_, 0));
    writeFailed_ = writeFailed_ || !lastWrite_->ok;
  }
  return !writeFailed_;
}

}  // namespace travune
