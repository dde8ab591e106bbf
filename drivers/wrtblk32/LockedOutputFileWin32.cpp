// The exclusive output file on Windows: opened with no sharing, emptied, then handed to the C
// runtime as a stream.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include "LockedOutputFile.h"

namespace wrtblk32 {

std::FILE* OpenLockedOutputFile(const char* path) {
  const HANDLE handle = ::CreateFileA(path, GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return nullptr;
  const int fd = ::SetEndOfFile(handle) != 0 ? ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | _O_BINARY) : -1;
  if (fd < 0) {
    ::CloseHandle(handle);
    return nullptr;
  }
  std::FILE* file = ::_fdopen(fd, "wb");
  if (file == nullptr) ::_close(fd);  // closes the handle too
  return file;
}

}  // namespace wrtblk32
