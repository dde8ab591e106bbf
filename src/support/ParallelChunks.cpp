// How many chunks a piece of work is cut into.
#include "support/ParallelChunks.h"

namespace travune {

size_t ParallelChunks::ChunksFor(int64_t values, int32_t threads) {
  const int64_t byWork = std::max<int64_t>(1, values / kMinValuesPerChunk);
  return static_cast<size_t>(std::min({static_cast<int64_t>(std::max(1, threads)), byWork,
                                       static_cast<int64_t>(kMaxChunks)}));
}

}  // namespace travune
