// One-line messages for the negative statuses of the conversion functions: what went wrong
// and with which file; and the notes and warnings of the tool with their verbosity.
#pragma once

#include <cstdint>
#include <string>

namespace travune::cli {

// The files of one conversion, to name the one a status is about.
struct ConversionFiles {
  std::string description;
  std::string data;
  std::string output;
  std::string header;
};

// "FILE: what went wrong (function status N)" for a negative status of function, one of
// "cvtReadBinDescFile", "cvtInitDataFileEx", "cvtConvertBinData", "cvtCloseDataFile".
std::string StatusMessage(const std::string& function, int32_t status, const ConversionFiles& files);

enum class Verbosity { Quiet, Normal, Verbose };

// -q: only errors; -v: notes even when standard error is no terminal.
void SetVerbosity(Verbosity verbosity);
// "travune: text" on standard error, with -v or on a terminal, never with -q: remarks that
// change nothing, such as the source type guessed.
void Note(const std::string& text);
// "travune: warning: text" on standard error unless -q.
void Warn(const std::string& text);

}  // namespace travune::cli
