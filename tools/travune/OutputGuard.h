// Keeps existing output files safe during a conversion: they are renamed to unique backups in
// the same directory first; success flushes the new files that replace one to disk and then
// deletes the backups, failure (or a fatal signal) deletes the partial outputs and puts the backups back.
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
  // The conversion succeeded: flushes the outputs that replace a backup to disk, then deletes
  // the backups; false with error (and the backups restored) when an output cannot be flushed.
  bool Commit(std::string* error);
  // The conversion failed: deletes the outputs and restores the backups.
  void Restore();

 private:
  struct Entry {
    std::string output;
    std::string backup;  // empty when there was nothing to keep
    int slot = -1;       // the entry's place in the table the signal handler restores from
  };
  std::vector<Entry> entries_;
  bool done_ = false;
};

// Installs handlers that restore every protected output on SIGINT, SIGTERM, SIGHUP, SIGPIPE
// and SIGXFSZ and then end the process by the same signal. Signals the tool was started with
// ignored stay ignored.
void InstallRestoringSignalHandlers();

// Backups in dir that no running travune owns: left behind by a run that was killed outright.
std::vector<std::string> StaleBackupsIn(const std::string& dir);

}  // namespace travune::cli
