// Raw float writer: what the every-writer walk cannot show (overflow to infinity, ties of the
// float rounding, areas too small for a block); its values in general are EveryWriter's.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/LittleEndian.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtFloat32.h"

namespace travune {
namespace {

TEST(TgtFmtFloat32, WritesLittleEndianFloatsScanAfterScan) {
  testing::FakeSource source({{}, {}}, {1.0, -2.0, 1e39, -1e39, 0.1, 16777217.0});
  TgtFmtFloat32 writer(&source);
  std::vector<uint8_t> bytes(32, 0xEE);
  OutputArea out(bytes.data(), 24);
  ASSERT_EQ(writer.ConvertDataBlock(3, out, 0), 24);
  // Little-endian floats scan after scan: 1.0, -2.0.
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 8),
            std::vector<uint8_t>({0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0xC0}));
  EXPECT_EQ(le::F32(&bytes[8]), std::numeric_limits<float>::infinity());
  EXPECT_EQ(le::F32(&bytes[12]), -std::numeric_limits<float>::infinity());
  // Rounding to nearest, ties to even: 0.1 rounds once; 2^24 + 1 ties down to 2^24.
  EXPECT_EQ(le::U32(&bytes[16]), 0x3DCCCCCDu);
  EXPECT_EQ(le::F32(&bytes[20]), 16777216.0f);
  EXPECT_EQ(bytes[24], 0xEE);  // nothing written past the block

  // An area too small for the block is refused, not overrun.
  OutputArea small(bytes.data(), 7);
  EXPECT_LT(writer.ConvertDataBlock(1, small, 2), 0);
  OutputArea empty(bytes.data(), 0);
  EXPECT_EQ(writer.ConvertDataBlock(0, empty, 0), 0);
}

}  // namespace
}  // namespace travune
