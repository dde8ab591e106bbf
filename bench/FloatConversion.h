// Converts a Morvane acquisition to raw floats through the public C API, the way an application
// does: open, convert block by block until 100 %, close, release.
#pragma once

#include <cstdint>
#include <string>

namespace travune::bench {

struct ConversionResult {
  bool ok = false;
  std::string error;      // what failed, when not ok
  int64_t rawBytes = 0;   // size of the raw data file
  int64_t scans = 0;      // scans converted
  int32_t channels = 0;   // user channels
};

// Converts desc + data into the raw float file output and checks that output holds exactly
// scans × channels floats.
ConversionResult ConvertMorvaneToFloats(const std::string& desc, const std::string& data, const std::string& output);

}  // namespace travune::bench
