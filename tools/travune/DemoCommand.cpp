// "travune demo": a sample of every source type and variant, each converted to raw floats,
// with a summary of the files written.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "ArgParser.h"
#include "Commands.h"
#include "Conversion.h"
#include "Paths.h"
#include "samples/Samples.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune demo [DIR]\n"
    "\n"
    "Writes a sample acquisition of every source type (and the packed tarquil and the\n"
    "stamped brenlow and celdrin variants) into DIR (default ./travune-demo), converts each\n"
    "to raw 32-bit floats (format Float32, id 9) and lists the files written.\n"
    "\n"
    "examples:\n"
    "  travune demo\n"
    "  travune demo /tmp/demo && travune info /tmp/demo/morvane.DSC\n";

constexpr int64_t kScans = 2000;
constexpr int64_t kPreTrig = 200;
constexpr int32_t kFloat32 = 9;

struct Variant {
  const char* name;
  int type;
  bool packed;
  bool stamps;
};

constexpr Variant kVariants[] = {
    {"morvane", 3, false, false},       {"tarquil", 4, false, false},       {"tarquil-packed", 4, true, false},
    {"brenlow", 2, false, false},       {"brenlow-stamps", 2, false, true}, {"vexmoor", 7, false, false},
    {"threnix", 8, false, false},       {"quillon", 5, false, false},       {"celdrin", 6, false, false},
    {"celdrin-stamps", 6, false, true},
};

struct SummaryRow {
  std::string path;
  ConversionCounts counts;
};

// Writes and converts one variant; appends its three files to rows.
bool RunVariant(const std::string& dir, const Variant& variant, const FormatRow& format, std::vector<SummaryRow>* rows,
                std::string* error) {
  samples::SampleSpec request;
  request.type = variant.type;
  request.scans = kScans;
  request.preTrig = kPreTrig;
  request.packed = variant.packed;
  request.stamps = variant.stamps;
  const std::string prefix = (std::filesystem::path(dir) / variant.name).string();
  std::vector<std::string> written;
  if (!samples::WriteSample(request, prefix, &written, error)) return false;
  ConversionJob job;
  job.description = written[0];
  job.data = written[1];
  job.sourceType = variant.type;
  job.format = format;
  job.label = variant.name;
  PlanOutputs(std::nullopt, &job);
  ConversionCounts counts;
  if (!RunConversion(job, &counts, error)) return false;
  for (const std::string& path : {written[0], written[1], job.output}) rows->push_back({path, counts});
  return true;
}

void PrintSummary(const std::vector<SummaryRow>& rows) {
  std::printf("%-40s %12s %8s %8s\n", "file", "bytes", "scans", "channels");
  for (const SummaryRow& row : rows) {
    std::printf("%-40s %12lld %8d %8d\n", row.path.c_str(), static_cast<long long>(FileSize(row.path)),
                row.counts.scans, row.counts.channels);
  }
}

}  // namespace

int RunDemo(const Args& args) {
  ArgParser parser;
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("demo", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() > 1) return UsageError("demo", "give at most one directory");
  const std::string dir = parser.Positionals().empty() ? "travune-demo" : parser.Positionals()[0];
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) {
    PrintError("cannot create " + dir + ": " + ec.message());
    return kExitFailure;
  }
  const std::optional<FormatRow> format = FindTargetFormat(std::to_string(kFloat32));
  if (!format) {
    PrintError("the library has no Float32 format");
    return kExitFailure;
  }
  std::vector<SummaryRow> rows;
  for (const Variant& variant : kVariants) {
    if (!RunVariant(dir, variant, *format, &rows, &error)) {
      PrintError(std::string(variant.name) + ": " + error);
      return kExitFailure;
    }
  }
  PrintSummary(rows);
  return kExitOk;
}

}  // namespace travune::cli
