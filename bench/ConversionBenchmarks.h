// The conversion benchmarks: the large Morvane acquisition to raw floats, and small per-type
// scaling cases that run in seconds for spotting regressions.
#pragma once

#include <string>

namespace travune::bench {

// Registers the small cases: a 4 MiB, 16-channel Morvane acquisition whose channels are all
// of type 0 (voltage) or all of type 9 (counter), converted to raw floats in a scratch dir.
void RegisterScalingBenchmarks();

// Registers the conversion of prefix.DSC + prefix.bin to raw floats (prefix-floats.F32,
// removed afterwards), run iterations times.
void RegisterLargeConversion(const std::string& prefix, int iterations);

}  // namespace travune::bench
