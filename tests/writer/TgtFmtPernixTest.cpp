// Pernix NUL writer: a conversion reads every block (progress as usual) and leaves an empty file
// that replaces whatever stood under its name.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::ScratchDir;

TEST(TgtFmtPernix, ConversionsReadEveryBlockAndLeaveAnEmptyFile) {
  struct Case {
    const char* name;
    samples::SampleSpec sample;
    uint32_t firstScan;
    uint32_t scanCount;  // 0: all
  };
  const Case cases[] = {
      {"morvane", testing::SampleOf(TRAVUNE_SRC_MORVANE, 1200, 100), 0, 0},
      {"celdrin range", testing::SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100, true), 150, 900},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const std::vector<std::string> files = testing::WriteSampleFiles(c.sample, dir, "acq");
    ASSERT_EQ(files.size(), 2u);
    const std::string output = dir.File("acq.NUL");
    std::ofstream(output) << "an older file";

    ASSERT_GT(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), c.sample.type), 0);
    TheCvtSession().SetStartBlockBytes(4096);
    ASSERT_EQ(cvtInitDataFileEx(output.c_str(), output.c_str(), TRAVUNE_FMT_PERNIX, 0), 0);
    if (c.scanCount > 0) cvtSetBinDataBlock(c.firstScan, c.scanCount, 0);
    std::vector<int32_t> progress;
    for (int32_t percent = 0; percent >= 0 && percent < 100 && progress.size() < 10000;) {
      percent = cvtConvertBinData(TRAVUNE_FMT_PERNIX);
      progress.push_back(percent);
    }
    EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_PERNIX), 0);
    cvtReleaseResources();
    TheCvtSession().SetStartBlockBytes(0);

    // Several blocks of 4096 bytes, each reported with a rising percentage, the last with 100.
    ASSERT_GE(progress.size(), 3u);
    for (size_t i = 1; i < progress.size(); ++i) EXPECT_GE(progress[i], progress[i - 1]);
    EXPECT_GT(progress.front(), 0);
    EXPECT_EQ(progress.back(), 100);
    // The older file was replaced by an empty one.
    EXPECT_TRUE(std::filesystem::is_regular_file(output));
    EXPECT_EQ(testing::FileBytes(output), "");
  }
}

}  // namespace
}  // namespace travune
