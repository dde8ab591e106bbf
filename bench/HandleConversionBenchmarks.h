// Benchmarks of conversions through the handle API: the same 16 MiB voltage acquisition into
// raw floats, HDF5 and gzip-compressed HDF5, so that the HDF5 writer's cost shows beside the
// plainest output, and raw floats on one thread, so that the overlapped reads and writes show.
#pragma once

namespace travune::bench {

void RegisterHandleConversionBenchmarks();

}  // namespace travune::bench
