// A one-line progress bar on standard error, drawn only when standard error is a terminal.
#pragma once

#include <string>

namespace travune::cli {

class Progress {
 public:
  explicit Progress(std::string label);
  ~Progress();

  // Shows percent (0..100) when it changed since the last call.
  void Update(int percent);

 private:
  std::string label_;
  bool enabled_;
  int shown_ = -1;
};

}  // namespace travune::cli
