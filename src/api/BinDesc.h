// The binary-descriptor state: one process-wide acquisition described by Morvane or Tarquil
// records in memory, for converting raw values to user units and back without any file, and the
// buffer in which callers build the channel records one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "api/FloatScaler.h"
#include "source/SrcFmt.h"

namespace travune {

class BinDescState {
 public:
  // Replaces the descriptor by one built from a header and channel records (null: the build
  // buffer's records, which are then released). A TRAVUNE_BDC_* status.
  int32_t SetFromHeader(int32_t sourceType, const uint8_t* header, const uint8_t* channels);
  // The same from a channel count alone (no rates, no trigger, no packing).
  int32_t SetFromCount(int32_t sourceType, int32_t numChans, const uint8_t* channels);

  // Scales scans 0 .. scans - 1 of raw into out, every channel of each scan.
  int32_t ConvertScans(int32_t scans, const uint8_t* raw, float* out);
  int32_t RawToUser(int32_t chan, uint32_t raw, double* user) const;
  int32_t UserToRaw(int32_t chan, double user, uint32_t* raw) const;

  // Allocates the build buffer for count records of sourceType, replacing an earlier one.
  int32_t AllocateBuild(int32_t sourceType, int32_t count);
  int32_t BuildRecord(int32_t index, const uint8_t* record);

 private:
  // The first steps of both set calls: the descriptor is destroyed; then the status of having
  // no records (channels null without a build buffer) or an unknown type, else 0.
  int32_t DropDescriptor(int32_t sourceType, const uint8_t* channels);
  // Builds the descriptor: make(records) gets the caller's channels, or the build buffer's
  // records when channels is null (which must hold recordsRead records of sourceType).
  template <class Make>
  int32_t Build(int32_t sourceType, int64_t recordsRead, const uint8_t* channels, Make make);
  void ReleaseBuild();

  std::unique_ptr<SrcFmt> descriptor_;
  FloatScaler scaler_;
  std::vector<uint8_t> block_;  // a copy of the caller's raw scans, unpacked in place when packed
  int32_t buildType_ = 0;
  int32_t buildCount_ = 0;
  size_t buildRecordSize_ = 0;
  std::unique_ptr<uint8_t[]> buildBuffer_;
};

// The process's descriptor state.
BinDescState& TheBinDescState();

}  // namespace travune
