// The exclusive output file on POSIX systems: an advisory lock taken before truncation.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "LockedOutputFile.h"

namespace wrtblk32 {

std::FILE* OpenLockedOutputFile(const char* path) {
  const int fd = ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::ftruncate(fd, 0) != 0) {
    ::close(fd);
    return nullptr;
  }
  std::FILE* file = ::fdopen(fd, "wb");
  if (file == nullptr) ::close(fd);
  return file;
}

}  // namespace wrtblk32
