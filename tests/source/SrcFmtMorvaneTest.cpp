// Morvane source: the three description forms (and their one-byte-off rejections), the raw
// word layout with wide channels and the first-channel exchange, and the scaling of every
// channel type against hand-computed values.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "source/SourceImages.h"
#include "source/SrcFmtMorvane.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {
namespace {

using Chan = testutil::MorvaneChan;
using testutil::MorvaneImage;

// The older forms: form 2 a 22-byte header whose first half-word is 5040, form 3 a 16-byte header
// that starts with the channel count (both 77 programmed scans, form 2 then 5 pre-trigger scans);
// 40-byte channel records with 16-bit type and polarity and 9-byte texts.
std::vector<uint8_t> OldForm(int form, const std::vector<Chan>& chans) {
  ByteBuilder b;
  if (form == 2) b.I16(5040);
  b.I16(static_cast<int16_t>(chans.size()));
  b.U32(77);
  if (form == 2) b.U32(5);
  b.Zeros(6);
  b.F32(10.0f);
  for (const Chan& c : chans) {
    b.F32(c.gain);
    b.Zeros(2);
    b.I16(static_cast<int16_t>(c.type));
    b.Zeros(2);
    b.F32(c.scale);
    b.F32(c.offset);
    b.I16(static_cast<int16_t>(c.polarity));
    b.FixedText(c.label, 9);
    b.FixedText(c.units, 9);
    b.I16(static_cast<int16_t>(c.deviceCode));
  }
  return b.Take();
}

bool Accepted(const std::vector<uint8_t>& image) { return SrcFmtMorvane(image.data(), image.size()).GetStatus() == 0; }

std::vector<uint8_t> Resized(std::vector<uint8_t> image, int delta) {
  image.resize(image.size() + static_cast<size_t>(delta));
  return image;
}

// Each form is accepted at its exact size only; the first word tells them apart: 5040 (form 1),
// low half 5040 (form 2), any other from 65536 up (form 3, low half the channel count).
TEST(SrcFmtMorvane, AcceptsEachFormOnlyAtItsExactSize) {
  const std::vector<uint8_t> form1 = MorvaneImage(std::vector<Chan>(3));
  const std::vector<uint8_t> form2 = OldForm(2, {Chan{}});
  const std::vector<uint8_t> form3 = OldForm(3, {Chan{}});
  std::vector<uint8_t> huge = MorvaneImage({Chan{}});
  le::PutI32(&huge[4], 0x7FFFFFFF);
  std::vector<uint8_t> smallFirstWord = MorvaneImage({Chan{}});
  le::PutI32(&smallFirstWord[0], 5039);
  // 56 * 76695845 wraps to 24 in 32-bit arithmetic: a 56-byte image would then look right.
  std::vector<uint8_t> wrapping = Resized(MorvaneImage({}), 24);
  le::PutI32(&wrapping[4], 76695845);
  const struct { const char* name; std::vector<uint8_t> image; bool accepted; } cases[] = {
      {"form 1", form1, true},
      {"form 2", form2, true},
      {"form 3", form3, true},
      {"form 1 a byte longer", Resized(form1, 1), false},
      {"form 2 a byte longer", Resized(form2, 1), false},
      {"form 3 a byte shorter", Resized(form3, -1), false},
      {"form 1 a byte shorter", Resized(form1, -1), false},
      {"empty", {}, false},
      {"three bytes", {0xB0, 0x13, 0x00}, false},
      {"huge channel count", huge, false},
      {"first word below 65536 but not 5040", smallFirstWord, false},
      {"count whose record bytes overflow 32 bits", wrapping, false},
  };
  for (const auto& c : cases) EXPECT_EQ(Accepted(c.image), c.accepted) << c.name;
  SrcFmtMorvane two(form2.data(), form2.size());
  EXPECT_EQ(two.HeaderForm(), 2);
  EXPECT_EQ(two.GetPreTrigCount(), 5);
  EXPECT_EQ(two.GetNumProgScans(), 77);
  SrcFmtMorvane three(form3.data(), form3.size());
  EXPECT_EQ(three.HeaderForm(), 3);
  EXPECT_STREQ(three.GetDescVersion(), "1");
}

TEST(SrcFmtMorvane, LaysOutWideChannelsAndExchangesTheFirstChannel) {
  struct Case { std::vector<int32_t> types; int32_t firstChannel; std::vector<int64_t> rawIndex; int64_t scanSize; };
  const Case cases[] = {
      {{0, 0, 0}, 3, {2, 1, 0}, 6},
      {{0, 0, 0}, 4, {0, 1, 2}, 6},  // no channel 4: nothing exchanged
      {{2, 0, 2, 0}, 0, {2, 0, 6, 1}, 20},
      // The exchange swaps raw positions even when a wide channel takes part.
      {{2, 0, 0}, 2, {0, 2, 1}, 12},
  };
  for (const Case& c : cases) {
    std::vector<Chan> chans;
    for (int32_t t : c.types) chans.push_back(Chan{t});
    const std::vector<uint8_t> image = MorvaneImage(chans, {.firstChannel = c.firstChannel});
    SrcFmtMorvane source(image.data(), image.size());
    ASSERT_EQ(source.GetStatus(), 0);
    EXPECT_EQ(source.GetScanSize(), c.scanSize);
    for (size_t i = 0; i < c.rawIndex.size(); ++i) {
      EXPECT_EQ(source.RawIndex(static_cast<int32_t>(i)), c.rawIndex[i]) << "channel " << i;
    }
  }
}

// The value the source reports for one raw word of a one-word channel.
double ScaleWord(const Chan& chan, uint16_t word) {
  std::vector<uint8_t> image = MorvaneImage({chan});
  SrcFmtMorvane source(image.data(), image.size());
  EXPECT_EQ(source.GetStatus(), 0);
  uint8_t raw[16] = {};
  le::PutU16(raw, word);
  return source.ScaleSample(0, raw);
}

// Worked examples: raw words of each channel type with the value worked out by hand from the
// type's range or line (Chan fields: type, gain, scale, offset, polarity).
TEST(SrcFmtMorvane, ScalesEveryChannelTypeAsWorkedOutByHand) {
  struct Case { const char* name; Chan chan; uint16_t word; double expected; };
  const Case cases[] = {
      // ±5 V (span 10, half of it each side, gain 1): −5 + code × 10 / 65535.
      {"type 0 bipolar, code 0", {0, 1, 1, 0, 1}, 0, -5.0},
      // 0x8000 lies half a step above the middle: −5 + 327680 / 65535 = 5 / 65535.
      {"type 0 bipolar, code 0x8000", {0, 1, 1, 0, 1}, 0x8000, 7.629510948348184e-05},
      // Unipolar 0..10 V; gain 0 reads as gain 1.
      {"type 0 unipolar gain 0, code 65535", {0, 0, 1, 0, 0}, 65535, 10.0},
      {"type 0 unipolar gain 2, code 65535", {0, 2, 1, 0, 0}, 65535, 5.0},
      // Span 20, bipolar, gain 2: ±5 V, × 2 + 1 gives −9..11 V: −9 + 1000 × 20 / 65535.
      {"type 7 bipolar gain 2 scale 2 offset 1", {7, 2, 2, 1, 1}, 1000, -8.69481956206607},
      // 0 .. 0.5 × 65535 / 4: 0.125 a code.
      {"type 11 gain 4 scale 0.5", {11, 4, 0.5f, 0, 0}, 100, 12.5},
      // Counting types: code × scale + offset.
      {"type 8 scale 2 offset 3", {8, 1, 2, 3, 0}, 7, 17.0},
      {"type 9 counts", {9, 1, 1, 0, 0}, 65535, 65535.0},
      {"type 10 scale 0.5 offset −1", {10, 1, 0.5f, -1, 0}, 10, 4.0},
      // References: bipolar type 3 is code × 205 / 65536 − 102.5, so 0x8000 is 0 °C.
      {"type 3 bipolar, code 40760", {3, 1, 1, 0, 1}, 40760, 24.9993896484375},
      // Unipolar type 3: code × 102.5 / 65536 = 51.25, under scale 2 and offset 1.
      {"type 3 unipolar scale 2 offset 1", {3, 1, 2, 1, 0}, 0x8000, 103.5},
      // Types 4 and 5 take their line under the user's scale and offset as type 3 does:
      // 2 × (0x8000 × 100 / 65536 − 50) + 1.
      {"type 4 bipolar scale 2 offset 1", {4, 1, 2, 1, 1}, 0x8000, 1.0},
      // 0xC000 is three quarters of (200 / 3) / 65536 × 65536.
      {"type 4 unipolar, code 0xC000", {4, 1, 1, 0, 0}, 0xC000, 50.0},
      {"type 5 bipolar, code 0", {5, 1, 1, 0, 1}, 0, -50.0},
      {"type 5 unipolar, code 0x8000", {5, 1, 1, 0, 0}, 0x8000, 25.0},
      // A sensor kind the driver does not know (low byte 99): the raw −32768 tenths × 0.1.
      {"type 13 refused by the driver", {13, 1, 1, 0, 99}, 40000, -3276.8},
  };
  for (const Case& c : cases) {
    EXPECT_NEAR(ScaleWord(c.chan, c.word), c.expected, 1e-12 * std::fmax(1.0, std::fabs(c.expected))) << c.name;
  }
  // Types 0, 7 and 11 to the last bit: m = (upper - lower) / 65535 and b = lower, in that order.
  // Type 7 bipolar at gain 3, scale 0.7, offset 0.1: ±20 × 0.5 / 3 V, times the scale plus the offset.
  const double s = 20.0 * 0.5 / 3.0, lower = 0.1f + 0.7f * -s, upper = 0.1f + 0.7f * s;
  for (uint16_t word : {uint16_t{0}, uint16_t{1}, uint16_t{12345}, uint16_t{65535}}) {
    EXPECT_EQ(ScaleWord({7, 3, 0.7f, 0.1f, 1}, word), word * ((upper - lower) / 65535.0) + lower) << word;
  }
}

// Temperatures through the driver, worked out from published tables: type K gives 1.000 mV at
// 25 °C and 4.096 mV at 100 °C, type J 5.269 mV at 100 °C, and Pt100 138.51 ohm at 100.01 °C.
// At gain 100 a thermocouple code is 32768 + mV × 655.36.
TEST(SrcFmtMorvane, TemperatureChannelsGoThroughTheDriver) {
  // Channel 0 is a reference (type 3), channel 1 a K thermocouple pairing with it (type 1,
  // offset 0.5), channel 2 a single-word J thermocouple (type 13, scale 2), channel 3 a 4-wire
  // RTD (type 2).
  const std::vector<Chan> chans = {
      {3, 1, 1, 0, 1}, {1, 100, 1, 0.5f, 2}, {13, 100, 2, 0, 1}, {2, 1, 1, 0, 0},
  };
  std::vector<uint8_t> image = MorvaneImage(chans);
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  ASSERT_EQ(source.GetScanSize(), 2 * (3 + 4));

  // Reference code 40760: (40760 × 205 / 65536 − 102.5) = 24.9994 °C, E = 1.000 mV; the
  // thermocouple sees 4.096 − 1.000 mV: code 32768 + 3.096 × 655.36 = 34797, 100.0 °C.
  const uint16_t words[] = {40760, 34797, 36221, 14851, 1000, 41000, 1000};
  std::vector<uint8_t> scan(14, 0);
  for (size_t i = 0; i < 7; ++i) le::PutU16(&scan[2 * i], words[i]);
  source.SetRawBlock(scan.data(), 1, 0);

  // J: 32768 + 5.269 × 655.36 = 36221, 100.0 °C, × 2. RTD: 400 × 13851 / 40000 = 138.51 ohm.
  const double expected[] = {24.9993896484375, 100.5, 200.0, 100.0};
  for (int32_t c = 0; c < 4; ++c) {
    double value = 0.0;
    source.GetScaledValue(0, c, &value);
    EXPECT_NEAR(value, expected[c], 1e-9) << "channel " << c;
  }
}

// Facts of the description as the source reports them: a blank label of a high-speed digital
// channel (device 272) reads "HSDI", other blank labels stay blank, bad channel numbers answer
// "<err>", and scan times count from the trigger scan at the header's rate.
TEST(SrcFmtMorvane, ReportsChannelFactsScanTimesAndErrors) {
  const std::vector<uint8_t> image =
      MorvaneImage({{0, 1, 1, 0, 1, 272, "", "V"}, {9, 1, 1, 0, 0, 5, "", "cnt"}}, {.preTrig = 10, .rate = 100.0f});
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_STREQ(source.GetChanLabel(0), "HSDI");
  EXPECT_STREQ(source.GetChanLabel(1), "");
  EXPECT_STREQ(source.GetChanLabel(2), "<err>");
  EXPECT_EQ(source.GetChanPrecision(1), 0);
  EXPECT_EQ(source.ScaleSample(3, kZeroSample), 0.0);
  for (const auto& [scan, seconds] : {std::pair{0, -0.1}, std::pair{110, 1.0}}) {
    double t = 0;
    ASSERT_TRUE(source.GetNativeScanTime(scan, &t));
    EXPECT_DOUBLE_EQ(t, SecondsToDays(seconds)) << scan;
  }
  // The in-memory constructors read the same records.
  SrcFmtMorvane fromCount(2, image.data() + 32);
  ASSERT_EQ(fromCount.GetStatus(), 0);
  uint8_t raw[16] = {};
  le::PutU16(raw, 4321);
  EXPECT_EQ(fromCount.ScaleSample(1, raw), 4321.0);
  EXPECT_NE(SrcFmtMorvane(-1, image.data() + 32).GetStatus(), 0);
}

}  // namespace
}  // namespace travune
