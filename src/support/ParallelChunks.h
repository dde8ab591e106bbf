// Runs one job over a range cut into contiguous chunks, each chunk on its own thread, for work
// whose chunks are independent (formatting the lines of one block of text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace travune {

class ParallelChunks {
 public:
  // Most chunks one run cuts a range into.
  static constexpr size_t kMaxChunks = 8;

  // The job of one chunk: its number and its part [begin, end) of the range.
  using Job = std::function<void(size_t chunk, size_t begin, size_t end)>;

  // Fewest values a chunk works on: below this, starting a thread costs more than it saves.
  static constexpr int64_t kMinValuesPerChunk = 16384;

  // How many chunks work on values values with at most threads threads.
  static size_t ChunksFor(int64_t values, int32_t threads);

  // The first index of chunk of a range of count cut into chunks parts of near-equal size.
  static size_t ChunkBegin(size_t chunk, size_t count, size_t chunks) { return count * chunk / chunks; }

  // Runs job over [0, count) in chunks parts (at most kMaxChunks), the first on the calling
  // thread, and returns once every chunk is done. A chunk whose thread cannot be started runs
  // on the calling thread, so the job always covers the whole range.
  static void Run(size_t count, size_t chunks, const Job& job);
};

}  // namespace travune
