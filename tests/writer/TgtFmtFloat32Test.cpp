// Raw float writer: exact bytes for known values, scan/channel order, rounding and overflow.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/LittleEndian.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtFloat32.h"

namespace travune {
namespace {

using testing::FakeSource;

TEST(TgtFmtFloat32, WritesLittleEndianFloatsScanAfterScan) {
  FakeSource source({{}, {}}, {1.0, -2.0, 0.5, 3.0, 1e39, -1e39, 0.1, 16777217.0});
  TgtFmtFloat32 writer(&source);
  std::vector<uint8_t> bytes(32, 0xEE);
  OutputArea out(bytes.data(), 24);
  ASSERT_EQ(writer.ConvertDataBlock(3, out, 0), 24);
  const std::vector<uint8_t> expectedStart = {0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0xC0,
                                              0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x40, 0x40};
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 16), expectedStart);
  EXPECT_EQ(le::F32(&bytes[16]), std::numeric_limits<float>::infinity());
  EXPECT_EQ(le::F32(&bytes[20]), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(bytes[24], 0xEE);  // nothing written past the block

  // Rounding to nearest, ties to even: 0.1 rounds once; 2^24 + 1 ties down to 2^24.
  OutputArea last(bytes.data(), 8);
  ASSERT_EQ(writer.ConvertDataBlock(1, last, 3), 8);
  EXPECT_EQ(le::U32(&bytes[0]), 0x3DCCCCCDu);
  EXPECT_EQ(le::F32(&bytes[4]), 16777216.0f);

  // An area too small for the block is refused, not overrun.
  OutputArea small(bytes.data(), 7);
  EXPECT_LT(writer.ConvertDataBlock(1, small, 3), 0);
  OutputArea empty(bytes.data(), 0);
  EXPECT_EQ(writer.ConvertDataBlock(0, empty, 0), 0);
}

}  // namespace
}  // namespace travune
