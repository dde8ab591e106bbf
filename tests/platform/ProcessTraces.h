// What a conversion leaves in the process and on disk: the open file descriptors and the files
// of a directory with their contents. Shared by the fault and the multi-process tests.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "api/ApiTestKit.h"

namespace travune::apitest {

// Entries of /proc/self/fd, the descriptor of the listing itself included (so the count is
// comparable between two calls).
inline int CountOpenFileDescriptors() { return EntriesBelow("/proc/self/fd"); }

// Every regular file below dir by its path relative to dir, with its bytes.
inline std::map<std::string, std::string> FilesBelow(const fs::path& dir) {
  std::map<std::string, std::string> files;
  std::error_code ignored;
  for (const auto& entry : fs::recursive_directory_iterator(dir, ignored)) {
    if (entry.is_regular_file()) files[entry.path().lexically_relative(dir).string()] = Contents(entry.path());
  }
  return files;
}

}  // namespace travune::apitest
