// A private directory for the files of one benchmark, removed with everything in it when the
// object goes away.
#pragma once

#include <filesystem>
#include <string>

namespace travune::bench {

class ScratchDir {
 public:
  // Creates a new directory named after tag under the system's temporary directory
  // ($TMPDIR; point it at a memory file system such as /dev/shm to keep the disk out).
  explicit ScratchDir(const std::string& tag);
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // False when the directory could not be created.
  bool Exists() const { return !path_.empty(); }
  // The path of name inside the directory.
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace travune::bench
