// The free-space check, with the free bytes the platform reports set by the test: a conversion
// needing more than is free is refused with -1000 (TVN_ERR_DISK_SPACE in the handle API) before
// any output file is touched; one byte more than it needs is enough.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/FaultInjection.h"
#include "platform/ProcessTraces.h"
#include "samples/Samples.h"
#include "travune/travune.h"

namespace travune::testing {
namespace {

namespace fs = std::filesystem;

constexpr int64_t kScans = 1000;

class FreeSpace : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-space-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    sample_.type = TRAVUNE_SRC_MORVANE;
    sample_.scans = kScans;
    std::string error;
    ASSERT_TRUE(samples::WriteSample(sample_, (root_ / "RUN").string(), &files_, &error)) << error;
    output_ = (root_ / "out.dat").string();
  }
  void TearDown() override {
    platform::ClearFreeBytes();
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // Opens a Float32 conversion with freeBytes free and closes it again; the open's status.
  int32_t OpenFloat32With(uint64_t freeBytes) {
    EXPECT_GE(cvtReadBinDescFile(files_[0].c_str(), files_[1].c_str(), TRAVUNE_SRC_MORVANE), 0);
    platform::SetFreeBytes(freeBytes);
    const int32_t opened = cvtInitDataFileEx(output_.c_str(), output_.c_str(), TRAVUNE_FMT_FLOAT32, 0);
    platform::ClearFreeBytes();
    EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_FLOAT32), 0);
    cvtReleaseResources();
    return opened;
  }

  fs::path root_;
  samples::SampleSpec sample_;
  std::vector<std::string> files_;
  std::string output_;
};

TEST_F(FreeSpace, AConversionNeedingMoreThanIsFreeIsRefusedAndTouchesNoFile) {
  // Raw floats need four bytes per value: every scan of every channel.
  const uint64_t needed = static_cast<uint64_t>(kScans) * 4u * static_cast<uint64_t>(samples::NumChannels(sample_));
  struct Case {
    uint64_t freeBytes;
    int32_t status;
  };
  const Case cases[] = {
      {0, TRAVUNE_ERR_DISK_SPACE},
      {needed, TRAVUNE_ERR_DISK_SPACE},
      {needed + 1, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.freeBytes);
    { std::ofstream(output_, std::ios::binary) << "an earlier file"; }
    EXPECT_EQ(OpenFloat32With(c.freeBytes), c.status);
    if (c.status != 0) {
      EXPECT_EQ(ContentsOf(output_), "an earlier file");
    }
  }
}

TEST_F(FreeSpace, EveryTargetFormatChecksTheSpaceFirst) {
  for (int32_t format = TRAVUNE_FMT_HALVARD; format <= TRAVUNE_FMT_PERNIX; ++format) {
    SCOPED_TRACE(format);
    ASSERT_GE(cvtReadBinDescFile(files_[0].c_str(), files_[1].c_str(), TRAVUNE_SRC_MORVANE), 0);
    platform::SetFreeBytes(0);
    const int32_t opened = cvtInitDataFileEx((root_ / "fmt.hdr").c_str(), (root_ / "fmt.dat").c_str(), format, 0);
    platform::ClearFreeBytes();
    cvtCloseDataFile(format);
    cvtReleaseResources();
    EXPECT_EQ(opened, TRAVUNE_ERR_DISK_SPACE);
    EXPECT_EQ(EntriesBelow(root_), 2) << "an output file was created beside the acquisition";
    std::error_code ignored;
    fs::remove(root_ / "fmt.hdr", ignored);
    fs::remove(root_ / "fmt.dat", ignored);
  }
}

TEST_F(FreeSpace, TheHandleApiRefusesTheSameWay) {
  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(files_[0].c_str(), files_[1].c_str(), TRAVUNE_SRC_MORVANE, &acq), TVN_OK);
  tvnConvOptions options{};
  options.format = TRAVUNE_FMT_FLOAT32;
  options.dataName = output_.c_str();
  options.count = -1;
  tvnConv* conv = nullptr;
  platform::SetFreeBytes(0);
  EXPECT_EQ(tvnConvOpen(acq, &options, &conv), TVN_ERR_DISK_SPACE);
  platform::ClearFreeBytes();
  tvnConvClose(conv);
  tvnAcqClose(acq);
  EXPECT_FALSE(fs::exists(output_));
}

}  // namespace
}  // namespace travune::testing
