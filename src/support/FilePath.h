// Splits a path into drive, directory, base name and extension and builds it again; a path
// whose parts do not fit their limits is refused, never cut.
#pragma once

#include <cstddef>
#include <string>

namespace travune {

class FilePath {
 public:
  // Each limit counts a terminator, as the fixed fields the parts end up in do: a part holds
  // at most its limit - 1 characters.
  static constexpr size_t kDriveSize = 64, kDirSize = 256, kBaseSize = 128, kExtSize = 64, kFullSize = 512;

  FilePath() = default;
  FilePath(const FilePath&) = delete;
  FilePath& operator=(const FilePath&) = delete;
  virtual ~FilePath() = default;

  // With a path: split it into its parts. Then build the full path from the parts and return
  // it. Null, with every part left as it was, when a part of path or the full path is too long.
  const char* Compose(const char* path);
  // Replace the extension (null text: keep it) and return it; null, the extension unchanged,
  // when text is too long.
  const char* SetExtension(const char* text);

  const char* Drive() const { return drive_.c_str(); }
  const char* Directory() const { return dir_.c_str(); }
  const char* BaseName() const { return base_.c_str(); }
  const char* Extension() const { return ext_.c_str(); }

 private:
  std::string drive_;
  std::string dir_;
  std::string base_;
  std::string ext_;
  std::string full_;
};

}  // namespace travune
