// Tests of the Tarquil source: description acceptance (sizes, hostile counts), scaling for every
// flag combination, packed 12-bit blocks at every skew, and the time base. User-to-raw clamps
// are tested through the binary-descriptor functions.
#include "source/SrcFmtTarquil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "source/TarquilDescBuilder.h"

namespace travune {
namespace {

using testutil::FloatBits;
using testutil::TarquilChannelFields;
using testutil::TarquilHeaderFields;

constexpr uint32_t kAlt = 1u << 28;

TarquilHeaderFields HeaderFor(size_t numChans) { return {static_cast<uint16_t>(numChans), 1000, 100.0f, 100.0f}; }

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
      {"three channels", 3, 3, 0, true},
      {"one byte short", 1, 1, -1, false},
      {"one byte extra", 1, 1, 1, false},
      {"count one above the records", 2, 1, 0, false},
      {"hostile count", 65535, 0, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TarquilHeaderFields h = HeaderFor(0);
    h.numChans = c.numChans;
    std::vector<uint8_t> image = testutil::TarquilImage(h, std::vector<TarquilChannelFields>(c.channels));
    image.resize(static_cast<size_t>(static_cast<int64_t>(image.size()) + c.extraBytes), 0);
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
  for (size_t size : {0, 29}) {
    std::vector<uint8_t> image(size, 0);
    EXPECT_EQ(SrcFmtTarquil(image.data(), image.size()).GetStatus(), -1) << size;
  }
  EXPECT_EQ(SrcFmtTarquil(nullptr, size_t{30}).GetStatus(), -1);
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

// Packed files of 1 ... 5 channels (samples (2731 i + 977) mod 4096): unpacked in place in
// chunks of any size, and laid out from every first scan into buffers sized as the session sizes
// them (room for the scans plus the 12 bytes held back, and 2 bytes more, which the layout rounds
// down to a multiple of 4). Every sample reads as its word shifted up by 4 and scales as that
// word does in an unpacked acquisition; nothing past the buffer is written.
TEST(SrcFmtTarquilTest, PackedBlocksAtEverySkewMatchTheUnpackedLayout) {
  constexpr int64_t kTotalScans = 24;
  for (int numChans = 1; numChans <= 5; ++numChans) {
    std::vector<TarquilChannelFields> channels;
    for (int c = 0; c < numChans; ++c) channels.push_back(Chan(c % 2 == 0 ? 1 : 9, static_cast<uint32_t>(c + 1)));
    std::vector<uint16_t> samples(static_cast<size_t>(numChans * kTotalScans));
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint16_t>((i * 2731 + 977) & 0xFFF);
    const std::vector<uint8_t> packedFile = testutil::PackTwelveBit(samples);
    std::vector<uint8_t> unpackedFile(samples.size() * 2);
    for (size_t i = 0; i < samples.size(); ++i) le::PutU16(&unpackedFile[2 * i], static_cast<uint16_t>(samples[i] << 4));
    for (int64_t chunk : {1, 3, 7, 100}) {
      std::vector<uint8_t> inPlace = packedFile;
      inPlace.resize(unpackedFile.size());
      UnpackTarquilGroups(inPlace.data(), static_cast<int64_t>(packedFile.size() / 6), chunk);
      ASSERT_EQ(inPlace, unpackedFile) << "chunk " << chunk;
    }

    TarquilHeaderFields h = HeaderFor(channels.size());
    const std::vector<uint8_t> plainImage = testutil::TarquilImage(h, channels);
    h.packed = 1;
    const std::vector<uint8_t> packedImage = testutil::TarquilImage(h, channels);
    const SrcFmtTarquil plain(plainImage.data(), plainImage.size());
    SrcFmtTarquil packed(packedImage.data(), packedImage.size());
    ASSERT_TRUE(packed.GetStatus() == 0 && packed.IsPacked());
    for (int64_t firstScan = 0; firstScan < 8; ++firstScan) {
      for (int64_t wanted = 1; wanted <= 9; ++wanted) {
        for (int64_t extra : {0, 2}) {
          SCOPED_TRACE(testing::Message() << "chans " << numChans << " first " << firstScan << " scans " << wanted
                                          << " extra " << extra);
          const int64_t bufBytes = 2 * numChans * wanted + 12 + extra;
          int64_t scans = wanted, bytes = -1, offset = -1;
          packed.GetBlockLayout(bufBytes, &scans, &bytes, firstScan, &offset);
          ASSERT_EQ(scans, std::min(wanted, (bufBytes / 4 * 4 - 12) / (2 * numChans)));
          if (scans == 0) continue;
          ASSERT_LE(offset + bytes, static_cast<int64_t>(packedFile.size()));
          ASSERT_LE(bytes / 6 * 8, bufBytes);  // unpacked in place, every group fits the buffer
          std::vector<uint8_t> buffer(static_cast<size_t>(bufBytes) + 8, 0xCC);  // 8 guard bytes
          std::copy(packedFile.begin() + offset, packedFile.begin() + offset + bytes, buffer.begin());
          packed.SetRawBlock(buffer.data(), scans, firstScan);
          EXPECT_EQ(packed.Skew(), numChans * firstScan % 4);
          for (size_t g = static_cast<size_t>(bufBytes); g < buffer.size(); ++g) ASSERT_EQ(buffer[g], 0xCC);
          for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
            for (int32_t chan = 0; chan < numChans; ++chan) {
              const uint8_t* word = &unpackedFile[static_cast<size_t>(2 * (scan * numChans + chan))];
              ASSERT_EQ(le::U16(packed.GetRawSample(scan, chan)), le::U16(word)) << scan << " " << chan;
              double value = 0.0;
              packed.GetScaledValue(scan, chan, &value);
              ASSERT_EQ(value, plain.ScaleSample(chan, word)) << scan << " " << chan;
            }
          }
        }
      }
    }
  }
}

// (B - 12) / 6 scans of three channels with B = bufBytes rounded down to 4; offsets past 4 GiB.
TEST(SrcFmtTarquilTest, PackedLayoutLimitsAndSixtyFourBitOffsets) {
  TarquilHeaderFields h = HeaderFor(3);
  h.packed = 1;
  const std::vector<uint8_t> three = testutil::TarquilImage(h, std::vector<TarquilChannelFields>(3));
  SrcFmtTarquil source(three.data(), three.size());
  ASSERT_EQ(source.GetStatus(), 0);
  struct LayoutCase { int64_t bufBytes, scans, firstScan, layoutScans, offset, bytes; };
  const LayoutCase layouts[] = {
      {63, 100, 0, 8, 0, 36},  // B 60: 8 scans, samples 0..23
      {13, 100, 0, 0, 0, 0},   {-8, 100, 0, 0, 0, 0},
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
      {"after the trigger, post rate", 4.0f, 8.0f, 100, 116, true, 2.0},
      {"no pre-trigger scans, pre rate 0", 0.0f, 8.0f, 0, 16, true, 2.0},
      {"pre rate 0 with pre-trigger scans", 0.0f, 8.0f, 10, 20, false, 0.0},
      {"post rate 0 at the trigger", 4.0f, 0.0f, 10, 10, true, 0.0},
      {"post rate 0 after the trigger", 4.0f, 0.0f, 10, 11, false, 0.0},
      {"largest pre-trigger count", 2.0f, 2.0f, 2147483647, 0, true, -1073741823.5},
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

}  // namespace
}  // namespace travune
