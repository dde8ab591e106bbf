// Path splitting and making: directory up to the last '/', extension from the last point of
// the file name. There are no drive letters here, so the drive part is always empty.
#include "support/FilePath.h"

#include <cstring>
#include <functional>

#include "support/TextUtil.h"

namespace travune {

namespace {

constexpr char kSeparator = '/';

// Copies the first length characters of text into a buffer of size bytes, cut to fit.
void CopyPart(char* buffer, int size, const char* text, size_t length) {
  const size_t kept = length < static_cast<size_t>(size) ? length : static_cast<size_t>(size) - 1;
  std::memcpy(buffer, text, kept);
  buffer[kept] = '\0';
}

// Appends text to the zero-terminated buffer of size bytes, cut to fit.
void AppendPart(char* buffer, int size, const char* text) {
  const size_t used = std::strlen(buffer);
  BoundedCopy(buffer + used, text, static_cast<int64_t>(size) - static_cast<int64_t>(used));
}

bool Inside(const char* p, const char* buffer, int size) {
  const std::less<const char*> before;
  return !before(p, buffer) && before(p, buffer + size);
}

char* NewClearedBuffer(int size) {
  char* buffer = new char[static_cast<size_t>(size)];
  buffer[0] = '\0';
  return buffer;
}

}  // namespace

FilePath::FilePath()
    : drive_(NewClearedBuffer(kDriveSize)),
      dir_(NewClearedBuffer(kDirSize)),
      base_(NewClearedBuffer(kBaseSize)),
      ext_(NewClearedBuffer(kExtSize)),
      full_(NewClearedBuffer(kFullSize)) {}

FilePath::~FilePath() {
  delete[] drive_;
  delete[] dir_;
  delete[] base_;
  delete[] ext_;
  delete[] full_;
}

const char* FilePath::Compose(const char* path) {
  if (path != nullptr) Split(path);
  full_[0] = '\0';
  AppendPart(full_, kFullSize, drive_);
  AppendPart(full_, kFullSize, dir_);
  const size_t dirLength = std::strlen(dir_);
  if (dirLength > 0 && dir_[dirLength - 1] != kSeparator) AppendPart(full_, kFullSize, "/");
  AppendPart(full_, kFullSize, base_);
  if (ext_[0] != '\0' && ext_[0] != '.') AppendPart(full_, kFullSize, ".");
  AppendPart(full_, kFullSize, ext_);
  return full_;
}

bool FilePath::Owns(const char* text) const {
  return Inside(text, drive_, kDriveSize) || Inside(text, dir_, kDirSize) || Inside(text, base_, kBaseSize) ||
         Inside(text, ext_, kExtSize) || Inside(text, full_, kFullSize);
}

void FilePath::Split(const char* path) {
  if (Owns(path)) {
    // Splitting overwrites the buffers the path lies in: work from a copy (no buffer is
    // longer than the full path's, so nothing is cut).
    char copy[kFullSize];
    BoundedCopy(copy, path, kFullSize);
    Split(copy);
    return;
  }
  const char* lastSeparator = std::strrchr(path, kSeparator);
  const char* name = lastSeparator != nullptr ? lastSeparator + 1 : path;
  const char* point = std::strrchr(name, '.');
  const char* nameEnd = point != nullptr ? point : name + std::strlen(name);
  drive_[0] = '\0';
  CopyPart(dir_, kDirSize, path, static_cast<size_t>(name - path));
  CopyPart(base_, kBaseSize, name, static_cast<size_t>(nameEnd - name));
  CopyPart(ext_, kExtSize, nameEnd, std::strlen(nameEnd));
}

const char* FilePath::SetBaseName(const char* text) {
  if (text != nullptr) BoundedCopy(base_, text, kBaseSize);
  return base_;
}

const char* FilePath::SetExtension(const char* text) {
  if (text != nullptr) BoundedCopy(ext_, text, kExtSize);
  return ext_;
}

}  // namespace travune
