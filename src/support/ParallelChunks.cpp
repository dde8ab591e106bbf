// Chunks of a range formatted on short-lived threads, joined before returning.
#include "support/ParallelChunks.h"

#include <algorithm>
#include <array>
#include <exception>
#include <thread>

namespace travune {

size_t ParallelChunks::ChunksFor(int64_t values, int32_t threads) {
  const int64_t byWork = std::max<int64_t>(1, values / kMinValuesPerChunk);
  return static_cast<size_t>(std::min({static_cast<int64_t>(std::max(1, threads)), byWork,
                                       static_cast<int64_t>(kMaxChunks)}));
}

void ParallelChunks::Run(size_t count, size_t chunks, const Job& job) {
  chunks = std::clamp<size_t>(chunks, 1, kMaxChunks);
  std::array<std::thread, kMaxChunks> threads;
  std::array<bool, kMaxChunks> started{};
  for (size_t chunk = 1; chunk < chunks; ++chunk) {
    const size_t begin = ChunkBegin(chunk, count, chunks);
    const size_t end = ChunkBegin(chunk + 1, count, chunks);
    try {
      threads[chunk] = std::thread(job, chunk, begin, end);
      started[chunk] = true;
    } catch (const std::exception&) {
      // No thread to be had: the calling thread runs this chunk after its own.
    }
  }
  job(0, 0, ChunkBegin(1, count, chunks));
  for (size_t chunk = 1; chunk < chunks; ++chunk) {
    if (started[chunk]) {
      threads[chunk].join();
    } else {
      job(chunk, ChunkBegin(chunk, count, chunks), ChunkBegin(chunk + 1, count, chunks));
    }
  }
}

}  // namespace travune
