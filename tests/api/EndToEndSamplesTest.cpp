// Every sample type and variant, written by the generator, converted to raw floats through the
// public conversion functions, and compared value by value with the generator's own numbers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "samples/Samples.h"
#include "travune/travune.h"

namespace travune::samples {
namespace {

namespace fs = std::filesystem;

// How a converted float is compared with (float)ExpectedValue:
//   Exact: the generator's formula is the reader's chain of double operations (Morvane) or
//          the written float itself (Brenlow family, Quillon), so the bits must agree;
//   OneUlp: the generator uses the channel's plain physical formula (Tarquil, Celdrin), which
//          differs from an interpolation between the range ends by rounding only.
enum class Match { Exact, OneUlp };

struct Variant {
  const char* name;
  SampleSpec request;
  Match match;
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
    {"morvane", Request(3, 1200, 100), Match::Exact, 0},
    {"morvane18", Request(3, 700, 0, 18), Match::Exact, 0},
    {"tarquil", Request(4, 1200, 100), Match::OneUlp, 0},
    {"tarquilPacked", Request(4, 1001, 50, 0, true), Match::OneUlp, 0},
    {"tarquilPacked9", Request(4, 999, 0, 9, true), Match::OneUlp, 0},
    {"brenlow", Request(2, 1200, 100), Match::Exact, 0},
    {"brenlowStamps", Request(2, 1200, 100, 0, false, true), Match::Exact, 0},
    {"brenlowOwnStamps", Request(2, 1200, 0, 7, false, true), Match::Exact, TRAVUNE_FLAG_OWN_STAMPS},
    {"vexmoor", Request(7, 600, 10, 6), Match::Exact, 0},
    {"threnix", Request(8, 600, 10, 0, false, true), Match::Exact, 0},
    {"quillon", Request(5, 1200, 100), Match::Exact, 0},
    {"quillon7", Request(5, 500, 0, 7), Match::Exact, 0},
    {"celdrin", Request(6, 1200, 100), Match::OneUlp, 0},
    {"celdrinStamps", Request(6, 1200, 100, 0, false, true), Match::OneUlp, TRAVUNE_FLAG_OWN_STAMPS},
    {"celdrin9", Request(6, 800, 0, 9), Match::OneUlp, 0},
};

class EndToEndSamples : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-e2e-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path dir_;
};

std::vector<float> ReadFloats(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::vector<float> values(bytes.size() / 4);
  for (size_t i = 0; i < values.size(); ++i) {
    const auto* b = reinterpret_cast<const uint8_t*>(bytes.data() + 4 * i);
    values[i] =
        std::bit_cast<float>(static_cast<uint32_t>(b[0] | b[1] << 8 | b[2] << 16) | static_cast<uint32_t>(b[3]) << 24);
  }
  return values;
}

// Distance in representable floats between a and b (same sign assumed near each other).
int64_t UlpDistance(float a, float b) {
  const auto key = [](float f) {
    const int32_t i = std::bit_cast<int32_t>(f);
    return i < 0 ? static_cast<int64_t>(INT32_MIN) - i : static_cast<int64_t>(i);
  };
  return std::llabs(key(a) - key(b));
}

// Converts desc/data to raw floats at output: the scans first .. first + count − 1 when
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

void ExpectValues(const Variant& v, const std::vector<float>& values, int64_t firstScan, int64_t scans) {
  const int chans = NumChannels(v.request);
  ASSERT_EQ(values.size(), static_cast<size_t>(scans * chans));
  int failures = 0;
  for (int64_t s = 0; s < scans && failures < 10; ++s) {
    for (int c = 0; c < chans; ++c) {
      const float expected = static_cast<float>(ExpectedValue(v.request, firstScan + s, c));
      const float actual = values[static_cast<size_t>(s * chans + c)];
      const bool ok = v.match == Match::Exact ? std::bit_cast<uint32_t>(actual) == std::bit_cast<uint32_t>(expected)
                                              : UlpDistance(actual, expected) <= 1;
      if (!ok && ++failures <= 10) {
        ADD_FAILURE() << v.name << " scan " << firstScan + s << " channel " << c << ": got " << actual << ", expected "
                      << expected;
      }
    }
  }
}

TEST_F(EndToEndSamples, EveryValueOfEveryVariantConvertsToTheGeneratorsNumber) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    std::vector<std::string> files;
    std::string error;
    ASSERT_TRUE(WriteSample(v.request, (dir_ / v.name).string(), &files, &error)) << error;
    const std::string output = (dir_ / (std::string(v.name) + ".f32")).string();
    ASSERT_EQ(ConvertToFloats(files, v, output, 0, 0), 0);
    ExpectValues(v, ReadFloats(output), 0, v.request.scans);
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
    std::vector<std::string> files;
    std::string error;
    ASSERT_TRUE(WriteSample(v.request, (dir_ / v.name).string(), &files, &error)) << error;
    const std::string output = (dir_ / "range.f32").string();
    ASSERT_EQ(ConvertToFloats(files, v, output, c.first, c.count), 0);
    ExpectValues(v, ReadFloats(output), c.first, c.count);
  }
}

TEST_F(EndToEndSamples, ScanTimesOfTheFirstAndTriggerScans) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    std::vector<std::string> files;
    std::string error;
    ASSERT_TRUE(WriteSample(v.request, (dir_ / v.name).string(), &files, &error)) << error;
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

TEST_F(EndToEndSamples, ADataFileShorterThanTheRangeFailsWithAReadError) {
  const Variant& v = kVariants[0];
  std::vector<std::string> files;
  std::string error;
  ASSERT_TRUE(WriteSample(v.request, (dir_ / "short").string(), &files, &error)) << error;
  const std::string output = (dir_ / "short.f32").string();
  EXPECT_EQ(ConvertToFloats(files, v, output, 1100, 200), TRAVUNE_ERR_DATA_READ);
}

}  // namespace
}  // namespace travune::samples
