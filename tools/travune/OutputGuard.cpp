// Backup, commit and restore of the output files of one conversion.
#include "OutputGuard.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace travune::cli {
namespace {

namespace fs = std::filesystem;

// A name beside path that no file has yet: ".NAME.travune-backup", then "...-1", "...-2".
std::string FreeBackupName(const std::string& path) {
  const fs::path p(path);
  const std::string stem = (p.parent_path() / ("." + p.filename().string() + ".travune-backup")).string();
  std::string candidate = stem;
  std::error_code ec;
  for (int n = 1; fs::symlink_status(candidate, ec).type() != fs::file_type::not_found; ++n) {
    candidate = stem + "-" + std::to_string(n);
  }
  return candidate;
}

bool Exists(const std::string& path) {
  std::error_code ec;
  return fs::symlink_status(path, ec).type() != fs::file_type::not_found;
}

}  // namespace

OutputGuard::~OutputGuard() {
  if (!done_) Restore();
}

bool OutputGuard::Protect(const std::vector<std::string>& outputs, std::string* error) {
  for (const std::string& output : outputs) {
    Entry entry{output, ""};
    if (Exists(output)) {
      entry.backup = FreeBackupName(output);
      if (std::rename(output.c_str(), entry.backup.c_str()) != 0) {
        *error = "cannot move the existing " + output + " aside: " + std::strerror(errno);
        Restore();
        return false;
      }
    }
    entries_.push_back(entry);
  }
  return true;
}

void OutputGuard::Commit() {
  for (const Entry& entry : entries_) {
    if (!entry.backup.empty()) unlink(entry.backup.c_str());
  }
  entries_.clear();
  done_ = true;
}

void OutputGuard::Restore() {
  for (const Entry& entry : entries_) {
    unlink(entry.output.c_str());
    if (!entry.backup.empty() && std::rename(entry.backup.c_str(), entry.output.c_str()) != 0) {
      std::fprintf(stderr, "travune: could not restore %s; the original is kept as %s\n", entry.output.c_str(),
                   entry.backup.c_str());
    }
  }
  entries_.clear();
  done_ = true;
}

}  // namespace travune::cli
