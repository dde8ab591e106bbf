// A private directory for the fuzz targets that need real files: the description and data file
// of one input and the outputs made from them, all removed again after the input, and the
// directory itself when the process ends.
#pragma once

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "Promise.h"

namespace travune::fuzz {

class ScratchDir {
 public:
  // In memory (/dev/shm) where there is such a file system: the targets create and delete a few
  // files per input, which on a busy disk costs far more than the conversion itself.
  ScratchDir() {
    const char* base = std::getenv("TMPDIR");
    std::error_code noMemoryFs;
    const std::string parent = std::filesystem::is_directory("/dev/shm", noMemoryFs) ? "/dev/shm"
                               : base != nullptr && base[0] != '\0'                   ? base
                                                                                       : "/tmp";
    std::string pattern = parent + "/travune-fuzz-XXXXXX";
    Expect(::mkdtemp(pattern.data()) != nullptr, "a private scratch directory can be made");
    dir_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string Path(const char* name) const { return (dir_ / name).string(); }

  void Write(const char* name, const uint8_t* bytes, size_t size) const {
    std::FILE* file = std::fopen(Path(name).c_str(), "wb");
    Expect(file != nullptr, "a scratch file can be written");
    const size_t written = size > 0 ? std::fwrite(bytes, 1, size, file) : 0;
    Expect(std::fclose(file) == 0 && written == size, "a scratch file is written whole");
  }

  // Removes every file of the input; anything that is not a plain file (a directory left
  // behind by a writer's temporary files) breaks the promise that nothing is left.
  void Clear() const {
    for (const auto& entry : std::filesystem::directory_iterator(dir_)) {
      Expect(entry.is_regular_file(), "a conversion leaves no temporary directory behind");
      std::filesystem::remove(entry.path());
    }
  }

  // The process's scratch directory, made on first use.
  static const ScratchDir& Instance() {
    static const ScratchDir dir;
    return dir;
  }

 private:
  std::filesystem::path dir_;
};

}  // namespace travune::fuzz
