// Entry of travune_bench: takes its own options off the command line, registers the
// benchmarks and hands the rest of the arguments to the benchmark library.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ConversionBenchmarks.h"
#include "HandleConversionBenchmarks.h"

namespace {

constexpr std::string_view kAcquisitionOption = "--acquisition=";
constexpr std::string_view kIterationsOption = "--large_iterations=";

constexpr const char* kUsage =
    "travune_bench [--acquisition=PREFIX [--large_iterations=N]] [benchmark options]\n"
    "  --acquisition=PREFIX   also convert the Morvane acquisition PREFIX.DSC + PREFIX.bin\n"
    "                         to raw floats (PREFIX-floats.F32, removed afterwards)\n"
    "  --large_iterations=N   conversions of that acquisition to time (default 2)\n"
    "Without --acquisition only the small per-type scaling cases and the handle-API\n"
    "conversions (raw floats, HDF5, compressed HDF5) run.\n\n";

struct Options {
  std::string acquisition;
  int largeIterations = 2;
};

// Removes this program's options from argv (the benchmark library rejects unknown ones).
bool TakeOwnOptions(int* argc, char** argv, Options* options) {
  std::vector<char*> rest;
  for (int i = 0; i < *argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg.starts_with(kAcquisitionOption)) {
      options->acquisition = arg.substr(kAcquisitionOption.size());
    } else if (arg.starts_with(kIterationsOption)) {
      options->largeIterations = std::atoi(argv[i] + kIterationsOption.size());
      if (options->largeIterations < 1) return false;
    } else {
      if (arg == "--help") std::fputs(kUsage, stdout);
      rest.push_back(argv[i]);
    }
  }
  *argc = static_cast<int>(rest.size());
  for (size_t i = 0; i < rest.size(); ++i) argv[i] = rest[i];
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!TakeOwnOptions(&argc, argv, &options)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  travune::bench::RegisterScalingBenchmarks();
  travune::bench::RegisterHandleConversionBenchmarks();
  if (!options.acquisition.empty()) {
    travune::bench::RegisterLargeConversion(options.acquisition, options.largeIterations);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
