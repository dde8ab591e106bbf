// "travune dump": the scaled values of an acquisition as a tab-separated table, read through the
// library's Data File Access functions, one line per scan.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>
#include <vector>

#include "ArgParser.h"
#include "Commands.h"
#include "DataAccess.h"
#include "SourceChoice.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune dump ACQ [--scans FIRST:COUNT] [--chan N] [--time] [--type SOURCE]\n"
    "\n"
    "Prints the scaled values of the acquisition described by ACQ as a table for scripts and\n"
    "spreadsheets: a header line, then one line per scan, columns separated by tabs. The\n"
    "columns are the scan number, with --time the scan's time, then one per channel, headed\n"
    "\"label [units]\" (the label alone without units). Each value is the 32-bit float a\n"
    "conversion to Float32 writes, printed with the fewest digits that read back to it.\n"
    "\n"
    "  --scans FIRST:COUNT  COUNT scans from scan FIRST (0-based); fewer when the data ends\n"
    "                       before; every scan when not given\n"
    "  --chan N             only channel N (0-based, as 'travune info ACQ' numbers them)\n"
    "  --time               a column \"time [s]\": seconds from the trigger scan (negative\n"
    "                       before it); refused for acquisitions whose scans are not timed\n"
    "  --type SOURCE        morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or a\n"
    "                       type id; guessed from the file when not given\n"
    "\n"
    "examples:\n"
    "  travune dump run.DSC --scans 0:10\n"
    "  travune dump run.DSC --chan 2 --time > channel2.tsv\n";

// Scans read per call, so that the values of a long acquisition never sit in memory at once.
constexpr uint32_t kScansPerRead = 4096;

struct ScanRange {
  uint32_t first = 0;
  uint32_t count = std::numeric_limits<uint32_t>::max();
};

// FIRST:COUNT with COUNT at least 1; empty when malformed.
std::optional<ScanRange> ParseScanRange(const std::string& text) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  constexpr int64_t kMax = std::numeric_limits<uint32_t>::max();
  const std::optional<int64_t> first = ParseNumber(text.substr(0, colon), 0, kMax);
  const std::optional<int64_t> count = ParseNumber(text.substr(colon + 1), 1, kMax);
  if (!first || !count) return std::nullopt;
  return ScanRange{static_cast<uint32_t>(*first), static_cast<uint32_t>(*count)};
}

// A header cell: tabs and line breaks inside labels would break the table.
std::string Cell(std::string text) {
  std::replace_if(text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
  return text;
}

template <class Number>
void AppendNumber(std::string* line, Number value) {
  char text[40];
  const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
  line->append(text, r.ptr);
}

std::string HeaderLine(const AcqFacts& facts, std::optional<int32_t> chan, bool withTime) {
  std::string line = "scan";
  if (withTime) line += "\ttime [s]";
  for (size_t c = 0; c < facts.channels.size(); ++c) {
    if (chan && static_cast<size_t>(*chan) != c) continue;
    const ChannelFacts& ch = facts.channels[c];
    line += '\t' + Cell(ch.label);
    if (!ch.units.empty()) line += " [" + Cell(ch.units) + "]";
  }
  return line + '\n';
}

struct DumpJob {
  int32_t handle = -1;
  ScanRange range;
  std::optional<int32_t> chan;
  bool withTime = false;
  size_t columns = 0;  // values per scan
};

// Prints the rows of the scans [first, first + count); false with error on a read failure.
bool PrintRows(const DumpJob& job, uint32_t first, uint32_t count, std::vector<float>* values, std::string* error) {
  uint32_t delivered = 0;
  const int32_t status =
      dfaGetData(job.handle, values->data(), first, count, &delivered, job.chan ? *job.chan : csAllChans);
  if (status != errNoError) {
    *error = "scans from " + std::to_string(first) + ": " + DataAccessError(status);
    return false;
  }
  std::string text;
  for (uint32_t s = 0; s < delivered; ++s) {
    AppendNumber(&text, uint64_t{first} + s);
    if (job.withTime) {
      double seconds = 0.0;
      text += '\t';
      if (ScanTime(job.handle, int64_t{first} + s, TimeKind::kRelative, &seconds)) AppendNumber(&text, seconds);
    }
    for (size_t c = 0; c < job.columns; ++c) {
      text += '\t';
      AppendNumber(&text, (*values)[s * job.columns + c]);
    }
    text += '\n';
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  return true;
}

int Dump(const std::string& acq, const AcqFacts& facts, DumpJob job) {
  const uint32_t scans = static_cast<uint32_t>(std::max(facts.scans, 0));
  if (job.range.first > scans) {
    PrintError(acq + ": scan " + std::to_string(job.range.first) + " is past the end (" + std::to_string(scans) +
               " scans)");
    return kExitFailure;
  }
  const uint32_t last = job.range.first + std::min(job.range.count, scans - job.range.first);
  job.columns = job.chan ? 1 : facts.channels.size();
  std::fputs(HeaderLine(facts, job.chan, job.withTime).c_str(), stdout);
  std::vector<float> values(size_t{kScansPerRead} * std::max<size_t>(job.columns, 1));
  std::string error;
  for (uint32_t first = job.range.first; first < last;) {
    const uint32_t count = std::min(kScansPerRead, last - first);
    if (!PrintRows(job, first, count, &values, &error)) {
      PrintError(acq + ": " + error);
      return kExitFailure;
    }
    first += count;
  }
  return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

}  // namespace

int RunDump(const Args& args) {
  ArgParser parser;
  for (const char* name : {"--scans", "--chan", "--type"}) parser.Value(name);
  parser.Flag("--time");
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("dump", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() != 1) return UsageError("dump", "give exactly one acquisition (ACQ)");
  DumpJob job;
  job.withTime = parser.Has("--time");
  if (const std::optional<std::string> text = parser.Get("--scans")) {
    const std::optional<ScanRange> range = ParseScanRange(*text);
    if (!range) return UsageError("dump", "--scans wants FIRST:COUNT with whole numbers and COUNT at least 1");
    job.range = *range;
  }
  if (const std::optional<std::string> text = parser.Get("--chan")) {
    const std::optional<int64_t> chan = ParseNumber(*text, 0, std::numeric_limits<int32_t>::max());
    if (!chan) return UsageError("dump", "--chan wants a channel number (0, 1, ...)");
    job.chan = static_cast<int32_t>(*chan);
  }
  const std::string acq = parser.Positionals()[0];
  AcqSession session;
  AcqFacts facts;
  int32_t type = 0;
  int exitCode = kExitFailure;
  if (!OpenAndReadFacts("dump", acq, parser.Get("--type"), &session, &facts, &type, &exitCode)) return exitCode;
  if (job.chan && static_cast<size_t>(*job.chan) >= facts.channels.size()) {
    PrintError(acq + ": there is no channel " + std::to_string(*job.chan) + "; its channels are 0 to " +
               std::to_string(static_cast<int64_t>(facts.channels.size()) - 1));
    return kExitFailure;
  }
  if (job.withTime && facts.times == TimeKind::kNone) {
    PrintError(acq + ": --time: its scans are counted, not timed");
    return kExitFailure;
  }
  job.handle = session.Handle();
  return Dump(acq, facts, job);
}

}  // namespace travune::cli
