// MATLAB writer: the MAT-file and its text byte for byte in any block order, refused blocks and
// names, and scan ranges (rows no block reaches read as zero).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "writer/WriterRuns.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtMatlab.h"
#include "writer/decoders/Decoders.h"

namespace travune {
namespace {

using testing::FakeSource;

struct Block {
  int64_t first;
  int64_t scans;
};

class TgtFmtMatlabTest : public testing::HeaderedWriterTest {
 protected:
  // PreConvert with total scans, then the blocks in the order given, each converted by the
  // writer alone (it places its data itself and must return 0 bytes).
  testing::WrittenFiles Run(FakeSource& source, int64_t total, const std::vector<Block>& blocks) {
    TgtFmtMatlab writer(&source);
    const std::string dataPath = Path("run_1.mat");
    const std::string headerPath = Path("run_1.DSC");
    {
      platform::File data = platform::File::Create(dataPath.c_str());
      platform::File header = platform::File::Create(headerPath.c_str());
      EXPECT_TRUE(writer.PrepareBlocks(total));
      EXPECT_TRUE(writer.PreConvert(dataPath.c_str(), &data, &header, total));
      for (const Block& b : blocks) {
        std::vector<uint8_t> area(static_cast<size_t>(b.scans * writer.OutputBytesPerScan()));
        OutputArea out(area.data(), area.size());
        EXPECT_EQ(writer.ConvertDataBlock(b.scans, out, b.first), 0) << "block at " << b.first;
      }
      EXPECT_TRUE(writer.PostConvert());
    }
    return {testing::FileBytes(dataPath), testing::FileBytes(headerPath)};
  }
};

TEST_F(TgtFmtMatlabTest, WholeFileByteForByteInAnyBlockOrder) {
  // Scans (1.5, -2), (0.1, 1e300), (-0, 3).
  FakeSource source({{"a", "V"}, {"b", "A"}}, {1.5, -2.0, 0.1, 1e300, -0.0, 3.0});
  const std::string text =
      "The file run_1.MAT contains the acquisition data in a matrix format.\r\nThe matrix name is: A.\r\n";
  const std::string mat(
      "\x00\x00\x00\x00"  // type 0: little-endian doubles, full matrix
      "\x03\x00\x00\x00"  // 3 rows (scans)
      "\x02\x00\x00\x00"  // 2 columns (channels)
      "\x00\x00\x00\x00"  // real
      "\x02\x00\x00\x00"  // name length with the terminator
      "A\x00"
      "\x00\x00\x00\x00\x00\x00\xF8\x3F"   // column a: 1.5
      "\x9A\x99\x99\x99\x99\x99\xB9\x3F"   // 0.1
      "\x00\x00\x00\x00\x00\x00\x00\x80"   // -0
      "\x00\x00\x00\x00\x00\x00\x00\xC0"   // column b: -2
      "\x9C\x75\x00\x88\x3C\xE4\x37\x7E"   // 1e300
      "\x00\x00\x00\x00\x00\x00\x08\x40",  // 3
      22 + 48);
  const struct {
    const char* name;
    std::vector<Block> blocks;
  } orders[] = {
      {"one block", {{0, 3}}},
      {"in order", {{0, 1}, {1, 1}, {2, 1}}},
      {"later block first", {{2, 1}, {0, 2}}},
      {"backwards", {{2, 1}, {1, 1}, {0, 1}}},
      {"middle first", {{1, 2}, {0, 1}}},
  };
  for (const auto& order : orders) {
    SCOPED_TRACE(order.name);
    const auto files = Run(source, 3, order.blocks);
    EXPECT_EQ(files.header, text);
    EXPECT_EQ(files.data, mat);
  }

  // One channel is one column: its blocks lie back to back.
  FakeSource single({{"a", "V"}}, {1.5, 0.1, -0.0});
  EXPECT_EQ(Run(single, 3, {{1, 2}, {0, 1}}).data,
            std::string("\x00\x00\x00\x00\x03\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x02\x00\x00\x00"
                        "A\x00",
                        22) +
                mat.substr(22, 24));
  // No scans at all: the header alone.
  EXPECT_EQ(Run(source, 0, {}).data.size(), 22u);
}

// Blocks outside the matrix are refused, and so is every block of a matrix whose base name does
// not fit a file name part (a file no reader could load); nothing lands in the columns.
TEST_F(TgtFmtMatlabTest, RefusesBlocksOutsideTheMatrixAndOverlongNames) {
  FakeSource source({{"a", "V"}, {"b", "A"}}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  const struct {
    const char* name;
    size_t nameLength;
    int64_t total;
    Block block;
    int64_t result;
  } cases[] = {
      {"past the last row", 1, 4, {3, 2}, -1},
      {"starting after the last row", 1, 3, {4, 1}, -1},
      {"before the first row", 1, 5, {-1, 2}, -1},
      {"base name of 127 characters", 127, 1, {0, 1}, 0},
      {"base name of 128 characters", 128, 1, {0, 1}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TgtFmtMatlab writer(&source);
    const std::string dataPath = Path(std::string(c.nameLength, 'n') + ".mat");
    {
      platform::File data = platform::File::Create(dataPath.c_str());
      platform::File header = platform::File::Create(Path("refused.DSC").c_str());
      std::vector<uint8_t> area(static_cast<size_t>(8 * 2 * 5));
      OutputArea before(area.data(), area.size());
      EXPECT_EQ(writer.ConvertDataBlock(1, before, 0), -1) << "before PreConvert";
      EXPECT_EQ(writer.PreConvert(dataPath.c_str(), &data, &header, c.total), c.nameLength < 128);
      OutputArea out(area.data(), area.size());
      EXPECT_EQ(writer.ConvertDataBlock(c.block.scans, out, c.block.first), c.result);
    }
    if (c.nameLength == 1) {
      EXPECT_EQ(testing::FileBytes(dataPath).substr(22), std::string(static_cast<size_t>(8 * 2 * c.total), '\0'));
    }
  }
}

// A scan range fills its rows of a matrix of every scan (the others stay zero), under a name
// whose blanks become underscores.
TEST(MatlabSamples, ScanRangeAndBlanksInTheName) {
  testing::ScratchDir dir;
  const samples::SampleSpec sample = testing::SampleOf(3, 1200, 100);
  testing::ConversionRequest r;
  r.files = testing::WriteSampleFiles(sample, dir, "acq");
  ASSERT_EQ(r.files.size(), 2u);
  r.sourceType = sample.type;
  r.format = TRAVUNE_FMT_MATLAB;
  r.header = dir.File("my run.txt");
  r.data = dir.File("my run.mat");
  r.blockBytes = 4096;
  r.firstScan = 100;
  r.scanCount = 250;
  ASSERT_EQ(testing::Convert(r), 0);

  const testing::Decoded decoded = testing::DecodeMatlab(dir.File("my_run.mat"), dir.File("my_run.txt"));
  ASSERT_TRUE(decoded.ok);
  ASSERT_EQ(decoded.scans, 1200);  // the rows of the whole acquisition
  const int chans = samples::NumChannels(sample);
  ASSERT_EQ(decoded.chans, chans);
  std::vector<double> expected = testing::ScaledValues(r.files, sample.type);
  ASSERT_EQ(expected.size(), decoded.values.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    if (i < static_cast<size_t>(100 * chans) || i >= static_cast<size_t>(350 * chans)) expected[i] = 0.0;
  }
  EXPECT_EQ(decoded.values, expected);
}

}  // namespace
}  // namespace travune
