// Writing a sample acquisition: checks the request, then streams the description and the
// data file in large chunks, removing what it wrote when anything fails.
#include "samples/Samples.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "samples/SampleLayout.h"

namespace travune::samples {
namespace {

constexpr int kMaxChannels = 256;
constexpr int64_t kChunkBytes = 8 << 20;

std::string WriteError(const std::string& path) { return "cannot write " + path + ": " + std::strerror(errno); }

// Writes count bytes to a file opened by the caller; false with error set on failure.
bool WriteBytes(std::FILE* file, const std::string& path, const uint8_t* bytes, size_t count, std::string* error) {
  if (count == 0 || std::fwrite(bytes, 1, count, file) == count) return true;
  *error = WriteError(path);
  return false;
}

bool CloseFile(std::FILE* file, const std::string& path, bool ok, std::string* error) {
  if (std::fclose(file) != 0 && ok) {
    *error = WriteError(path);
    return false;
  }
  return ok;
}

std::FILE* CreateFile(const std::string& path, std::string* error) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) *error = "cannot create " + path + ": " + std::strerror(errno);
  return file;
}

// Whole chunks of a multiple of four scans, so that packed chunks start on a six-byte group.
int64_t ChunkScans(const SampleLayout& layout) {
  const int64_t scans = kChunkBytes / std::max<int64_t>(layout.ScanBytes(), 1);
  return std::max<int64_t>(4, scans / 4 * 4);
}

// Creates path and lets fill write its content; removes the file again when anything fails.
template <typename Fill>
bool WriteWholeFile(const std::string& path, std::string* error, Fill fill) {
  std::FILE* file = CreateFile(path, error);
  if (file == nullptr) return false;
  const bool ok = CloseFile(file, path, fill(file), error);
  if (!ok) std::remove(path.c_str());
  return ok;
}

bool WriteDescription(const SampleLayout& layout, const std::string& path, std::string* error) {
  return WriteWholeFile(path, error, [&](std::FILE* file) {
    const std::vector<uint8_t> bytes = layout.Description();
    return WriteBytes(file, path, bytes.data(), bytes.size(), error);
  });
}

bool WriteData(const SampleLayout& layout, const std::string& path, std::string* error) {
  return WriteWholeFile(path, error, [&](std::FILE* file) {
    const int64_t chunk = ChunkScans(layout);
    std::vector<uint8_t> buffer;
    buffer.reserve(static_cast<size_t>(chunk * layout.ScanBytes() + 6));
    for (int64_t first = 0; first < layout.Request().scans; first += chunk) {
      buffer.clear();
      layout.AppendScans(first, std::min(chunk, layout.Request().scans - first), &buffer);
      if (!WriteBytes(file, path, buffer.data(), buffer.size(), error)) return false;
    }
    return true;
  });
}

}  // namespace

bool CheckSpec(const SampleSpec& request, std::string* error) {
  const bool brenlowFamily = request.type == 2 || request.type == 7 || request.type == 8;
  if (MakeLayout(request) == nullptr) {
    *error = "unknown source type " + std::to_string(request.type);
  } else if (request.scans < 1 || request.scans > std::numeric_limits<int32_t>::max()) {
    *error = "the scan count must lie between 1 and 2147483647";
  } else if (request.preTrig < 0 || request.preTrig > request.scans) {
    *error = "the pre-trigger count must lie between 0 and the scan count";
  } else if (request.chans < 0 || request.chans > kMaxChannels) {
    *error = "the channel count must lie between 0 and " + std::to_string(kMaxChannels);
  } else if (request.packed && request.type != 4) {
    *error = "packed 12-bit samples exist only for tarquil";
  } else if (request.stamps && !brenlowFamily && request.type != 6) {
    *error = "time stamps exist only for brenlow, vexmoor, threnix and celdrin";
  } else {
    return true;
  }
  return false;
}

std::string DescFileName(const SampleSpec& request, const std::string& prefix) {
  return prefix + "." + (request.type == 6 ? "HX$" : "DSC");
}

std::string DataFileName(const SampleSpec& request, const std::string& prefix) {
  return prefix + "." + (request.type == 6 ? "hxt" : "bin");
}

bool WriteSample(const SampleSpec& request, const std::string& prefix, std::vector<std::string>* written,
                 std::string* error) {
  if (!CheckSpec(request, error)) return false;
  const std::unique_ptr<SampleLayout> layout = MakeLayout(request);
  const std::string descPath = DescFileName(request, prefix);
  const std::string dataPath = DataFileName(request, prefix);
  if (!WriteDescription(*layout, descPath, error)) return false;
  if (!WriteData(*layout, dataPath, error)) {
    std::remove(descPath.c_str());
    return false;
  }
  if (written != nullptr) *written = {descPath, dataPath};
  return true;
}

int NumChannels(const SampleSpec& request) {
  const std::unique_ptr<SampleLayout> layout = MakeLayout(request);
  return layout ? layout->NumChannels() : 0;
}

int64_t DataFileBytes(const SampleSpec& request) {
  const std::unique_ptr<SampleLayout> layout = MakeLayout(request);
  return layout ? layout->DataBytes() : 0;
}

PlainValues PlainValuesOf(const SampleSpec& request, int64_t first, int64_t count) {
  PlainValues plain;
  const std::unique_ptr<SampleLayout> layout = MakeLayout(request);
  if (!layout) return plain;
  plain.chans = layout->NumChannels();
  for (int c = 0; c < plain.chans; ++c) plain.tolerances.push_back(layout->Tolerance(c));
  plain.values.reserve(static_cast<size_t>(count * plain.chans));
  for (int64_t scan = first; scan < first + count; ++scan) {
    for (int c = 0; c < plain.chans; ++c) plain.values.push_back(layout->PlainValue(scan, c));
  }
  return plain;
}

double ExpectedScanTime(const SampleSpec& request, int64_t scan) {
  const std::unique_ptr<SampleLayout> layout = MakeLayout(request);
  return layout ? layout->ScanTime(scan) : 0.0;
}

}  // namespace travune::samples
