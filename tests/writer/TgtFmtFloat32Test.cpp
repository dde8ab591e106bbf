// Raw float writer: exact bytes for known values, scan/channel order, rounding and overflow.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/LittleEndian.h"
#include "writer/TgtFmtFloat32.h"

namespace travune {
namespace {

// A source whose scaled value of (scan, chan) is taken from a table; it counts its reads.
class TableSource : public SrcFmt {
 public:
  TableSource(int32_t chans, std::vector<double> values) : chans_(chans), values_(std::move(values)) {}
  bool GetNativeScanTime(int64_t scan, double* out) override { return *out = static_cast<double>(scan), true; }
  int32_t GetNumChans() const override { return chans_; }
  int64_t GetNumProgScans() const override { return static_cast<int64_t>(values_.size()) / chans_; }
  int64_t GetScanSize() const override { return 4 * chans_; }
  int32_t GetSampleSize() const override { return 4; }
  bool GetChanRange(int32_t, double* lo, double* hi) const override { return *lo = 0, *hi = 1, true; }
  const char* GetChanLabel(int32_t) const override { return ""; }
  const char* GetChanUnits(int32_t) const override { return ""; }
  int32_t GetChanPrecision(int32_t) const override { return 4; }
  double GetPreTrigRate() const override { return 1.0; }
  double GetPostTrigRate() const override { return 1.0; }
  int64_t GetPreTrigCount() const override { return 0; }
  bool HasUniformRate() const override { return true; }
  const char* GetAppTitle() const override { return "table"; }
  const char* GetDescVersion() const override { return ""; }
  // The "raw sample" is the index of the value in the table.
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override {
    return reinterpret_cast<const uint8_t*>(&values_[static_cast<size_t>(scan * chans_ + chan)]);
  }
  double ScaleSample(int32_t, const uint8_t* raw) const override {
    ++reads;
    return *reinterpret_cast<const double*>(raw);
  }
  mutable int reads = 0;

 private:
  int32_t chans_;
  std::vector<double> values_;
};

TEST(TgtFmtFloat32, WritesLittleEndianFloatsScanAfterScan) {
  TableSource source(2, {1.0, -2.0, 0.5, 3.0, 1e39, -1e39, 0.1, 16777217.0});
  TgtFmtFloat32 writer(&source);
  ASSERT_TRUE(writer.IsOk());
  EXPECT_FALSE(writer.WantsHeaderFile());
  EXPECT_EQ(writer.OutputBytesPerScan(), 8);
  std::vector<uint8_t> out(32, 0xEE);
  ASSERT_EQ(writer.ConvertDataBlock(3, out.data(), 0), 24);
  const std::vector<uint8_t> expectedStart = {0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0xC0,
                                              0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x40, 0x40};
  EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 16), expectedStart);
  EXPECT_EQ(le::F32(&out[16]), std::numeric_limits<float>::infinity());
  EXPECT_EQ(le::F32(&out[20]), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(out[24], 0xEE);  // nothing written past the block

  // Rounding to nearest, ties to even: 0.1 rounds once; 2^24 + 1 ties down to 2^24.
  ASSERT_EQ(writer.ConvertDataBlock(1, out.data(), 3), 8);
  EXPECT_EQ(le::U32(&out[0]), 0x3DCCCCCDu);
  EXPECT_EQ(le::F32(&out[4]), 16777216.0f);
}

TEST(TgtFmtFloat32, EmptyBlocksAndNoBufferReadNothing) {
  TableSource source(1, {1.0, 2.0});
  TgtFmtFloat32 writer(&source);
  uint8_t out[8];
  EXPECT_EQ(writer.ConvertDataBlock(0, out, 0), 0);
  EXPECT_EQ(writer.ConvertDataBlock(-3, out, 0), 0);
  EXPECT_EQ(writer.ConvertDataBlock(2, nullptr, 0), 0);
  EXPECT_EQ(source.reads, 0);
}

}  // namespace
}  // namespace travune
