// The tool's operating-system services on POSIX systems: advisory locks, fsync, sigaction, kill.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "HostSystem.h"

namespace travune::cli {

OpenCheck CheckOpenForReading(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return OpenCheck{errno, false};
  const bool held = flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  close(fd);
  return OpenCheck{0, held};
}

int SyncToDisk(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = fd >= 0 && fsync(fd) == 0;
  const int saved = errno;
  if (fd >= 0) close(fd);
  if (!synced) return saved;
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  const int dirFd = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    fsync(dirFd);
    close(dirFd);
  }
  return 0;
}

void OnStopSignals(void (*handler)(int)) {
  for (const int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
    struct sigaction current {};
    sigaction(sig, nullptr, &current);
    if (current.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(sig, &action, nullptr);
  }
}

long CurrentProcessId() { return static_cast<long>(getpid()); }

bool ProcessRuns(long pid) { return pid > 0 && (kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM); }

}  // namespace travune::cli
