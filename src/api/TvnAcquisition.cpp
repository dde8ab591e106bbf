// Opening an acquisition for the handle API and reading scaled values and times from it.
#include "api/TvnAcquisition.h"

#include <algorithm>
#include <filesystem>

#include "api/SourceGuess.h"
#include "platform/Platform.h"
#include "support/TextUtil.h"
#include "travune/travune.h"

namespace travune {

namespace {

// Raw bytes read per block: large enough for speed, small enough to keep memory flat.
constexpr int64_t kReadBlockBytes = int64_t{4} << 20;

int32_t StatusOf(Acquisition::Status status) {
  switch (status) {
    case Acquisition::Status::kOk: return TVN_OK;
    case Acquisition::Status::kNoMemory: return TVN_ERR_NO_MEMORY;
    case Acquisition::Status::kDescOpen: return TVN_ERR_DESC_OPEN;
    case Acquisition::Status::kDataOpen: return TVN_ERR_DATA_OPEN;
    case Acquisition::Status::kDescRead: return TVN_ERR_DESC_READ;
    case Acquisition::Status::kDataTooLarge: return TVN_ERR_DATA_READ;
    case Acquisition::Status::kUnknownType: return TVN_ERR_UNKNOWN_TYPE;
    case Acquisition::Status::kInvalid: return TVN_ERR_DESC_INVALID;
  }
  return TVN_ERR_FAILED;
}

}  // namespace

std::string FindDataFileFor(const char* descName, int32_t sourceType) {
  const std::string lower = DataFileNameFor(descName, sourceType);
  const std::filesystem::path wanted(lower);
  std::error_code ec;
  if (std::filesystem::exists(wanted, ec)) return lower;
  const std::filesystem::path dir = wanted.has_parent_path() ? wanted.parent_path() : std::filesystem::path(".");
  const std::string name = wanted.filename().string();
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string candidate = it->path().filename().string();
    if (EqualsIgnoringAsciiCase(candidate.c_str(), name.c_str())) {
      return wanted.has_parent_path() ? (dir / candidate).string() : candidate;
    }
  }
  return lower;
}

int32_t TvnAcquisition::Open(const char* descName, const char* dataName, int32_t sourceType) {
  if (descName == nullptr) return TVN_ERR_ARGUMENT;
  if (sourceType == 0) {
    std::string why;
    sourceType = GuessSourceType(descName, &why);
    if (sourceType < 0) {
      platform::File probe = platform::File::OpenRead(descName);
      return probe.IsOpen() ? TVN_ERR_UNKNOWN_TYPE : TVN_ERR_DESC_OPEN;
    }
  }
  const std::string data = dataName ? std::string(dataName) : FindDataFileFor(descName, sourceType);
  SourceContext context;
  context.listSeparator = platform::UserNumberConventions().listSeparator.c_str();
  const int32_t status = StatusOf(acquisition_.Open(descName, data.c_str(), sourceType, context));
  if (status == TVN_OK) sourceType_ = sourceType;
  return status;
}

bool TvnAcquisition::ReadBlock(int64_t first, int64_t* scans) {
  // The buffer grows to what the reads ask for, at most kReadBlockBytes: a read of a few scans
  // costs a few pages, not the whole block.
  const int64_t scanBytes = std::max<int64_t>(1, Source().GetScanSize());
  const int64_t wanted = std::clamp(std::min(*scans, kReadBlockBytes) * scanBytes, int64_t{4096}, kReadBlockBytes);
  if (static_cast<int64_t>(raw_.size()) < wanted) raw_.resize(static_cast<size_t>(wanted));
  int64_t bytes = 0, offset = 0;
  Source().GetBlockLayout(static_cast<int64_t>(raw_.size()), scans, &bytes, first, &offset);
  // A scan larger than the buffer: read it alone in a buffer of its own size.
  if (*scans == 0) {
    int64_t one = 1;
    Source().GetBlockLayout(INT64_MAX, &one, &bytes, first, &offset);
    if (bytes <= 0) return false;
    raw_.resize(static_cast<size_t>(bytes));
    *scans = 1;
  }
  return acquisition_.ReadBlock(first, scans, raw_.data(), static_cast<int64_t>(raw_.size()));
}

template <class Value>
bool TvnAcquisition::Read(int64_t first, int64_t count, const std::vector<int32_t>& chans, Value* out) {
  const size_t all = static_cast<size_t>(Source().GetNumChans());
  while (count > 0) {
    int64_t scans = count;
    if (!ReadBlock(first, &scans) || scans <= 0) return false;
    scaled_.resize(static_cast<size_t>(scans) * all);
    Source().ScaleScans(first, scans, scaled_.data());
    for (int64_t s = 0; s < scans; ++s) {
      const double* row = &scaled_[static_cast<size_t>(s) * all];
      if (chans.empty()) {
        for (size_t c = 0; c < all; ++c) *out++ = static_cast<Value>(row[c]);
      } else {
        for (int32_t c : chans) *out++ = static_cast<Value>(row[static_cast<size_t>(c)]);
      }
    }
    first += scans;
    count -= scans;
  }
  return true;
}

template bool TvnAcquisition::Read<float>(int64_t, int64_t, const std::vector<int32_t>&, float*);
template bool TvnAcquisition::Read<double>(int64_t, int64_t, const std::vector<int32_t>&, double*);

bool TvnAcquisition::ScanTimes(int64_t first, int64_t count, const TimeFormat* request, double* out) {
  SrcFmt& source = Source();
  const bool needsBlocks = source.NativeTimeFormat().stampsInData != 0;
  while (count > 0) {
    int64_t scans = count;
    if (needsBlocks) {
      if (!ReadBlock(first, &scans) || scans <= 0) return false;
    }
    for (int64_t s = 0; s < scans; ++s) {
      if (!source.GetScanTime(first + s, out++, request)) return false;
    }
    first += scans;
    count -= scans;
  }
  return true;
}

}  // namespace travune
