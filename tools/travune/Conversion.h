// One conversion through the library's handle functions, with its output names planned in
// advance, the acquisition checked against its files, and existing outputs kept safe until the
// new ones are complete.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "FormatRegistry.h"

namespace travune::cli {

struct ConversionJob {
  std::string description;
  std::string data;         // empty when none was found or given: the open fails and says so
  int32_t sourceType = 0;
  bool typeGiven = false;   // the user named the type (said so when the content contradicts it)
  FormatRow format;
  std::string output;       // final data-file name, as the library will create it
  std::string header;       // final header-file name; empty when the format writes none
  uint32_t flags = 0;       // 1: scan times, 2: every scan's own time stamp, 4: compressed HDF5
  int64_t firstScan = 0;
  int64_t scanCount = -1;   // -1: to the end of the scans present
  std::vector<std::string> chans;  // numbers, ranges "3-5" or labels; empty: every channel
  bool force = false;       // convert content the type never writes; replace read-only outputs
  bool strict = false;      // every warning is an error
  std::string label;
};

struct ConversionCounts {
  int64_t scans = 0;
  int32_t channels = 0;
};

// Fills job.output and job.header: the data file at explicitOutput when given, else beside
// the description with the format's extension 1; the header (formats with an extension 2)
// from the data-file name with extension 2; both as the library's naming rules adjust them.
void PlanOutputs(const std::optional<std::string>& explicitOutput, ConversionJob* job);

// False with error when an output is an input file, both outputs are one file, an output is
// read-only (without force) or its directory cannot take new files.
bool CheckOutputsSafe(const ConversionJob& job, std::string* error);

// Called with the fraction (0..1) of the scans converted so far.
using ProgressHook = std::function<void(double)>;

// Opens, checks, converts; warnings go to standard error. Existing outputs are restored and
// partial ones deleted when anything fails.
bool RunConversion(const ConversionJob& job, const ProgressHook& progress, ConversionCounts* counts,
                   std::string* error);

}  // namespace travune::cli
