// What the command-line tool asks of the operating system beyond the standard library: whether
// a file is held by another process, flushing to disk, stop signals and other processes.
#pragma once

#include <string>

namespace travune::cli {

// The outcome of opening a file for reading and letting it go again: the system's error number
// when it could not be opened (0 when it could), and whether another process holds it.
struct OpenCheck {
  int error = 0;
  bool held = false;
};
OpenCheck CheckOpenForReading(const std::string& path);

// Writes the file's data and then its directory entry to disk; the system's error number when
// the file could not be flushed, else 0.
int SyncToDisk(const std::string& path);

// Runs handler when the process is asked to stop (interrupt, termination and the like); stops
// the process has been told to ignore stay ignored.
void OnStopSignals(void (*handler)(int));

// This process's id, and whether a process with the id pid runs now.
long CurrentProcessId();
bool ProcessRuns(long pid);

}  // namespace travune::cli
