// The in-memory data block: settings checked as they arrive, storage reserved once the traces
// and samples are known, and the block written as tab-separated text, one row per sample.
#include "DataBlock.h"

#include <charconv>
#include <cstdio>
#include <new>

#include "LockedOutputFile.h"

namespace wrtblk32 {

namespace {

constexpr const char* kLineEnd = "\r\n";

// Appends the shortest text that reads back as exactly value ("inf", "-inf" and "nan" for the
// values that are not finite), whatever locale the host process runs under.
void AppendFloat(std::string& out, float value) {
  char text[32];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
  out.append(text, result.ptr);
}

// Appends one header line: the keyword, then each cell after a tab.
void AppendLine(std::string& out, const char* keyword, const std::vector<std::string>& cells) {
  out += keyword;
  for (const std::string& cell : cells) {
    out += '\t';
    out += cell;
  }
  out += kLineEnd;
}

}  // namespace

void DataBlock::Reset() { *this = DataBlock(); }

int16_t DataBlock::SetSpacing(int16_t spacing) {
  if (spacing != static_cast<int16_t>(Spacing::kUniform) && spacing != static_cast<int16_t>(Spacing::kNonUniform)) {
    return kRefused;
  }
  spacing_ = static_cast<Spacing>(spacing);
  return kOk;
}

int16_t DataBlock::SetDataFormat(int16_t format) { return format == 0 ? kOk : kRefused; }

int16_t DataBlock::SetNumTraces(int32_t traces) {
  if (traces < 1 || traces > INT16_MAX) return kRefused;
  numTraces_ = traces;
  numSamples_ = -1;
  traceLabels_.assign(static_cast<size_t>(traces), std::string());
  traceUnits_.assign(static_cast<size_t>(traces), std::string());
  values_.reset();
  xValues_.reset();
  return kOk;
}

int16_t DataBlock::SetNumSamples(int32_t samples) {
  if (numTraces_ < 1 || samples < 0) return kRefused;
  const uint64_t needed = (static_cast<uint64_t>(numTraces_) + 1) * static_cast<uint64_t>(samples);
  if (needed > kMaxValues) return kNoMemory;
  values_ = AllocateZeroed(static_cast<size_t>(numTraces_) * static_cast<size_t>(samples));
  xValues_ = AllocateZeroed(static_cast<size_t>(samples));
  if (!values_ || !xValues_) {
    values_.reset();
    xValues_.reset();
    numSamples_ = -1;
    return kNoMemory;
  }
  numSamples_ = samples;
  return kOk;
}

DataBlock::ZeroedFloats DataBlock::AllocateZeroed(size_t count) {
  // One float even for no samples, so that success always leaves storage behind.
  return ZeroedFloats(static_cast<float*>(std::calloc(count > 0 ? count : 1, sizeof(float))));
}

int16_t DataBlock::SetMeasurementType(int16_t type) { return type == 1 ? kOk : kRefused; }

int16_t DataBlock::SetTraceLabel(int16_t trace, const char* label) {
  if (!HoldsTrace(trace)) return kRefused;
  traceLabels_[static_cast<size_t>(trace - 1)] = TabFree(label);
  return kOk;
}

int16_t DataBlock::SetTraceUnits(int16_t trace, const char* units) {
  if (!HoldsTrace(trace)) return kRefused;
  traceUnits_[static_cast<size_t>(trace - 1)] = TabFree(units);
  return kOk;
}

int16_t DataBlock::SetXValue(int32_t sample, float x) {
  if (spacing_ != Spacing::kNonUniform || !HoldsSample(sample)) return kRefused;
  xValues_[static_cast<size_t>(sample - 1)] = x;
  return kOk;
}

int16_t DataBlock::SetSampleValue(int16_t trace, int32_t sample, float value) {
  if (!HoldsTrace(trace) || !HoldsSample(sample)) return kRefused;
  values_[static_cast<size_t>(sample - 1) * static_cast<size_t>(numTraces_) + static_cast<size_t>(trace - 1)] = value;
  return kOk;
}

float DataBlock::XOf(int32_t sample) const {
  if (spacing_ == Spacing::kNonUniform) return xValues_[static_cast<size_t>(sample - 1)];
  const double offset = static_cast<double>(sample) - 1.0 - static_cast<double>(xStart_);
  return static_cast<float>(offset * static_cast<double>(xIncrement_));
}

std::string DataBlock::TabFree(const char* text) {
  std::string cell = text != nullptr ? text : "";
  for (char& c : cell) {
    if (c == '\t' || c == '\r' || c == '\n') c = ' ';
  }
  return cell;
}

std::string DataBlock::HeaderText() const {
  std::string header;
  AppendLine(header, "Measurement Type", {"Time Waveform"});
  AppendLine(header, "Label", {label_});
  AppendLine(header, "X Axis Spacing", {spacing_ == Spacing::kUniform ? "Uniform" : "Non-Uniform"});
  AppendLine(header, "X Axis Units", {xUnits_});
  AppendLine(header, "Y Axis Units", traceUnits_);
  AppendLine(header, "Trace Labels", traceLabels_);
  return header;
}

bool DataBlock::WriteText(std::FILE* file) const {
  std::string text = HeaderText();
  // Rows go out in chunks of about a megabyte: one buffer, reused.
  constexpr size_t kChunk = size_t{1} << 20;
  const float* value = values_.get();
  for (int32_t sample = 1; sample <= numSamples_; ++sample) {
    AppendFloat(text, XOf(sample));
    for (int32_t trace = 0; trace < numTraces_; ++trace) {
      text += '\t';
      AppendFloat(text, *value++);
    }
    text += kLineEnd;
    if (text.size() >= kChunk) {
      if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) return false;
      text.clear();
    }
  }
  return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

int16_t DataBlock::Output(const char* path) const {
  if (path == nullptr || numTraces_ < 1 || numSamples_ < 0) return kRefused;
  std::FILE* file = OpenLockedOutputFile(path);
  if (file == nullptr) return kWriteFailed;
  bool written = false;
  try {
    written = WriteText(file);
  } catch (const std::bad_alloc&) {
    written = false;
  }
  // fclose writes what is still buffered: its failure is a failed write too.
  written = std::fclose(file) == 0 && written;
  if (!written) std::remove(path);
  return written ? kOk : kWriteFailed;
}

}  // namespace wrtblk32
