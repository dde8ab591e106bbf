// The binary-descriptor fuzz target's work on one input, shared by the libFuzzer target and
// the regression test: a Morvane or Tarquil descriptor set from the input's description image
// (header and channel records in one piece, from a channel count, or built record by record
// with fuzzed counts and indexes), then raw scans from the data part scaled in one call and
// single values converted both ways. The caller's buffers hold exactly what the header
// announces, as the interface asks; every answer must be a documented status.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "AcquisitionImage.h"
#include "Promise.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtTarquil.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune::fuzz {
namespace bindesc {

// Records the target hands over in one piece at most; a header claiming more goes the build way.
constexpr int64_t kMaxRecords = 4096;
// Zero records past the end of the input's own: a claim beyond them goes the build way too,
// since thousands of identical zero channels cost the time of thousands of inputs and test
// nothing a few of them do not.
constexpr int64_t kPaddingRecords = 64;
constexpr int64_t kMaxScaledValues = int64_t{1} << 16;

enum class Way { kHeaderAndRecords, kCountAndRecords, kBuilt };

struct Choices {
  int32_t sourceType = 0;
  Way way = Way::kHeaderAndRecords;
  bool useHeader = true;  // the built records go to cvtSetBinDesc, else to cvtSetScanDesc
  int32_t count = 0;      // channels of the count and build ways
  int32_t buildSlots = 0;
  int32_t scans = 0;
  uint32_t raw = 0;
};

inline Choices ReadChoices(ByteCursor& control) {
  Choices c;
  c.sourceType = (control.Byte() & 1u) ? TRAVUNE_SRC_TARQUIL : TRAVUNE_SRC_MORVANE;
  const uint8_t mode = control.Byte();
  c.way = static_cast<Way>(mode % 3);
  c.useHeader = (mode & 4u) == 0;
  c.count = static_cast<int8_t>(control.Byte());
  c.buildSlots = static_cast<int8_t>(control.Byte());
  c.scans = static_cast<int8_t>(control.Byte());
  c.raw = control.Word();
  return c;
}

inline size_t HeaderSize(int32_t type) { return type == TRAVUNE_SRC_MORVANE ? kMorvaneHeaderSize : kTarquilHeaderSize; }
inline size_t RecordSize(int32_t type) {
  return type == TRAVUNE_SRC_MORVANE ? kMorvaneChannelSize : kTarquilChannelSize;
}

// The description image's bytes from offset on, zero-padded or cut to size bytes.
inline std::vector<uint8_t> Slice(const AcquisitionImage& image, size_t offset, size_t size) {
  std::vector<uint8_t> bytes(size);
  if (size > 0 && offset < image.descSize) std::memcpy(bytes.data(), image.desc + offset, std::min(size, image.descSize - offset));
  return bytes;
}

// The descriptor as the library makes it from the same records, to learn its channels and scan size.
inline std::unique_ptr<SrcFmt> Mirror(const Choices& c, const uint8_t* header, const uint8_t* records) {
  if (c.sourceType == TRAVUNE_SRC_MORVANE) {
    return header ? std::make_unique<SrcFmtMorvane>(header, records) : std::make_unique<SrcFmtMorvane>(c.count, records);
  }
  return header ? std::make_unique<SrcFmtTarquil>(header, records) : std::make_unique<SrcFmtTarquil>(c.count, records);
}

inline int64_t ClaimedRecords(int32_t type, const uint8_t* header) {
  return type == TRAVUNE_SRC_MORVANE ? le::I32(header + 4) : le::U16(header);
}

// Builds the descriptor record by record; the slots outside the buffer must be refused.
inline int32_t SetBuilt(const Choices& c, const uint8_t* header, const std::vector<uint8_t>& records) {
  const int32_t alloc = cvtVbAllocBdc(c.sourceType, c.buildSlots);
  Expect(alloc == (c.buildSlots < 0 ? TRAVUNE_BDC_NO_BUFFER : TRAVUNE_BDC_OK), "the build buffer is made for any count from 0");
  const size_t recordSize = RecordSize(c.sourceType);
  for (int32_t slot = -1; slot <= c.buildSlots; ++slot) {
    const size_t offset = static_cast<size_t>(std::max(slot, 0)) * recordSize;
    const uint8_t* record = offset + recordSize <= records.size() ? records.data() + offset : records.data();
    const int32_t status = cvtVbBuildBdc(slot, records.size() >= recordSize ? record : nullptr);
    Expect(status == TRAVUNE_BDC_OK || status == TRAVUNE_BDC_NO_RECORDS, "building: a documented status");
  }
  return c.useHeader ? cvtSetBinDesc(c.sourceType, header, nullptr) : cvtSetScanDesc(c.sourceType, c.count, nullptr);
}

// Scales c.scans scans of raw bytes from the data part, and single values both ways.
inline void Convert(const Choices& c, const AcquisitionImage& image, const SrcFmt& mirror) {
  const int64_t chans = mirror.GetNumChans();
  const int64_t scans = std::max(c.scans, 0);
  if (chans <= 0 || scans * chans > kMaxScaledValues) return;
  // Whole six-byte groups of packed samples: a group more than the scans need.
  const size_t rawBytes = static_cast<size_t>(scans * mirror.GetScanSize() + 6);
  std::vector<uint8_t> raw(rawBytes);
  for (size_t i = 0; image.dataSize > 0 && i < raw.size(); ++i) raw[i] = image.data[i % image.dataSize];
  std::vector<float> out(static_cast<size_t>(scans * chans));
  Expect(cvtCvtBinData(0, c.scans, raw.data(), out.data()) == TRAVUNE_BDC_OK, "raw scans are scaled");
  double user = 0;
  uint32_t back = 0;
  for (int32_t chan = 0; chan < std::min<int64_t>(chans, kMaxRecords); ++chan) {
    Expect(cvtCvtBinToUser(0, chan, c.raw, &user) == TRAVUNE_BDC_OK, "a raw value converts");
    Expect(cvtCvtUserToBin(0, chan, user, &back) == TRAVUNE_BDC_OK, "a user value converts back");
    float v = 0;
    std::memcpy(&v, &c.raw, sizeof v);
    Expect(cvtCvtUserToBin(0, chan, v, &back) == TRAVUNE_BDC_OK, "any double converts back");
  }
}

inline int32_t SetDescriptor(const Choices& c, const AcquisitionImage& image, std::unique_ptr<SrcFmt>* mirror) {
  const std::vector<uint8_t> header = Slice(image, 0, HeaderSize(c.sourceType));
  const int64_t claimed = ClaimedRecords(c.sourceType, header.data());
  const bool byHeader = c.way == Way::kHeaderAndRecords;
  const int64_t records = byHeader ? claimed : c.count;
  const int64_t inputRecords = static_cast<int64_t>(image.descSize / RecordSize(c.sourceType));
  if (c.way == Way::kBuilt || records < 0 || records > std::min(kMaxRecords, inputRecords + kPaddingRecords)) {
    const std::vector<uint8_t> built = Slice(image, header.size(), static_cast<size_t>(std::max(c.buildSlots, 0)) * RecordSize(c.sourceType));
    const int32_t status = SetBuilt(c, header.data(), built);
    if (status == TRAVUNE_BDC_OK) *mirror = Mirror(c, c.useHeader ? header.data() : nullptr, built.data());
    return status;
  }
  const std::vector<uint8_t> recordBytes = Slice(image, header.size(), static_cast<size_t>(records) * RecordSize(c.sourceType));
  const int32_t status = byHeader ? cvtSetBinDesc(c.sourceType, header.data(), recordBytes.data())
                                  : cvtSetScanDesc(c.sourceType, c.count, recordBytes.data());
  if (status == TRAVUNE_BDC_OK) *mirror = Mirror(c, byHeader ? header.data() : nullptr, recordBytes.data());
  return status;
}

}  // namespace bindesc

inline void ExerciseBinDesc(const uint8_t* data, size_t size) {
  AcquisitionImage image = SplitAcquisition(data, size);
  const bindesc::Choices choices = bindesc::ReadChoices(image.control);
  std::unique_ptr<SrcFmt> mirror;
  const int32_t status = bindesc::SetDescriptor(choices, image, &mirror);
  Expect(status == TRAVUNE_BDC_OK || status == TRAVUNE_BDC_NO_RECORDS || status == TRAVUNE_BDC_BAD_TYPE,
         "setting a descriptor: a documented status");
  if (status == TRAVUNE_BDC_OK) {
    Expect(mirror && mirror->GetStatus() == 0, "the library accepts only descriptors that can be made");
    bindesc::Convert(choices, image, *mirror);
  } else {
    float out = 0;
    const uint8_t raw[8] = {};
    Expect(cvtCvtBinData(0, 1, raw, &out) == TRAVUNE_BDC_NO_DESCRIPTOR, "a refused descriptor leaves none");
  }
  Expect(cvtEndBinDesc(0) == TRAVUNE_BDC_OK, "ending answers 0");
}

}  // namespace travune::fuzz
