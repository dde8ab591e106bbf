// Bulk scaling of every source: ScaleScans gives the very bits of GetScaledValue for every
// channel kind and every raw code, without a raw block, for driver temperatures inside the
// driver's valid ranges, and for two Morvane sources scaled in turns.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "source/SourceImages.h"
#include "source/SrcFmtBrenlow.h"
#include "source/SrcFmtBrenlowTitled.h"
#include "source/SrcFmtCeldrin.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtQuillon.h"
#include "source/SrcFmtTarquil.h"
#include "source/TarquilDescBuilder.h"
#include "support/LittleEndian.h"

namespace travune {
namespace {

using testutil::MorvaneChan;
using Maker = std::function<std::unique_ptr<SrcFmt>()>;

// Blocks start inside the acquisition, so that a scan's place in the block is not its number.
constexpr int64_t kFirstScan = 1000;

template <typename Source, typename... Extra>
Maker MakerOf(std::vector<uint8_t> image, Extra... extra) {
  return [image, extra...]() -> std::unique_ptr<SrcFmt> {
    return std::make_unique<Source>(image.data(), image.size(), extra...);
  };
}

// A Morvane source whose raw position of firstChannel is exchanged with channel 0's.
Maker MorvaneMaker(const std::vector<MorvaneChan>& chans, int32_t firstChannel) {
  return MakerOf<SrcFmtMorvane>(testutil::MorvaneImage(chans, {.firstChannel = firstChannel}));
}

float NanWithPayload(uint32_t payload) { return std::bit_cast<float>(0x7FC00000u | payload); }

// A raw block as a reader hands it over: the buffer, the scans it holds and its first scan.
struct RawBlock {
  std::vector<uint8_t> buffer;
  int64_t scans = 0;
  int64_t firstScan = kFirstScan;
};

// 16-bit word w of scan s holds (s + 4099 w) mod 65536: every channel meets every code.
RawBlock EveryWordCode(const SrcFmt& source) {
  const int64_t words = source.GetScanSize() / 2;
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(65536 * words * 2)), 65536};
  for (int64_t i = 0; i < 65536 * words; ++i) {
    le::PutU16(&block.buffer[static_cast<size_t>(2 * i)], static_cast<uint16_t>(i / words + 4099 * (i % words)));
  }
  return block;
}

// 32-bit float f of scan s has the upper half (s + 4099 f) mod 65536: every 16-bit code, first
// with a zero lower half (zeros, infinities, range limits), then with a varying one (NaN
// payloads, signalling NaNs, subnormals).
RawBlock EveryFloatCode(const SrcFmt& source) {
  const int64_t floats = source.GetScanSize() / 4;
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(2 * 65536 * floats * 4)), 2 * 65536};
  for (int64_t s = 0; s < block.scans; ++s) {
    for (int64_t f = 0; f < floats; ++f) {
      const uint32_t high = static_cast<uint32_t>(s + 4099 * f) & 0xFFFFu;
      const uint32_t low = s < 65536 ? 0u : static_cast<uint32_t>(f * 0x9E37 + 1) & 0xFFFFu;
      le::PutU32(&block.buffer[static_cast<size_t>(4 * (s * floats + f))], high << 16 | low);
    }
  }
  return block;
}

// A packed Tarquil block: the file holds the 12-bit samples (scan + 1031 channel) mod 4096 of
// scans 0 ... 4096; the block of scans 1 ... 4096 (starting inside a six-byte group when the
// channel count is odd) is laid out by the source.
RawBlock EveryPackedCode(const SrcFmt& source) {
  const int64_t chans = source.GetNumChans();
  std::vector<uint16_t> samples(static_cast<size_t>(4097 * chans));
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = (i / chans + 1031 * (i % chans)) & 0xFFF;
  const std::vector<uint8_t> file = testutil::PackTwelveBit(samples);
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(4096 * source.GetScanSize() + 16)), 4096, 1};
  int64_t bytes = 0;
  int64_t offset = 0;
  source.GetBlockLayout(static_cast<int64_t>(block.buffer.size()), &block.scans, &bytes, 1, &offset);
  EXPECT_EQ(block.scans, 4096);
  std::copy(file.begin() + offset, file.begin() + offset + bytes, block.buffer.begin());
  return block;
}

// ScaleScans over the block, in two calls so that the second starts inside it.
std::vector<double> ScaleInBulk(const SrcFmt& source, int64_t firstScan, int64_t scans) {
  const int64_t chans = source.GetNumChans();
  std::vector<double> out(static_cast<size_t>(scans * chans));
  const int64_t head = scans / 3;
  source.ScaleScans(firstScan, head, out.data());
  source.ScaleScans(firstScan + head, scans - head, out.data() + head * chans);
  return out;
}

std::vector<double> ScaleOneByOne(const SrcFmt& source, int64_t firstScan, int64_t scans) {
  std::vector<double> out(static_cast<size_t>(scans * source.GetNumChans()));
  for (size_t i = 0; i < out.size(); ++i) {
    const auto chan = static_cast<int32_t>(i % static_cast<size_t>(source.GetNumChans()));
    source.GetScaledValue(firstScan + static_cast<int64_t>(i) / source.GetNumChans(), chan, &out[i]);
  }
  return out;
}

// Equal bit patterns, so that -0.0 against 0.0 and NaN payloads count; names the first difference.
testing::AssertionResult SameBits(const std::vector<double>& bulk, const std::vector<double>& plain, int64_t chans) {
  if (bulk.size() != plain.size()) return testing::AssertionFailure() << bulk.size() << " against " << plain.size();
  for (size_t i = 0; i < bulk.size(); ++i) {
    if (std::bit_cast<uint64_t>(bulk[i]) != std::bit_cast<uint64_t>(plain[i])) {
      return testing::AssertionFailure() << "scan " << static_cast<int64_t>(i) / chans << " of the block, channel "
                                         << static_cast<int64_t>(i) % chans << ": bulk " << bulk[i]
                                         << ", sample by sample " << plain[i];
    }
  }
  return testing::AssertionSuccess();
}

// Two sources made alike, each with its own copy of the block (packed data unpacks in place):
// one scaled with ScaleScans, the other sample by sample.
testing::AssertionResult BulkMatchesPlain(const Maker& make, const RawBlock& block,
                                          std::vector<double>* values = nullptr) {
  const std::unique_ptr<SrcFmt> bulk = make();
  const std::unique_ptr<SrcFmt> plain = make();
  RawBlock bulkBlock = block;
  RawBlock plainBlock = block;
  bulk->SetRawBlock(bulkBlock.buffer.data(), block.scans, block.firstScan);
  plain->SetRawBlock(plainBlock.buffer.data(), block.scans, block.firstScan);
  std::vector<double> plainValues = ScaleOneByOne(*plain, block.firstScan, block.scans);
  const testing::AssertionResult same =
      SameBits(ScaleInBulk(*bulk, block.firstScan, block.scans), plainValues, bulk->GetNumChans());
  if (values != nullptr) *values = std::move(plainValues);
  return same;
}

// Without a raw block every sample reads as a raw zero, in bulk as sample by sample.
testing::AssertionResult NoBlockReadsAsZeros(const Maker& make) {
  const std::unique_ptr<SrcFmt> bulk = make();
  const std::unique_ptr<SrcFmt> plain = make();
  const std::unique_ptr<SrcFmt> single = make();
  std::vector<double> fromZeros;
  for (int scan = 0; scan < 3; ++scan) {
    for (int32_t chan = 0; chan < single->GetNumChans(); ++chan) {
      fromZeros.push_back(single->ScaleSample(chan, kZeroSample));
    }
  }
  const testing::AssertionResult same = SameBits(ScaleInBulk(*bulk, kFirstScan, 3), fromZeros, bulk->GetNumChans());
  return same ? SameBits(ScaleOneByOne(*plain, kFirstScan, 3), fromZeros, bulk->GetNumChans()) : same;
}

// Morvane kinds scaled by their factors alone: voltage inputs (bipolar, unipolar, gain 0 read as
// 1), digital inputs and counters, factor and offset kinds, a factor and offset that give -0.0
// for a raw 0, and NaN factors whose payloads show the order of operations.
const std::vector<MorvaneChan> kMorvaneByFactors = {
    {0, 1, 1, 0, 1},  {0, 0, 2.5f, -1, 0}, {0, 10, 1, 0, 0}, {7, 2, 1, 0.5f, 1},   {7, 1, 3, 0, 0},
    {11, 0, 1, 0, 0}, {11, 4, 0.25f, 2, 1}, {8, 1, 1, 0, 0}, {9, 1, -1, -0.0f, 0}, {10, 1, 0.001f, 7, 0},
    {6, 1, 2, 1, 0},  {12, 1, 1, 0, 0},     {15, 1, NanWithPayload(0x1234), NanWithPayload(0x5678), 0},
};

// Those and the reference kinds, which also set the reference word.
std::vector<MorvaneChan> MorvaneLinearKinds() {
  std::vector<MorvaneChan> kinds = kMorvaneByFactors;
  kinds.insert(kinds.end(), {{3, 1, 1, 0, 1}, {3, 1, 2, 1, 0}, {4, 1, 1, 0, 1}, {4, 1, 1, 0, 0}, {5, 1, 1, 0, 1},
                             {5, 1, 1.5f, -3, 0}});
  return kinds;
}

// Every type 0 ... 15 with the driver's kinds among them: on most codes the driver fails.
std::vector<MorvaneChan> MorvaneEveryType() {
  std::vector<MorvaneChan> chans;
  for (int32_t type = 0; type <= 15; ++type) {
    chans.push_back({type, 1.0f + static_cast<float>(type % 3), 0.37f * static_cast<float>(type + 1), -1.25f, 2});
  }
  return chans;
}

// Every combination of the six Tarquil flags, then a zero gain (an infinite factor).
std::vector<uint8_t> TarquilImage(bool packed) {
  const uint32_t flags[] = {kTarquilBipolar,  kTarquilExplicitScale, kTarquilDigital,
                            kTarquilUnsigned, kTarquilReciprocal,    kTarquilAltLayout};
  std::vector<testutil::TarquilChannelFields> channels(65);
  for (uint32_t combination = 0; combination < 64; ++combination) {
    testutil::TarquilChannelFields& c = channels[combination];
    for (int bit = 0; bit < 6; ++bit) c.flags |= (combination >> bit & 1u) != 0 ? flags[bit] : 0u;
    c.rangeWord = (c.flags & kTarquilAltLayout) != 0 ? testutil::FloatBits(0.5f) : 2u;
    c.userScale = 1.5f;
    c.userOffset = -0.25f;
    c.altOffset = 0.125f;
  }
  channels[64].rangeWord = 0;
  return testutil::TarquilImage({65, 100000, 0.0f, 1000.0f, 0, packed ? 1u : 0u}, channels);
}

// A clock stamp ahead of position 5, positions out of order and with a gap, analog and digital
// channels, the four temperature kinds, one in the wrong case, zero counts per unit, zero gain.
std::vector<uint8_t> CeldrinImage() {
  return testutil::CeldrinImage(
      {.channels = {"5,1,a,VOLTS,1,0,0,0,0,V", "9,3.2768,b,VOLTS,2,-1.5,0,0,0,V", "6,1,c,DIGITAL,1,0,0,0,0,-",
                    "7,1000,d,DIGITAL,0.5,3,0,0,0,-", "8,1,e,Deg C,1,0,0,0,0,C", "10,1,f,Deg F,2,1,0,0,0,F",
                    "11,1,g,Deg K,1,0,0,0,0,K", "12,1,h,Deg R,1,-0.5,0,0,0,R", "13,1,i,deg f,1,0,0,0,0,F",
                    "14,0,j,VOLTS,1,0,0,0,0,V", "16,1,k,VOLTS,0,0,0,0,0,V"}});
}

// Float channel ranges (type, lower, upper): ordinary, inverted, empty, infinite, a NaN limit,
// both signs of zero, a subnormal limit.
const std::vector<testutil::BrenlowRecord> kFloatRanges = {
    {0, -10.0, 10.0}, {0, 5.0, -5.0}, {4, 3.0, 3.0},   {7, -HUGE_VAL, HUGE_VAL}, {8, NanWithPayload(1), 1.0},
    {0, -0.0, 0.0},   {0, 1e-40, 1.5}, {0, -1e30, 1e30},
};

// The float ranges with a time-stamp record among them and a second one later.
std::vector<uint8_t> BrenlowImage() {
  std::vector<testutil::BrenlowRecord> records = kFloatRanges;
  records.insert(records.begin() + 1, {6, 0, 0});
  records.insert(records.begin() + 5, {6, 0, 0});
  return testutil::BrenlowImage(records);
}

std::vector<uint8_t> QuillonImage() {
  testutil::QuillonDesc d;
  d.channels.clear();
  for (const testutil::BrenlowRecord& r : kFloatRanges) {
    d.channels.push_back({r.type, static_cast<float>(r.lower), static_cast<float>(r.upper)});
  }
  return testutil::QuillonImage(d);
}

TEST(BulkScaling, EveryKindGivesTheBitsOfSampleScalingForEveryRawCode) {
  struct Case {
    const char* name;
    Maker make;
    RawBlock (*fill)(const SrcFmt&);
  };
  const Case cases[] = {
      {"Morvane, factors alone", MorvaneMaker(kMorvaneByFactors, 4), EveryWordCode},
      {"Morvane, reference kinds", MorvaneMaker(MorvaneLinearKinds(), 7), EveryWordCode},
      {"Morvane, every type", MorvaneMaker(MorvaneEveryType(), 5), EveryWordCode},
      {"Tarquil, 16-bit", MakerOf<SrcFmtTarquil>(TarquilImage(false)), EveryWordCode},
      {"Tarquil, packed 12-bit", MakerOf<SrcFmtTarquil>(TarquilImage(true)), EveryPackedCode},
      {"Celdrin", MakerOf<SrcFmtCeldrin>(CeldrinImage(), ",", int64_t{1} << 30), EveryWordCode},
      {"Brenlow", MakerOf<SrcFmtBrenlow>(BrenlowImage()), EveryFloatCode},
      {"Vexmoor", MakerOf<SrcFmtBrenlowTitled>(BrenlowImage(), "Vexmoor"), EveryFloatCode},
      {"Quillon", MakerOf<SrcFmtQuillon>(QuillonImage()), EveryFloatCode},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::unique_ptr<SrcFmt> layout = c.make();
    ASSERT_EQ(layout->GetStatus(), 0);
    EXPECT_TRUE(BulkMatchesPlain(c.make, c.fill(*layout)));
    EXPECT_TRUE(NoBlockReadsAsZeros(c.make));
  }
}

// Temperature channels with codes inside the driver's valid ranges: J, K, T and N thermocouples
// at gains 1 and 10, each a few hundred codes around the zero-volt code 32768; cold junctions of
// 0 to 50 °C (code × 205 / 65536 − 102.5); a four-wire RTD of 19 to 389 Ω. Type-1 channels take
// the reference word scaled last: channel 0 the one of the scan before (0 in the first scan).
TEST(BulkScaling, DriverTemperaturesInsideTheValidRangesGiveTheBitsOfSampleScaling) {
  struct DriverChan {
    MorvaneChan chan;
    int32_t lowest;  // codes run from 32768 + lowest over span codes
    int32_t span;
  };
  const DriverChan driverChans[] = {
      {{1, 1, 1, 0, 2}, 0, 341},        // K pair, reference from the scan before
      {{3, 1, 1, 0, 1}, 0, 16000},      // reference, 0 ... 50 °C
      {{1, 1, 1, 0, 1}, -40, 381},      // J pair, reference just before
      {{13, 1, 1, 0, 3}, -35, 156},     // T at a 0 °C junction; its word becomes the reference
      {{1, 1, 1, 0, 3}, -35, 156},      // T pair on that word
      {{4, 1, 1, 0, 0}, 0, 1000},       // reference channel scaled linearly
      {{2, 1, 1, 0, 0}, 0, 0},          // RTD, its own four words
      {{14, 10, 1, 0, 2}, -400, 3900},  // K at gain 10; its word becomes the reference
      {{1, 10, 1, 0, 2}, -400, 3900},   // K pair at gain 10
      {{1, 1, 1, 0, 8}, -25, 326},      // N pair
  };
  std::vector<MorvaneChan> chans;
  for (const DriverChan& d : driverChans) chans.push_back(d.chan);
  const Maker make = MorvaneMaker(chans, 3);
  const std::unique_ptr<SrcFmt> layoutSource = make();
  const auto& layout = dynamic_cast<const SrcFmtMorvane&>(*layoutSource);
  const int64_t words = layout.GetScanSize() / 2;
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(4000 * words * 2)), 4000};
  for (int64_t s = 0; s < block.scans; ++s) {
    for (int32_t c = 0; c < layout.GetNumChans(); ++c) {
      uint8_t* word = &block.buffer[static_cast<size_t>(2 * (s * words + layout.RawIndex(c)))];
      const DriverChan& d = driverChans[c];
      if (d.chan.type == 2) {
        // R = 400 Ω × (s_hi − s_lo) / (r_hi − r_lo) = (s_hi − s_lo) / 100.
        const int64_t low = 1000 + s % 7;
        le::PutU16(word, static_cast<uint16_t>(low + 1900 + s * 37 % 37000));
        le::PutU16(word + 2, static_cast<uint16_t>(low));
        le::PutU16(word + 4, 50000);
        le::PutU16(word + 6, 10000);
      } else {
        le::PutU16(word, static_cast<uint16_t>(32768 + d.lowest + s * 7 % d.span));
      }
    }
  }
  std::vector<double> values;
  EXPECT_TRUE(BulkMatchesPlain(make, block, &values));
  // A single-word thermocouple's temperature depends on its code alone: a fresh source that
  // meets the code first gives the bits that sources remembering thousands of codes gave.
  for (int64_t s = 0; s < block.scans; ++s) {
    std::vector<uint8_t> scan(block.buffer.begin() + s * words * 2, block.buffer.begin() + (s + 1) * words * 2);
    const std::unique_ptr<SrcFmt> fresh = make();
    fresh->SetRawBlock(scan.data(), 1, block.firstScan + s);
    for (int32_t c = 0; c < fresh->GetNumChans(); ++c) {
      if (chans[static_cast<size_t>(c)].type != 13 && chans[static_cast<size_t>(c)].type != 14) continue;
      double value = 0;
      fresh->GetScaledValue(block.firstScan + s, c, &value);
      ASSERT_EQ(std::bit_cast<uint64_t>(value), std::bit_cast<uint64_t>(values[static_cast<size_t>(s) * chans.size() + c]))
          << "scan " << s << ", channel " << c;
    }
  }
  // Every temperature lies within the sensors' ranges, so none is the driver's failure value.
  for (size_t i = 0; i < values.size(); ++i) {
    const int32_t type = chans[i % chans.size()].type;
    if (type == 1 || type == 2 || type == 13 || type == 14) {
      ASSERT_TRUE(values[i] >= -270.0 && values[i] <= 1372.0) << values[i] << " at value " << i;
    }
  }
}

// Two acquisitions with a thermocouple pair ahead of its reference channel (so each pair takes
// the reference word of the scan before), their junctions some 30 °C apart, scaled in turns a
// scan at a time give exactly what each gives alone.
TEST(BulkScaling, MorvaneSourcesScaledInTurnsKeepTheirOwnReferenceWord) {
  const Maker make = MorvaneMaker({{1, 1, 1, 0, 2}, {3, 1, 1, 0, 1}}, 0);
  const int64_t scans = 500;
  RawBlock blocks[2];
  const int32_t junctionCodes[2] = {32768 + 3200, 32768 + 12800};
  // Per acquisition: a source scaled alone, one in turns with ScaleScans, one with GetScaledValue.
  std::unique_ptr<SrcFmt> sources[2][3];
  std::vector<double> alone[2], inTurns[2], oneByOneInTurns[2];
  for (int k = 0; k < 2; ++k) {
    blocks[k] = RawBlock{std::vector<uint8_t>(static_cast<size_t>(scans * 4)), scans};
    for (int64_t s = 0; s < scans; ++s) {
      le::PutU16(&blocks[k].buffer[static_cast<size_t>(4 * s)], static_cast<uint16_t>(32768 + s * 11 % 300));
      le::PutU16(&blocks[k].buffer[static_cast<size_t>(4 * s + 2)], static_cast<uint16_t>(junctionCodes[k] + s % 100));
    }
    for (std::unique_ptr<SrcFmt>& source : sources[k]) {
      source = make();
      source->SetRawBlock(blocks[k].buffer.data(), scans, kFirstScan);
    }
    alone[k] = ScaleInBulk(*sources[k][0], kFirstScan, scans);
  }
  for (int64_t scan = kFirstScan; scan < kFirstScan + scans; ++scan) {
    for (int k = 0; k < 2; ++k) {
      double values[2] = {};
      sources[k][1]->ScaleScans(scan, 1, values);
      inTurns[k].insert(inTurns[k].end(), values, values + 2);
      for (int32_t chan = 0; chan < 2; ++chan) {
        sources[k][2]->GetScaledValue(scan, chan, &values[chan]);
        oneByOneInTurns[k].push_back(values[chan]);
      }
    }
  }
  for (int k = 0; k < 2; ++k) {
    EXPECT_TRUE(SameBits(inTurns[k], alone[k], 2)) << "acquisition " << k;
    EXPECT_TRUE(SameBits(oneByOneInTurns[k], alone[k], 2)) << "acquisition " << k;
  }
  // The junctions, about 10 °C and 40 °C, show in the pairs: a shared word would mix them.
  EXPECT_NEAR(alone[1][2] - alone[0][2], 30.0, 1.0);
}

}  // namespace
}  // namespace travune
