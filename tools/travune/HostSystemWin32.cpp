// The tool's operating-system services on Windows: sharing violations, FlushFileBuffers, the C
// runtime's signals and process handles.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <csignal>

#include "HostSystem.h"

namespace travune::cli {

namespace {

// The C runtime's error number closest to a failed open's system error.
int ErrorNumberOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
      return EACCES;
    default:
      return EIO;
  }
}

}  // namespace

// A file someone else holds open without sharing refuses even a shared read.
OpenCheck CheckOpenForReading(const std::string& path) {
  const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    ::CloseHandle(file);
    return OpenCheck{0, false};
  }
  const DWORD error = ::GetLastError();
  if (error == ERROR_SHARING_VIOLATION) return OpenCheck{0, true};
  return OpenCheck{ErrorNumberOf(error), false};
}

// Directory entries need no flush of their own on Windows.
int SyncToDisk(const std::string& path) {
  const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ErrorNumberOf(::GetLastError());
  const bool flushed = ::FlushFileBuffers(file) != 0;
  ::CloseHandle(file);
  return flushed ? 0 : EIO;
}

void OnStopSignals(void (*handler)(int)) {
  for (const int sig : {SIGINT, SIGTERM, SIGBREAK}) {
    if (std::signal(sig, handler) == SIG_IGN) std::signal(sig, SIG_IGN);
  }
}

long CurrentProcessId() { return static_cast<long>(::GetCurrentProcessId()); }

bool ProcessRuns(long pid) {
  if (pid <= 0) return false;
  const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(pid));
  if (process == nullptr) return ::GetLastError() == ERROR_ACCESS_DENIED;
  const bool running = ::WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
  ::CloseHandle(process);
  return running;
}

}  // namespace travune::cli
