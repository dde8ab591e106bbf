// A forked child process driven step by step through pipes: the parent sends one command byte,
// the child runs it and answers with a 32-bit result, so steps of several processes interleave
// in an exact order without sleeping. The child never returns into the test framework (_exit).
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <initializer_list>

namespace travune::apitest {

class ChildProcess {
 public:
  // What the child does before its first command (limits, signal dispositions).
  using Prepare = std::function<void()>;
  // Runs one command in the child and returns its result.
  using Handler = std::function<int32_t(char)>;

  ChildProcess(const Prepare& prepare, const Handler& handler) {
    int commands[2] = {-1, -1};
    int answers[2] = {-1, -1};
    if (::pipe(commands) != 0 || ::pipe(answers) != 0) {
      CloseAll({commands[0], commands[1], answers[0], answers[1]});
      return;
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
      // The child holds no file, lock or pipe end of the parent or of a sibling.
      CloseAll({commands[1], answers[0]});
      ::dup2(commands[0], 3);
      ::dup2(answers[1], 4);
      ::close_range(5, ~0u, 0);
      if (prepare) prepare();
      Serve(3, 4, handler);
    }
    CloseAll({commands[0], answers[1]});
    if (pid < 0) {
      CloseAll({commands[1], answers[0]});
      return;
    }
    pid_ = pid;
    toChild_ = commands[1];
    fromChild_ = answers[0];
  }

  ~ChildProcess() { Finish(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Sends command and waits for its answer; false when the child has died.
  bool Ask(char command, int32_t* answer) {
    return toChild_ >= 0 && ::write(toChild_, &command, 1) == 1 &&
           ::read(fromChild_, answer, sizeof *answer) == static_cast<ssize_t>(sizeof *answer);
  }

  // Closes the command pipe, which ends the child, and returns its wait status (-1 when none).
  int Finish() {
    CloseAll({toChild_, fromChild_});
    toChild_ = fromChild_ = -1;
    if (pid_ > 0) ::waitpid(pid_, &waitStatus_, 0);
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

  static void CloseAll(std::initializer_list<int> fds) {
    for (const int fd : fds) {
      if (fd >= 0) ::close(fd);
    }
  }

  pid_t pid_ = -1;
  int toChild_ = -1;
  int fromChild_ = -1;
  int waitStatus_ = -1;
};

}  // namespace travune::apitest
