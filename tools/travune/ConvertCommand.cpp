// "travune convert": one acquisition into one target format.
#include <cstdio>
#include <limits>

#include "ArgParser.h"
#include "Commands.h"
#include "Conversion.h"
#include "Paths.h"
#include "SourceChoice.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune convert ACQ --to FORMAT [-o OUT] [--type SOURCE] [--time] [--stamps]\n"
    "                       [--scans FIRST:COUNT]\n"
    "\n"
    "Converts the acquisition described by ACQ (a .DSC or .HX$ description; its data file is\n"
    "ACQ with the extension .bin, or .hxt for celdrin) into FORMAT.\n"
    "\n"
    "  --to FORMAT          target format by short name (any case) or id; see 'travune formats'\n"
    "  -o OUT               write the data output exactly at OUT (a header file, for formats\n"
    "                       with one, is OUT with the format's second extension); default:\n"
    "                       beside ACQ with the format's extension\n"
    "  --type SOURCE        morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or\n"
    "                       a type id; guessed from the file when not given\n"
    "  --time               add scan times (spreadsheet and Halvard formats)\n"
    "  --stamps             take every scan's own time stamp from the data\n"
    "  --scans FIRST:COUNT  convert COUNT scans starting at scan FIRST (0-based)\n"
    "\n"
    "Existing output files are left untouched when the conversion fails, and an output\n"
    "that is one of the input files is refused.\n"
    "\n"
    "examples:\n"
    "  travune convert run.DSC --to Float32\n"
    "  travune convert run.DSC --to 9 -o /tmp/run.f32 --scans 100:500\n"
    "  travune convert chart.HX$ --type celdrin --to Float32 --stamps\n";

// Parses FIRST:COUNT with COUNT at least 1; false when malformed.
bool ParseScanRange(const std::string& text, ConversionJob* job) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  constexpr int64_t kMax = std::numeric_limits<uint32_t>::max();
  const std::optional<int64_t> first = ParseNumber(text.substr(0, colon), 0, kMax);
  const std::optional<int64_t> count = ParseNumber(text.substr(colon + 1), 1, kMax);
  if (!first || !count) return false;
  job->ranged = true;
  job->firstScan = static_cast<uint32_t>(*first);
  job->scanCount = static_cast<uint32_t>(*count);
  return true;
}

}  // namespace

int RunConvert(const Args& args) {
  ArgParser parser;
  for (const char* name : {"--to", "-o", "--type", "--scans"}) parser.Value(name);
  for (const char* name : {"--time", "--stamps"}) parser.Flag(name);
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("convert", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() != 1) return UsageError("convert", "give exactly one acquisition (ACQ)");
  const std::optional<std::string> target = parser.Get("--to");
  if (!target) return UsageError("convert", "--to FORMAT is required");

  ConversionJob job;
  job.description = parser.Positionals()[0];
  const std::optional<FormatRow> format = FindTargetFormat(*target);
  if (!format) return UsageError("convert", "unknown format '" + *target + "'; accepted: " + AcceptedTargetNames());
  job.format = *format;
  if (const std::optional<std::string> range = parser.Get("--scans"); range && !ParseScanRange(*range, &job)) {
    return UsageError("convert", "--scans wants FIRST:COUNT with whole numbers and COUNT at least 1");
  }
  job.flags = (parser.Has("--time") ? 1u : 0u) | (parser.Has("--stamps") ? 2u : 0u);

  int exitCode = kExitFailure;
  job.sourceType = ChooseSourceType("convert", job.description, parser.Get("--type"), &exitCode);
  if (job.sourceType < 0) return exitCode;
  job.data = DataFileFor(job.description, job.sourceType);
  PlanOutputs(parser.Get("-o"), &job);
  job.label = job.output;
  if (!CheckOutputsSafe(job, &error)) {
    PrintError(error);
    return kExitFailure;
  }
  ConversionCounts counts;
  if (!RunConversion(job, &counts, &error)) {
    PrintError(error);
    return kExitFailure;
  }
  for (const std::string& path : {job.output, job.header}) {
    if (!path.empty()) std::printf("wrote %s (%lld bytes)\n", path.c_str(), static_cast<long long>(FileSize(path)));
  }
  return kExitOk;
}

}  // namespace travune::cli
