// Draws the progress bar with carriage returns and ends its line when it goes away.
#include "Progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace travune::cli {
namespace {

constexpr int kWidth = 30;

}  // namespace

Progress::Progress(std::string label) : label_(std::move(label)), enabled_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (enabled_ && shown_ >= 0) std::fputc('\n', stderr);
}

void Progress::Update(int percent) {
  if (!enabled_ || percent == shown_) return;
  shown_ = percent;
  const int filled = percent * kWidth / 100;
  std::fprintf(stderr, "\r%s [%.*s%*s] %3d%%", label_.c_str(), filled, "##############################",
               kWidth - filled, "", percent);
  std::fflush(stderr);
}

}  // namespace travune::cli
