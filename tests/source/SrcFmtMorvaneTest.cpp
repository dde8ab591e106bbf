// Morvane source: the three description forms (and their one-byte-off rejections), the raw
// word layout with wide channels and the first-channel exchange, and the scaling of every
// channel type against hand-computed values.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "qulix.h"
#include "source/SrcFmtMorvane.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {
namespace {

struct Chan {
  int32_t type = 0;
  float gain = 1.0f;
  float scale = 1.0f;
  float offset = 0.0f;
  int32_t polarity = 0;
  int32_t deviceCode = 0;
  const char* label = "ch";
  const char* units = "V";
};

struct Head {
  int32_t numChans = -1;  // -1: the number of channels given
  uint32_t progScans = 100;
  uint32_t preTrig = 0;
  int32_t firstChannel = 0;
  float rate = 1000.0f;
};

std::vector<uint8_t> Form1(const std::vector<Chan>& chans, Head h = {}) {
  std::vector<uint8_t> d(32 + 56 * chans.size(), 0);
  le::PutI32(&d[0], 5040);
  le::PutI32(&d[4], h.numChans < 0 ? static_cast<int32_t>(chans.size()) : h.numChans);
  le::PutU32(&d[8], h.progScans);
  le::PutU32(&d[12], h.preTrig);
  le::PutI32(&d[24], h.firstChannel);
  le::PutF32(&d[28], h.rate);
  for (size_t i = 0; i < chans.size(); ++i) {
    uint8_t* p = &d[32 + 56 * i];
    const Chan& c = chans[i];
    le::PutF32(p, c.gain);
    le::PutI32(p + 8, c.type);
    le::PutF32(p + 16, c.scale);
    le::PutF32(p + 20, c.offset);
    le::PutI32(p + 24, c.polarity);
    le::PutI32(p + 28, c.deviceCode);
    std::strncpy(reinterpret_cast<char*>(p + 32), c.label, 12);
    std::strncpy(reinterpret_cast<char*>(p + 44), c.units, 12);
  }
  return d;
}

void PutOldRecord(uint8_t* p, const Chan& c) {
  le::PutF32(p, c.gain);
  le::PutI16(p + 6, static_cast<int16_t>(c.type));
  le::PutF32(p + 10, c.scale);
  le::PutF32(p + 14, c.offset);
  le::PutI16(p + 18, static_cast<int16_t>(c.polarity));
  std::strncpy(reinterpret_cast<char*>(p + 20), c.label, 9);
  std::strncpy(reinterpret_cast<char*>(p + 29), c.units, 9);
  le::PutI16(p + 38, static_cast<int16_t>(c.deviceCode));
}

std::vector<uint8_t> Form2(const std::vector<Chan>& chans, uint32_t preTrig, float rate) {
  std::vector<uint8_t> d(22 + 40 * chans.size(), 0);
  le::PutI16(&d[0], 5040);
  le::PutI16(&d[2], static_cast<int16_t>(chans.size()));
  le::PutU32(&d[4], 77);
  le::PutU32(&d[8], preTrig);
  le::PutI16(&d[16], 0);
  le::PutF32(&d[18], rate);
  for (size_t i = 0; i < chans.size(); ++i) PutOldRecord(&d[22 + 40 * i], chans[i]);
  return d;
}

std::vector<uint8_t> Form3(const std::vector<Chan>& chans, uint32_t progScans, float rate) {
  std::vector<uint8_t> d(16 + 40 * chans.size(), 0);
  le::PutI16(&d[0], static_cast<int16_t>(chans.size()));
  le::PutU32(&d[2], progScans);
  le::PutF32(&d[12], rate);
  for (size_t i = 0; i < chans.size(); ++i) PutOldRecord(&d[16 + 40 * i], chans[i]);
  return d;
}

bool Accepted(const std::vector<uint8_t>& image) {
  SrcFmtMorvane source(image.data(), image.size());
  return source.GetStatus() == 0;
}

TEST(SrcFmtMorvane, AcceptsEachFormOnlyAtItsExactSize) {
  const std::vector<Chan> three(3);
  std::vector<uint8_t> form1 = Form1(three);
  ASSERT_EQ(form1.size(), 32u + 56u * 3);
  EXPECT_TRUE(Accepted(form1));
  std::vector<uint8_t> longer = form1;
  longer.push_back(0);
  EXPECT_FALSE(Accepted(longer));
  std::vector<uint8_t> shorter(form1.begin(), form1.end() - 1);
  EXPECT_FALSE(Accepted(shorter));

  // First word: low half 5040, high half 1 -> form 2 with one channel.
  std::vector<uint8_t> form2 = Form2({Chan{}}, 5, 10.0f);
  EXPECT_EQ(le::U32(form2.data()), 5040u + (1u << 16));
  SrcFmtMorvane two(form2.data(), form2.size());
  ASSERT_EQ(two.GetStatus(), 0);
  EXPECT_EQ(two.HeaderForm(), 2);
  EXPECT_EQ(two.GetNumChans(), 1);
  EXPECT_EQ(two.GetPreTrigCount(), 5);
  EXPECT_EQ(two.GetNumProgScans(), 77);
  form2.push_back(0);
  EXPECT_FALSE(Accepted(form2));

  // First word: low half 1, high half 2 -> form 3 with one channel, version 1, no trigger.
  std::vector<uint8_t> form3 = Form3({Chan{}}, 2, 10.0f);
  EXPECT_EQ(le::U32(form3.data()), 1u + (2u << 16));
  SrcFmtMorvane three3(form3.data(), form3.size());
  ASSERT_EQ(three3.GetStatus(), 0);
  EXPECT_EQ(three3.HeaderForm(), 3);
  EXPECT_STREQ(three3.GetDescVersion(), "1");
  EXPECT_EQ(three3.GetPreTrigCount(), 0);
  form3.pop_back();
  EXPECT_FALSE(Accepted(form3));
}

TEST(SrcFmtMorvane, RejectsHostileDescriptions) {
  struct Case {
    const char* name;
    std::vector<uint8_t> image;
  };
  std::vector<uint8_t> huge = Form1({Chan{}});
  le::PutI32(&huge[4], 0x7FFFFFFF);
  std::vector<uint8_t> negative = Form1({Chan{}});
  le::PutI32(&negative[4], -1);
  std::vector<uint8_t> smallFirstWord = Form1({Chan{}});
  le::PutI32(&smallFirstWord[0], 5039);
  // 56 * 76695845 wraps to 24 in 32-bit arithmetic: a 56-byte image would then look right.
  std::vector<uint8_t> wrapping = Form1({});
  wrapping.resize(56);
  le::PutI32(&wrapping[4], 76695845);
  const Case cases[] = {
      {"empty", {}},
      {"three bytes", {0xB0, 0x13, 0x00}},
      {"huge channel count", huge},
      {"negative channel count", negative},
      {"first word below 65536 but not 5040", smallFirstWord},
      {"count whose record bytes overflow 32 bits", wrapping},
  };
  for (const Case& c : cases) {
    EXPECT_FALSE(Accepted(c.image)) << c.name;
  }
}

TEST(SrcFmtMorvane, LaysOutWideChannelsAndExchangesTheFirstChannel) {
  struct Case {
    std::vector<int32_t> types;
    int32_t firstChannel;
    std::vector<int64_t> rawIndex;
    int64_t scanSize;
  };
  const Case cases[] = {
      {{0, 2, 0}, 0, {0, 2, 1}, 12},
      {{0, 0, 0}, 3, {2, 1, 0}, 6},
      {{0, 0, 0}, 1, {0, 1, 2}, 6},
      {{0, 0, 0}, 4, {0, 1, 2}, 6},
      {{2, 0, 2, 0}, 0, {2, 0, 6, 1}, 20},
      // The exchange swaps raw positions even when a wide channel takes part.
      {{2, 0, 0}, 2, {0, 2, 1}, 12},
  };
  for (const Case& c : cases) {
    std::vector<Chan> chans;
    for (int32_t t : c.types) chans.push_back(Chan{t});
    Head h;
    h.firstChannel = c.firstChannel;
    std::vector<uint8_t> image = Form1(chans, h);
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
  std::vector<uint8_t> image = Form1({chan});
  SrcFmtMorvane source(image.data(), image.size());
  EXPECT_EQ(source.GetStatus(), 0);
  uint8_t raw[16] = {};
  le::PutU16(raw, word);
  return source.ScaleSample(0, raw);
}

TEST(SrcFmtMorvane, ScalesLinearChannelTypesAsComputedByHand) {
  struct Case {
    const char* name;
    Chan chan;
    uint16_t word;
    double expected;
  };
  const Case cases[] = {
      {"type 0 bipolar, raw 0", {0, 1, 1, 0, 1}, 0, -5.0},
      {"type 0 bipolar, raw 65535", {0, 1, 1, 0, 1}, 65535, 5.0},
      {"type 0 unipolar gain 0 counts as 1", {0, 0, 1, 0, 0}, 65535, 10.0},
      {"type 0 unipolar gain 2", {0, 2, 1, 0, 0}, 65535, 5.0},
      {"type 7 bipolar gain 2 scale 2 offset 1", {7, 2, 2, 1, 1}, 1000, 1000 * (20.0 / 65535.0) + -9.0},
      {"type 11 gain 4 scale 0.5", {11, 4, 0.5f, 0, 0}, 100, 100 * ((0.5 * 65535.0 / 4.0) / 65535.0)},
      {"type 8 scale 2 offset 3", {8, 1, 2, 3, 0}, 7, 17.0},
      {"type 9 counts", {9, 1, 1, 0, 0}, 65535, 65535.0},
      {"type 10 counts with offset", {10, 1, 0.5f, -1, 0}, 10, 4.0},
      {"type 6 unchanged", {6, 1, 0.25f, 2, 0}, 8, 4.0},
      {"type 12 unchanged", {12, 1, 3, 0, 0}, 5, 15.0},
      {"type 3 bipolar", {3, 1, 1, 0, 1}, 32768, 32768 * (205.0 / 65536.0) + -102.5},
      {"type 3 unipolar", {3, 1, 2, 1, 0}, 32768, 32768 * (2 * (102.5 / 65536.0)) + 1.0},
      {"type 4 bipolar scale 2 offset 1", {4, 1, 2, 1, 1}, 32768, 32768 * (2 * (100.0 / 65536.0)) + -99.0},
      {"type 4 unipolar", {4, 1, 1, 0, 0}, 65535, 65535 * ((200.0 / 3.0) / 65536.0)},
      {"type 5 bipolar", {5, 1, 1, 0, 1}, 0, -50.0},
      {"type 5 unipolar", {5, 1, 1, 0, 0}, 65535, 65535 * (50.0 / 65536.0)},
  };
  for (const Case& c : cases) {
    EXPECT_DOUBLE_EQ(ScaleWord(c.chan, c.word), c.expected) << c.name;
  }
}

TEST(SrcFmtMorvane, TypesZeroSevenElevenUseTheRangeOverFullScale) {
  // m = (upper - lower) / 65535 and b = lower, evaluated in that order, then one float32.
  const Chan chan{7, 3, 0.7f, 0.1f, 1};
  const double s = 20.0 * 0.5 / 3.0;
  const double lower = static_cast<double>(0.1f) + static_cast<double>(0.7f) * -s;
  const double upper = static_cast<double>(0.1f) + static_cast<double>(0.7f) * s;
  const double m = (upper - lower) / 65535.0;
  for (uint16_t word : {uint16_t{0}, uint16_t{1}, uint16_t{12345}, uint16_t{65535}}) {
    const double expected = word * m + lower;
    EXPECT_EQ(ScaleWord(chan, word), expected) << word;
    EXPECT_EQ(static_cast<float>(ScaleWord(chan, word)), static_cast<float>(expected)) << word;
  }
}

int16_t Thermo(int32_t gain, int32_t kind, const uint8_t* words, int32_t n) {
  uint8_t out[2] = {0, 0x80};
  if (QlxThermocouple(2, 0, 1, gain, kind, 1, words, 1, out, n) != 0) return -32768;
  return le::I16(out);
}

TEST(SrcFmtMorvane, TemperatureChannelsGoThroughTheDriver) {
  // Channel 0 is a reference (type 3), channel 1 a thermocouple pairing with it (type 1),
  // channel 2 a single-word thermocouple (type 13), channel 3 a 4-wire RTD (type 2).
  const std::vector<Chan> chans = {
      {3, 1, 1, 0, 0}, {1, 100, 1, 0.5f, 2}, {13, 100, 2, 0, 2}, {2, 1, 1, 0, 0},
  };
  std::vector<uint8_t> image = Form1(chans);
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  ASSERT_EQ(source.GetScanSize(), 2 * (3 + 4));

  // Reference word: 25 °C cold junction -> ref = (25 + 102.5) * 65536 / 205.
  const uint16_t ref = static_cast<uint16_t>(std::lround((25.0 + 102.5) * 65536.0 / 205.0));
  const uint16_t tc = 32768 + 2684;  // about 4.1 mV at gain 100: roughly 125 °C of type K
  const uint16_t tc13 = 32768;        // 0 mV: the cold junction's own temperature, 0 °C
  // RTD: R = 400 * (s_hi - s_lo) / (r_hi - r_lo) = 400 * 1000 / 4000 = 100 ohm -> 0 °C.
  const uint16_t rtd[4] = {3000, 2000, 5000, 1000};

  std::vector<uint8_t> scan(14, 0);
  le::PutU16(&scan[0], ref);
  le::PutU16(&scan[2], tc);
  le::PutU16(&scan[4], tc13);
  for (int i = 0; i < 4; ++i) le::PutU16(&scan[6 + 2 * i], rtd[i]);
  source.SetRawBlock(scan.data(), 1, 0);

  double values[4];
  for (int32_t c = 0; c < 4; ++c) source.GetScaledValue(0, c, &values[c]);

  EXPECT_DOUBLE_EQ(values[0], ref * (102.5 / 65536.0));
  uint8_t pair[4];
  le::PutU16(pair, ref);
  le::PutU16(pair + 2, tc);
  const int16_t tenths = Thermo(100, 2, pair, 2);
  ASSERT_NE(tenths, -32768);
  EXPECT_NEAR(tenths / 10.0, 125.0, 5.0);
  EXPECT_DOUBLE_EQ(values[1], tenths * (1.0 * 0.1) + 0.5);
  EXPECT_DOUBLE_EQ(values[2], 0.0);
  EXPECT_DOUBLE_EQ(values[3], 0.0);
}

TEST(SrcFmtMorvane, DriverFailureReadsAsMinus32768) {
  // An unknown sensor kind (polarity low byte 99) makes the driver refuse.
  const Chan chan{13, 1, 1, 0, 99};
  EXPECT_DOUBLE_EQ(ScaleWord(chan, 40000), -32768 * 0.1);
}

TEST(SrcFmtMorvane, ReportsChannelFactsAndErrors) {
  std::vector<Chan> chans = {{0, 1, 1, 0, 1, 272, "", "V"}, {9, 1, 1, 0, 0, 5, "", "cnt"}, {0, 1, 1, 0, 0, 0, "Volts", "V"}};
  std::vector<uint8_t> image = Form1(chans);
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_STREQ(source.GetChanLabel(0), "HSDI");
  EXPECT_STREQ(source.GetChanLabel(1), "");
  EXPECT_STREQ(source.GetChanLabel(2), "Volts");
  EXPECT_STREQ(source.GetChanLabel(3), "<err>");
  EXPECT_STREQ(source.GetChanUnits(-1), "<err>");
  EXPECT_EQ(source.GetChanPrecision(1), 0);
  EXPECT_EQ(source.GetChanPrecision(2), 4);
  EXPECT_EQ(source.GetChanPrecision(7), -1);
  double lo = 0, hi = 0;
  EXPECT_FALSE(source.GetChanRange(3, &lo, &hi));
  EXPECT_EQ(source.ScaleSample(3, kZeroSample), 0.0);
  EXPECT_STREQ(source.GetAppTitle(), "Morvane");
  EXPECT_STREQ(source.GetDescVersion(), "5040");
}

TEST(SrcFmtMorvane, ScanTimesBeforeTheTriggerAreNegative) {
  Head h;
  h.preTrig = 10;
  h.rate = 100.0f;
  std::vector<uint8_t> image = Form1({Chan{}}, h);
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  struct Case {
    int64_t scan;
    double seconds;
  };
  for (const Case& c : {Case{0, -0.1}, Case{9, -0.01}, Case{10, 0.0}, Case{110, 1.0}}) {
    double t = 0;
    ASSERT_TRUE(source.GetNativeScanTime(c.scan, &t));
    EXPECT_DOUBLE_EQ(t, SecondsToDays(c.seconds)) << c.scan;
  }
}

TEST(SrcFmtMorvane, InMemoryConstructorsMatchTheDescriptionFile) {
  const std::vector<Chan> chans = {{0, 2, 1.5f, 0.25f, 1}, {8, 1, 1, 0, 0}};
  Head h;
  h.preTrig = 3;
  std::vector<uint8_t> image = Form1(chans, h);
  SrcFmtMorvane fromFile(image.data(), image.size());
  SrcFmtMorvane fromRecords(image.data(), image.data() + 32);
  SrcFmtMorvane fromCount(2, image.data() + 32);
  ASSERT_EQ(fromFile.GetStatus(), 0);
  ASSERT_EQ(fromRecords.GetStatus(), 0);
  ASSERT_EQ(fromCount.GetStatus(), 0);
  EXPECT_EQ(fromRecords.GetPreTrigCount(), 3);
  EXPECT_EQ(fromCount.GetPreTrigCount(), 0);
  EXPECT_EQ(fromCount.GetNumProgScans(), 1);
  uint8_t raw[16] = {};
  le::PutU16(raw, 4321);
  for (int32_t c = 0; c < 2; ++c) {
    EXPECT_EQ(fromRecords.ScaleSample(c, raw), fromFile.ScaleSample(c, raw));
    EXPECT_EQ(fromCount.ScaleSample(c, raw), fromFile.ScaleSample(c, raw));
  }
  SrcFmtMorvane negative(-1, image.data() + 32);
  EXPECT_NE(negative.GetStatus(), 0);
}

TEST(SrcFmtMorvane, BlockScalingGivesTheBitsOfThePlainFormula) {
  std::vector<Chan> chans;
  for (int32_t type = 0; type <= 15; ++type) {
    chans.push_back(Chan{type, 1.0f + static_cast<float>(type % 3), 0.37f * (type + 1), -1.25f, type % 2, 0});
  }
  chans[1].polarity = 2;  // type-K thermocouple pairing with the reference before it
  chans[13].polarity = 1;
  chans[14].polarity = 3;
  Head h;
  h.firstChannel = 5;
  std::vector<uint8_t> image = Form1(chans, h);
  SrcFmtMorvane source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  const int64_t scans = 300;
  std::vector<uint8_t> block(static_cast<size_t>(scans * source.GetScanSize()));
  uint32_t state = 12345;
  for (uint8_t& byte : block) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<uint8_t>(state >> 16);
  }
  const int64_t first = 1000;
  source.SetRawBlock(block.data(), scans, first);
  std::vector<uint8_t> fast(static_cast<size_t>(scans) * chans.size() * 4);
  source.ScaleScansToFloat32(first + 7, scans - 7, fast.data());
  size_t k = 0;
  for (int64_t scan = first + 7; scan < first + scans; ++scan) {
    for (int32_t c = 0; c < source.GetNumChans(); ++c, ++k) {
      double plain = 0.0;
      source.GetScaledValue(scan, c, &plain);
      ASSERT_EQ(le::U32(&fast[4 * k]), std::bit_cast<uint32_t>(static_cast<float>(plain)))
          << "scan " << scan << " channel " << c;
    }
  }
}

}  // namespace
}  // namespace travune
