// "travune sample": writes a synthetic acquisition of one source type.
#include <unistd.h>

#include <cstdio>

#include "ArgParser.h"
#include "Commands.h"
#include "SampleOptions.h"
#include "samples/Samples.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune sample --type TYPE [--scans N] [--chans N] [--packed] [--stamps]\n"
    "                      [--pretrig N] OUT\n"
    "\n"
    "Writes a synthetic acquisition with known waveforms (sine, ramp, square, counter,\n"
    "temperatures) as OUT.DSC + OUT.bin, or OUT.HX$ + OUT.hxt for celdrin, and prints the\n"
    "paths written. Existing files are not replaced without --force.\n"
    "\n"
    "  --type TYPE   morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin or an id\n"
    "  --scans N     number of scans (default 1000)\n"
    "  --chans N     total channels; the type's own channel set is always present, extra\n"
    "                channels are sines (default: the own set only)\n"
    "  --packed      tarquil: 12-bit samples packed four to six bytes\n"
    "  --stamps      brenlow, vexmoor, threnix: time-stamp records; celdrin: a clock stamp\n"
    "                at the head of every scan\n"
    "  --pretrig N   pre-trigger scans (default 0)\n"
    "  --force       replace files that exist (without it, existing files are refused)\n"
    "\n"
    "examples:\n"
    "  travune sample --type morvane run\n"
    "  travune sample --type tarquil --packed --scans 100000 /tmp/packed\n"
    "  travune sample --type celdrin --stamps --pretrig 50 chart\n";

}  // namespace

int RunSample(const Args& args) {
  ArgParser parser;
  DeclareSampleOptions(&parser);
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("sample", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (parser.Positionals().size() != 1) return UsageError("sample", "give exactly one output prefix (OUT)");
  if (!parser.Get("--type")) return UsageError("sample", "--type TYPE is required");
  samples::SampleSpec request;
  if (!ReadSampleOptions(parser, &request, &error)) return UsageError("sample", error);
  const std::string prefix = parser.Positionals()[0];
  if (!parser.Has("--force")) {
    for (const std::string& path : {samples::DescFileName(request, prefix), samples::DataFileName(request, prefix)}) {
      if (access(path.c_str(), F_OK) == 0) {
        PrintError(path + " exists; add --force to replace it");
        return kExitFailure;
      }
    }
  }
  std::vector<std::string> written;
  if (!samples::WriteSample(request, prefix, &written, &error)) {
    PrintError(error);
    return kExitFailure;
  }
  for (const std::string& path : written) std::printf("%s\n", path.c_str());
  return kExitOk;
}

}  // namespace travune::cli
