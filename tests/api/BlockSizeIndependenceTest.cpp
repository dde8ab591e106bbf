// Outputs do not depend on how a conversion is cut into blocks: every writer fed from every
// source type gives the same bytes through the handle API (blocks sized to keep the scaled
// values in cache, so this acquisition takes several) as through the exported functions with
// blocks of 4096 raw bytes.
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

std::vector<uint8_t> Bytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

platform::LocalTime FixedClock() { return {2026, 11, 23, 9, 8, 7, 6}; }

// More scans than one handle-API block holds at 16 channels (2 MiB of scaled doubles).
constexpr int64_t kScans = 20000;
constexpr int kChans = 16;

class BlockSizeIndependence : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-blocks-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    platform::SetClock(FixedClock);
  }
  void TearDown() override {
    TheCvtSession().SetStartBlockBytes(0);
    platform::SetClock(nullptr);
    fs::remove_all(dir_);
  }

  std::vector<std::string> Write(int type, bool packed) {
    samples::SampleSpec sample;
    sample.type = type;
    sample.scans = kScans;
    sample.chans = kChans;
    sample.packed = packed;
    sample.preTrig = 100;
    std::vector<std::string> files;
    std::string error;
    EXPECT_TRUE(samples::WriteSample(sample, (dir_ / "acq").string(), &files, &error)) << error;
    return files;
  }

  // The exported functions with the smallest blocks; false when the format has no writer.
  static bool ConvertInSmallBlocks(const std::vector<std::string>& files, int type, int format, const fs::path& data,
                                   const fs::path& header) {
    TheCvtSession().SetStartBlockBytes(4096);
    bool ok = cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), type) >= 0 &&
              cvtInitDataFileEx(header.c_str(), data.c_str(), format, 0) == 0;
    for (int32_t percent = 0; ok && percent < 100;) {
      percent = cvtConvertBinData(format);
      ok = percent >= 0;
    }
    ok = cvtCloseDataFile(format) == 0 && ok;
    cvtReleaseResources();
    TheCvtSession().SetStartBlockBytes(0);
    return ok;
  }

  static void ConvertWithHandles(const std::vector<std::string>& files, int type, int format, const fs::path& data,
                                 const fs::path& header) {
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), type, &acq), TVN_OK);
    tvnConvOptions options{};
    options.format = format;
    const std::string dataName = data.string(), headerName = header.string();
    options.dataName = dataName.c_str();
    options.headerName = headerName.c_str();
    options.count = -1;
    tvnConv* conv = nullptr;
    ASSERT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
    int64_t steps = 0;
    for (int64_t done = 0; done < kScans; ++steps) ASSERT_EQ(tvnConvStep(conv, &done), TVN_OK);
    EXPECT_GT(steps, 1) << "the acquisition fits one block: nothing is compared";
    ASSERT_EQ(tvnConvFinish(conv), TVN_OK);
    tvnConvClose(conv);
    tvnAcqClose(acq);
  }

  fs::path dir_;
};

TEST_F(BlockSizeIndependence, HandleBlocksGiveTheBytesOfSmallBlocksForEveryWriter) {
  struct Source {
    int type;
    bool packed;
  };
  const Source sources[] = {{TRAVUNE_SRC_MORVANE, false}, {TRAVUNE_SRC_TARQUIL, true}, {TRAVUNE_SRC_BRENLOW, false},
                            {TRAVUNE_SRC_QUILLON, false}, {TRAVUNE_SRC_CELDRIN, false}};
  for (const Source& source : sources) {
    const std::vector<std::string> files = Write(source.type, source.packed);
    for (int32_t index = 0; index < cvtGetMaxFormats(); ++index) {
      int32_t format = 0;
      char ext1[16], ext2[16];
      ASSERT_EQ(cvtGetFormatByIndex(index, 0, nullptr, ext1, ext2, nullptr, nullptr, &format), 1);
      SCOPED_TRACE("source " + std::to_string(source.type) + " into " + tvnFormatName(format, 0));
      const fs::path out = dir_ / "out";
      fs::create_directories(out);
      const fs::path data = out / (std::string("run.") + ext1);
      const fs::path header = out / (std::string("run.") + (*ext2 ? ext2 : "hdr"));
      if (!ConvertInSmallBlocks(files, source.type, format, data, header)) continue;  // no writer
      const std::vector<uint8_t> smallData = Bytes(data), smallHeader = Bytes(header);
      fs::remove_all(out);
      fs::create_directories(out);
      ConvertWithHandles(files, source.type, format, data, header);
      EXPECT_TRUE(Bytes(data) == smallData);
      EXPECT_TRUE(Bytes(header) == smallHeader);
      fs::remove_all(out);
    }
  }
}

}  // namespace
}  // namespace travune
