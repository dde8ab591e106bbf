// The binary-descriptor functions: a Morvane or Tarquil source built from records in memory,
// whole blocks and single values converted through it, and the record-by-record build buffer.
#include "api/BinDesc.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "api/ExportGuard.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtTarquil.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune {

namespace {

// Raw scans are copied into a block of at least this size (more when one scan is larger), so
// that the caller's memory is only read and a packed block has room to unpack.
constexpr int64_t kBlockBytes = 65536;
// What a packed block holds back for unpacking in place, rounded up to whole words.
constexpr int64_t kUnpackRoom = 16;

bool IsDescriptorType(int32_t sourceType) {
  return sourceType == TRAVUNE_SRC_MORVANE || sourceType == TRAVUNE_SRC_TARQUIL;
}

size_t RecordSize(int32_t sourceType) {
  return sourceType == TRAVUNE_SRC_MORVANE ? kMorvaneChannelSize : kTarquilChannelSize;
}

// The channel count the header announces: the records its source reads.
int64_t HeaderChannelCount(int32_t sourceType, const uint8_t* header) {
  if (header == nullptr) return 0;
  return sourceType == TRAVUNE_SRC_MORVANE ? le::I32(header + 4) : le::U16(header);
}

template <class Source, class... Args>
std::unique_ptr<SrcFmt> Make(Args... args) {
  return std::unique_ptr<SrcFmt>(new (std::nothrow) Source(args...));
}

}  // namespace

int32_t BinDescState::DropDescriptor(int32_t sourceType, const uint8_t* channels) {
  descriptor_.reset();
  if (channels == nullptr && !buildBuffer_) return TRAVUNE_BDC_NO_RECORDS;
  return IsDescriptorType(sourceType) ? TRAVUNE_BDC_OK : TRAVUNE_BDC_BAD_TYPE;
}

template <class Make>
int32_t BinDescState::Build(int32_t sourceType, int64_t recordsRead, const uint8_t* channels, Make make) {
  const bool fromBuild = channels == nullptr;
  if (fromBuild) {
    // Records of another type, or too few, would be read past the buffer's end.
    if (buildType_ != sourceType || recordsRead > buildCount_) return TRAVUNE_BDC_NO_RECORDS;
    channels = buildBuffer_.get();
  }
  std::unique_ptr<SrcFmt> source = make(channels);
  if (!source || source->GetStatus() != 0 || !scaler_.Prepare(*source)) return TRAVUNE_BDC_BAD_TYPE;
  descriptor_ = std::move(source);
  if (fromBuild) ReleaseBuild();
  return TRAVUNE_BDC_OK;
}

int32_t BinDescState::SetFromHeader(int32_t sourceType, const uint8_t* header, const uint8_t* channels) {
  const int32_t status = DropDescriptor(sourceType, channels);
  if (status != TRAVUNE_BDC_OK) return status;
  return Build(sourceType, HeaderChannelCount(sourceType, header), channels, [&](const uint8_t* records) {
    return sourceType == TRAVUNE_SRC_MORVANE ? Make<SrcFmtMorvane>(header, records)
                                             : Make<SrcFmtTarquil>(header, records);
  });
}

int32_t BinDescState::SetFromCount(int32_t sourceType, int32_t numChans, const uint8_t* channels) {
  const int32_t status = DropDescriptor(sourceType, channels);
  if (status != TRAVUNE_BDC_OK) return status;
  return Build(sourceType, numChans, channels, [&](const uint8_t* records) {
    return sourceType == TRAVUNE_SRC_MORVANE ? Make<SrcFmtMorvane>(numChans, records)
                                             : Make<SrcFmtTarquil>(numChans, records);
  });
}

int32_t BinDescState::ConvertScans(int32_t scans, const uint8_t* raw, float* out) {
  if (!descriptor_) return TRAVUNE_BDC_NO_DESCRIPTOR;
  if (scans < 1) return TRAVUNE_BDC_OK;
  if (raw == nullptr || out == nullptr) return TRAVUNE_BDC_NO_BUFFER;
  const int64_t blockBytes = std::max(kBlockBytes, descriptor_->GetScanSize() + kUnpackRoom);
  block_.resize(static_cast<size_t>(blockBytes));
  for (int64_t first = 0; first < scans;) {
    int64_t blockScans = scans - first;
    int64_t bytes = 0;
    int64_t offset = 0;
    descriptor_->GetBlockLayout(blockBytes, &blockScans, &bytes, first, &offset);
    if (blockScans <= 0) break;
    std::memcpy(block_.data(), raw + offset, static_cast<size_t>(bytes));
    descriptor_->SetRawBlock(block_.data(), blockScans, first);
    out = scaler_.Scale(*descriptor_, first, blockScans, FloatScaler::kAllChans, out);
    first += blockScans;
  }
  return TRAVUNE_BDC_OK;
}

int32_t BinDescState::RawToUser(int32_t chan, uint32_t raw, double* user) const {
  if (!descriptor_) return TRAVUNE_BDC_NO_DESCRIPTOR;
  if (user == nullptr) return TRAVUNE_BDC_NO_BUFFER;
  descriptor_->ConvertRawToUser(chan, user, raw);
  return TRAVUNE_BDC_OK;
}

int32_t BinDescState::UserToRaw(int32_t chan, double user, uint32_t* raw) const {
  if (!descriptor_) return TRAVUNE_BDC_NO_DESCRIPTOR;
  if (raw == nullptr) return TRAVUNE_BDC_NO_BUFFER;
  descriptor_->ConvertUserToRaw(chan, raw, user);
  return TRAVUNE_BDC_OK;
}

int32_t BinDescState::AllocateBuild(int32_t sourceType, int32_t count) {
  if (!IsDescriptorType(sourceType)) return TRAVUNE_BDC_NO_RECORDS;
  ReleaseBuild();
  if (count < 0) return TRAVUNE_BDC_NO_BUFFER;
  const size_t recordSize = RecordSize(sourceType);
  buildBuffer_.reset(new (std::nothrow) uint8_t[recordSize * static_cast<size_t>(count)]);
  if (!buildBuffer_) return TRAVUNE_BDC_NO_BUFFER;
  std::memset(buildBuffer_.get(), 0, recordSize * static_cast<size_t>(count));
  buildType_ = sourceType;
  buildCount_ = count;
  buildRecordSize_ = recordSize;
  return TRAVUNE_BDC_OK;
}

int32_t BinDescState::BuildRecord(int32_t index, const uint8_t* record) {
  if (!buildBuffer_ || index < 0 || index >= buildCount_ || record == nullptr) return TRAVUNE_BDC_NO_RECORDS;
  std::memcpy(buildBuffer_.get() + static_cast<size_t>(index) * buildRecordSize_, record, buildRecordSize_);
  return TRAVUNE_BDC_OK;
}

void BinDescState::ReleaseBuild() {
  buildBuffer_.reset();
  buildType_ = 0;
  buildCount_ = 0;
  buildRecordSize_ = 0;
}

BinDescState& TheBinDescState() {
  static BinDescState state;
  return state;
}

}  // namespace travune

namespace {

template <class Body>
int32_t Guarded(int32_t failureStatus, Body&& body) noexcept {
  return travune::GuardedCall(failureStatus, failureStatus, std::forward<Body>(body));
}

const uint8_t* Bytes(const void* p) { return static_cast<const uint8_t*>(p); }

}  // namespace

TRAVUNE_API(int32_t) cvtSetBinDesc(int32_t sourceType, const void* header, const void* channels) noexcept {
  return Guarded(TRAVUNE_BDC_BAD_TYPE,
                 [&] { return travune::TheBinDescState().SetFromHeader(sourceType, Bytes(header), Bytes(channels)); });
}

TRAVUNE_API(int32_t) cvtSetScanDesc(int32_t sourceType, int32_t numChans, const void* channels) noexcept {
  return Guarded(TRAVUNE_BDC_BAD_TYPE,
                 [&] { return travune::TheBinDescState().SetFromCount(sourceType, numChans, Bytes(channels)); });
}

TRAVUNE_API(int32_t) cvtCvtBinData(int32_t, int32_t scans, const void* raw, float* out) noexcept {
  return Guarded(TRAVUNE_BDC_NO_BUFFER, [&] { return travune::TheBinDescState().ConvertScans(scans, Bytes(raw), out); });
}

TRAVUNE_API(int32_t) cvtEndBinDesc(int32_t) noexcept { return TRAVUNE_BDC_OK; }

TRAVUNE_API(int32_t) cvtCvtBinToUser(int32_t, int32_t chan, uint32_t raw, double* user) noexcept {
  return Guarded(TRAVUNE_BDC_NO_BUFFER, [&] { return travune::TheBinDescState().RawToUser(chan, raw, user); });
}

TRAVUNE_API(int32_t) cvtCvtUserToBin(int32_t, int32_t chan, double user, uint32_t* raw) noexcept {
  return Guarded(TRAVUNE_BDC_NO_BUFFER, [&] { return travune::TheBinDescState().UserToRaw(chan, user, raw); });
}

TRAVUNE_API(int32_t) cvtVbAllocBdc(int32_t sourceType, int32_t count) noexcept {
  return Guarded(TRAVUNE_BDC_NO_BUFFER, [&] { return travune::TheBinDescState().AllocateBuild(sourceType, count); });
}

TRAVUNE_API(int32_t) cvtVbBuildBdc(int32_t index, const void* record) noexcept {
  return Guarded(TRAVUNE_BDC_NO_RECORDS, [&] { return travune::TheBinDescState().BuildRecord(index, Bytes(record)); });
}
