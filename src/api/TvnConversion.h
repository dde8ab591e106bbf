// A conversion behind a handle of the handle API: a writer over a view of the chosen scans and
// channels, its own block buffer and output files. The range and the channels are known before
// the writer's header is written, so every header announces exactly what is written.
//
// A conversion of several blocks without TRAVUNE_FLAG_ONE_THREAD overlaps its file reads and
// writes with the formatting (BlockPipeline): Step returns while its block is still being written.
// A write failure is then reported by the next Step or by Finish, the data file ends after the
// last whole block written, and every later Step and Finish report it again. *done counts the
// blocks written or being written: never more than a conversion that succeeds writes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "api/BlockBuffer.h"
#include "api/BlockPipeline.h"
#include "api/TvnAcquisition.h"
#include "source/SrcFmtView.h"
#include "travune/travune.h"
#include "writer/TgtFmt.h"

namespace travune {

class TvnConversion {
 public:
  explicit TvnConversion(TvnAcquisition& acquisition) : acquisition_(acquisition) {}
  ~TvnConversion();

  // Creates the writer and the files and writes the headers. Returns a tvnStatus.
  int32_t Open(const tvnConvOptions& options);
  // Converts the next block; *done becomes the scans converted so far.
  int32_t Step(int64_t* done);
  int32_t Finish();

  int64_t Total() const { return total_; }
  int64_t Done() const { return done_; }
  TvnAcquisition& Acquisition() { return acquisition_; }

 private:
  int32_t CreateFiles(const tvnConvOptions& options, const char* ext2);
  void CloseFiles();
  void ReleaseBlock();

  TvnAcquisition& acquisition_;
  std::unique_ptr<SrcFmtView> view_;
  std::unique_ptr<TgtFmt> writer_;
  BlockBuffer block_;
  std::unique_ptr<BlockPipeline> pipeline_;  // null: one thread reads, formats and writes
  platform::File data_;
  platform::File header_;
  std::string dataName_;
  uint64_t offset_ = 0;
  int64_t total_ = 0;
  int64_t done_ = 0;
  bool open_ = false;
};

}  // namespace travune
