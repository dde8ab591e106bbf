// The source-description fuzz target's work on one input, shared by the libFuzzer target and
// the regression test that replays the seeds and saved findings: the input as a description
// image for every source type. A source that accepts it is then asked everything the
// conversion session and the writers ask: channel facts, scan counts for several data-file
// sizes, block layouts, scaled values of every channel over a raw block made from the input's
// tail, and scan times.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "Promise.h"
#include "source/SourceFactory.h"
#include "source/SrcFmt.h"

namespace travune::fuzz {
namespace source_desc {

constexpr int32_t kFirstSourceType = 2;
constexpr int32_t kLastSourceType = 8;
constexpr int32_t kKeywordSourceType = 6;
constexpr size_t kMaxTailBytes = 256;
// Scaled values per block at most: every channel of the first scans is reached, and an input
// stays quick whatever the scan count it claims (the values past them take the same paths).
constexpr int64_t kMaxValuesPerBlock = 1 << 10;
constexpr int64_t kMaxLayoutScanSize = 1 << 20;

// Keeps results alive so that the calls producing them are not optimised away.
inline volatile double sink;

inline void Consume(double v) { sink = v; }
inline void Consume(const char* text) {
  if (text != nullptr) sink = static_cast<double>(std::strlen(text));
}

inline void ExerciseChannelFacts(const SrcFmt& source) {
  Consume(source.GetAppTitle());
  Consume(source.GetDescVersion());
  Consume(source.GetPreTrigRate() + source.GetPostTrigRate() + static_cast<double>(source.GetPreTrigCount()) +
          (source.HasUniformRate() ? 1.0 : 0.0) + (source.HasValidChannelRecords() ? 1.0 : 0.0));
  for (int32_t chan = 0; chan < source.GetNumChans(); ++chan) {
    Consume(source.GetChanLabel(chan));
    Consume(source.GetChanUnits(chan));
    double lower = 0.0;
    double upper = 0.0;
    if (source.GetChanRange(chan, &lower, &upper)) Consume(lower + upper);
    Consume(source.GetChanPrecision(chan));
  }
}

inline void ExerciseScanCounts(SrcFmt& source, size_t imageSize) {
  Consume(static_cast<double>(source.GetScanSize() + source.GetSampleSize() + source.GetNumProgScans()));
  for (double bytes : {0.0, 1.0, static_cast<double>(imageSize), 65536.0 + 3.0, 4294967295.0}) {
    source.SetDataFileSize(bytes);
    Expect(source.GetNumScans() >= 0, "GetNumScans is never negative");
  }
}

// A raw block of bufBytes + 16 bytes, filled with the input's tail over and over.
inline std::vector<uint8_t> RawBlockFromTail(const uint8_t* data, size_t size, int64_t bufBytes) {
  std::vector<uint8_t> block(static_cast<size_t>(bufBytes) + 16);
  const size_t tail = std::min(size, kMaxTailBytes);
  for (size_t i = 0; tail > 0 && i < block.size(); ++i) block[i] = data[size - tail + i % tail];
  return block;
}

inline void ExerciseScanTimes(SrcFmt& source, int64_t firstScan, int64_t scans) {
  double t = 0.0;
  for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
    if (source.GetScanTime(scan, &t)) Consume(t);
  }
  // Sources with stamps in the data may read only scans of the current block.
  if (source.NativeTimeFormat().stampsInData) return;
  for (int64_t scan : {int64_t{0}, source.GetPreTrigCount(), source.GetNumScans(), int64_t{1} << 40}) {
    if (source.GetScanTime(scan, &t)) Consume(t);
  }
}

// One block as the session handles it: layout for bufBytes, the read, the scaled values.
inline void ExerciseBlock(SrcFmt& source, const uint8_t* data, size_t size, int64_t bufBytes, int64_t firstScan) {
  const int64_t requested = std::max<int64_t>(source.GetNumScans() - firstScan, 0);
  int64_t scans = requested;
  int64_t bytes = 0;
  int64_t offset = 0;
  source.GetBlockLayout(bufBytes, &scans, &bytes, firstScan, &offset);
  Expect(scans >= 0 && scans <= requested, "GetBlockLayout only lowers the scan count");
  Expect(bytes >= 0 && bytes <= bufBytes, "GetBlockLayout keeps the block within the buffer");
  std::vector<uint8_t> block = RawBlockFromTail(data, size, bufBytes);
  source.SetRawBlock(block.data(), scans, firstScan);
  const int64_t chans = source.GetNumChans();
  const int64_t scaledScans = chans > 0 ? std::min(scans, std::max<int64_t>(kMaxValuesPerBlock / chans, 1)) : 0;
  for (int64_t scan = firstScan; scan < firstScan + scaledScans; ++scan) {
    for (int32_t chan = 0; chan < chans; ++chan) {
      double v = 0.0;
      source.GetScaledValue(scan, chan, &v);
      Consume(v);
    }
  }
  ExerciseScanTimes(source, firstScan, scaledScans);
}

inline void ExerciseBlocks(SrcFmt& source, const uint8_t* data, size_t size) {
  source.SetDataFileSize(static_cast<double>(size) * 64.0);
  source.SetOptions(size > 0 ? data[size - 1] & 1u : 0u);
  std::vector<int64_t> bufferSizes = {64, 4096};
  const int64_t scanSize = source.GetScanSize();
  if (scanSize > 0 && scanSize <= kMaxLayoutScanSize) bufferSizes.push_back(3 * scanSize + 7);
  for (int64_t bufBytes : bufferSizes) {
    for (int64_t firstScan : {0, 1, 5}) ExerciseBlock(source, data, size, bufBytes, firstScan);
  }
}

inline void ExerciseSourceType(int32_t type, const char* listSeparator, const uint8_t* data, size_t size) {
  SourceContext context;
  context.listSeparator = listSeparator;
  context.dataFileSize = static_cast<int64_t>(size) * 64;
  const std::unique_ptr<SrcFmt> source = CreateSource(type, data, size, context);
  if (!source || source->GetStatus() != 0) return;
  ExerciseChannelFacts(*source);
  ExerciseScanCounts(*source, size);
  ExerciseBlocks(*source, data, size);
}

}  // namespace source_desc

inline void ExerciseSourceDesc(const uint8_t* data, size_t size) {
  for (int32_t type = source_desc::kFirstSourceType; type <= source_desc::kLastSourceType; ++type) {
    source_desc::ExerciseSourceType(type, ",", data, size);
  }
  // Keyword descriptions with "*VERSION" switch to the locale's list separator.
  source_desc::ExerciseSourceType(source_desc::kKeywordSourceType, ";", data, size);
}

}  // namespace travune::fuzz
