// "travune convert": acquisitions into a target format, one or several at once on worker
// threads, with checks of each acquisition and its outputs kept safe.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <mutex>
#include <set>
#include <thread>

#include "ArgParser.h"
#include "Commands.h"
#include "Conversion.h"
#include "Messages.h"
#include "OutputGuard.h"
#include "Paths.h"
#include "Progress.h"
#include "SourceChoice.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "usage: travune convert ACQ... --to FORMAT [-o OUT | -d DIR] [-j N] [--type SOURCE]\n"
    "                       [--data FILE] [--scans FIRST:COUNT] [--chans LIST] [--time]\n"
    "                       [--stamps] [--compress] [--one-thread] [--force] [--strict] [-v | -q]\n"
    "\n"
    "Converts each acquisition described by ACQ (a .DSC or .HX$ description; its data file is\n"
    "ACQ with the extension .bin, or .hxt for celdrin, in any letter case) into FORMAT.\n"
    "\n"
    "  --to FORMAT          target format by short name (any case) or id; see 'travune formats'\n"
    "  -o OUT               one ACQ only: write the data output exactly at OUT (a header file,\n"
    "                       for formats with one, is OUT with the format's second extension);\n"
    "                       '-o -' writes a single-file text format to standard output\n"
    "  -d DIR               write the outputs into DIR instead of beside each ACQ\n"
    "  -j N                 convert N acquisitions at once (default 1)\n"
    "  --type SOURCE        morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or\n"
    "                       a type id; guessed from the file when not given\n"
    "  --data FILE          one ACQ only: the data file, when it is not beside the description\n"
    "  --scans FIRST:COUNT  convert COUNT scans starting at scan FIRST (0-based)\n"
    "  --chans LIST         the channels to convert, in this order: numbers, ranges or labels,\n"
    "                       separated by commas (0,3-5,Pressure)\n"
    "  --time               add scan times (ASCII spreadsheet, Halvard and HDF5 formats)\n"
    "  --stamps             take every scan's own time stamp from the data (brenlow,\n"
    "                       vexmoor, threnix and celdrin recordings that keep stamps)\n"
    "  --compress           gzip-compress the datasets (HDF5)\n"
    "  --one-thread         read, format and write each acquisition on one thread (by default\n"
    "                       reads and writes overlap the formatting, and text uses every core)\n"
    "  --force              convert although the description holds what its type never\n"
    "                       writes (or contradicts --type); replace a read-only output\n"
    "  --strict             treat every warning about the acquisition as an error\n"
    "  -v, -q               notes even when standard error is no terminal; only errors\n"
    "\n"
    "The acquisition is checked before converting. Channel records the application never\n"
    "writes and empty or non-finite ranges are refused without --force; an empty data file\n"
    "fails; a partial last scan and scans missing from the data file are reported and the\n"
    "whole scans present are converted. An\n"
    "existing output is kept aside until the new one is complete on disk and restored when the\n"
    "conversion fails or the tool is stopped by a signal. An output that is one of the input\n"
    "files, or a device, pipe or directory (-o /dev/null), is refused.\n"
    "\n"
    "Each converted acquisition gets one line on standard output. Exit status: 0 success,\n"
    "1 failure (any acquisition of a batch), 2 usage error.\n"
    "\n"
    "examples:\n"
    "  travune convert run.DSC --to Float32\n"
    "  travune convert run.DSC --to 9 -o /tmp/run.f32 --scans 100:500 --chans 0,3-5\n"
    "  travune convert a.DSC b.DSC c.DSC --to MATLAB -d out -j 3\n"
    "  travune convert run.DSC --to ASCII -o - | head\n"
    "  travune convert chart.HX$ --type celdrin --to Float32 --stamps\n";

// Options shared by every acquisition of one command.
struct Request {
  FormatRow format;
  std::optional<std::string> type;
  std::optional<std::string> output;
  std::optional<std::string> outDir;
  std::optional<std::string> data;
  ConversionJob base;  // flags, range, channels, force, strict
  int threads = 1;
};

// Parses FIRST:COUNT with COUNT at least 1; false when malformed.
bool ParseScanRange(const std::string& text, ConversionJob* job) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max() / 2;
  const std::optional<int64_t> first = ParseNumber(text.substr(0, colon), 0, kMax);
  const std::optional<int64_t> count = ParseNumber(text.substr(colon + 1), 1, kMax);
  if (!first || !count) return false;
  job->firstScan = *first;
  job->scanCount = *count;
  return true;
}

std::vector<std::string> SplitCommas(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t comma = text.find(','); ; comma = text.find(',', start)) {
    parts.push_back(text.substr(start, comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return parts;
}

bool IsSingleFileText(const FormatRow& format) {
  const bool text = format.id == TRAVUNE_FMT_ASCII || format.id == TRAVUNE_FMT_TEXT ||
                    format.id == TRAVUNE_FMT_UFF58_ASCII;
  return text && format.ext2.empty();
}

// Says so when --time or --stamps cannot change this conversion's output.
void WarnAboutIneffectiveFlags(const ConversionJob& job) {
  const bool timesOnRequest = job.format.id == TRAVUNE_FMT_ASCII || job.format.id == TRAVUNE_FMT_HALVARD ||
                              job.format.id == TRAVUNE_FMT_HDF5;
  if ((job.flags & TRAVUNE_FLAG_SCAN_TIMES) && !timesOnRequest) {
    Warn("--time has no effect on " + job.format.shortName +
         " (only the ASCII, Halvard and HDF5 formats add scan times on request)");
  }
  if ((job.flags & TRAVUNE_FLAG_COMPRESS) && job.format.id != TRAVUNE_FMT_HDF5) {
    Warn("--compress has no effect on " + job.format.shortName + " (only HDF5 compresses)");
  }
  const bool stampedFamily = job.sourceType == TRAVUNE_SRC_BRENLOW || job.sourceType == TRAVUNE_SRC_VEXMOOR ||
                             job.sourceType == TRAVUNE_SRC_THRENIX || job.sourceType == TRAVUNE_SRC_CELDRIN;
  if ((job.flags & TRAVUNE_FLAG_OWN_STAMPS) && !stampedFamily) {
    Warn(std::string("--stamps has no effect: ") + SourceTypeName(job.sourceType) +
         " acquisitions keep no time stamps in their data");
  }
}

// Reads the options into request; 0 when usable, else the usage error's exit code.
int ReadRequest(const ArgParser& parser, Request* request) {
  const std::vector<std::string>& inputs = parser.Positionals();
  if (inputs.empty()) return UsageError("convert", "give at least one acquisition (ACQ)");
  const std::optional<std::string> target = parser.Get("--to");
  if (!target) return UsageError("convert", "--to FORMAT is required");
  const std::optional<FormatRow> format = FindTargetFormat(*target);
  if (!format) return UsageError("convert", "unknown format '" + *target + "'; accepted: " + AcceptedTargetNames());
  request->format = *format;
  request->type = parser.Get("--type");
  request->output = parser.Get("-o");
  request->outDir = parser.Get("-d");
  request->data = parser.Get("--data");
  if (request->type && SourceTypeFromName(*request->type) < 0) {
    return UsageError("convert", "unknown source type '" + *request->type + "'; accepted: " + AcceptedSourceTypeNames());
  }
  if ((request->output || request->data) && inputs.size() != 1) {
    return UsageError("convert", "-o and --data need exactly one acquisition; use -d DIR for several");
  }
  if (request->output && request->outDir) return UsageError("convert", "give -o or -d, not both");
  std::error_code ec;
  if (request->output && *request->output != "-" && fs::is_directory(*request->output, ec)) {
    return UsageError("convert", "-o " + *request->output + " is a directory; -o names the output file (use -d DIR)");
  }
  if (request->output && *request->output == "-" && !IsSingleFileText(*format)) {
    return UsageError("convert", "-o - writes only single-file text formats (ASCII, Text, UFF58a) to standard output");
  }
  if (request->outDir && !fs::is_directory(*request->outDir, ec)) {
    return UsageError("convert", "-d " + *request->outDir + " is not a directory");
  }
  if (const std::optional<std::string> range = parser.Get("--scans");
      range && !ParseScanRange(*range, &request->base)) {
    return UsageError("convert", "--scans wants FIRST:COUNT with whole numbers and COUNT at least 1");
  }
  if (const std::optional<std::string> chans = parser.Get("--chans")) request->base.chans = SplitCommas(*chans);
  if (const std::optional<std::string> jobs = parser.Get("-j")) {
    const std::optional<int64_t> n = ParseNumber(*jobs, 1, 64);
    if (!n) return UsageError("convert", "-j wants a number of threads from 1 to 64");
    request->threads = static_cast<int>(*n);
  }
  const auto flagIf = [&parser](const char* option, int32_t flag) { return parser.Has(option) ? uint32_t(flag) : 0u; };
  request->base.flags = flagIf("--time", TRAVUNE_FLAG_SCAN_TIMES) | flagIf("--stamps", TRAVUNE_FLAG_OWN_STAMPS) |
                        flagIf("--compress", TRAVUNE_FLAG_COMPRESS) |
                        flagIf("--one-thread", TRAVUNE_FLAG_ONE_THREAD);
  request->base.force = parser.Has("--force");
  request->base.strict = parser.Has("--strict");
  return 0;
}

// A private file for an output that goes to standard output.
std::string TemporaryOutput(const FormatRow& format) {
  const char* dir = std::getenv("TMPDIR");
  std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/travune-stdout-XXXXXX";
  const int fd = mkstemp(pattern.data());
  if (fd < 0) return {};
  close(fd);
  unlink(pattern.c_str());
  return pattern + "." + format.ext1;
}

bool CopyToStandardOutput(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::cout << in.rdbuf();
  std::cout.flush();
  return static_cast<bool>(std::cout);
}

// The job of one acquisition; false after printing why not.
bool PlanJob(const Request& request, const std::string& acq, ConversionJob* job) {
  *job = request.base;
  job->description = acq;
  job->format = request.format;
  job->typeGiven = request.type.has_value();
  int exitCode = kExitFailure;
  job->sourceType = ChooseSourceType("convert", acq, request.type, &exitCode);
  if (job->sourceType < 0) return false;
  job->data = request.data ? *request.data : FindDataFile(acq, job->sourceType);
  WarnAboutIneffectiveFlags(*job);
  std::optional<std::string> output = request.output;
  if (output && *output == "-") output = TemporaryOutput(request.format);
  if (request.outDir) {
    output = (fs::path(*request.outDir) / fs::path(ReplaceExtension(acq, "." + request.format.ext1)).filename()).string();
  }
  PlanOutputs(output, job);
  job->label = acq;
  std::string error;
  if (!CheckOutputsSafe(*job, &error)) {
    PrintError(error);
    return false;
  }
  return true;
}

// Names the backups a killed run left in the directories the outputs go to.
void WarnAboutStaleBackups(const std::vector<ConversionJob>& jobs) {
  std::set<std::string> dirs;
  for (const ConversionJob& job : jobs) {
    const fs::path parent = fs::path(job.output).parent_path();
    dirs.insert(parent.empty() ? "." : parent.string());
  }
  for (const std::string& dir : dirs) {
    for (const std::string& backup : StaleBackupsIn(dir)) {
      Warn(backup + " is an earlier output kept aside by a travune run that was killed; rename it back or delete it");
    }
  }
}

std::string Summary(const ConversionJob& job, const ConversionCounts& counts) {
  std::string line = job.description + ": wrote " + job.output;
  long long bytes = FileSize(job.output);
  if (!job.header.empty()) {
    line += " and " + job.header;
    bytes += FileSize(job.header);
  }
  return line + " (" + std::to_string(counts.scans) + " scans, " + std::to_string(counts.channels) +
         " channels, " + std::to_string(bytes) + " bytes)";
}

// Converts every job on request.threads workers; the number that failed.
int ConvertAll(const std::vector<ConversionJob>& jobs, int threads, bool toStandardOutput, bool quiet) {
  Progress progress(static_cast<int>(jobs.size()), !toStandardOutput && !quiet && isatty(STDERR_FILENO) == 1);
  std::atomic<size_t> next{0};
  std::atomic<int> failed{0};
  std::mutex printMutex;
  auto worker = [&] {
    for (size_t i = next++; i < jobs.size(); i = next++) {
      const ConversionJob& job = jobs[i];
      const int index = static_cast<int>(i);
      ConversionCounts counts;
      std::string error;
      const bool ok = RunConversion(job, [&](double fraction) { progress.Update(index, fraction); }, &counts, &error);
      progress.Finish(index);
      const std::lock_guard<std::mutex> lock(printMutex);
      if (!ok) {
        PrintError(error);
        ++failed;
      } else if (toStandardOutput) {
        if (!CopyToStandardOutput(job.output)) ++failed;
        unlink(job.output.c_str());
      } else if (!quiet) {
        std::printf("%s\n", Summary(job, counts).c_str());
        std::fflush(stdout);
      }
    }
  };
  std::vector<std::thread> pool;
  for (int t = 1; t < threads && static_cast<size_t>(t) < jobs.size(); ++t) pool.emplace_back(worker);
  worker();
  for (std::thread& thread : pool) thread.join();
  return failed;
}

}  // namespace

int RunConvert(const Args& args) {
  ArgParser parser;
  for (const char* name : {"--to", "-o", "-d", "-j", "--type", "--data", "--scans", "--chans"}) parser.Value(name);
  for (const char* name : {"--time", "--stamps", "--compress", "--one-thread", "--force", "--strict", "-v", "-q"}) parser.Flag(name);
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("convert", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  Request request;
  if (const int usage = ReadRequest(parser, &request); usage != 0) return usage;
  const bool quiet = parser.Has("-q");
  SetVerbosity(quiet ? Verbosity::Quiet : parser.Has("-v") ? Verbosity::Verbose : Verbosity::Normal);

  std::vector<ConversionJob> jobs;
  int failed = 0;
  for (const std::string& acq : parser.Positionals()) {
    ConversionJob job;
    if (PlanJob(request, acq, &job)) {
      jobs.push_back(job);
    } else {
      ++failed;
    }
  }
  const bool toStandardOutput = request.output && *request.output == "-";
  if (!toStandardOutput) WarnAboutStaleBackups(jobs);
  InstallRestoringSignalHandlers();
  failed += ConvertAll(jobs, request.threads, toStandardOutput, quiet);
  return failed == 0 ? kExitOk : kExitFailure;
}

}  // namespace travune::cli
