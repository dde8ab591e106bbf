// Keeps existing output files safe during a conversion: they are renamed to backups in the
// same directory first; success deletes the backups, failure deletes the partial outputs and
// puts the backups back.
#pragma once

#include <string>
#include <vector>

namespace travune::cli {

class OutputGuard {
 public:
  OutputGuard() = default;
  OutputGuard(const OutputGuard&) = delete;
  OutputGuard& operator=(const OutputGuard&) = delete;
  // Restores the originals unless Commit was called.
  ~OutputGuard();

  // Moves every existing file among outputs aside; false with error (and everything moved so
  // far put back) when one cannot be moved.
  bool Protect(const std::vector<std::string>& outputs, std::string* error);
  // The conversion succeeded: deletes the backups.
  void Commit();
  // The conversion failed: deletes the outputs and restores the backups.
  void Restore();

 private:
  struct Entry {
    std::string output;
    std::string backup;  // empty when there was nothing to keep
  };
  std::vector<Entry> entries_;
  bool done_ = false;
};

}  // namespace travune::cli
