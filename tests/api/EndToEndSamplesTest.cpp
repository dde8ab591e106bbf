// Every sample type and variant, written once by the generator, converted to raw floats through
// the public conversion functions, and compared with the plain values the generator chose
// before encoding them into raw codes, within what that encoding loses.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "samples/Samples.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune::samples {
namespace {

namespace fs = std::filesystem;

struct Variant {
  const char* name;
  SampleSpec request;
  uint32_t flags;  // cvtInitDataFileEx flags
};

SampleSpec Request(int type, int64_t scans, int64_t preTrig, int chans = 0, bool packed = false, bool stamps = false) {
  SampleSpec request;
  request.type = type;
  request.scans = scans;
  request.preTrig = preTrig;
  request.chans = chans;
  request.packed = packed;
  request.stamps = stamps;
  return request;
}

const Variant kVariants[] = {
    {"morvane", Request(3, 1200, 100), 0},
    {"morvane18", Request(3, 700, 0, 18), 0},
    {"tarquil", Request(4, 1200, 100), 0},
    {"tarquilPacked", Request(4, 1001, 50, 0, true), 0},
    {"tarquilPacked9", Request(4, 999, 0, 9, true), 0},
    {"brenlow", Request(2, 1200, 100), 0},
    {"brenlowStamps", Request(2, 1200, 100, 0, false, true), 0},
    {"brenlowOwnStamps", Request(2, 1200, 0, 7, false, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"vexmoor", Request(7, 600, 10, 6), 0},
    {"threnix", Request(8, 600, 10, 0, false, true), 0},
    {"quillon", Request(5, 1200, 100), 0},
    {"quillon7", Request(5, 500, 0, 7), 0},
    {"celdrin", Request(6, 1200, 100), 0},
    {"celdrinStamps", Request(6, 1200, 100, 0, false, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"celdrin9", Request(6, 800, 0, 9), 0},
};

class EndToEndSamples : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-e2e-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Writes the variant's sample once; its description and data file names.
  std::vector<std::string> Write(const Variant& v) const {
    std::vector<std::string> files;
    std::string error;
    EXPECT_TRUE(WriteSample(v.request, (dir_ / v.name).string(), &files, &error)) << error;
    return files;
  }

  fs::path dir_;
};

std::vector<float> ReadFloats(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::vector<float> values(bytes.size() / 4);
  for (size_t i = 0; i < values.size(); ++i) values[i] = le::F32(reinterpret_cast<const uint8_t*>(&bytes[4 * i]));
  return values;
}

// Converts the sample to raw floats at output: the scans first .. first + count − 1 when
// count > 0, else all. Returns the status of the first call that failed, or 0.
int32_t ConvertToFloats(const std::vector<std::string>& files, const Variant& v, const std::string& output,
                        uint32_t first, uint32_t count) {
  const int32_t size = cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), v.request.type);
  if (size < 0) {
    cvtReleaseResources();
    return size;
  }
  int32_t status = cvtInitDataFileEx(output.c_str(), output.c_str(), TRAVUNE_FMT_FLOAT32, v.flags);
  if (status == 0) {
    if (count > 0) cvtSetBinDataBlock(first, count, 0);
    int32_t percent = 0;
    for (int calls = 0; percent >= 0 && percent < 100 && calls < 100000; ++calls) {
      percent = cvtConvertBinData(TRAVUNE_FMT_FLOAT32);
    }
    status = percent < 0 ? percent : (percent == 100 ? 0 : -1);
  }
  const int32_t closed = cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  cvtReleaseResources();
  return status != 0 ? status : closed;
}

// Each converted float against the plain value of its scan and channel. The channel's tolerance
// is what the raw encoding loses (half a code step of its range, one step of packed 12-bit
// samples, half a tenth of a degree from the driver); the output adds one float32 rounding,
// at most 2^-24 of the value.
void ExpectPlainValues(const PlainValues& plain, const std::vector<float>& values, int64_t firstScan) {
  ASSERT_EQ(values.size(), plain.values.size());
  int failures = 0;
  for (size_t i = 0; i < values.size() && failures < 10; ++i) {
    const size_t chan = i % static_cast<size_t>(plain.chans);
    const double expected = plain.values[i];
    const double slack = plain.tolerances[chan] + std::ldexp(std::fabs(expected), -24);
    if (!(std::fabs(values[i] - expected) <= slack)) {
      ++failures;
      ADD_FAILURE() << "scan " << firstScan + static_cast<int64_t>(i / static_cast<size_t>(plain.chans))
                    << " channel " << chan << ": got " << values[i] << ", expected " << expected << " ± "
                    << plain.tolerances[chan];
    }
  }
}

TEST_F(EndToEndSamples, EveryValueOfEveryVariantConvertsToTheGeneratorsNumber) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    const std::vector<std::string> files = Write(v);
    ASSERT_EQ(files.size(), 2u);
    const std::string output = (dir_ / (std::string(v.name) + ".f32")).string();
    ASSERT_EQ(ConvertToFloats(files, v, output, 0, 0), 0);
    ExpectPlainValues(PlainValuesOf(v.request, 0, v.request.scans), ReadFloats(output), 0);
  }
}

TEST_F(EndToEndSamples, AScanRangeConvertsThoseScansOnly) {
  // Odd first scans make packed blocks start inside a six-byte group.
  const struct {
    int variant;
    uint32_t first;
    uint32_t count;
  } cases[] = {{0, 333, 200}, {3, 1, 999}, {3, 777, 3}, {4, 5, 17}, {13, 99, 300}};
  for (const auto& c : cases) {
    const Variant& v = kVariants[c.variant];
    SCOPED_TRACE(std::string(v.name) + " from " + std::to_string(c.first));
    const std::vector<std::string> files = Write(v);
    ASSERT_EQ(files.size(), 2u);
    const std::string output = (dir_ / "range.f32").string();
    ASSERT_EQ(ConvertToFloats(files, v, output, c.first, c.count), 0);
    ExpectPlainValues(PlainValuesOf(v.request, c.first, c.count), ReadFloats(output), c.first);
  }
}

TEST_F(EndToEndSamples, ScanTimesOfTheFirstAndTriggerScans) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    const std::vector<std::string> files = Write(v);
    ASSERT_EQ(files.size(), 2u);
    ASSERT_GE(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), v.request.type), 0);
    EXPECT_EQ(cvtGetNumScans(), v.request.scans);
    EXPECT_EQ(cvtGetNumChansUser(), NumChannels(v.request));
    for (const int64_t scan : {int64_t{0}, v.request.preTrig}) {
      double days = 0.0;
      ASSERT_EQ(tvnGetScanTime(static_cast<uint32_t>(scan), &days), 0) << "scan " << scan;
      // 1e-9 days is 86 µs: far below any scan interval, far above double rounding.
      EXPECT_NEAR(days, ExpectedScanTime(v.request, scan), 1e-9) << "scan " << scan;
    }
    cvtReleaseResources();
  }
}

}  // namespace
}  // namespace travune::samples
