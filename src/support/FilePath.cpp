// Path splitting and making: directory up to the last separator the platform knows ('/', and on
// Windows also '\\' and a drive's colon), extension from the last point of the file name. A
// drive stays part of the directory, so the drive part is always empty.
#include "support/FilePath.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/Platform.h"

namespace travune {

namespace {

// Where the file name of path starts: just after its last separator, else at 0.
size_t NameStart(const char* path) {
  const char* separator = platform::LastPathSeparator(path);
  return separator == nullptr ? 0 : static_cast<size_t>(separator - path) + 1;
}

bool Fits(std::string_view text, size_t limit) { return text.size() < limit; }

// Replaces part by text when text fits limit; null (part unchanged) when it does not.
const char* SetPart(std::string& part, const char* text, size_t limit) {
  if (text != nullptr) {
    if (!Fits(text, limit)) return nullptr;
    part = text;
  }
  return part.c_str();
}

}  // namespace

const char* FilePath::Compose(const char* path) {
  std::string drive = drive_, dir = dir_, base = base_, ext = ext_;
  if (path != nullptr) {
    const std::string_view whole(path);
    const size_t nameStart = NameStart(path);
    const std::string_view name = whole.substr(nameStart);
    const size_t nameEnd = std::min(name.rfind('.'), name.size());
    drive.clear();
    dir = whole.substr(0, nameStart);
    base = name.substr(0, nameEnd);
    ext = name.substr(nameEnd);
  }
  std::string full = drive + dir;
  if (!dir.empty() && NameStart(dir.c_str()) != dir.size()) full += platform::kPathSeparator;
  full += base;
  if (!ext.empty() && ext.front() != '.') full += '.';
  full += ext;
  const bool fits = Fits(drive, kDriveSize) && Fits(dir, kDirSize) && Fits(base, kBaseSize) && Fits(ext, kExtSize) &&
                    Fits(full, kFullSize);
  if (!fits) return nullptr;
  drive_ = std::move(drive);
  dir_ = std::move(dir);
  base_ = std::move(base);
  ext_ = std::move(ext);
  full_ = std::move(full);
  return full_.c_str();
}

const char* FilePath::SetExtension(const char* text) { return SetPart(ext_, text, kExtSize); }

}  // namespace travune
