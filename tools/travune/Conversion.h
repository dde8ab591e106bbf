// One conversion through the library's public functions, with its output names planned in
// advance, checked against the inputs, and existing outputs kept safe until it succeeds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "FormatRegistry.h"

namespace travune::cli {

struct ConversionJob {
  std::string description;
  std::string data;
  int32_t sourceType = 0;
  FormatRow format;
  std::string output;  // final data-file name, as the library will create it
  std::string header;  // final header-file name; empty when the format writes none
  uint32_t flags = 0;  // 1: scan times, 2: every scan's own time stamp
  bool ranged = false;
  uint32_t firstScan = 0;
  uint32_t scanCount = 0;
  std::string label;  // shown beside the progress bar
};

struct ConversionCounts {
  int32_t scans = 0;
  int32_t channels = 0;
};

// Fills job.output and job.header: the data file at explicitOutput when given, else beside
// the description with the format's extension 1; the header (formats with an extension 2)
// from the data-file name with extension 2; both as the library's naming rules adjust them.
void PlanOutputs(const std::optional<std::string>& explicitOutput, ConversionJob* job);

// False with error when an output is an input file or both outputs are one file.
bool CheckOutputsSafe(const ConversionJob& job, std::string* error);

// Converts; existing outputs are restored and partial ones deleted when anything fails.
bool RunConversion(const ConversionJob& job, ConversionCounts* counts, std::string* error);

}  // namespace travune::cli
