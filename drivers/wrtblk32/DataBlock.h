// The data block the block-writer library keeps in memory between its reset and its output:
// the block's settings, per-trace labels and units, every sample value and x value.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace wrtblk32 {

// Results of the entries.
inline constexpr int16_t kOk = 0;
inline constexpr int16_t kRefused = 1;       // an argument out of range, or a call out of order
inline constexpr int16_t kNoMemory = 2;      // the block would not fit in memory
inline constexpr int16_t kWriteFailed = 3;   // the file could not be created or written

enum class Spacing : int16_t { kUniform = 1, kNonUniform = 2 };

class DataBlock {
 public:
  // The most values (traces x samples, plus one x value per sample) a block may hold: 1 GiB of
  // floats, so that a block that could exhaust the machine is refused up front.
  static constexpr uint64_t kMaxValues = uint64_t{1} << 28;

  void Reset();

  int16_t SetSpacing(int16_t spacing);
  int16_t SetDataFormat(int16_t format);
  int16_t SetNumTraces(int32_t traces);
  int16_t SetNumSamples(int32_t samples);
  void SetXStart(int32_t start) { xStart_ = start; }
  void SetXIncrement(float increment) { xIncrement_ = increment; }
  void SetLabel(const char* label) { label_ = TabFree(label); }
  void SetXUnits(const char* units) { xUnits_ = TabFree(units); }
  int16_t SetMeasurementType(int16_t type);
  int16_t SetTraceLabel(int16_t trace, const char* label);
  int16_t SetTraceUnits(int16_t trace, const char* units);
  int16_t SetXValue(int32_t sample, float x);
  int16_t SetSampleValue(int16_t trace, int32_t sample, float value);

  // Writes the block file to path; see README.md for its layout.
  int16_t Output(const char* path) const;

 private:
  bool HoldsTrace(int16_t trace) const { return trace >= 1 && trace <= numTraces_; }
  bool HoldsSample(int32_t sample) const { return sample >= 1 && sample <= numSamples_; }
  // The x value of a sample: its own with non-uniform spacing, else from start and increment.
  float XOf(int32_t sample) const;
  // text with tabs, carriage returns and line feeds made blanks, so that it keeps to its cell.
  static std::string TabFree(const char* text);
  std::string HeaderText() const;
  // The header and every row; false when a write fails.
  bool WriteText(std::FILE* file) const;

  Spacing spacing_ = Spacing::kUniform;
  int32_t numTraces_ = 0;
  int32_t numSamples_ = -1;  // -1: not set
  int32_t xStart_ = 0;
  float xIncrement_ = 1.0f;
  std::string label_;
  std::string xUnits_;
  std::vector<std::string> traceLabels_;
  std::vector<std::string> traceUnits_;
  // Storage from calloc: the system hands out untouched pages lazily and already zeroed, so a
  // block reserved for more samples than ever arrive costs neither time nor memory for the rest.
  struct FreeFloats {
    void operator()(float* values) const { std::free(values); }
  };
  using ZeroedFloats = std::unique_ptr<float[], FreeFloats>;
  static ZeroedFloats AllocateZeroed(size_t count);

  ZeroedFloats values_;  // sample after sample, numTraces_ values each
  ZeroedFloats xValues_;
};

}  // namespace wrtblk32
