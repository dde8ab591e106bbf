// "travune info": what an acquisition holds, read through the library's Data File Access
// functions, as text or as one JSON object for scripts.
#include <charconv>
#include <cmath>
#include <cstdio>

#include "ArgParser.h"
#include "Commands.h"
#include "DataAccess.h"
#include "FormatRegistry.h"
#include "Paths.h"
#include "SourceChoice.h"
#include "samples/Calendar.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune info ACQ [--type SOURCE] [--json]\n"
    "\n"
    "Shows what the acquisition described by ACQ holds: source type, application, channels,\n"
    "scans in the data file and programmed, rates, pre-trigger scans, the times of the first and\n"
    "last scans when the source has times, and a table of the channels (label, units, range,\n"
    "precision).\n"
    "\n"
    "  --type SOURCE   morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or a type\n"
    "                  id; guessed from the file when not given\n"
    "  --json          the same as one JSON object on one line: acquisition, dataFile,\n"
    "                  sourceType, application, scans, programmedScans, preTrigRate,\n"
    "                  postTrigRate, preTrigScans, times (\"absolute\", \"relative\" or \"none\"),\n"
    "                  firstScanTime and lastScanTime (a date text when absolute, seconds from the\n"
    "                  trigger scan when relative, null without times) and channels (label,\n"
    "                  units, lower, upper, precision)\n"
    "\n"
    "examples:\n"
    "  travune info run.DSC\n"
    "  travune info chart.HX$ --type celdrin\n"
    "  travune info run.DSC --json | jq '.channels[2].units'\n";

// An Automation date (days since 30 December 1899) as "YYYY-MM-DD hh:mm:ss.uuuuuu".
std::string DateText(double days) {
  const double micros = (days + static_cast<double>(samples::DaysFromCivil(1899, 12, 30))) * 86400e6;
  const samples::CivilTime t = samples::CivilFromMicroseconds(std::llround(micros));
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%06lld", t.year, t.month, t.day, t.hour, t.minute,
                t.second, static_cast<long long>(t.microsecond));
  return text;
}

const char* TimeKindText(TimeKind kind) {
  switch (kind) {
    case TimeKind::kAbsolute: return "absolute dates";
    case TimeKind::kRelative: return "relative to the trigger scan";
    default: return "none (scans are counted, not timed)";
  }
}

const char* TimeKindName(TimeKind kind) {
  switch (kind) {
    case TimeKind::kAbsolute: return "absolute";
    case TimeKind::kRelative: return "relative";
    default: return "none";
  }
}

// ---- JSON ----------------------------------------------------------------------------------

std::string JsonString(const std::string& text) {
  std::string out = "\"";
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

// The shortest text that reads back to the same double; null for what JSON cannot hold.
std::string JsonNumber(double value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
  return std::string(text, r.ptr);
}

// The time of scan as JSON: a date text, seconds, or null.
std::string JsonTime(int32_t handle, int64_t scan, TimeKind kind) {
  double value = 0.0;
  if (scan < 0 || !ScanTime(handle, scan, kind, &value)) return "null";
  return kind == TimeKind::kAbsolute ? JsonString(DateText(value)) : JsonNumber(value);
}

void PrintJson(const std::string& acq, const std::string& data, int32_t type, int32_t handle, const AcqFacts& f) {
  std::string out = "{\"acquisition\":" + JsonString(acq) + ",\"dataFile\":" + JsonString(data) +
                    ",\"sourceType\":" + JsonString(SourceTypeName(type)) + ",\"sourceTypeId\":" +
                    std::to_string(type) + ",\"application\":" + JsonString(f.application) +
                    ",\"scans\":" + std::to_string(f.scans) + ",\"programmedScans\":" +
                    std::to_string(f.programmedScans) + ",\"preTrigRate\":" + JsonNumber(f.preTrigRate) +
                    ",\"postTrigRate\":" + JsonNumber(f.postTrigRate) + ",\"preTrigScans\":" +
                    std::to_string(f.preTrigScans) + ",\"times\":" + JsonString(TimeKindName(f.times)) +
                    ",\"firstScanTime\":" + JsonTime(handle, 0, f.times) +
                    ",\"lastScanTime\":" + JsonTime(handle, int64_t{f.scans} - 1, f.times) + ",\"channels\":[";
  for (size_t c = 0; c < f.channels.size(); ++c) {
    const ChannelFacts& ch = f.channels[c];
    if (c > 0) out += ',';
    out += "{\"label\":" + JsonString(ch.label) + ",\"units\":" + JsonString(ch.units) +
           ",\"lower\":" + JsonNumber(ch.lower) + ",\"upper\":" + JsonNumber(ch.upper) +
           ",\"precision\":" + std::to_string(ch.precision) + "}";
  }
  out += "]}\n";
  std::fputs(out.c_str(), stdout);
}

// ---- text ----------------------------------------------------------------------------------

std::string TimeText(int32_t handle, int64_t scan, TimeKind kind) {
  double value = 0.0;
  if (scan < 0 || !ScanTime(handle, scan, kind, &value)) return "-";
  if (kind == TimeKind::kAbsolute) return DateText(value);
  char text[64];
  std::snprintf(text, sizeof text, "%.6f s from the trigger scan", value);
  return text;
}

void PrintText(const std::string& acq, const std::string& data, int32_t type, int32_t handle, const AcqFacts& f) {
  std::printf("acquisition   %s\n", acq.c_str());
  std::printf("data file     %s\n", data.c_str());
  std::printf("source type   %s (%d)", SourceTypeName(type), type);
  if (f.readAs != type) std::printf(", read as %s (%d)", SourceTypeName(f.readAs), f.readAs);
  std::printf("\napplication   %s\n", f.application.c_str());
  std::printf("channels      %zu\n", f.channels.size());
  std::printf("scans         %d in the data file (%d programmed)\n", f.scans, f.programmedScans);
  std::printf("rates         %g scans/s before the trigger, %g scans/s after\n", f.preTrigRate, f.postTrigRate);
  std::printf("pre-trigger   %d scans\n", f.preTrigScans);
  std::printf("times         %s\n", TimeKindText(f.times));
  if (f.times != TimeKind::kNone) {
    std::printf("first scan    %s\n", TimeText(handle, 0, f.times).c_str());
    std::printf("last scan     %s\n", TimeText(handle, int64_t{f.scans} - 1, f.times).c_str());
  }
  std::printf("\n  %-4s %-16s %-10s %14s %14s %9s\n", "#", "label", "units", "lower", "upper", "precision");
  for (size_t c = 0; c < f.channels.size(); ++c) {
    const ChannelFacts& ch = f.channels[c];
    std::printf("  %-4zu %-16s %-10s %14.6g %14.6g %9d\n", c, ch.label.c_str(), ch.units.c_str(), ch.lower, ch.upper,
                ch.precision);
  }
}

}  // namespace

int RunInfo(const Args& args) {
  ArgParser parser;
  parser.Value("--type");
  parser.Flag("--json");
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("info", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() != 1) return UsageError("info", "give exactly one acquisition (ACQ)");
  const std::string acq = parser.Positionals()[0];
  AcqSession session;
  AcqFacts facts;
  int32_t type = 0;
  int exitCode = kExitFailure;
  if (!OpenAndReadFacts("info", acq, parser.Get("--type"), &session, &facts, &type, &exitCode)) return exitCode;
  const std::string data = DataFileFor(acq, type);
  if (parser.Has("--json")) {
    PrintJson(acq, data, type, session.Handle(), facts);
  } else {
    PrintText(acq, data, type, session.Handle(), facts);
  }
  return kExitOk;
}

}  // namespace travune::cli
