// Draws the batch progress bar with carriage returns and ends its line when it goes away.
#include "Progress.h"

#include <cstdio>

namespace travune::cli {
namespace {

constexpr int kWidth = 30;

}  // namespace

Progress::Progress(int files, bool enabled) : fractions_(static_cast<size_t>(files), 0.0), enabled_(enabled) {}

Progress::~Progress() {
  if (enabled_ && shown_ >= 0) std::fputc('\n', stderr);
}

void Progress::Update(int file, double fraction) {
  const std::lock_guard<std::mutex> lock(mutex_);
  fractions_[static_cast<size_t>(file)] = fraction;
  Draw();
}

void Progress::Finish(int file) {
  const std::lock_guard<std::mutex> lock(mutex_);
  fractions_[static_cast<size_t>(file)] = 1.0;
  ++finished_;
  Draw();
}

void Progress::Draw() {
  if (!enabled_ || fractions_.empty()) return;
  double sum = 0.0;
  for (const double f : fractions_) sum += f;
  const int percent = static_cast<int>(100.0 * sum / static_cast<double>(fractions_.size()));
  if (percent == shown_ && finished_ == shownFinished_) return;
  shown_ = percent;
  shownFinished_ = finished_;
  const int filled = percent * kWidth / 100;
  std::fprintf(stderr, "\r[%.*s%*s] %3d%%  %d of %zu files", filled, "##############################",
               kWidth - filled, "", percent, finished_, fractions_.size());
  std::fflush(stderr);
}

}  // namespace travune::cli
