// What a conversion leaves in the process and on disk: the open file descriptors and the files
// of a directory with their contents. Shared by the fault and the multi-process tests.
#pragma once

#include <dirent.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace travune::testing {

// Entries of /proc/self/fd, the descriptor of the directory listing itself included (so the
// count is comparable between two calls).
inline int CountOpenFileDescriptors() {
  DIR* dir = ::opendir("/proc/self/fd");
  if (dir == nullptr) return -1;
  int count = 0;
  while (const dirent* entry = ::readdir(dir)) {
    if (entry->d_name[0] != '.') ++count;
  }
  ::closedir(dir);
  return count;
}

inline std::string ContentsOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Every regular file below dir by its path relative to dir, with its bytes.
inline std::map<std::string, std::string> FilesBelow(const std::filesystem::path& dir) {
  std::map<std::string, std::string> files;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir, ignored)) {
    if (entry.is_regular_file()) files[entry.path().lexically_relative(dir).string()] = ContentsOf(entry.path());
  }
  return files;
}

// "" when the two are equal; otherwise where they first differ, with a little of each around
// that place, so that a failure stays readable for files of any size.
inline std::string FirstDifference(const std::string& actual, const std::string& expected) {
  if (actual == expected) return "";
  size_t at = 0;
  while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
  const size_t from = at < 40 ? 0 : at - 40;
  return "sizes " + std::to_string(actual.size()) + " and " + std::to_string(expected.size()) +
         ", first difference at byte " + std::to_string(at) + ": \"" + actual.substr(from, 80) + "\" instead of \"" +
         expected.substr(from, 80) + "\"";
}

// Every entry below dir, directories included.
inline int EntriesBelow(const std::filesystem::path& dir) {
  int count = 0;
  std::error_code ignored;
  for (auto it = std::filesystem::recursive_directory_iterator(dir, ignored);
       it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
    ++count;
  }
  return count;
}

}  // namespace travune::testing
