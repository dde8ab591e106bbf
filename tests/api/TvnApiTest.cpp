// The handle API against the exported conversion functions: reads equal the raw-float
// conversion, conversions give the same bytes, subsets and ranges pick exactly their part,
// and recordings beyond 4 GiB and 2^32 scans are read where they end.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "api/ApiTestKit.h"
#include "support/LittleEndian.h"

namespace travune::apitest {
namespace {

struct Sample {
  const char* name;
  samples::SampleSpec sample;
};

const Sample kSamples[] = {
    {"morvane", SampleOf(TRAVUNE_SRC_MORVANE, 700, 50)},   {"tarquil", SampleOf(TRAVUNE_SRC_TARQUIL, 650)},
    {"brenlow", SampleOf(TRAVUNE_SRC_BRENLOW, 600, 20, 0, false, true)}, {"vexmoor", SampleOf(TRAVUNE_SRC_VEXMOOR, 500, 10)},
    {"threnix", SampleOf(TRAVUNE_SRC_THRENIX, 500)},       {"quillon", SampleOf(TRAVUNE_SRC_QUILLON, 640, 40)},
    {"celdrin", SampleOf(TRAVUNE_SRC_CELDRIN, 610, 30, 0, false, true)},
};

class TvnApi : public ::testing::Test {
 protected:
  std::vector<std::string> Write(const Sample& s) const { return scratch_.Sample(s.sample, s.name); }

  // Converts through the exported functions into data (and header); 0 or the first failure.
  static int32_t ConvertWithCvt(const std::vector<std::string>& files, int type, int32_t format,
                                const fs::path& data, const fs::path& header) {
    CvtSteps steps(files, header.string(), data.string(), format);
    steps.type = type;
    steps.blockBytes = 0;
    return steps.Whole();
  }

  Scratch scratch_;
  const fs::path dir_ = scratch_.Root();
};

TEST_F(TvnApi, ReadsEqualTheRawFloatConversionForEverySourceType) {
  for (const Sample& s : kSamples) {
    SCOPED_TRACE(s.name);
    const std::vector<std::string> files = Write(s);
    ASSERT_EQ(ConvertWithCvt(files, s.sample.type, TRAVUNE_FMT_FLOAT32, dir_ / "all.f32", dir_ / "all.hdr"), 0);
    const std::string converted = Contents(dir_ / "all.f32");

    tvnAcq* acq = nullptr;
    // The type is guessed (the Brenlow variants share Brenlow's layout: they are named), the
    // data file found beside the description.
    const bool titled = s.sample.type == TRAVUNE_SRC_VEXMOOR || s.sample.type == TRAVUNE_SRC_THRENIX;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), nullptr, titled ? s.sample.type : 0, &acq), TVN_OK);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    EXPECT_EQ(info.sourceType, s.sample.type);
    EXPECT_EQ(info.scans, s.sample.scans);
    EXPECT_EQ(info.preTrigScans, s.sample.preTrig);
    const size_t chans = static_cast<size_t>(info.channels);
    std::vector<float> all(static_cast<size_t>(info.scans) * chans);
    ASSERT_EQ(tvnAcqReadFloat32(acq, 0, info.scans, nullptr, 0, all.data()), TVN_OK);
    ASSERT_EQ(converted.size(), all.size() * 4);
    EXPECT_EQ(std::memcmp(converted.data(), all.data(), converted.size()), 0);

    // The last channel and the first, in that order, of a range in the middle.
    const int32_t pick[] = {info.channels - 1, 0};
    std::vector<double> two(2 * 100);
    ASSERT_EQ(tvnAcqReadFloat64(acq, 123, 100, pick, 2, two.data()), TVN_OK);
    for (size_t scan = 0; scan < 100; ++scan) {
      EXPECT_EQ(static_cast<float>(two[2 * scan]), all[(123 + scan) * chans + chans - 1]);
      EXPECT_EQ(static_cast<float>(two[2 * scan + 1]), all[(123 + scan) * chans]);
    }
    const int32_t bad[] = {info.channels};
    EXPECT_EQ(tvnAcqReadFloat64(acq, 0, 1, bad, 1, two.data()), TVN_ERR_ARGUMENT);
    EXPECT_EQ(tvnAcqReadFloat64(acq, info.scans - 1, 2, nullptr, 0, two.data()), TVN_ERR_ARGUMENT);
    tvnAcqClose(acq);
  }
}

TEST_F(TvnApi, ConversionsGiveTheBytesOfTheExportedFunctionsForEveryWriter) {
  for (const Sample& s : kSamples) {
    const std::vector<std::string> files = Write(s);
    for (const NamedFormat& format : kEveryFormat) {
      SCOPED_TRACE(std::string(s.name) + " into " + format.name);
      char ext1[16], ext2[16];
      ASSERT_EQ(cvtGetFormatById(format.id, 0, nullptr, ext1, ext2, nullptr, nullptr), 1);
      // Both write the same names (headers may name their data file), one after the other.
      const fs::path data = dir_ / (std::string("run.") + ext1);
      const fs::path header = dir_ / (std::string("run.") + (*ext2 ? ext2 : "hdr"));
      ASSERT_EQ(ConvertWithCvt(files, s.sample.type, format.id, data, header), 0);
      const std::string cvtData = Contents(data), cvtHeader = Contents(header);
      fs::remove(data);
      fs::remove(header);
      const std::string dataName = data.string(), headerName = header.string();
      ASSERT_EQ(ConvertWithHandles(files, s.sample.type, ConvOptions(format.id, dataName, headerName.c_str())), TVN_OK);
      EXPECT_TRUE(Contents(data) == cvtData);
      EXPECT_TRUE(Contents(header) == cvtHeader);
      fs::remove(data);
      fs::remove(header);
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
  Store(dir_ / "big.DSC", desc);
  const int64_t scans = (int64_t{1} << 32) + 3;
  Store(dir_ / "big.BIN", std::string());
  fs::resize_file(dir_ / "big.BIN", static_cast<uintmax_t>(2 * scans));
  // The last scan holds 7: a value that only a read of the right offset gives.
  std::fstream(dir_ / "big.BIN", std::ios::in | std::ios::out | std::ios::binary).seekp(2 * (scans - 1)).put(7);

  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen((dir_ / "big.DSC").c_str(), nullptr, TRAVUNE_SRC_MORVANE, &acq), TVN_OK);  // found as .BIN
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  EXPECT_EQ(info.scans, scans);
  double tail[4] = {-1, -1, -1, -1};
  ASSERT_EQ(tvnAcqReadFloat64(acq, scans - 4, 4, nullptr, 0, tail), TVN_OK);
  EXPECT_EQ(tail[0], 0.0);
  EXPECT_EQ(tail[3], 7.0);

  // A conversion of the last 1000 scans announces and writes exactly those.
  const std::string out = (dir_ / "tail.f32").string();
  tvnConvOptions options = ConvOptions(TRAVUNE_FMT_FLOAT32, out);
  options.first = scans - 1000;
  options.count = 1000;
  ASSERT_EQ(ConvertWithHandles(acq, options), TVN_OK);
  const std::string bytes = Contents(out);
  ASSERT_EQ(bytes.size(), 4000u);
  EXPECT_EQ(le::F32(reinterpret_cast<const uint8_t*>(&bytes[3996])), 7.0f);
  EXPECT_EQ(le::F32(reinterpret_cast<const uint8_t*>(&bytes[0])), 0.0f);

  // A conversion of more than one block is cancelled by its progress callback after the first.
  options.first = scans - 20000000;
  options.count = 20000000;
  tvnConv* conv = nullptr;
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
  std::vector<std::string> alone;
  for (const Sample& s : kSamples) {
    files.push_back(Write(s));
    ASSERT_EQ(ConvertWithCvt(files.back(), s.sample.type, TRAVUNE_FMT_ASCII, dir_ / "alone", dir_ / "unused"), 0);
    alone.push_back(Contents(dir_ / "alone"));
  }
  std::vector<int32_t> results(std::size(kSamples), -1);
  std::vector<std::string> outputs;
  for (const Sample& s : kSamples) outputs.push_back((dir_ / (std::string(s.name) + ".together")).string());
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(kSamples); ++i) {
    threads.emplace_back([&, i] {
      results[i] = ConvertWithHandles(files[i], kSamples[i].sample.type, ConvOptions(TRAVUNE_FMT_ASCII, outputs[i]));
    });
  }
  for (std::thread& t : threads) t.join();
  for (size_t i = 0; i < std::size(kSamples); ++i) {
    EXPECT_EQ(results[i], TVN_OK) << kSamples[i].name;
    EXPECT_TRUE(Contents(outputs[i]) == alone[i]) << kSamples[i].name;
  }
}

}  // namespace
}  // namespace travune::apitest
