// The table from (function, status) to the file concerned and a sentence saying what failed.
#include "Messages.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>

namespace travune::cli {
namespace {

enum class Role { Description, Data, Output, Header };

struct StatusText {
  const char* function;
  int32_t status;
  Role file;
  const char* text;
};

constexpr std::array<StatusText, 16> kTexts{{
    {"cvtReadBinDescFile", -1, Role::Description, "not enough memory to read the description"},
    {"cvtReadBinDescFile", -1001, Role::Description, "the description file could not be read completely"},
    {"cvtReadBinDescFile", -1002, Role::Data, "the data file is too large (4 GiB or more)"},
    {"cvtReadBinDescFile", -1005, Role::Description, "the description file could not be opened"},
    {"cvtReadBinDescFile", -1006, Role::Data, "the data file could not be opened, or the source type is unknown"},
    {"cvtReadBinDescFile", -1007, Role::Description, "the description was not accepted for this source type"},
    {"cvtInitDataFileEx", -1, Role::Output, "not enough memory for the conversion buffer"},
    {"cvtInitDataFileEx", -2, Role::Output, "not a target format id"},
    {"cvtInitDataFileEx", -1000, Role::Output, "not enough free disk space for the output"},
    {"cvtInitDataFileEx", -1003, Role::Header, "the writer or its header file could not be created"},
    {"cvtInitDataFileEx", -1004, Role::Output, "the output data file could not be created"},
    {"cvtConvertBinData", -1, Role::Output, "converting or writing a block of the output failed"},
    {"cvtConvertBinData", -2, Role::Output, "not a target format id"},
    {"cvtConvertBinData", -1002, Role::Data,
     "reading the data file failed or came short (does the scan range run past its end?)"},
    {"cvtConvertBinData", -1004, Role::Output, "the output data file is not open"},
    {"cvtCloseDataFile", -1003, Role::Output, "the writer could not finish the output"},
}};

const std::string& FileOf(Role role, const ConversionFiles& files) {
  switch (role) {
    case Role::Description:
      return files.description;
    case Role::Data:
      return files.data;
    case Role::Header:
      return files.header.empty() ? files.output : files.header;
    case Role::Output:
      break;
  }
  return files.output;
}

}  // namespace

std::string StatusMessage(const std::string& function, int32_t status, const ConversionFiles& files) {
  const std::string code = " (" + function + " status " + std::to_string(status) + ")";
  for (const StatusText& entry : kTexts) {
    if (function == entry.function && status == entry.status)
      return FileOf(entry.file, files) + ": " + entry.text + code;
  }
  if (function == "cvtReadBinDescFile") {
    // A size between 2 and 4 GiB comes back negative: the library cannot read such a file.
    return files.data + ": the data file is too large to convert (2 GiB or more)" + code;
  }
  return files.description + ": the conversion failed" + code;
}

namespace {

std::atomic<Verbosity> verbosity{Verbosity::Normal};

}  // namespace

void SetVerbosity(Verbosity level) { verbosity = level; }

void Note(const std::string& text) {
  const Verbosity level = verbosity;
  if (level == Verbosity::Verbose || (level == Verbosity::Normal && isatty(STDERR_FILENO) == 1)) {
    std::fprintf(stderr, "travune: %s\n", text.c_str());
  }
}

void Warn(const std::string& text) {
  if (verbosity != Verbosity::Quiet) std::fprintf(stderr, "travune: warning: %s\n", text.c_str());
}

}  // namespace travune::cli
