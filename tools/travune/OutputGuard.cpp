// Backup, commit and restore of the output files of conversions, and the signal handlers that
// restore them when the process is stopped by a signal.
#include "OutputGuard.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "HostSystem.h"

namespace travune::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBackupMark = ".travune-backup-";

// One protected output as the signal handler sees it: fixed storage, published by `used`.
struct Slot {
  std::atomic<int> used{0};
  char output[4096];
  char backup[4096];  // empty when there was nothing to keep
};

std::array<Slot, 64> slots;
std::mutex slotsMutex;

int TakeSlot(const std::string& output, const std::string& backup) {
  if (output.size() >= sizeof slots[0].output || backup.size() >= sizeof slots[0].backup) return -1;
  const std::lock_guard<std::mutex> lock(slotsMutex);
  for (size_t i = 0; i < slots.size(); ++i) {
    if (slots[i].used.load() != 0) continue;
    std::memcpy(slots[i].output, output.c_str(), output.size() + 1);
    std::memcpy(slots[i].backup, backup.c_str(), backup.size() + 1);
    slots[i].used.store(1);
    return static_cast<int>(i);
  }
  return -1;
}

void ReleaseSlot(int slot) {
  if (slot >= 0) slots[static_cast<size_t>(slot)].used.store(0);
}

// Async-signal-safe: puts every backup back over its partial output, or removes the partial
// output when there was none, then dies of the same signal.
void RestoreOnSignal(int sig) {
  for (Slot& slot : slots) {
    if (slot.used.load() == 0) continue;
    if (slot.backup[0] != '\0') {
      rename(slot.backup, slot.output);
    } else {
      unlink(slot.output);
    }
  }
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

// A name beside path that no file has yet: ".NAME.travune-backup-PID", then "...-PID-1", ...
std::string FreeBackupName(const std::string& path) {
  const fs::path p(path);
  const std::string stem =
      (p.parent_path() / ("." + p.filename().string() + kBackupMark + std::to_string(CurrentProcessId()))).string();
  std::string candidate = stem;
  std::error_code ec;
  for (int n = 1; fs::symlink_status(candidate, ec).type() != fs::file_type::not_found; ++n) {
    candidate = stem + "-" + std::to_string(n);
  }
  return candidate;
}

// What stands at an output's path before the conversion: nothing, a file or link to keep aside,
// or something else (a device, a pipe, a socket, a directory). Outputs are written as new files
// and renamed into place, so moving /dev/null aside would replace it for every program.
enum class Existing { kNothing, kFile, kNoFile };

Existing ExistingAt(const std::string& path) {
  std::error_code ec;
  switch (fs::symlink_status(path, ec).type()) {
    case fs::file_type::not_found:
      return Existing::kNothing;
    case fs::file_type::regular:
    case fs::file_type::symlink:
      return Existing::kFile;
    default:
      return ec ? Existing::kFile : Existing::kNoFile;  // unreadable: the rename will say why
  }
}

// Writes the file's data and then its directory entry to disk.
bool SyncedToDisk(const std::string& path, std::string* error) {
  const int failure = SyncToDisk(path);
  if (failure != 0) *error = path + ": cannot flush the new file to disk: " + std::strerror(failure);
  return failure == 0;
}

// The process id a backup name carries, or 0 when it carries none.
long OwnerOf(const std::string& name) {
  const size_t mark = name.find(kBackupMark);
  if (mark == std::string::npos) return 0;
  return std::atol(name.c_str() + mark + std::strlen(kBackupMark));
}

}  // namespace

OutputGuard::~OutputGuard() {
  if (!done_) Restore();
}

bool OutputGuard::Protect(const std::vector<std::string>& outputs, std::string* error) {
  for (const std::string& output : outputs) {
    const Existing existing = ExistingAt(output);
    if (existing == Existing::kNoFile) {
      *error = output + ": is a device, a pipe, a socket or a directory; outputs are written as new files";
      Restore();
      return false;
    }
    Entry entry{output, existing == Existing::kFile ? FreeBackupName(output) : "", -1};
    // The slot is taken before the rename: a signal in between finds no backup to restore
    // and leaves the untouched original in place.
    entry.slot = TakeSlot(output, entry.backup);
    if (entry.slot < 0) {
      *error = output + ": too many outputs at once, or its name is too long";
      Restore();
      return false;
    }
    if (!entry.backup.empty() && std::rename(output.c_str(), entry.backup.c_str()) != 0) {
      *error = "cannot move the existing " + output + " aside: " + std::strerror(errno);
      ReleaseSlot(entry.slot);
      Restore();
      return false;
    }
    entries_.push_back(entry);
  }
  return true;
}

bool OutputGuard::Commit(std::string* error) {
  // Only an output that replaces a backup must be on disk before the backup goes; a new file
  // is left to the page cache like any other program's output.
  for (const Entry& entry : entries_) {
    if (!entry.backup.empty() && !SyncedToDisk(entry.output, error)) {
      Restore();
      return false;
    }
  }
  for (const Entry& entry : entries_) {
    ReleaseSlot(entry.slot);
    if (!entry.backup.empty()) unlink(entry.backup.c_str());
  }
  entries_.clear();
  done_ = true;
  return true;
}

void OutputGuard::Restore() {
  for (const Entry& entry : entries_) {
    unlink(entry.output.c_str());
    if (!entry.backup.empty() && std::rename(entry.backup.c_str(), entry.output.c_str()) != 0) {
      std::fprintf(stderr, "travune: could not restore %s; the original is kept as %s\n", entry.output.c_str(),
                   entry.backup.c_str());
    }
    ReleaseSlot(entry.slot);
  }
  entries_.clear();
  done_ = true;
}

void InstallRestoringSignalHandlers() { OnStopSignals(RestoreOnSignal); }

std::vector<std::string> StaleBackupsIn(const std::string& dir) {
  std::vector<std::string> stale;
  std::error_code ec;
  for (fs::directory_iterator it(dir.empty() ? "." : dir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.empty() || name[0] != '.' || name.find(kBackupMark) == std::string::npos) continue;
    if (!ProcessRuns(OwnerOf(name))) stale.push_back(it->path().string());
  }
  return stale;
}

}  // namespace travune::cli
