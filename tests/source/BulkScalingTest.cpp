// Bulk scaling of every source: ScaleScans gives the very bits of GetScaledValue for every
// linearly scaled channel kind and every raw code, for driver-converted temperatures inside the
// driver's valid ranges, without a raw block, and for two Morvane sources scaled in turns.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "source/SrcFmtBrenlow.h"
#include "source/SrcFmtBrenlowTitled.h"
#include "source/SrcFmtCeldrin.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtQuillon.h"
#include "source/SrcFmtTarquil.h"
#include "source/TarquilDescBuilder.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune {
namespace {

using Maker = std::function<std::unique_ptr<SrcFmt>()>;

// Blocks start inside the acquisition, so that a scan's place in the block is not its number.
constexpr int64_t kFirstScan = 1000;
constexpr float kInf = std::numeric_limits<float>::infinity();

template <typename Source, typename... Extra>
Maker MakerOf(std::vector<uint8_t> image, Extra... extra) {
  return [image, extra...]() -> std::unique_ptr<SrcFmt> {
    return std::make_unique<Source>(image.data(), image.size(), extra...);
  };
}

float NanWithPayload(uint32_t payload) { return std::bit_cast<float>(0x7FC00000u | payload); }

// A raw block as a reader hands it over: the buffer (with the room unpacking in place needs),
// the scans it holds and the number of its first scan.
struct RawBlock {
  std::vector<uint8_t> buffer;
  int64_t scans = 0;
  int64_t firstScan = kFirstScan;
};

// Scans of 16-bit words, word w of scan s holding (s + 4099 w) mod 65536: over 65536 scans
// every word position, so every channel wherever it lies, meets every code.
RawBlock EveryWordCode(const SrcFmt& source) {
  const int64_t words = source.GetScanSize() / 2;
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(65536 * words * 2)), 65536};
  for (int64_t s = 0; s < block.scans; ++s) {
    for (int64_t w = 0; w < words; ++w) {
      le::PutU16(&block.buffer[static_cast<size_t>(2 * (s * words + w))], static_cast<uint16_t>(s + 4099 * w));
    }
  }
  return block;
}

// Scans of 32-bit floats, float f of scan s with the upper half (s + 4099 f) mod 65536: every
// 16-bit code, first with a zero lower half (zeros, infinities, exact range limits), then with a
// lower half that differs from float to float (NaN payloads, signalling NaNs, subnormals).
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

// A packed Tarquil block: the data file holds the 12-bit samples (scan + 1031 channel) mod 4096
// of scans 0 ... 4096, and the block of scans 1 ... 4096 (which starts inside a six-byte group
// when the channel count is odd) is laid out by the source and read with the room it asks for.
RawBlock EveryPackedCode(const SrcFmt& source) {
  const int64_t chans = source.GetNumChans();
  const int64_t first = 1;
  std::vector<uint16_t> samples(static_cast<size_t>((first + 4096) * chans));
  for (int64_t s = 0; s < first + 4096; ++s) {
    for (int64_t c = 0; c < chans; ++c) samples[static_cast<size_t>(s * chans + c)] = (s + 1031 * c) & 0xFFF;
  }
  const std::vector<uint8_t> file = testutil::PackTwelveBit(samples);
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(4096 * source.GetScanSize() + 16)), 4096, first};
  int64_t bytes = 0;
  int64_t offset = 0;
  source.GetBlockLayout(static_cast<int64_t>(block.buffer.size()), &block.scans, &bytes, first, &offset);
  EXPECT_EQ(block.scans, 4096);
  std::copy(file.begin() + offset, file.begin() + offset + bytes, block.buffer.begin());
  return block;
}

// ScaleScans over every scan of the block, in two calls so that the second starts inside it.
std::vector<double> ScaleInBulk(const SrcFmt& source, const RawBlock& block) {
  const int64_t chans = source.GetNumChans();
  std::vector<double> out(static_cast<size_t>(block.scans * chans));
  const int64_t head = block.scans / 3;
  source.ScaleScans(block.firstScan, head, out.data());
  source.ScaleScans(block.firstScan + head, block.scans - head, out.data() + head * chans);
  return out;
}

// GetScaledValue of every channel of every scan of the block, in scan and channel order.
std::vector<double> ScaleOneByOne(const SrcFmt& source, const RawBlock& block) {
  std::vector<double> out;
  out.reserve(static_cast<size_t>(block.scans * source.GetNumChans()));
  for (int64_t scan = block.firstScan; scan < block.firstScan + block.scans; ++scan) {
    for (int32_t chan = 0; chan < source.GetNumChans(); ++chan) {
      double value = 0.0;
      source.GetScaledValue(scan, chan, &value);
      out.push_back(value);
    }
  }
  return out;
}

// The bit pattern of a double in hexadecimal.
std::string BitsText(uint64_t bits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(bits));
  return text;
}

// Equal bit patterns, so that -0.0 against 0.0 and NaN payloads count; a difference names the
// first scan and channel where it lies.
testing::AssertionResult SameBits(const std::vector<double>& bulk, const std::vector<double>& plain, int64_t chans,
                                  int64_t firstScan) {
  if (bulk.size() != plain.size()) {
    return testing::AssertionFailure() << bulk.size() << " values against " << plain.size();
  }
  for (size_t i = 0; i < bulk.size(); ++i) {
    const uint64_t a = std::bit_cast<uint64_t>(bulk[i]);
    const uint64_t b = std::bit_cast<uint64_t>(plain[i]);
    if (a != b) {
      return testing::AssertionFailure() << "scan " << firstScan + static_cast<int64_t>(i) / chans << " channel "
                                         << static_cast<int64_t>(i) % chans << ": bulk " << bulk[i] << " ("
                                         << BitsText(a) << "), sample by sample " << plain[i] << " (" << BitsText(b)
                                         << ")";
    }
  }
  return testing::AssertionSuccess();
}

// Two sources made alike, each handed its own copy of the block (packed data unpacks in place):
// one scaled with ScaleScans, the other sample by sample.
testing::AssertionResult BulkMatchesPlain(const Maker& make, const RawBlock& block,
                                          std::vector<double>* values = nullptr) {
  const std::unique_ptr<SrcFmt> bulk = make();
  const std::unique_ptr<SrcFmt> plain = make();
  if (bulk->GetStatus() != 0) return testing::AssertionFailure() << "the description was refused";
  RawBlock bulkBlock = block;
  RawBlock plainBlock = block;
  bulk->SetRawBlock(bulkBlock.buffer.data(), block.scans, block.firstScan);
  plain->SetRawBlock(plainBlock.buffer.data(), block.scans, block.firstScan);
  std::vector<double> plainValues = ScaleOneByOne(*plain, block);
  const testing::AssertionResult same =
      SameBits(ScaleInBulk(*bulk, block), plainValues, bulk->GetNumChans(), block.firstScan);
  if (values != nullptr) *values = std::move(plainValues);
  return same;
}

// --- descriptions ------------------------------------------------------------------------

struct MorvaneChan {
  int32_t type;
  float gain;
  float scale;
  float offset;
  int32_t polarity;  // its low byte is the thermocouple kind: 1 J, 2 K, 3 T, 8 N
};

// A current-form Morvane description; firstChannel exchanges raw positions (0: none).
std::vector<uint8_t> MorvaneImage(const std::vector<MorvaneChan>& chans, int32_t firstChannel) {
  ByteBuilder b;
  b.I32(5040);
  b.I32(static_cast<int32_t>(chans.size()));
  b.U32(100000);  // programmed scans
  b.U32(0);       // pre-trigger scans
  b.Zeros(8);
  b.I32(firstChannel);
  b.F32(1000.0f);
  for (const MorvaneChan& c : chans) {
    b.F32(c.gain);
    b.I32(0);
    b.I32(c.type);
    b.I32(0);
    b.F32(c.scale);
    b.F32(c.offset);
    b.I32(c.polarity);
    b.I32(0);
    b.FixedText("ch", 12);
    b.FixedText("u", 12);
  }
  return b.Take();
}

// Morvane kinds scaled by their factors alone: voltage inputs (bipolar, unipolar, gain 0 read as
// 1), digital inputs and counters, the kinds scaled by factor and offset, a factor and offset that
// give -0.0 for a raw 0, and NaN factors whose different payloads show the order of operations.
const std::vector<MorvaneChan> kMorvaneByFactors = {
    {0, 1, 1, 0, 1},
    {0, 0, 2.5f, -1, 0},
    {0, 10, 1, 0, 0},
    {7, 2, 1, 0.5f, 1},
    {7, 1, 3, 0, 0},
    {11, 0, 1, 0, 0},
    {11, 4, 0.25f, 2, 1},
    {8, 1, 1, 0, 0},
    {9, 1, -1, -0.0f, 0},
    {10, 1, 0.001f, 7, 0},
    {6, 1, 2, 1, 0},
    {12, 1, 1, 0, 0},
    {15, 1, NanWithPayload(0x1234), NanWithPayload(0x5678), 0},
};

// Every linearly scaled Morvane kind: those above and the reference kinds, which also set the
// reference word.
std::vector<MorvaneChan> MorvaneLinearKinds() {
  std::vector<MorvaneChan> kinds = kMorvaneByFactors;
  kinds.insert(
      kinds.end(),
      {{3, 1, 1, 0, 1}, {3, 1, 2, 1, 0}, {4, 1, 1, 0, 1}, {4, 1, 1, 0, 0}, {5, 1, 1, 0, 1}, {5, 1, 1.5f, -3, 0}});
  return kinds;
}

// Every combination of the six Tarquil flags, then a zero gain (an infinite factor).
std::vector<testutil::TarquilChannelFields> TarquilEveryFlagCombination() {
  const uint32_t flags[] = {kTarquilBipolar,  kTarquilExplicitScale, kTarquilDigital,
                            kTarquilUnsigned, kTarquilReciprocal,    kTarquilAltLayout};
  std::vector<testutil::TarquilChannelFields> channels;
  for (uint32_t combination = 0; combination < 64; ++combination) {
    testutil::TarquilChannelFields c;
    for (int bit = 0; bit < 6; ++bit) c.flags |= (combination >> bit & 1u) != 0 ? flags[bit] : 0u;
    c.rangeWord = (c.flags & kTarquilAltLayout) != 0 ? testutil::FloatBits(0.5f) : 2u;
    c.userScale = 1.5f;
    c.userOffset = -0.25f;
    c.altOffset = 0.125f;
    channels.push_back(c);
  }
  testutil::TarquilChannelFields zeroGain;
  zeroGain.rangeWord = 0;
  channels.push_back(zeroGain);
  return channels;
}

// A Tarquil description with the channels above, its data packed or not.
std::vector<uint8_t> TarquilImage(bool packed) {
  testutil::TarquilHeaderFields h;
  h.progScans = 100000;
  h.postTrigRate = 1000.0f;
  h.packed = packed ? 1 : 0;
  const std::vector<testutil::TarquilChannelFields> channels = TarquilEveryFlagCombination();
  h.numChans = static_cast<uint16_t>(channels.size());
  return testutil::TarquilImage(h, channels);
}

// Celdrin channel lines (position, counts per unit, label, kind, gain, offset, three unused
// columns, units): a clock stamp ahead of position 5, positions out of order and with a gap,
// analog and digital channels, the four temperature kinds, a temperature kind in the wrong case
// (no temperature) and zero counts per unit and zero gain.
std::vector<uint8_t> CeldrinImage() {
  const char* const lines[] = {
      "5,1,a,VOLTS,1,0,0,0,0,V",        "9,3.2768,b,VOLTS,2,-1.5,0,0,0,V", "6,1,c,DIGITAL,1,0,0,0,0,-",
      "7,1000,d,DIGITAL,0.5,3,0,0,0,-", "8,1,e,Deg C,1,0,0,0,0,C",         "10,1,f,Deg F,2,1,0,0,0,F",
      "11,1,g,Deg K,1,0,0,0,0,K",       "12,1,h,Deg R,1,-0.5,0,0,0,R",     "13,1,i,deg f,1,0,0,0,0,F",
      "14,0,j,VOLTS,1,0,0,0,0,V",       "16,1,k,VOLTS,0,0,0,0,0,V",
  };
  std::string text =
      "*TYPE\r\nChart\r\n*VERSION\r\n4.2\r\n*FORMAT\r\nBINARY\r\n*FREQUENCY\r\n10,100\r\n*PRETRIG_COUNT\r\n0\r\n"
      "*POST_STOP_COUNT\r\n0\r\n*CHANNELS\r\n";
  for (const char* line : lines) text += std::string(line) + "\r\n";
  return std::vector<uint8_t>(text.begin(), text.end());
}

struct FloatRange {
  int32_t type;  // Brenlow: 6 is a time-stamp record, not a channel
  double lower;
  double upper;
};

// Ranges of float channels: an ordinary one, inverted, empty, infinite, with a NaN limit, with
// limits of both signs of zero and a subnormal one.
const std::vector<FloatRange> kFloatRanges = {
    {0, -10.0, 10.0}, {0, 5.0, -5.0},  {4, 3.0, 3.0},    {7, -kInf, kInf}, {8, NanWithPayload(1), 1.0},
    {0, -0.0, 0.0},   {0, 1e-40, 1.5}, {0, -1e30, 1e30},
};

// Brenlow records: the float ranges with a time-stamp record among them and a second one later
// (neither is a user channel).
std::vector<uint8_t> BrenlowImage() {
  std::vector<FloatRange> records = kFloatRanges;
  records.insert(records.begin() + 1, FloatRange{6, 0, 0});
  records.insert(records.begin() + 5, FloatRange{6, 0, 0});
  ByteBuilder b;
  b.F64(2.5);
  b.F64(100.0);
  b.I32(static_cast<int32_t>(records.size()));
  b.I32(0);
  b.I32(100000);
  b.Zeros(28);
  for (const FloatRange& r : records) {
    b.Zeros(4);
    b.FixedText("ch", 16);
    b.FixedText("u", 20);
    b.I32(r.type);
    b.Zeros(28);
    b.F64(r.lower);
    b.F64(r.upper);
    b.Zeros(24);
  }
  return b.Take();
}

// A Quillon description with a channel per float range.
std::vector<uint8_t> QuillonImage() {
  ByteBuilder b;
  b.CountedText("Quillon");
  b.U32(3);
  b.U32(14);
  b.U32(0);
  b.CountedText("DSC File");
  b.I16(static_cast<int16_t>(kFloatRanges.size()));
  b.U32(100000);
  b.I32(0);
  b.U32(0);
  b.F64(4.0);
  b.F64(37623.5);
  for (const FloatRange& r : kFloatRanges) {
    b.U32(static_cast<uint32_t>(r.type));
    b.F32(static_cast<float>(r.upper));
    b.CountedText("ch");
    b.F32(static_cast<float>(r.lower));
    b.Zeros(16);
    b.CountedText("u");
    b.Zeros(8);
    b.CountedText("");
  }
  return b.Take();
}

// --- tests -------------------------------------------------------------------------------

TEST(BulkScaling, EveryLinearKindGivesTheBitsOfSampleScalingForEveryRawCode) {
  struct Case {
    const char* name;
    Maker make;
    RawBlock (*fill)(const SrcFmt&);
  };
  const Case cases[] = {
      {"Morvane, kinds scaled by factors alone", MakerOf<SrcFmtMorvane>(MorvaneImage(kMorvaneByFactors, 4)),
       EveryWordCode},
      {"Morvane, with reference kinds", MakerOf<SrcFmtMorvane>(MorvaneImage(MorvaneLinearKinds(), 7)), EveryWordCode},
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
  }
}

// Every Morvane type, 0 to 15, with the first channel exchanged, over random words (on which the
// driver kinds mostly fail).
TEST(BulkScaling, MorvaneBlockScalingGivesTheBitsOfThePlainFormula) {
  std::vector<MorvaneChan> chans;
  for (int32_t type = 0; type <= 15; ++type) {
    chans.push_back(
        {type, 1.0f + static_cast<float>(type % 3), 0.37f * static_cast<float>(type + 1), -1.25f, type % 2});
  }
  chans[1].polarity = 2;
  chans[13].polarity = 1;
  chans[14].polarity = 3;
  const Maker make = MakerOf<SrcFmtMorvane>(MorvaneImage(chans, 5));
  RawBlock block{std::vector<uint8_t>(static_cast<size_t>(300 * make()->GetScanSize())), 300};
  uint32_t state = 12345;
  for (uint8_t& byte : block.buffer) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<uint8_t>(state >> 16);
  }
  EXPECT_TRUE(BulkMatchesPlain(make, block));
}

// Morvane temperature channels with raw codes inside the driver's valid ranges: thermocouples of
// kinds J, K, T and N at gains 1 and 10, each a few hundred codes around the zero-volt code
// 32768 wide; cold junctions of 0 to 50 °C (code × 205 / 65536 − 102.5); a four-wire RTD of
// 19 to 389 Ω. Type-1 channels take the reference word scaled last: channel 0 the one of the
// scan before (0, −102.5 °C, in the first scan), the others one that comes before them.
TEST(BulkScaling, DriverTemperaturesInsideTheValidRangesGiveTheBitsOfSampleScaling) {
  struct DriverChan {
    MorvaneChan chan;
    int32_t lowest;  // one-word codes run from 32768 + lowest over span codes
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
  const Maker make = MakerOf<SrcFmtMorvane>(MorvaneImage(chans, 3));
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
  // Every temperature lies within the sensors' ranges, so none is the driver's failure value.
  for (size_t i = 0; i < values.size(); ++i) {
    const int32_t type = driverChans[i % chans.size()].chan.type;
    if (type == 1 || type == 2 || type == 13 || type == 14) {
      ASSERT_GE(values[i], -270.0) << "scan " << i / chans.size() << " channel " << i % chans.size();
      ASSERT_LE(values[i], 1372.0) << "scan " << i / chans.size() << " channel " << i % chans.size();
    }
  }
}

// Two acquisitions with a thermocouple pair ahead of its reference channel (so each pair takes
// the reference word of the scan before), their junctions some 30 °C apart, scaled in turns a
// scan at a time give exactly what each gives alone.
TEST(BulkScaling, MorvaneSourcesScaledInTurnsKeepTheirOwnReferenceWord) {
  const Maker make = MakerOf<SrcFmtMorvane>(MorvaneImage({{1, 1, 1, 0, 2}, {3, 1, 1, 0, 1}}, 0));
  const int64_t scans = 500;
  auto blockWithJunctionAt = [scans](int32_t junctionCode) {
    RawBlock block{std::vector<uint8_t>(static_cast<size_t>(scans * 4)), scans};
    for (int64_t s = 0; s < scans; ++s) {
      le::PutU16(&block.buffer[static_cast<size_t>(4 * s)], static_cast<uint16_t>(32768 + s * 11 % 300));
      le::PutU16(&block.buffer[static_cast<size_t>(4 * s + 2)], static_cast<uint16_t>(junctionCode + s % 100));
    }
    return block;
  };
  RawBlock blocks[2] = {blockWithJunctionAt(32768 + 3200), blockWithJunctionAt(32768 + 12800)};
  // Per acquisition: one source scaled alone, one in turns with ScaleScans, one in turns with
  // GetScaledValue.
  std::unique_ptr<SrcFmt> sources[2][3];
  std::vector<double> alone[2];
  std::vector<double> inTurns[2];
  std::vector<double> oneByOneInTurns[2];
  for (int k = 0; k < 2; ++k) {
    for (std::unique_ptr<SrcFmt>& source : sources[k]) {
      source = make();
      source->SetRawBlock(blocks[k].buffer.data(), scans, kFirstScan);
    }
    alone[k] = ScaleInBulk(*sources[k][0], blocks[k]);
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
    EXPECT_TRUE(SameBits(inTurns[k], alone[k], 2, kFirstScan)) << "acquisition " << k;
    EXPECT_TRUE(SameBits(oneByOneInTurns[k], alone[k], 2, kFirstScan)) << "acquisition " << k;
  }
  // The junctions, about 10 °C and 40 °C, show in the pairs: a shared word would mix them.
  EXPECT_NEAR(alone[1][2] - alone[0][2], 30.0, 1.0);
}

// Without a raw block every sample reads as a raw zero: ScaleScans gives for every scan what
// ScaleSample gives for zero bytes, as GetScaledValue does.
TEST(BulkScaling, WithoutABlockEverySampleScalesAsARawZero) {
  const Maker makers[] = {
      MakerOf<SrcFmtMorvane>(MorvaneImage(kMorvaneByFactors, 4)),
      MakerOf<SrcFmtMorvane>(MorvaneImage({{3, 1, 1, 0, 1}, {1, 1, 1, 0, 2}, {2, 1, 1, 0, 0}, {13, 1, 1, 0, 2}}, 0)),
      MakerOf<SrcFmtTarquil>(TarquilImage(false)),
      MakerOf<SrcFmtTarquil>(TarquilImage(true)),
      MakerOf<SrcFmtCeldrin>(CeldrinImage(), ",", int64_t{1} << 30),
      MakerOf<SrcFmtBrenlow>(BrenlowImage()),
      MakerOf<SrcFmtBrenlowTitled>(BrenlowImage(), "Threnix"),
      MakerOf<SrcFmtQuillon>(QuillonImage()),
  };
  const uint8_t zeros[16] = {};
  for (const Maker& make : makers) {
    const std::unique_ptr<SrcFmt> bulk = make();
    const std::unique_ptr<SrcFmt> plain = make();
    const std::unique_ptr<SrcFmt> single = make();
    ASSERT_EQ(bulk->GetStatus(), 0) << bulk->GetAppTitle();
    SCOPED_TRACE(bulk->GetAppTitle());
    const int64_t chans = bulk->GetNumChans();
    std::vector<double> fromBulk(static_cast<size_t>(3 * chans));
    bulk->ScaleScans(kFirstScan, 3, fromBulk.data());
    std::vector<double> fromSamples;
    std::vector<double> fromZeros;
    for (int64_t scan = kFirstScan; scan < kFirstScan + 3; ++scan) {
      for (int32_t chan = 0; chan < chans; ++chan) {
        fromSamples.push_back(0.0);
        plain->GetScaledValue(scan, chan, &fromSamples.back());
        fromZeros.push_back(single->ScaleSample(chan, zeros));
      }
    }
    EXPECT_TRUE(SameBits(fromBulk, fromSamples, chans, kFirstScan));
    EXPECT_TRUE(SameBits(fromBulk, fromZeros, chans, kFirstScan));
  }
}

}  // namespace
}  // namespace travune
