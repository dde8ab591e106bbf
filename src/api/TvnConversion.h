// A conversion behind a handle of the handle API: a writer over a view of the chosen scans and
// channels, its own block buffer and output files. The range and the channels are known before
// the writer's header is written, so every header announces exactly what is written.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "api/BlockBuffer.h"
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
  platform::File data_;
  platform::File header_;
  std::string dataName_;
  uint64_t offset_ = 0;
  int64_t total_ = 0;
  int64_t done_ = 0;
  bool open_ = false;
};

}  // namespace travune
