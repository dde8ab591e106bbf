// Default behaviour of a target writer (nothing to prepare, nothing to finish, no bytes) and the
// scaled-value buffer every writer formats from.
#include "writer/TgtFmt.h"

#include "support/LittleEndian.h"

#include <new>

namespace travune {

TgtFmt::~TgtFmt() = default;

bool TgtFmt::PreConvert(const char*, platform::File*, platform::File*, int64_t) { return true; }

bool TgtFmt::PostConvert() { return true; }

int64_t TgtFmt::ConvertDataBlock(int64_t, OutputArea&, int64_t) { return 0; }

bool TgtFmt::FinishConversion() noexcept {
  try {
    return PostConvert();
  } catch (...) {
    return false;
  }
}

bool TgtFmt::PrepareBlocks(int64_t maxScansPerBlock) { return Reserve(maxScansPerBlock); }

bool TgtFmt::Reserve(int64_t scans) {
  const int64_t chans = NumChans();
  if (scans <= 0 || chans <= 0) return true;
  const uint64_t values = static_cast<uint64_t>(scans) * static_cast<uint64_t>(chans);
  if (values / static_cast<uint64_t>(chans) != static_cast<uint64_t>(scans) || values > scaled_.max_size()) {
    return false;
  }
  if (scaled_.size() >= values) return true;
  try {
    scaled_.resize(static_cast<size_t>(values));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

const double* TgtFmt::ScaleBlock(int64_t firstScan, int64_t scans) {
  if (scans <= 0) return scaled_.data();
  if (!Reserve(scans)) return nullptr;
  source_->ScaleScans(firstScan, scans, scaled_.data());
  return scaled_.data();
}

const uint8_t* TgtFmt::AppendFloat32Block(int64_t firstScan, int64_t scans, OutputArea& out) {
  const size_t count = static_cast<size_t>(scans) * static_cast<size_t>(NumChans());
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* bytes = out.Extend(4 * count);
  if (values == nullptr || bytes == nullptr) return nullptr;
  for (size_t i = 0; i < count; ++i) le::PutF32(bytes + 4 * i, static_cast<float>(values[i]));
  return bytes;
}

}  // namespace travune
