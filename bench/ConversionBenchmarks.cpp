// Conversion benchmarks over the public C API. Each iteration is one whole conversion (open,
// every block, close, release); counters give raw-data megabytes (10^6 bytes) and samples per
// second of wall-clock time, since reading and writing the files is part of the work.
#include "ConversionBenchmarks.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <system_error>

#include "FloatConversion.h"
#include "ScratchDir.h"
#include "UniformMorvane.h"

namespace travune::bench {
namespace {

constexpr int64_t kSmallRawBytes = int64_t{4} << 20;
constexpr int32_t kSmallChannels = 16;

void SetThroughputCounters(benchmark::State& state, const ConversionResult& result) {
  const double iterations = static_cast<double>(state.iterations());
  const double samples = static_cast<double>(result.scans) * result.channels;
  state.counters["raw_MB"] = benchmark::Counter(static_cast<double>(result.rawBytes) / 1e6 * iterations,
                                                benchmark::Counter::kIsRate);
  state.counters["samples"] = benchmark::Counter(samples * iterations, benchmark::Counter::kIsRate);
}

// Converts desc + data to output once per iteration; the output is removed at the end.
void MeasureConversion(benchmark::State& state, const std::string& desc, const std::string& data,
                       const std::string& output) {
  ConversionResult result;
  for (auto _ : state) {
    result = ConvertMorvaneToFloats(desc, data, output);
    if (!result.ok) {
      state.SkipWithError(result.error.c_str());
      break;
    }
  }
  std::error_code ignored;
  std::filesystem::remove(output, ignored);
  if (result.ok) SetThroughputCounters(state, result);
}

void ScaleMorvaneType(benchmark::State& state) {
  UniformMorvane request;
  request.type = static_cast<int32_t>(state.range(0));
  request.channels = kSmallChannels;
  request.scans = kSmallRawBytes / (2 * kSmallChannels);
  const ScratchDir dir("type" + std::to_string(request.type));
  if (!dir.Exists()) {
    state.SkipWithError("cannot create a scratch directory");
    return;
  }
  const std::string desc = dir.File("uniform.DSC");
  const std::string data = dir.File("uniform.bin");
  const std::string error = request.Write(desc, data);
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return;
  }
  MeasureConversion(state, desc, data, dir.File("uniform.F32"));
}

}  // namespace

void RegisterScalingBenchmarks() {
  benchmark::RegisterBenchmark("ScaleMorvaneType", ScaleMorvaneType)
      ->ArgName("type")
      ->Arg(0)
      ->Arg(9)
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}

void RegisterLargeConversion(const std::string& prefix, int iterations) {
  benchmark::RegisterBenchmark("ConvertMorvaneToFloats/large",
                               [prefix](benchmark::State& state) {
                                 MeasureConversion(state, prefix + ".DSC", prefix + ".bin", prefix + "-floats.F32");
                               })
      ->Iterations(iterations)
      ->UseRealTime()
      ->Unit(benchmark::kSecond);
}

}  // namespace travune::bench
