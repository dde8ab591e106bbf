// Handle-API conversion benchmarks. Each iteration is one whole conversion (open, every block,
// finish); raw_MB counts raw input megabytes (10^6 bytes) per second of wall-clock time.
#include "HandleConversionBenchmarks.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "ScratchDir.h"
#include "UniformMorvane.h"
#include "travune/travune.h"

namespace travune::bench {
namespace {

constexpr int64_t kRawBytes = int64_t{16} << 20;
constexpr int32_t kChannels = 16;

struct Target {
  const char* format;
  uint32_t flags;
};

const Target kTargets[] = {
    {"Float32", 0}, {"HDF5", 0}, {"HDF5", TRAVUNE_FLAG_COMPRESS}, {"Float32", TRAVUNE_FLAG_ONE_THREAD}};

// One conversion of acq into output; the failing status's text, or empty.
std::string ConvertOnce(tvnAcq* acq, int32_t format, uint32_t flags, const std::string& output) {
  tvnConvOptions options{};
  options.format = format;
  options.dataName = output.c_str();
  options.flags = flags;
  options.count = -1;
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  if (status == TVN_OK) status = tvnConvRun(conv, nullptr, nullptr);
  if (status == TVN_OK) status = tvnConvFinish(conv);
  tvnConvClose(conv);
  return status == TVN_OK ? std::string() : tvnStatusText(status);
}

void ConvertThroughHandles(benchmark::State& state) {
  const Target& target = kTargets[state.range(0)];
  const int32_t format = tvnFormatIdFromName(target.format, 0);
  if (format < 0) {
    state.SkipWithError("the library was built without this format");
    return;
  }
  UniformMorvane request;
  request.channels = kChannels;
  request.scans = kRawBytes / (2 * kChannels);
  const ScratchDir dir(std::string("handle-") + target.format);
  const std::string desc = dir.File("uniform.DSC");
  const std::string error = dir.Exists() ? request.Write(desc, dir.File("uniform.bin")) : "no scratch directory";
  tvnAcq* acq = nullptr;
  if (!error.empty() || tvnAcqOpen(desc.c_str(), nullptr, TRAVUNE_SRC_MORVANE, &acq) != TVN_OK) {
    state.SkipWithError(error.empty() ? "the acquisition cannot be opened" : error.c_str());
    return;
  }
  for (auto _ : state) {
    const std::string failure = ConvertOnce(acq, format, target.flags, dir.File("out"));
    if (!failure.empty()) {
      state.SkipWithError(failure.c_str());
      break;
    }
  }
  tvnAcqClose(acq);
  state.counters["raw_MB"] = benchmark::Counter(static_cast<double>(request.DataBytes()) / 1e6 *
                                                    static_cast<double>(state.iterations()),
                                                benchmark::Counter::kIsRate);
}

}  // namespace

void RegisterHandleConversionBenchmarks() {
  benchmark::RegisterBenchmark("ConvertThroughHandles", ConvertThroughHandles)
      ->ArgName("target")  // 0 Float32, 1 HDF5, 2 compressed HDF5, 3 Float32 on one thread
      ->DenseRange(0, 3)
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}

}  // namespace travune::bench
