// Pernix NUL writer: a conversion reads every block through to 100 % and leaves an empty file
// that replaces whatever stood under its name.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "writer/WriterRuns.h"

namespace travune {
namespace {

TEST(TgtFmtPernix, ConversionsReadEveryBlockAndLeaveAnEmptyFile) {
  const struct {
    const char* name;
    samples::SampleSpec sample;
    uint32_t firstScan, scanCount;  // 0 scans: all
  } cases[] = {
      {"morvane", testing::SampleOf(TRAVUNE_SRC_MORVANE, 1200, 100), 0, 0},
      {"celdrin range", testing::SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100, true), 150, 900},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::ScratchDir dir;
    const std::vector<std::string> files = testing::WriteSampleFiles(c.sample, dir, "acq");
    ASSERT_EQ(files.size(), 2u);
    const std::string output = dir.File("acq.NUL");
    std::ofstream(output) << "an older file";
    ASSERT_GT(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), c.sample.type), 0);
    TheCvtSession().SetStartBlockBytes(4096);
    ASSERT_EQ(cvtInitDataFileEx(output.c_str(), output.c_str(), TRAVUNE_FMT_PERNIX, 0), 0);
    if (c.scanCount > 0) cvtSetBinDataBlock(c.firstScan, c.scanCount, 0);
    // Several blocks of 4096 bytes (how the percentage rises is CvtSession's), the last at 100.
    int32_t percent = 0;
    int blocks = 0;
    for (; percent >= 0 && percent < 100 && blocks < 10000; ++blocks) percent = cvtConvertBinData(TRAVUNE_FMT_PERNIX);
    EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_PERNIX), 0);
    cvtReleaseResources();
    TheCvtSession().SetStartBlockBytes(0);
    EXPECT_EQ(percent, 100);
    EXPECT_GE(blocks, 3);
    EXPECT_TRUE(std::filesystem::is_regular_file(output));
    EXPECT_EQ(testing::FileBytes(output), "");
  }
}

}  // namespace
}  // namespace travune
