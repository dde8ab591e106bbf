// The handle API against the exported conversion functions: reads equal the raw-float
// conversion, conversions give the same bytes, subsets and ranges pick exactly their part,
// and recordings beyond 4 GiB and 2^32 scans are read where they end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "platform/Platform.h"
#include "samples/Samples.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune {
namespace {

namespace fs = std::filesystem;

std::vector<uint8_t> Bytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

platform::LocalTime FixedClock() { return {2026, 11, 23, 9, 8, 7, 6}; }

struct Sample {
  const char* name;
  int type;
  int64_t scans;
  int64_t preTrig;
  bool stamps;
};

const Sample kSamples[] = {
    {"morvane", TRAVUNE_SRC_MORVANE, 700, 50, false}, {"tarquil", TRAVUNE_SRC_TARQUIL, 650, 0, false},
    {"brenlow", TRAVUNE_SRC_BRENLOW, 600, 20, true},  {"vexmoor", TRAVUNE_SRC_VEXMOOR, 500, 10, false},
    {"threnix", TRAVUNE_SRC_THRENIX, 500, 0, false},  {"quillon", TRAVUNE_SRC_QUILLON, 640, 40, false},
    {"celdrin", TRAVUNE_SRC_CELDRIN, 610, 30, true},
};

class TvnApi : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-tvn-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    platform::SetClock(FixedClock);
  }
  void TearDown() override {
    platform::SetClock(nullptr);
    fs::remove_all(dir_);
  }
  std::vector<std::string> Write(const Sample& s) {
    samples::SampleSpec sample;
    sample.type = s.type;
    sample.scans = s.scans;
    sample.preTrig = s.preTrig;
    sample.stamps = s.stamps;
    std::vector<std::string> files;
    std::string error;
    EXPECT_TRUE(samples::WriteSample(sample, (dir_ / s.name).string(), &files, &error)) << error;
    return files;
  }
  // Converts through the exported functions; false when any step failed.
  static bool ConvertWithCvt(const std::vector<std::string>& files, int type, int format, const fs::path& out,
                             const fs::path& header) {
    bool ok = cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), type) >= 0 &&
              cvtInitDataFileEx(header.c_str(), out.c_str(), format, 0) == 0;
    int32_t percent = 0;
    while (ok && percent < 100) {
      percent = cvtConvertBinData(format);
      ok = percent >= 0;
    }
    ok = cvtCloseDataFile(format) == 0 && ok;
    cvtReleaseResources();
    return ok;
  }

  fs::path dir_;
};

TEST_F(TvnApi, ReadsEqualTheRawFloatConversionForEverySourceType) {
  for (const Sample& s : kSamples) {
    SCOPED_TRACE(s.name);
    const std::vector<std::string> files = Write(s);
    ASSERT_TRUE(ConvertWithCvt(files, s.type, TRAVUNE_FMT_FLOAT32, dir_ / "all.f32", dir_ / "all.hdr"));
    const std::vector<uint8_t> converted = Bytes(dir_ / "all.f32");

    tvnAcq* acq = nullptr;
    // The type is guessed (the Brenlow variants share Brenlow's layout: they are named), the
    // data file found beside the description.
    const bool titled = s.type == TRAVUNE_SRC_VEXMOOR || s.type == TRAVUNE_SRC_THRENIX;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), nullptr, titled ? s.type : 0, &acq), TVN_OK);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    EXPECT_EQ(info.sourceType, s.type);
    EXPECT_EQ(info.scans, s.scans);
    EXPECT_EQ(info.preTrigScans, s.preTrig);
    const size_t chans = static_cast<size_t>(info.channels);
    std::vector<float> all(static_cast<size_t>(s.scans) * chans);
    ASSERT_EQ(tvnAcqReadFloat32(acq, 0, s.scans, nullptr, 0, all.data()), TVN_OK);
    ASSERT_EQ(converted.size(), all.size() * 4);
    EXPECT_EQ(std::memcmp(converted.data(), all.data(), converted.size()), 0);

    // The last channel and the first, in that order, of a range in the middle.
    const int32_t pick[] = {info.channels - 1, 0};
    std::vector<double> two(2 * 100);
    ASSERT_EQ(tvnAcqReadFloat64(acq, 123, 100, pick, 2, two.data()), TVN_OK);
    for (size_t s2 = 0; s2 < 100; ++s2) {
      EXPECT_EQ(static_cast<float>(two[2 * s2]), all[(123 + s2) * chans + chans - 1]);
      EXPECT_EQ(static_cast<float>(two[2 * s2 + 1]), all[(123 + s2) * chans]);
    }
    const int32_t bad[] = {info.channels};
    EXPECT_EQ(tvnAcqReadFloat64(acq, 0, 1, bad, 1, two.data()), TVN_ERR_ARGUMENT);
    EXPECT_EQ(tvnAcqReadFloat64(acq, s.scans - 1, 2, nullptr, 0, two.data()), TVN_ERR_ARGUMENT);
    tvnAcqClose(acq);
  }
}

TEST_F(TvnApi, ConversionsGiveTheBytesOfTheExportedFunctionsForEveryWriter) {
  for (const Sample& s : kSamples) {
    const std::vector<std::string> files = Write(s);
    for (int32_t index = 0; index < cvtGetMaxFormats(); ++index) {
      int32_t format = 0;
      char ext1[16], ext2[16];
      ASSERT_EQ(cvtGetFormatByIndex(index, 0, nullptr, ext1, ext2, nullptr, nullptr, &format), 1);
      SCOPED_TRACE(std::string(s.name) + " into " + tvnFormatName(format, 0));
      // Both write the same names (headers may name their data file), one after the other.
      const fs::path out = dir_ / "out";
      fs::create_directories(out);
      const fs::path data = out / (std::string("run.") + ext1), header = out / (std::string("run.") + (*ext2 ? ext2 : "hdr"));
      if (!ConvertWithCvt(files, s.type, format, data, header)) continue;  // no writer yet
      const std::vector<uint8_t> cvtData = Bytes(data), cvtHeader = Bytes(header);
      fs::remove_all(out);
      fs::create_directories(out);

      tvnAcq* acq = nullptr;
      ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), s.type, &acq), TVN_OK);
      tvnConvOptions options{};
      options.format = format;
      const std::string dataName = data.string(), headerName = header.string();
      options.dataName = dataName.c_str();
      options.headerName = headerName.c_str();
      options.count = -1;
      tvnConv* conv = nullptr;
      ASSERT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
      ASSERT_EQ(tvnConvRun(conv, nullptr, nullptr), TVN_OK);
      ASSERT_EQ(tvnConvFinish(conv), TVN_OK);
      tvnConvClose(conv);
      tvnAcqClose(acq);
      EXPECT_EQ(Bytes(data), cvtData);
      EXPECT_EQ(Bytes(header), cvtHeader);
      fs::remove_all(out);
    }
  }
}

// A progress callback that cancels once it has seen a block.
int32_t CancelAfterFirstBlock(int64_t done, int64_t total, void* seen) {
  *static_cast<int64_t*>(seen) = done;
  return done < total ? 1 : 0;
}

TEST_F(TvnApi, RecordingsBeyondFourGiBAndTwoToTheThirtyTwoScans) {
  // One counter channel (value = raw word) of 2-byte scans: a sparse file of 2^33 + 6 bytes holds
  // 2^32 + 3 scans, and its zeros scale to 0.
  std::vector<uint8_t> desc(32 + 56, 0);
  le::PutI32(&desc[0], 5040);
  le::PutI32(&desc[4], 1);
  le::PutU32(&desc[8], 10);
  le::PutF32(&desc[28], 1000.0f);
  le::PutF32(&desc[32], 1.0f);
  le::PutI32(&desc[40], 9);
  le::PutF32(&desc[48], 1.0f);
  const fs::path descPath = dir_ / "big.DSC", dataPath = dir_ / "big.BIN";
  std::ofstream(descPath, std::ios::binary).write(reinterpret_cast<const char*>(desc.data()), desc.size());
  const int64_t scans = (int64_t{1} << 32) + 3;
  {
    std::ofstream data(dataPath, std::ios::binary);
    // The last scan holds 7: a value that only a read of the right offset gives.
    data.seekp(2 * (scans - 1));
    const char last[2] = {7, 0};
    data.write(last, 2);
  }
  ASSERT_EQ(fs::file_size(dataPath), static_cast<uintmax_t>(2 * scans));

  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(descPath.c_str(), nullptr, TRAVUNE_SRC_MORVANE, &acq), TVN_OK);  // found as .BIN
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  EXPECT_EQ(info.scans, scans);
  double tail[4] = {-1, -1, -1, -1};
  ASSERT_EQ(tvnAcqReadFloat64(acq, scans - 4, 4, nullptr, 0, tail), TVN_OK);
  EXPECT_EQ(tail[0], 0.0);
  EXPECT_EQ(tail[3], 7.0);

  // A conversion of the last 1000 scans announces and writes exactly those.
  tvnConvOptions options{};
  options.format = TRAVUNE_FMT_FLOAT32;
  const std::string out = (dir_ / "tail.f32").string();
  options.dataName = out.c_str();
  options.first = scans - 1000;
  options.count = 1000;
  tvnConv* conv = nullptr;
  ASSERT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
  ASSERT_EQ(tvnConvRun(conv, nullptr, nullptr), TVN_OK);
  ASSERT_EQ(tvnConvFinish(conv), TVN_OK);
  tvnConvClose(conv);
  const std::vector<uint8_t> bytes = Bytes(out);
  ASSERT_EQ(bytes.size(), 4000u);
  EXPECT_EQ(le::F32(&bytes[3996]), 7.0f);
  EXPECT_EQ(le::F32(&bytes[0]), 0.0f);

  // A conversion of more than one block is cancelled by its progress callback after the first.
  options.first = scans - 20000000;
  options.count = 20000000;
  ASSERT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
  int64_t seen = 0;
  EXPECT_EQ(tvnConvRun(conv, CancelAfterFirstBlock, &seen), TVN_ERR_CANCELLED);
  EXPECT_GT(seen, 0);
  EXPECT_LT(seen, scans);
  tvnConvClose(conv);
  tvnAcqClose(acq);
}

// Several acquisitions read and converted on as many threads at once give exactly what each
// gives alone (run under ThreadSanitizer by the test command).
TEST_F(TvnApi, HandlesOnDifferentThreadsAreIndependent) {
  std::vector<std::vector<std::string>> files;
  std::vector<std::vector<uint8_t>> alone;
  for (const Sample& s : kSamples) {
    files.push_back(Write(s));
    ASSERT_TRUE(ConvertWithCvt(files.back(), s.type, TRAVUNE_FMT_ASCII, dir_ / (std::string(s.name) + ".alone"),
                               dir_ / "unused"));
    alone.push_back(Bytes(dir_ / (std::string(s.name) + ".alone")));
  }
  std::vector<int32_t> results(std::size(kSamples), -1);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(kSamples); ++i) {
    threads.emplace_back([&, i] {
      tvnAcq* acq = nullptr;
      int32_t status = tvnAcqOpen(files[i][0].c_str(), files[i][1].c_str(), kSamples[i].type, &acq);
      const std::string out = (dir_ / (std::string(kSamples[i].name) + ".together")).string();
      tvnConvOptions options{};
      options.format = TRAVUNE_FMT_ASCII;
      options.dataName = out.c_str();
      options.count = -1;
      tvnConv* conv = nullptr;
      if (status == TVN_OK) status = tvnConvOpen(acq, &options, &conv);
      if (status == TVN_OK) status = tvnConvRun(conv, nullptr, nullptr);
      if (status == TVN_OK) status = tvnConvFinish(conv);
      tvnConvClose(conv);
      tvnAcqClose(acq);
      results[i] = status;
    });
  }
  for (std::thread& t : threads) t.join();
  for (size_t i = 0; i < std::size(kSamples); ++i) {
    EXPECT_EQ(results[i], TVN_OK) << kSamples[i].name;
    EXPECT_EQ(Bytes(dir_ / (std::string(kSamples[i].name) + ".together")), alone[i]) << kSamples[i].name;
  }
}

}  // namespace
}  // namespace travune
