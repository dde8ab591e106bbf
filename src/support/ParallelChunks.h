// Runs one job over a range cut into contiguous chunks, each chunk on its own thread, for work
// whose chunks are independent (formatting the lines of one block of text).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <thread>

#include "platform/Platform.h"

namespace travune {

class ParallelChunks {
 public:
  // Most chunks one run cuts a range into.
  static constexpr size_t kMaxChunks = 8;
  // Fewest values a chunk works on: below this, starting a thread costs more than it saves.
  static constexpr int64_t kMinValuesPerChunk = 16384;

  // How many chunks work on values values with at most threads threads.
  static size_t ChunksFor(int64_t values, int32_t threads);

  // The first index of chunk of a range of count cut into chunks parts of near-equal size.
  static size_t ChunkBegin(size_t chunk, size_t count, size_t chunks) { return count * chunk / chunks; }

  // Runs job(chunk, begin, end) over [0, count) in chunks parts (at most kMaxChunks), the first
  // on the calling thread, and returns once every chunk is done. A chunk whose thread cannot be
  // started runs on the calling thread, so the job always covers the whole range. The job is
  // taken by reference (no copy, no allocation for it) and must not throw.
  template <typename Job>
  static void Run(size_t count, size_t chunks, const Job& job) {
    chunks = std::clamp<size_t>(chunks, 1, kMaxChunks);
    std::array<std::thread, kMaxChunks> threads;
    // Helper threads take the calling thread's locale, so that every chunk prints alike.
    void* const locale = platform::CurrentThreadLocale();
    const auto inCallersLocale = [&job, locale](size_t chunk, size_t begin, size_t end) {
      const platform::ScopedThreadLocale scoped(locale);
      job(chunk, begin, end);
    };
    for (size_t chunk = 1; chunk < chunks; ++chunk) {
      try {
        threads[chunk] = std::thread(std::cref(inCallersLocale), chunk, ChunkBegin(chunk, count, chunks),
                                     ChunkBegin(chunk + 1, count, chunks));
      } catch (const std::exception&) {
        // No thread to be had: the calling thread runs this chunk after its own.
      }
    }
    job(size_t{0}, size_t{0}, ChunkBegin(1, count, chunks));
    for (size_t chunk = 1; chunk < chunks; ++chunk) {
      if (threads[chunk].joinable()) {
        threads[chunk].join();
      } else {
        job(chunk, ChunkBegin(chunk, count, chunks), ChunkBegin(chunk + 1, count, chunks));
      }
    }
  }
};

}  // namespace travune
