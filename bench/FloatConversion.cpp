// One complete conversion to raw floats with every status checked, so that a benchmark never
// reports the speed of a conversion that failed or wrote the wrong amount.
#include "FloatConversion.h"

#include <filesystem>
#include <system_error>

#include "travune/travune.h"

namespace travune::bench {
namespace {

// Far more blocks than any conversion needs (about a hundred, more when memory is short):
// a conversion whose percentage stops advancing ends here instead of hanging the benchmark.
constexpr int kMaxBlocks = 1 << 20;

std::string StatusText(const char* call, int32_t status) { return std::string(call) + " returned " + std::to_string(status); }

// Runs the block loop until 100 %; empty on success, else the failure.
std::string ConvertAllBlocks() {
  for (int block = 0; block < kMaxBlocks; ++block) {
    const int32_t percent = cvtConvertBinData(TRAVUNE_FMT_FLOAT32);
    if (percent < 0) return StatusText("cvtConvertBinData", percent);
    if (percent >= 100) return {};
  }
  return "cvtConvertBinData did not reach 100 %";
}

// Opens the conversion, converts every block and closes it; empty on success.
std::string ConvertOpenSource(const std::string& output) {
  const int32_t opened = cvtInitDataFileEx("", output.c_str(), TRAVUNE_FMT_FLOAT32, 0);
  std::string error = opened == 0 ? ConvertAllBlocks() : StatusText("cvtInitDataFileEx", opened);
  const int32_t closed = cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  if (error.empty() && closed != 0) error = StatusText("cvtCloseDataFile", closed);
  return error;
}

std::string CheckOutputSize(const std::string& output, int64_t expected) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(output, ec);
  if (ec) return "cannot stat " + output + ": " + ec.message();
  if (static_cast<int64_t>(size) != expected) {
    return output + " holds " + std::to_string(size) + " bytes, expected " + std::to_string(expected);
  }
  return {};
}

}  // namespace

ConversionResult ConvertMorvaneToFloats(const std::string& desc, const std::string& data, const std::string& output) {
  ConversionResult result;
  std::error_code ec;
  result.rawBytes = static_cast<int64_t>(std::filesystem::file_size(data, ec));
  if (ec) {
    result.error = "cannot stat " + data + ": " + ec.message();
    return result;
  }
  const int32_t opened = cvtReadBinDescFile(desc.c_str(), data.c_str(), TRAVUNE_SRC_MORVANE);
  if (opened < 0) {
    result.error = StatusText("cvtReadBinDescFile", opened);
  } else {
    result.scans = cvtGetNumScans();
    result.channels = cvtGetNumChansUser();
    result.error = ConvertOpenSource(output);
  }
  cvtReleaseResources();
  if (result.error.empty()) result.error = CheckOutputSize(output, result.scans * result.channels * 4);
  result.ok = result.error.empty();
  return result;
}

}  // namespace travune::bench
