// "travune info": what an acquisition holds, as the library reads it.
#include <cmath>
#include <cstdio>

#include "ArgParser.h"
#include "Commands.h"
#include "Messages.h"
#include "Paths.h"
#include "SourceChoice.h"
#include "samples/Calendar.h"
#include "samples/SourceTypes.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune info ACQ [--type SOURCE]\n"
    "\n"
    "Shows what the acquisition described by ACQ holds: source type, application, description\n"
    "version, channels, scan size, scans, rates, pre-trigger scans, time kind, the time of the\n"
    "first scan, and a table of the channels (label, units, range, precision).\n"
    "\n"
    "  --type SOURCE   morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or a type\n"
    "                  id; guessed from the file when not given\n"
    "\n"
    "examples:\n"
    "  travune info run.DSC\n"
    "  travune info chart.HX$ --type celdrin\n";

constexpr int kTextSize = 256;

// An Automation date (days since 30 December 1899) as "YYYY-MM-DD hh:mm:ss.uuuuuu".
std::string DateText(double days) {
  const double micros = (days + static_cast<double>(samples::DaysFromCivil(1899, 12, 30))) * 86400e6;
  const samples::CivilTime t = samples::CivilFromMicroseconds(std::llround(micros));
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%06lld", t.year, t.month, t.day, t.hour, t.minute,
                t.second, static_cast<long long>(t.microsecond));
  return text;
}

std::string TimeText(int32_t kind, double days) {
  char text[64];
  switch (kind) {
    case TRAVUNE_TIME_UNTIMED:
      std::snprintf(text, sizeof text, "%.0f scans from the trigger scan", days);
      return text;
    case TRAVUNE_TIME_ABSOLUTE:
      return DateText(days);
    default:
      std::snprintf(text, sizeof text, "%.6f s from the trigger scan", days * 86400.0);
      return text;
  }
}

const char* TimeKindText(int32_t kind) {
  switch (kind) {
    case TRAVUNE_TIME_UNTIMED:
      return "untimed (scan counts)";
    case TRAVUNE_TIME_ABSOLUTE:
      return "absolute dates";
    default:
      return "relative to the trigger scan";
  }
}

void PrintChannels(int32_t channels) {
  std::printf("\n  %-4s %-16s %-10s %14s %14s %9s\n", "#", "label", "units", "lower", "upper", "precision");
  for (int32_t c = 0; c < channels; ++c) {
    char label[kTextSize] = {};
    char units[kTextSize] = {};
    double lower = 0.0;
    double upper = 0.0;
    int32_t precision = 0;
    if (tvnGetChanInfo(c, label, kTextSize, units, kTextSize, &lower, &upper, &precision) != 0) continue;
    std::printf("  %-4d %-16s %-10s %14.6g %14.6g %9d\n", c, label, units, lower, upper, precision);
  }
}

void PrintSource(const std::string& acq, const std::string& data, int32_t type) {
  char title[kTextSize] = {};
  char version[kTextSize] = {};
  double preRate = 0.0;
  double postRate = 0.0;
  int32_t preTrig = 0;
  int32_t progScans = 0;
  int32_t timeKind = 0;
  tvnGetSourceInfo(title, kTextSize, version, kTextSize, &preRate, &postRate, &preTrig, &progScans, &timeKind);
  const int32_t channels = cvtGetNumChansUser();
  std::printf("acquisition   %s\n", acq.c_str());
  std::printf("data file     %s\n", data.c_str());
  std::printf("source type   %s (%d)\n", samples::SourceTypeName(type), type);
  std::printf("application   %s\n", title);
  std::printf("version       %s\n", version[0] ? version : "-");
  std::printf("channels      %d\n", channels);
  std::printf("scan size     %d bytes\n", cvtGetScanSize());
  std::printf("scans         %d in the data file (%d programmed)\n", cvtGetNumScans(), progScans);
  std::printf("rates         %g scans/s before the trigger, %g scans/s after\n", preRate, postRate);
  std::printf("pre-trigger   %d scans\n", preTrig);
  std::printf("time          %s\n", TimeKindText(timeKind));
  double first = 0.0;
  if (tvnGetScanTime(0, &first) == 0) {
    std::printf("first scan    %s\n", TimeText(timeKind, first).c_str());
  } else {
    std::printf("first scan    unknown\n");
  }
  PrintChannels(channels);
}

}  // namespace

int RunInfo(const Args& args) {
  ArgParser parser;
  parser.Value("--type");
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("info", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() != 1) return UsageError("info", "give exactly one acquisition (ACQ)");
  const std::string acq = parser.Positionals()[0];
  int exitCode = kExitFailure;
  const int32_t type = ChooseSourceType("info", acq, parser.Get("--type"), &exitCode);
  if (type < 0) return exitCode;
  const std::string data = DataFileFor(acq, type);
  const int32_t size = cvtReadBinDescFile(acq.c_str(), data.c_str(), type);
  if (size < 0) {
    PrintError(StatusMessage("cvtReadBinDescFile", size, {acq, data, "", ""}));
    cvtReleaseResources();
    return kExitFailure;
  }
  PrintSource(acq, data, type);
  cvtReleaseResources();
  return kExitOk;
}

}  // namespace travune::cli
