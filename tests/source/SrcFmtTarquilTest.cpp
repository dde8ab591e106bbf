// Tests of the Tarquil source: description acceptance (sizes, hostile counts), scaling for every
// flag combination, user-to-raw clamps, packed 12-bit blocks at every skew, and the time base.
#include "source/SrcFmtTarquil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "source/TarquilDescBuilder.h"

namespace travune {
namespace {

using testutil::FloatBits;
using testutil::TarquilChannelFields;
using testutil::TarquilHeaderFields;

constexpr uint32_t kAlt = 1u << 28;

TarquilHeaderFields HeaderFor(size_t numChans) {
  TarquilHeaderFields h;
  h.numChans = static_cast<uint16_t>(numChans);
  h.progScans = 1000;
  h.preTrigRate = 100.0f;
  h.postTrigRate = 100.0f;
  return h;
}

TEST(SrcFmtTarquilTest, DescriptionAcceptance) {
  struct Case {
    const char* name;
    uint16_t numChans;  // written into the first word
    size_t channels;    // records actually present
    int extraBytes;     // added to (or, negative, removed from) the image's end
    bool accepted;
  };
  const Case cases[] = {
      {"no channels, 30 bytes", 0, 0, 0, true},
      {"one channel", 1, 1, 0, true},
      {"three channels", 3, 3, 0, true},
      {"one byte short", 1, 1, -1, false},
      {"one byte extra", 1, 1, 1, false},
      {"trailer missing", 1, 1, -4, false},
      {"count one above the records", 2, 1, 0, false},
      {"count one below the records", 1, 2, 0, false},
      {"hostile count", 65535, 0, 0, false},
      {"size fits another count", 2, 2, 38, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TarquilHeaderFields h = HeaderFor(0);
    h.numChans = c.numChans;
    std::vector<uint8_t> image = testutil::TarquilImage(h, std::vector<TarquilChannelFields>(c.channels));
    if (c.extraBytes < 0) image.resize(image.size() - static_cast<size_t>(-c.extraBytes));
    image.resize(image.size() + static_cast<size_t>(c.extraBytes > 0 ? c.extraBytes : 0), 0);
    DescReader reader(image.data(), image.size());
    reader.Seek(5);
    EXPECT_EQ(IsTarquilDescription(reader), c.accepted);
    EXPECT_EQ(reader.Offset(), 0u);
    const SrcFmtTarquil source(image.data(), image.size());
    EXPECT_EQ(source.GetStatus(), c.accepted ? 0 : -1);
    if (c.accepted) {
      EXPECT_EQ(source.GetNumChans(), c.numChans);
    }
  }
  for (size_t size : {0, 1, 2, 29}) {
    std::vector<uint8_t> image(size, 0);
    EXPECT_EQ(SrcFmtTarquil(image.data(), image.size()).GetStatus(), -1) << size;
  }
  EXPECT_EQ(SrcFmtTarquil(nullptr, size_t{30}).GetStatus(), -1);
}

TEST(SrcFmtTarquilTest, HeaderFieldsTextsAndConstructors) {
  TarquilHeaderFields h = HeaderFor(2);
  h.progScans = 0xFFFFFFF0u;
  h.preTrigCount = 7;
  TarquilChannelFields a;
  a.label = "ABCDEFGHIJK";  // longer than the field: the nine bytes stay, unterminated
  a.units = "mV";
  TarquilChannelFields b;
  b.label = "";
  b.units = "123456789";
  const std::vector<uint8_t> image = testutil::TarquilImage(h, {a, b});
  SrcFmtTarquil source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_EQ(source.GetNumProgScans(), 0xFFFFFFF0LL);
  source.SetDataFileSize(40.0);
  EXPECT_EQ(source.GetNumScans(), 0xFFFFFFF0LL);  // the data-file size is not used
  EXPECT_EQ(source.GetScanSize(), 4);
  EXPECT_EQ(source.GetPreTrigCount(), 7);
  EXPECT_STREQ(source.GetChanLabel(0), "ABCDEFGHI");
  EXPECT_STREQ(source.GetChanUnits(0), "mV");
  EXPECT_STREQ(source.GetChanLabel(1), "");
  EXPECT_STREQ(source.GetChanUnits(1), "123456789");
  EXPECT_STREQ(source.GetChanLabel(2), "<err>");
  EXPECT_STREQ(source.GetChanUnits(-1), "<err>");
  EXPECT_STREQ(source.GetAppTitle(), "Tarquil");
  EXPECT_STREQ(source.GetDescVersion(), "");

  // The record constructors read the same bytes without the file's size rule.
  const std::vector<uint8_t> header = testutil::TarquilHeaderBytes(h);
  const std::vector<uint8_t> records = testutil::TarquilChannelBytes({a, b});
  const SrcFmtTarquil fromRecords(header.data(), records.data());
  ASSERT_EQ(fromRecords.GetStatus(), 0);
  EXPECT_EQ(fromRecords.GetNumProgScans(), 0xFFFFFFF0LL);
  EXPECT_STREQ(fromRecords.GetChanUnits(1), "123456789");
  const SrcFmtTarquil fromCount(2, records.data());
  ASSERT_EQ(fromCount.GetStatus(), 0);
  EXPECT_EQ(fromCount.GetNumChans(), 2);
  EXPECT_EQ(fromCount.GetNumProgScans(), 1);
  EXPECT_EQ(fromCount.GetPreTrigCount(), 0);
  EXPECT_FALSE(fromCount.IsPacked());
  EXPECT_EQ(fromCount.NativeTimeFormat().timed, 0);
  EXPECT_STREQ(fromCount.GetChanLabel(0), "ABCDEFGHI");

  EXPECT_EQ(SrcFmtTarquil(-1, records.data()).GetStatus(), -1);
  EXPECT_EQ(SrcFmtTarquil(65536, records.data()).GetStatus(), -1);
  EXPECT_EQ(SrcFmtTarquil(2, nullptr).GetStatus(), -1);
  EXPECT_EQ(SrcFmtTarquil(header.data(), nullptr).GetStatus(), -1);
  EXPECT_EQ(SrcFmtTarquil(0, nullptr).GetStatus(), 0);
}

struct ScaleCase {
  const char* name;
  TarquilChannelFields channel;
  double lower;
  double upper;
  int32_t precision;
  std::vector<std::pair<uint16_t, double>> samples;  // raw word -> user value
};

TarquilChannelFields Chan(uint32_t flags, uint32_t rangeWord, float scale = 1.0f, float offset = 0.0f,
                          float altOffset = 0.0f) {
  TarquilChannelFields c;
  c.flags = flags;
  c.rangeWord = rangeWord;
  c.userScale = scale;
  c.userOffset = offset;
  c.altOffset = altOffset;
  return c;
}

// Worked examples: ranges and values worked out by hand from each channel's range word and
// flags. k is the volts per count 10 / (gain × 65536), 0.000152587890625 at gain 1; a
// unipolar channel adds 32768 k; raw words are signed unless the channel is unsigned.
std::vector<ScaleCase> ScaleCases() {
  return {
      // −32768 k = −5 V, 1000 k, 32767 k.
      {"bipolar, gain 1", Chan(1, 1), -5.0, 4.999847412109375, 4,
       {{0x8000, -5.0}, {0, 0.0}, {1000, 0.152587890625}, {0x7FFF, 4.999847412109375}}},
      // 2 × (x k) + 1: 16384 k = 2.5 V reads 6.
      {"bipolar, user scale 2 and offset 1", Chan(1, 1, 2.0f, 1.0f), -9.0, 10.99969482421875, 4,
       {{0x8000, -9.0}, {16384, 6.0}, {0, 1.0}}},
      // k = 10 / 131072 and 32768 k = 2.5 V: −32768 reads 0 V, 0 reads 2.5 V.
      {"unipolar, gain 2", Chan(0, 2), 0.0, 4.9999237060546875, 4,
       {{0x8000, 0.0}, {0, 2.5}, {0x7FFF, 4.9999237060546875}}},
      // Unsigned 0..65535 × k: 0x8000 is 5 V.
      {"unsigned bipolar", Chan(9, 1), 0.0, 9.999847412109375, 4,
       {{0, 0.0}, {0x8000, 5.0}, {0xFFFF, 9.999847412109375}}},
      {"unsigned unipolar", Chan(8, 1), 5.0, 14.999847412109375, 4, {{0, 5.0}, {0xFFFF, 14.999847412109375}}},
      // Gain −1: k = −10 / 65536, the range runs downwards.
      {"negative gain word", Chan(1, 0xFFFFFFFFu), 5.0, -4.999847412109375, 4, {{0x8000, 5.0}, {0x4000, -2.5}}},
      // Input range -16284 ... 16483.5, user scale applied once more: x * 0.25 + 150.
      {"explicit factor and offset", Chan(2, 0, 0.5f, 100.0f), -8042.0, 8341.75, 4,
       {{0, 150.0}, {4, 151.0}, {0x8000, -8042.0}}},
      // Factor 1/1024 from the range word, offset 1: 2 * (x / 1024 + 1) - 3.
      {"alternate layout, explicit", Chan(2 | kAlt, FloatBits(0.0009765625f), 2.0f, -3.0f, 1.0f), -65.0,
       62.998046875, 4, {{1024, 1.0}, {0, -1.0}, {0x8000, -65.0}}},
      {"alternate layout, float gain 0.5", Chan(1 | kAlt, FloatBits(0.5f)), -10.0, 9.99969482421875, 4,
       {{16384, 5.0}, {0x8000, -10.0}}},
      // x * 0.25, floored.
      {"digital", Chan(2 | 4, 0, 0.5f), -8192.0, 8191.75, 0,
       {{0xFFFE, -1.0}, {0xFFFF, -1.0}, {5, 1.0}, {4, 1.0}, {0x8000, -8192.0}}},
      // Counts 1 ... 65535 give 0.5 ... 32767.5, inverted, then 4 * v + 1; a raw 0 counts as 1.
      {"reciprocal, unsigned", Chan(32 | 8 | 2 | kAlt, FloatBits(0.5f), 4.0f, 1.0f), 4.0 / 32767.5 + 1.0, 9.0, 4,
       {{4, 3.0}, {0, 9.0}, {1, 9.0}, {0xFFFF, 4.0 / 32767.5 + 1.0}}},
      // x - 2, inverted unless 0, then 3 * v + 7 (also for 0).
      {"reciprocal through zero", Chan(32 | 2 | kAlt, FloatBits(1.0f), 3.0f, 7.0f, -2.0f), 3.0 / 32765.0 + 7.0,
       -3.0 / 32770.0 + 7.0, 4, {{2, 7.0}, {4, 8.5}, {0, 4.0}, {0xFFFE, 6.25}}},
  };
}

TEST(SrcFmtTarquilTest, ScalingAndRangesForEveryFlagCombination) {
  const std::vector<ScaleCase> cases = ScaleCases();
  std::vector<TarquilChannelFields> channels;
  for (const ScaleCase& c : cases) channels.push_back(c.channel);
  const std::vector<uint8_t> image = testutil::TarquilImage(HeaderFor(channels.size()), channels);
  const SrcFmtTarquil source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  for (size_t i = 0; i < cases.size(); ++i) {
    const ScaleCase& c = cases[i];
    SCOPED_TRACE(c.name);
    const int32_t chan = static_cast<int32_t>(i);
    double lower = 0.0, upper = 0.0;
    ASSERT_TRUE(source.GetChanRange(chan, &lower, &upper));
    EXPECT_DOUBLE_EQ(lower, c.lower);
    EXPECT_DOUBLE_EQ(upper, c.upper);
    EXPECT_EQ(source.GetChanPrecision(chan), c.precision);
    for (const auto& [raw, expected] : c.samples) {
      double user = 0.0;
      source.ConvertRawToUser(chan, &user, raw);
      EXPECT_DOUBLE_EQ(user, expected) << "raw " << raw;
    }
  }
  double lower = 0.0, upper = 0.0;
  EXPECT_FALSE(source.GetChanRange(static_cast<int32_t>(cases.size()), &lower, &upper));
  EXPECT_EQ(source.GetChanPrecision(-1), -1);
  EXPECT_EQ(source.ScaleSample(static_cast<int32_t>(cases.size()), kZeroSample), 0.0);
}

TEST(SrcFmtTarquilTest, UserToRawClampsToThirtyTwoBits) {
  const std::vector<TarquilChannelFields> channels = {
      Chan(1, 1),                                                // 0: signed, x * 10 / 65536
      Chan(9, 1),                                                // 1: unsigned, x * 10 / 65536
      Chan(2, 0, 0.5f, 100.0f),                                  // 2: x * 0.25 + 150
      Chan(32 | 2 | kAlt, FloatBits(1.0f), 3.0f, 7.0f, -2.0f),  // 3: reciprocal
  };
  const std::vector<uint8_t> image = testutil::TarquilImage(HeaderFor(channels.size()), channels);
  const SrcFmtTarquil source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  struct Case {
    int32_t chan;
    double user;
    uint32_t raw;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Case cases[] = {
      {0, 2.5, 16384u},       {0, -5.0, 0xFFFF8000u}, {0, 100.0, 655360u},       {0, 1e30, 0x7FFFFFFFu},
      {0, -1e30, 0x80000000u}, {0, -0.0001, 0u},        {0, 0.0002, 1u},           {0, nan, 0u},
      {1, 5.0, 32768u},       {1, -1.0, 0u},          {1, 1e30, 0xFFFFFFFFu},    {1, 9.999847412109375, 65535u},
      {2, 151.0, 4u},         {2, 149.0, 0xFFFFFFFCu}, {3, 8.5, 4u},              {4, 1.0, 0u},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(source.UserToRaw(c.chan, c.user), c.raw) << "chan " << c.chan << " value " << c.user;
  }
  EXPECT_TRUE(source.CanUserToRaw(0));
  EXPECT_FALSE(source.CanUserToRaw(3));
  EXPECT_FALSE(source.CanUserToRaw(4));
  uint32_t raw = 123;
  source.ConvertUserToRaw(3, &raw, 8.5);
  EXPECT_EQ(raw, 0u);
  source.ConvertUserToRaw(0, &raw, 2.5);
  EXPECT_EQ(raw, 16384u);
}

// 12-bit test samples of a whole acquisition, sample index i of numChans * scans.
std::vector<uint16_t> TwelveBitSamples(size_t count) {
  std::vector<uint16_t> s(count);
  for (size_t i = 0; i < count; ++i) s[i] = static_cast<uint16_t>((i * 2731 + 977) & 0xFFF);
  return s;
}

TEST(SrcFmtTarquilTest, PackedBlocksAtEverySkewMatchTheUnpackedLayout) {
  constexpr int64_t kTotalScans = 24;
  for (int numChans = 1; numChans <= 5; ++numChans) {
    std::vector<TarquilChannelFields> channels;
    for (int c = 0; c < numChans; ++c) channels.push_back(Chan(c % 2 == 0 ? 1 : 9, static_cast<uint32_t>(c + 1)));
    const std::vector<uint16_t> samples = TwelveBitSamples(static_cast<size_t>(numChans * kTotalScans));
    const std::vector<uint8_t> packedFile = testutil::PackTwelveBit(samples);
    std::vector<uint8_t> unpackedFile(samples.size() * 2);
    for (size_t i = 0; i < samples.size(); ++i) le::PutU16(&unpackedFile[2 * i], static_cast<uint16_t>(samples[i] << 4));

    TarquilHeaderFields h = HeaderFor(channels.size());
    const std::vector<uint8_t> plainImage = testutil::TarquilImage(h, channels);
    h.packed = 1;
    const std::vector<uint8_t> packedImage = testutil::TarquilImage(h, channels);
    SrcFmtTarquil plain(plainImage.data(), plainImage.size());
    SrcFmtTarquil packed(packedImage.data(), packedImage.size());
    ASSERT_EQ(packed.GetStatus(), 0);
    ASSERT_TRUE(packed.IsPacked());

    for (int64_t firstScan = 0; firstScan < 8; ++firstScan) {
      for (int64_t wanted = 1; wanted <= 9; ++wanted) {
        // Buffers sized exactly as the session sizes them: room for the scans plus the 12 bytes
        // held back, and 2 bytes more, which the layout rounds down to a multiple of 4.
        for (int64_t extra : {0, 2}) {
        SCOPED_TRACE("chans " + std::to_string(numChans) + " first " + std::to_string(firstScan) + " scans " +
                     std::to_string(wanted) + " extra " + std::to_string(extra));
        const int64_t bufBytes = 2 * numChans * wanted + 12 + extra;
        const int64_t fit = (bufBytes / 4 * 4 - 12) / (2 * numChans);
        int64_t scans = wanted, bytes = -1, offset = -1;
        packed.GetBlockLayout(bufBytes, &scans, &bytes, firstScan, &offset);
        ASSERT_EQ(scans, std::min(wanted, fit));
        if (scans == 0) continue;
        const int64_t s0 = numChans * firstScan;
        ASSERT_LE(offset + bytes, static_cast<int64_t>(packedFile.size()));
        ASSERT_LE(bytes / 6 * 8, bufBytes);  // unpacked in place, every group fits the buffer

        std::vector<uint8_t> buffer(static_cast<size_t>(bufBytes) + 8, 0xCC);  // 8 guard bytes
        std::copy(packedFile.begin() + offset, packedFile.begin() + offset + bytes, buffer.begin());
        packed.SetRawBlock(buffer.data(), scans, firstScan);
        EXPECT_EQ(packed.Skew(), s0 % 4);
        for (size_t g = static_cast<size_t>(bufBytes); g < buffer.size(); ++g) ASSERT_EQ(buffer[g], 0xCC);

        int64_t plainScans = scans, plainBytes = 0, plainOffset = 0;
        plain.GetBlockLayout(1 << 20, &plainScans, &plainBytes, firstScan, &plainOffset);
        std::vector<uint8_t> plainBuffer(unpackedFile.begin() + plainOffset,
                                         unpackedFile.begin() + plainOffset + plainBytes);
        plain.SetRawBlock(plainBuffer.data(), plainScans, firstScan);
        for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
          for (int32_t chan = 0; chan < numChans; ++chan) {
            double a = 0.0, b = 0.0;
            packed.GetScaledValue(scan, chan, &a);
            plain.GetScaledValue(scan, chan, &b);
            ASSERT_EQ(a, b) << "scan " << scan << " chan " << chan;
            const uint16_t word = le::U16(packed.GetRawSample(scan, chan));
            ASSERT_EQ(word, samples[static_cast<size_t>(scan * numChans + chan)] << 4);
          }
        }
        }
      }
    }
  }
}

TEST(SrcFmtTarquilTest, PackedLayoutLimitsAndSixtyFourBitOffsets) {
  TarquilHeaderFields h = HeaderFor(3);
  h.packed = 1;
  const std::vector<uint8_t> three = testutil::TarquilImage(h, std::vector<TarquilChannelFields>(3));
  SrcFmtTarquil source(three.data(), three.size());
  ASSERT_EQ(source.GetStatus(), 0);
  struct FitCase {
    int64_t bufBytes, scans, fitScans, fitBytes;
  };
  // Scan size 6: at most bufBytes / 6 scans, more than 4 rounded down to a multiple of 4; the
  // packed bytes 6 * scans * 3 / 4 rounded up to whole groups.
  const FitCase fits[] = {{100, 1000, 16, 72}, {40, 1000, 4, 18}, {100, 3, 3, 18}, {5, 10, 0, 0}, {60, 7, 4, 18}};
  for (const FitCase& f : fits) {
    int64_t scans = f.scans, bytes = -1;
    source.FitScansToBuffer(f.bufBytes, &scans, &bytes);
    EXPECT_EQ(scans, f.fitScans) << f.bufBytes << " " << f.scans;
    EXPECT_EQ(bytes, f.fitBytes) << f.bufBytes << " " << f.scans;
  }
  struct LayoutCase {
    int64_t bufBytes, scans, firstScan, layoutScans, offset, bytes;
  };
  // (B - 12) / 6 scans with B = bufBytes rounded down to 4.
  const LayoutCase layouts[] = {
      {63, 100, 0, 8, 0, 36},  // B 60: 8 scans, samples 0..23
      {13, 100, 0, 0, 0, 0},   {5, 100, 0, 0, 0, 0}, {-8, 100, 0, 0, 0, 0},
      {1000, 1, 1, 1, 0, 12},  // samples 3..5 lie in groups 0 and 1
      // Sample 3000000003 onwards: the offset needs 64 bits.
      {1000, 2, 1000000001, 2, 4500000000, 18},
  };
  for (const LayoutCase& l : layouts) {
    int64_t scans = l.scans, bytes = -1, offset = -1;
    source.GetBlockLayout(l.bufBytes, &scans, &bytes, l.firstScan, &offset);
    EXPECT_EQ(scans, l.layoutScans) << l.bufBytes;
    EXPECT_EQ(offset, l.offset) << l.bufBytes;
    EXPECT_EQ(bytes, l.bytes) << l.bufBytes;
  }
  // Three channels from scan 1: skew 3, and channel 0 of scan 1 is the fourth unpacked word.
  std::vector<uint16_t> samples = {1, 2, 3, 0xABC, 5, 6, 7, 8};
  std::vector<uint8_t> block = testutil::PackTwelveBit(samples);
  block.resize(32);
  source.SetRawBlock(block.data(), 1, 1);
  EXPECT_EQ(source.Skew(), 3);
  EXPECT_EQ(source.GetRawSample(1, 0), block.data() + 6);
  EXPECT_EQ(le::U16(source.GetRawSample(1, 0)), 0xABC0);
  EXPECT_EQ(le::U16(source.GetRawSample(1, 2)), 0x0060);
}

TEST(SrcFmtTarquilTest, ChunkedUnpackingMatchesOneCall) {
  const std::vector<uint16_t> samples = TwelveBitSamples(40);
  const std::vector<uint8_t> packed = testutil::PackTwelveBit(samples);
  for (int64_t chunk : {1, 2, 3, 4, 7, 10, 100}) {
    std::vector<uint8_t> block(80, 0);
    std::copy(packed.begin(), packed.end(), block.begin());
    UnpackTarquilGroups(block.data(), 10, chunk);
    for (size_t i = 0; i < samples.size(); ++i) {
      ASSERT_EQ(le::U16(&block[2 * i]), samples[i] << 4) << "chunk " << chunk << " sample " << i;
    }
  }
}

TEST(SrcFmtTarquilTest, TimeBaseAroundTheTrigger) {
  struct Case {
    const char* name;
    float preRate, postRate;
    int32_t preTrigCount;
    int64_t scan;
    bool ok;
    double seconds;  // or the scan count when both rates are 0
  };
  const Case cases[] = {
      {"ten scans before the trigger", 4.0f, 8.0f, 100, 90, true, -2.5},
      {"first scan", 4.0f, 8.0f, 100, 0, true, -25.0},
      {"trigger scan", 4.0f, 8.0f, 100, 100, true, 0.0},
      {"after the trigger, post rate", 4.0f, 8.0f, 100, 116, true, 2.0},
      {"no pre-trigger scans, pre rate 0", 0.0f, 8.0f, 0, 16, true, 2.0},
      {"pre rate 0 with pre-trigger scans", 0.0f, 8.0f, 10, 20, false, 0.0},
      {"post rate 0 before the trigger", 4.0f, 0.0f, 10, 5, true, -1.25},
      {"post rate 0 at the trigger", 4.0f, 0.0f, 10, 10, true, 0.0},
      {"post rate 0 after the trigger", 4.0f, 0.0f, 10, 11, false, 0.0},
      {"largest pre-trigger count", 2.0f, 2.0f, 2147483647, 0, true, -1073741823.5},
      {"untimed, before the trigger", 0.0f, 0.0f, 100, 90, true, -10.0},
      {"untimed, after the trigger", 0.0f, 0.0f, 100, 5000000000, true, 4999999900.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TarquilHeaderFields h = HeaderFor(1);
    h.preTrigRate = c.preRate;
    h.postTrigRate = c.postRate;
    h.preTrigCount = c.preTrigCount;
    const std::vector<uint8_t> image = testutil::TarquilImage(h, {Chan(1, 1)});
    SrcFmtTarquil source(image.data(), image.size());
    ASSERT_EQ(source.GetStatus(), 0);
    const bool timed = c.preRate != 0.0f || c.postRate != 0.0f;
    EXPECT_EQ(source.NativeTimeFormat().timed, timed ? 1 : 0);
    double t = 12345.0;
    ASSERT_EQ(source.GetNativeScanTime(c.scan, &t), c.ok);
    if (c.ok) {
      EXPECT_DOUBLE_EQ(t, timed ? c.seconds / 86400.0 : c.seconds);
    }
  }
}

TEST(SrcFmtTarquilTest, RatesAndUniformity) {
  struct Case {
    float preRate, postRate;
    int32_t preTrigCount;
    double pre, post;
    bool uniform;
    uint32_t digits;
  };
  const Case cases[] = {
      {500.0f, 2000.0f, 10, 500.0, 2000.0, false, 6}, {500.0f, 2000.0f, 0, 2000.0, 2000.0, true, 6},
      {0.0f, 0.0f, 10, 1.0, 1.0, false, 0},          {0.0f, 50.0f, 10, 1.0, 50.0, false, 3},
      {50.0f, 0.0f, 10, 50.0, 1.0, false, 3},        {1.0f, 1.0f, 5, 1.0, 1.0, true, 0},
  };
  for (const Case& c : cases) {
    TarquilHeaderFields h = HeaderFor(1);
    h.preTrigRate = c.preRate;
    h.postTrigRate = c.postRate;
    h.preTrigCount = c.preTrigCount;
    const std::vector<uint8_t> image = testutil::TarquilImage(h, {Chan(1, 1)});
    const SrcFmtTarquil source(image.data(), image.size());
    SCOPED_TRACE(std::to_string(c.preRate) + " " + std::to_string(c.postRate) + " " + std::to_string(c.preTrigCount));
    EXPECT_EQ(source.GetPreTrigRate(), c.pre);
    EXPECT_EQ(source.GetPostTrigRate(), c.post);
    EXPECT_EQ(source.HasUniformRate(), c.uniform);
    EXPECT_EQ(source.NativeTimeFormat().digits, c.digits);
  }
}

}  // namespace
}  // namespace travune
