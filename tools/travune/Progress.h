// One overall progress line on standard error for a batch of conversions that run on several
// threads, drawn only when standard error is a terminal and the tool is not quiet.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace travune::cli {

class Progress {
 public:
  Progress(int files, bool enabled);
  ~Progress();

  // File file has fraction (0..1) of its scans converted; redraws when the percentage changed.
  void Update(int file, double fraction);
  // File file is finished (converted or failed).
  void Finish(int file);

 private:
  void Draw();

  std::mutex mutex_;
  std::vector<double> fractions_;
  int finished_ = 0;
  bool enabled_;
  int shown_ = -1;
  int shownFinished_ = 0;
};

}  // namespace travune::cli
