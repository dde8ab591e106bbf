// A forked child process driven step by step through pipes: the parent sends one command byte,
// the child runs it and answers with a 32-bit result. Steps of several processes can so be
// interleaved in an exact order without sleeping. The child is a copy of the test process that
// never returns into the test framework; it ends with _exit.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <functional>

namespace travune::testing {

class ChildProcess {
 public:
  // What the child does before its first command (limits, signal dispositions).
  using Prepare = std::function<void()>;
  // Runs one command in the child and returns its result.
  using Handler = std::function<int32_t(char)>;

  ChildProcess(const Prepare& prepare, const Handler& handler) {
    int commands[2];
    int answers[2];
    if (::pipe(commands) != 0) return;
    if (::pipe(answers) != 0) {
      CloseBoth(commands);
      return;
    }
    pid_t pid = ::fork();
    if (pid == 0) {
      KeepOnly(commands[0], answers[1]);
      if (prepare) prepare();
      Serve(commands[0], answers[1], handler);
    }
    ::close(commands[0]);
    ::close(answers[1]);
    if (pid < 0) {
      ::close(commands[1]);
      ::close(answers[0]);
      return;
    }
    pid_ = pid;
    toChild_ = commands[1];
    fromChild_ = answers[0];
  }

  ~ChildProcess() { Finish(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool Started() const { return pid_ > 0; }

  // Sends command and waits for its answer; false when the child has died.
  bool Ask(char command, int32_t* answer) {
    if (toChild_ < 0 || ::write(toChild_, &command, 1) != 1) return false;
    return ReadAll(fromChild_, answer, sizeof *answer);
  }

  // Closes the command pipe, which ends the child, and returns its wait status (-1 when none).
  int Finish() {
    if (toChild_ >= 0) ::close(toChild_);
    if (fromChild_ >= 0) ::close(fromChild_);
    toChild_ = fromChild_ = -1;
    if (pid_ <= 0) return waitStatus_;
    ::waitpid(pid_, &waitStatus_, 0);
    pid_ = -1;
    return waitStatus_;
  }

  // True when the child ended by returning from its loop (not by a signal or an abort).
  static bool EndedNormally(int waitStatus) { return WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0; }

 private:
  [[noreturn]] static void Serve(int commands, int answers, const Handler& handler) {
    char command = 0;
    while (::read(commands, &command, 1) == 1) {
      const int32_t answer = handler(command);
      if (::write(answers, &answer, sizeof answer) != static_cast<ssize_t>(sizeof answer)) break;
    }
    ::_exit(0);
  }

  // Closes every descriptor above the standard three except a and b, so that the child holds
  // no file, lock or pipe end of the parent or of a sibling.
  static void KeepOnly(int a, int b) {
    const unsigned low = static_cast<unsigned>(a < b ? a : b);
    const unsigned high = static_cast<unsigned>(a < b ? b : a);
    if (low > 3) ::close_range(3, low - 1, 0);
    if (high > low + 1) ::close_range(low + 1, high - 1, 0);
    ::close_range(high + 1, ~0u, 0);
  }

  static bool ReadAll(int fd, void* buffer, size_t n) {
    auto* bytes = static_cast<char*>(buffer);
    while (n > 0) {
      const ssize_t got = ::read(fd, bytes, n);
      if (got <= 0) return false;
      bytes += got;
      n -= static_cast<size_t>(got);
    }
    return true;
  }

  static void CloseBoth(int fds[2]) {
    ::close(fds[0]);
    ::close(fds[1]);
  }

  pid_t pid_ = -1;
  int toChild_ = -1;
  int fromChild_ = -1;
  int waitStatus_ = -1;
};

}  // namespace travune::testing
