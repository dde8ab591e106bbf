// One-line messages for the negative statuses of the conversion functions: what went wrong
// and with which file.
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

}  // namespace travune::cli
