// "travune demo": a sample of every source type and variant, each converted to raw floats,
// with a summary of the files written.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "ArgParser.h"
#include "Commands.h"
#include "Conversion.h"
#include "Paths.h"
#include "samples/Samples.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune demo [DIR]\n"
    "\n"
    "Writes a sample acquisition of every source type (and the packed tarquil and the\n"
    "stamped brenlow and celdrin variants) into DIR (default ./travune-demo), converts each\n"
    "into every target format (one folder per format, DIR/<format>/) and prints one table:\n"
    "source, format, files, bytes and seconds. Exit status 1 when any conversion failed.\n"
    "\n"
    "examples:\n"
    "  travune demo\n"
    "  travune demo /tmp/demo && travune info /tmp/demo/morvane.DSC\n";

constexpr int64_t kScans = 2000;
constexpr int64_t kPreTrig = 200;

struct Variant {
  const char* name;
  int type;
  bool packed;
  bool stamps;
};

constexpr Variant kVariants[] = {
    {"morvane", TRAVUNE_SRC_MORVANE, false, false}, {"tarquil", TRAVUNE_SRC_TARQUIL, false, false},
    {"tarquil-packed", TRAVUNE_SRC_TARQUIL, true, false}, {"brenlow", TRAVUNE_SRC_BRENLOW, false, false},
    {"brenlow-stamps", TRAVUNE_SRC_BRENLOW, false, true}, {"vexmoor", TRAVUNE_SRC_VEXMOOR, false, false},
    {"threnix", TRAVUNE_SRC_THRENIX, false, false},       {"quillon", TRAVUNE_SRC_QUILLON, false, false},
    {"celdrin", TRAVUNE_SRC_CELDRIN, false, false},       {"celdrin-stamps", TRAVUNE_SRC_CELDRIN, false, true},
};

struct SummaryRow {
  std::string source;
  std::string format;
  std::vector<std::string> files;
  double seconds = 0.0;
  std::string error;  // empty on success
};

bool WriteVariant(const std::string& dir, const Variant& variant, std::vector<std::string>* written,
                  std::string* error) {
  samples::SampleSpec request;
  request.type = variant.type;
  request.scans = kScans;
  request.preTrig = kPreTrig;
  request.packed = variant.packed;
  request.stamps = variant.stamps;
  const std::string prefix = (std::filesystem::path(dir) / variant.name).string();
  return samples::WriteSample(request, prefix, written, error);
}

// Converts one sample into one format inside DIR/<format short name>/.
SummaryRow ConvertVariant(const std::string& dir, const Variant& variant, const std::vector<std::string>& written,
                          const FormatRow& format) {
  SummaryRow row{variant.name, format.shortName, {}, 0.0, {}};
  const std::filesystem::path folder = std::filesystem::path(dir) / format.shortName;
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  ConversionJob job;
  job.description = written[0];
  job.data = written[1];
  job.sourceType = variant.type;
  job.format = format;
  job.label = std::string(variant.name) + " -> " + format.shortName;
  PlanOutputs((folder / (std::string(variant.name) + "." + format.ext1)).string(), &job);
  const auto start = std::chrono::steady_clock::now();
  ConversionCounts counts;
  if (!RunConversion(job, nullptr, &counts, &row.error)) return row;
  row.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  row.files.push_back(job.output);
  if (!job.header.empty()) row.files.push_back(job.header);
  return row;
}

void PrintSummary(const std::vector<SummaryRow>& rows) {
  std::printf("%-16s %-10s %-44s %12s %9s\n", "source", "format", "files", "bytes", "seconds");
  for (const SummaryRow& row : rows) {
    if (!row.error.empty()) {
      std::printf("%-16s %-10s failed: %s\n", row.source.c_str(), row.format.c_str(), row.error.c_str());
      continue;
    }
    std::string names;
    long long bytes = 0;
    for (const std::string& file : row.files) {
      names += (names.empty() ? "" : " ") + std::filesystem::path(file).filename().string();
      bytes += static_cast<long long>(FileSize(file));
    }
    std::printf("%-16s %-10s %-44s %12lld %9.3f\n", row.source.c_str(), row.format.c_str(), names.c_str(), bytes,
                row.seconds);
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
  std::vector<SummaryRow> rows;
  for (const Variant& variant : kVariants) {
    std::vector<std::string> written;
    if (!WriteVariant(dir, variant, &written, &error)) {
      PrintError(std::string(variant.name) + ": " + error);
      return kExitFailure;
    }
    for (const FormatRow& format : ReadFormatSection(false)) rows.push_back(ConvertVariant(dir, variant, written, format));
  }
  PrintSummary(rows);
  for (const SummaryRow& row : rows) {
    if (!row.error.empty()) return kExitFailure;
  }
  return kExitOk;
}

}  // namespace travune::cli
