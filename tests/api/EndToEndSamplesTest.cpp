// Every sample type and variant, written once by the generator, converted to raw floats through
// the public conversion functions, and compared with the plain values the generator chose
// before encoding them into raw codes, within what that encoding loses.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "support/LittleEndian.h"

namespace travune::apitest {
namespace {

using samples::PlainValues;

struct Variant {
  const char* name;
  samples::SampleSpec request;
  uint32_t flags;  // cvtInitDataFileEx flags
};

const Variant kVariants[] = {
    {"morvane", SampleOf(3, 1200, 100), 0},
    {"morvane18", SampleOf(3, 700, 0, 18), 0},
    {"tarquil", SampleOf(4, 1200, 100), 0},
    {"tarquilPacked", SampleOf(4, 1001, 50, 0, true), 0},
    {"tarquilPacked9", SampleOf(4, 999, 0, 9, true), 0},
    {"brenlow", SampleOf(2, 1200, 100), 0},
    {"brenlowStamps", SampleOf(2, 1200, 100, 0, false, true), 0},
    {"brenlowOwnStamps", SampleOf(2, 1200, 0, 7, false, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"vexmoor", SampleOf(7, 600, 10, 6), 0},
    {"threnix", SampleOf(8, 600, 10, 0, false, true), 0},
    {"quillon", SampleOf(5, 1200, 100), 0},
    {"quillon7", SampleOf(5, 500, 0, 7), 0},
    {"celdrin", SampleOf(6, 1200, 100), 0},
    {"celdrinStamps", SampleOf(6, 1200, 100, 0, false, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"celdrin9", SampleOf(6, 800, 0, 9), 0},
};

class EndToEndSamples : public ::testing::Test {
 protected:
  // The variant's scans first .. first + count - 1 (every scan when count is 0) converted to raw
  // floats through the exported functions; empty when a call failed.
  std::vector<float> ConvertToFloats(const Variant& v, uint32_t first, uint32_t count) const {
    CvtSteps steps(scratch_.Sample(v.request, v.name), scratch_.File("out.f32"), scratch_.File("out.f32"),
                   TRAVUNE_FMT_FLOAT32);
    steps.type = v.request.type;
    steps.flags = v.flags;
    steps.first = first;
    steps.count = count;
    EXPECT_EQ(steps.Whole(), 0);
    const std::string bytes = Contents(steps.output);
    std::vector<float> values(bytes.size() / 4);
    for (size_t i = 0; i < values.size(); ++i) values[i] = le::F32(&bytes[4 * i]);
    return values;
  }

  Scratch scratch_;
};

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
    ExpectPlainValues(samples::PlainValuesOf(v.request, 0, v.request.scans), ConvertToFloats(v, 0, 0), 0);
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
    ExpectPlainValues(samples::PlainValuesOf(v.request, c.first, c.count), ConvertToFloats(v, c.first, c.count), c.first);
  }
}

TEST_F(EndToEndSamples, ScanTimesOfTheFirstAndTriggerScans) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    const std::vector<std::string> files = scratch_.Sample(v.request, v.name);
    ASSERT_GE(cvtReadBinDescFile(files.at(0).c_str(), files.at(1).c_str(), v.request.type), 0);
    EXPECT_EQ(cvtGetNumScans(), v.request.scans);
    EXPECT_EQ(cvtGetNumChansUser(), samples::NumChannels(v.request));
    for (const int64_t scan : {int64_t{0}, v.request.preTrig}) {
      double days = 0.0;
      ASSERT_EQ(tvnGetScanTime(static_cast<uint32_t>(scan), &days), 0) << "scan " << scan;
      // 1e-9 days is 86 µs: far below any scan interval, far above double rounding.
      EXPECT_NEAR(days, samples::ExpectedScanTime(v.request, scan), 1e-9) << "scan " << scan;
    }
    cvtReleaseResources();
  }
}

}  // namespace
}  // namespace travune::apitest
