// Threads on and off through the handle API: the text writers (plain, spreadsheet with and
// without times, UFF text and binary) give the same bytes with TRAVUNE_FLAG_ONE_THREAD as when
// they format on every core, and both equal the exported functions' small single-thread blocks.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/CvtSession.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "travune/travune.h"

namespace travune {
namespace {

namespace fs = std::filesystem;

// Several handle-API blocks at 16 channels, each large enough to be cut into chunks.
constexpr int64_t kScans = 40000;

std::string Bytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

platform::LocalTime FixedClock() { return {2026, 11, 23, 9, 8, 7, 6}; }

class ThreadedFormatting : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-threads-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    platform::SetClock(FixedClock);
    samples::SampleSpec sample;
    sample.type = TRAVUNE_SRC_BRENLOW;
    sample.scans = kScans;
    sample.chans = 16;
    sample.preTrig = 100;
    std::string error;
    ASSERT_TRUE(samples::WriteSample(sample, (dir_ / "acq").string(), &files_, &error)) << error;
  }
  void TearDown() override {
    TheCvtSession().SetStartBlockBytes(0);
    platform::SetClock(nullptr);
    fs::remove_all(dir_);
  }

  std::string WithHandles(int32_t format, uint32_t flags, const std::string& name) {
    const fs::path data = dir_ / name;
    tvnAcq* acq = nullptr;
    EXPECT_EQ(tvnAcqOpen(files_[0].c_str(), files_[1].c_str(), TRAVUNE_SRC_BRENLOW, &acq), TVN_OK);
    tvnConvOptions options{};
    options.format = format;
    const std::string dataName = data.string();
    options.dataName = dataName.c_str();
    options.count = -1;
    options.flags = flags;
    tvnConv* conv = nullptr;
    EXPECT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
    EXPECT_EQ(tvnConvRun(conv, nullptr, nullptr), TVN_OK);
    EXPECT_EQ(tvnConvFinish(conv), TVN_OK);
    tvnConvClose(conv);
    tvnAcqClose(acq);
    return Bytes(data);
  }

  std::string InSmallBlocks(int32_t format, uint32_t flags, const std::string& name) {
    const fs::path data = dir_ / name, header = dir_ / (name + ".hdr");
    TheCvtSession().SetStartBlockBytes(4096);
    EXPECT_GE(cvtReadBinDescFile(files_[0].c_str(), files_[1].c_str(), TRAVUNE_SRC_BRENLOW), 0);
    EXPECT_EQ(cvtInitDataFileEx(header.c_str(), data.c_str(), format, flags), 0);
    for (int32_t percent = 0; percent >= 0 && percent < 100;) percent = cvtConvertBinData(format);
    EXPECT_EQ(cvtCloseDataFile(format), 0);
    cvtReleaseResources();
    return Bytes(data);
  }

  fs::path dir_;
  std::vector<std::string> files_;
};

TEST_F(ThreadedFormatting, OneThreadEveryCoreAndSmallBlocksGiveTheSameBytes) {
  struct Case {
    int32_t format;
    uint32_t flags;
    const char* ext;
  };
  const Case cases[] = {{TRAVUNE_FMT_TEXT, 0, "txt"},
                        {TRAVUNE_FMT_ASCII, 0, "asc"},
                        {TRAVUNE_FMT_ASCII, TRAVUNE_FLAG_SCAN_TIMES, "asc"},
                        {TRAVUNE_FMT_UFF58_ASCII, 0, "unv"},
                        {TRAVUNE_FMT_UFF58_BINARY, 0, "unv"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(tvnFormatName(c.format, 0)) + " flags " + std::to_string(c.flags));
    const std::string threaded = WithHandles(c.format, c.flags, std::string("threads.") + c.ext);
    EXPECT_GT(threaded.size(), static_cast<size_t>(kScans));
    EXPECT_TRUE(WithHandles(c.format, c.flags | TRAVUNE_FLAG_ONE_THREAD, std::string("one.") + c.ext) == threaded);
    EXPECT_TRUE(InSmallBlocks(c.format, c.flags, std::string("small.") + c.ext) == threaded);
  }
}

}  // namespace
}  // namespace travune
