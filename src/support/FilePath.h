// Splits a path into drive, directory, base name and extension and builds it again.
#pragma once

namespace travune {

class FilePath {
 public:
  static constexpr int kDriveSize = 64, kDirSize = 256, kBaseSize = 128, kExtSize = 64, kFullSize = 512;

  FilePath();
  FilePath(const FilePath&) = delete;
  FilePath& operator=(const FilePath&) = delete;
  virtual ~FilePath();

  // With a path: split it into its parts. Then build the full path from the parts and
  // return it. Parts longer than their buffers are cut.
  const char* Compose(const char* path);
  const char* SetBaseName(const char* text);
  const char* SetExtension(const char* text);

  const char* Drive() const { return drive_; }
  const char* Directory() const { return dir_; }
  const char* BaseName() const { return base_; }
  const char* Extension() const { return ext_; }

 private:
  void Split(const char* path);
  bool Owns(const char* text) const;

  char* drive_;
  char* dir_;
  char* base_;
  char* ext_;
  char* full_;
};

}  // namespace travune
