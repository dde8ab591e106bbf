// Tests of the Qulix driver stand-in: thermocouple and Pt100 temperatures against published
// reference tables and, for every code, against the half-tenth EMFs; rejection of bad input, and
// the in-place 12-bit unpack.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Tenths.h"
#include "Thermocouple.h"
#include "source/TarquilDescBuilder.h"
#include "qulix.h"

namespace travune {
namespace {

constexpr uint8_t kUntouched = 0xA5;

// Inputs sit one byte into the buffer and the result three bytes in, so every access is
// unaligned; the result's bytes start out as kUntouched.
struct Call {
  std::vector<uint8_t> in;
  uint8_t out[6] = {kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched};
  int32_t status = -1;

  explicit Call(const std::vector<uint16_t>& words) : in(1 + 2 * words.size()) {
    for (size_t i = 0; i < words.size(); ++i) {
      in[1 + 2 * i] = static_cast<uint8_t>(words[i] & 0xFF);
      in[2 + 2 * i] = static_cast<uint8_t>(words[i] >> 8);
    }
  }
  const void* Words() const { return in.data() + 1; }
  void* Out() { return out + 3; }
  int16_t Tenths() const { return static_cast<int16_t>(out[3] | out[4] << 8); }
  bool OutUntouched() const { return out[3] == kUntouched && out[4] == kUntouched; }
};

// The acquisition's thermocouple code for a voltage seen through a gain.
uint16_t TcCode(double millivolts, int gain) {
  return static_cast<uint16_t>(std::lround(millivolts * gain * 65536.0 / 10000.0) + 32768);
}

Call Thermocouple(int kind, int gain, const std::vector<uint16_t>& words, int numWords) {
  Call call(words);
  call.status = QlxThermocouple(2, 0, 1, gain, kind, 1, call.Words(), 1, call.Out(), numWords);
  return call;
}

Call Rtd(uint16_t sHi, uint16_t sLo, uint16_t rHi, uint16_t rLo) {
  Call call({sHi, sLo, rHi, rLo});
  call.status = QlxRtd(1, 0, 1, 1, 1, call.Words(), 1, call.Out(), 1);
  return call;
}

enum Kind { J = 1, K, T, E, R, S, B, N };

// Published EMF (mV, reference junction 0 °C) at whole degrees. Tolerance: tenths the result
// may differ by, from the table's 0.0005 mV rounding plus half a code, over the local slope.
// With a reference code the cold junction lies at code * 205 / 65536 - 102.5 °C: 40960 gives
// 25.625 °C, 24576 -25.625 °C, whose type K EMFs, interpolated in the table, are 1.000 + 0.625 *
// 0.041 = 1.025625 mV and -0.968 - 0.625 * 0.038 = -0.99175 mV; the thermocouple sees the table
// EMF minus that.
TEST(QulixThermocouple, MatchesPublishedTables) {
  struct Row { Kind kind; double celsius; double millivolts; int gain; long toleranceTenths; int reference = -1; };
  const Row rows[] = {
      {K, -200, -5.891, 500, 0}, {K, 1372, 54.886, 50, 0},  {J, -210, -8.095, 500, 0},
      {J, 1200, 69.553, 50, 0},  {T, -200, -5.603, 500, 0}, {T, 400, 20.872, 200, 0},
      {E, -200, -8.825, 500, 0}, {E, 350, 24.964, 200, 0},  {N, -200, -3.990, 1000, 1},
      {N, 600, 20.613, 200, 0},  {R, -50, -0.226, 1000, 1}, {S, 1400, 14.373, 200, 0},
      {B, 1820, 13.820, 200, 1},
      // Type B's EMF dips below zero near 21 °C; readings in the dip are taken on the rising
      // side: E = 0 at 42.13 °C and -0.00198 mV lies at 31.2 °C (by hand from the reference
      // function).
      {B, 42.1, 0.0, 1000, 1},   {B, 31.2, -0.00198, 1000, 1},
      {K, 300, 12.209 - 1.025625, 400, 0, 40960}, {K, 100, 4.096 + 0.99175, 500, 0, 24576},
      {K, 100, 4.096, 1000, 0, 32768},  // cold junction at exactly 0 °C
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "kind " << row.kind << " at " << row.celsius << " °C");
    std::vector<uint16_t> words = {TcCode(row.millivolts, row.gain)};
    if (row.reference >= 0) words.insert(words.begin(), static_cast<uint16_t>(row.reference));
    const Call call = Thermocouple(row.kind, row.gain, words, static_cast<int>(words.size()));
    ASSERT_EQ(call.status, QLX_OK);
    EXPECT_NEAR(call.Tenths(), std::lround(row.celsius * 10), row.toleranceTenths);
  }
}

// Where a type's EMF starts to rise: its lowest temperature, or for type B the minimum of the
// EMF near 21 °C, by bisecting the sign of the slope.
double RisingStart(const qulix::Thermocouple& type) {
  double below = type.Low(), above = type.Low() + 100.0;
  if (type.Evaluate(below).slope > 0.0) return below;
  for (int i = 0; i < 60; ++i) {
    const double mid = 0.5 * (below + above);
    (type.Evaluate(mid).slope > 0.0 ? above : below) = mid;
  }
  return above;
}

// Every code through gains 1 to 1000 at cold junctions across the sensor range and at its edges
// (codes 16783/16784 straddle R and S's -50 °C, 32767/32768 B's 0 °C; 0x10000: one word, 0 °C).
// The expected tenths n are the lowest whose upper half tenth lies above the total EMF (at or
// above it below 0 °C, where halves round away from zero), found by walking up the half
// tenths as the code rises. Failures name kind/gain/reference/code.
TEST(QulixThermocouple, EveryCodeRoundsBetweenItsHalfTenths) {
  struct Setting { int gain; std::vector<uint32_t> references; };
  const Setting settings[] = {{100, {0x10000, 0, 16783, 16784, 32767, 32768, 40960, 65535}},
                              {1, {0x10000}}, {10, {0x10000, 40960}}, {1000, {0x10000, 24576}}};
  for (int kind = J; kind <= N; ++kind) {
    const qulix::Thermocouple& type = *qulix::Thermocouple::ForKind(kind);
    const double rising = RisingStart(type);
    const double lowestEmf = type.Emf(rising), highestEmf = type.Emf(type.High());
    const long highest = std::lround(type.High() * 10.0);
    const auto below = [&](long n, double emf) {
      const double half = type.Emf((static_cast<double>(n) + 0.5) / 10.0);
      return n < 0 ? emf <= half : emf < half;
    };
    for (const Setting& setting : settings) {
      for (uint32_t reference : setting.references) {
        const double coldJunction = reference > 0xFFFF ? 0.0 : reference * 205.0 / 65536.0 - 102.5;
        const double coldEmf = type.Covers(coldJunction) ? type.Emf(coldJunction) : NAN;
        const int numWords = reference > 0xFFFF ? 1 : 2;
        long n = std::lround(rising * 10.0);
        for (uint32_t code = 0; code <= 0xFFFF; ++code) {
          const auto where = [&] {
            return testing::Message() << kind << "/" << setting.gain << "/" << reference << "/" << code;
          };
          const uint8_t words[4] = {static_cast<uint8_t>(reference), static_cast<uint8_t>(reference >> 8),
                                    static_cast<uint8_t>(code), static_cast<uint8_t>(code >> 8)};
          uint8_t out[2] = {kUntouched, kUntouched};
          const int32_t status = QlxThermocouple(0, 0, 0, setting.gain, kind, 0, words + 4 - 2 * numWords, 0, out,
                                                 numWords);
          const double emf = (code - 32768.0) * 10000.0 / 65536.0 / setting.gain + coldEmf;
          if (!(emf >= lowestEmf && emf <= highestEmf)) {  // also a cold junction out of range
            ASSERT_EQ(status, QLX_ERR_RANGE) << where();
            ASSERT_EQ(out[0] | out[1] << 8, kUntouched | kUntouched << 8) << where();
            continue;
          }
          while (n < highest && !below(n, emf)) ++n;
          ASSERT_EQ(status, QLX_OK) << where();
          ASSERT_EQ(static_cast<int16_t>(out[0] | out[1] << 8), n) << where();
        }
      }
    }
  }
}

// Beside a half tenth the table hands over to the exact inversion: readings at a half tenth's
// EMF and just beside it, where the rounding changes, give what inverting and rounding gives.
TEST(ThermocoupleTenths, EqualsExactInversionAroundHalfTenths) {
  const double offsets[] = {0.0, 1e-13, -1e-13, 1e-9, -1e-9, 5e-7, -5e-7, 2e-6, -2e-6};
  for (int kind = J; kind <= N; ++kind) {
    const qulix::Thermocouple& type = *qulix::Thermocouple::ForKind(kind);
    for (double celsius = type.Low() + 0.05; celsius < type.High(); celsius += 0.7) {
      const double halfTenth = (std::round(celsius * 10.0) + 0.5) / 10.0;
      for (double offset : offsets) {
        const double mv = type.Emf(halfTenth) + offset;
        const std::optional<double> exact = type.TemperatureOf(mv);
        ASSERT_EQ(type.CompensatedTenths(mv, 0.0), exact ? qulix::RoundToTenths(*exact) : std::nullopt)
            << "kind " << kind << " at " << halfTenth << " °C offset " << offset << " mV";
      }
    }
  }
}

TEST(QulixThermocouple, RejectsBadInputAndLeavesResultAlone) {
  struct Row { const char* what; int kind; int gain; std::vector<uint16_t> words; int numWords; int32_t status; };
  const Row rows[] = {
      {"kind 9", 9, 1, {32768}, 1, QLX_ERR_SENSOR},
      {"kind 0x100", 0x100, 1, {32768}, 1, QLX_ERR_SENSOR},
      {"three words", K, 1, {32768, 32768, 32768}, 3, QLX_ERR_ARGUMENT},
      {"negative count", K, 1, {32768}, -1, QLX_ERR_ARGUMENT},
      {"K near 5000 mV", K, 1, {65535}, 1, QLX_ERR_RANGE},
      {"T at 25 mV, above 400 °C", T, 100, {TcCode(25.0, 100)}, 1, QLX_ERR_RANGE},
      {"B at -0.01 mV, below its curve", B, 1000, {TcCode(-0.01, 1000)}, 1, QLX_ERR_RANGE},
      {"R with cold junction -51.25 °C", R, 100, {16384, TcCode(5.0, 100)}, 2, QLX_ERR_RANGE},
      {"B with cold junction -25.625 °C", B, 100, {24576, TcCode(5.0, 100)}, 2, QLX_ERR_RANGE},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const Call call = Thermocouple(row.kind, row.gain, row.words, row.numWords);
    EXPECT_EQ(call.status, row.status);
    EXPECT_TRUE(call.OutUntouched());
  }
  int16_t out = 0;
  const uint16_t code = 32768;
  EXPECT_EQ(QlxThermocouple(2, 0, 1, 1, K, 1, nullptr, 1, &out, 1), QLX_ERR_ARGUMENT);
  EXPECT_EQ(QlxThermocouple(2, 0, 1, 1, K, 1, &code, 1, nullptr, 1), QLX_ERR_ARGUMENT);
}

// R = 400 ohm * (sHi - sLo) / (rHi - rLo); with a reference span of 40000 the sense span is the
// resistance in hundredths of an ohm. Codes straddle 32768, so a signed read would go wrong.
// Resistances are the published Pt100 table at whole degrees; 60.02 and 138.53 ohm lie at
// -100.582 and 100.065 °C (solved by hand), where rounding and truncation differ. Beyond the
// table (850 °C, -200 °C) or without a reference span the result is left alone.
TEST(QulixRtd, MatchesPublishedTable) {
  struct Row { uint16_t sHi, sLo, rHi, rLo; int32_t status; long tenths; };
  const Row rows[] = {
      {30000, 20000, 60000, 20000, QLX_OK, 0},     {59048, 20000, 60000, 20000, QLX_OK, 8500},
      {21853, 20000, 60000, 20000, QLX_OK, -2000}, {26002, 20000, 60000, 20000, QLX_OK, -1006},
      {33853, 20000, 60000, 20000, QLX_OK, 1001},
      {20000, 33851, 20000, 60000, QLX_OK, 1000},  // both spans negative
      {59050, 20000, 60000, 20000, QLX_ERR_RANGE, 0},  // 390.50 ohm
      {21850, 20000, 60000, 20000, QLX_ERR_RANGE, 0},  // 18.50 ohm
      {30000, 20000, 40000, 40000, QLX_ERR_RANGE, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "sense span " << row.sHi - row.sLo);
    const Call call = Rtd(row.sHi, row.sLo, row.rHi, row.rLo);
    ASSERT_EQ(call.status, row.status);
    if (row.status == QLX_OK) {
      EXPECT_EQ(call.Tenths(), row.tenths);
    } else {
      EXPECT_TRUE(call.OutUntouched());
    }
  }
  int16_t out = 0;
  EXPECT_EQ(QlxRtd(1, 0, 1, 1, 1, nullptr, 1, &out, 1), QLX_ERR_ARGUMENT);
}

TEST(QulixTenths, RoundsHalfAwayFromZeroWithinSixteenBits) {
  struct Row { double celsius; std::optional<int16_t> tenths; };
  const Row rows[] = {
      {0.25, 3}, {-12.25, -123}, {3276.74, 32767}, {-3276.84, -32768}, {3276.76, {}}, {-3276.86, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.celsius);
    EXPECT_EQ(qulix::RoundToTenths(row.celsius), row.tenths);
  }
}

// The packing checked on samples 0x123, 0x456, 0x789, 0xABC by hand; then several groups
// expanded in place (a forward pass would overwrite groups not yet read);
// sample counts that are not a multiple of four expand the whole last group; nothing past
// the expanded groups is touched.
TEST(QulixUnpack12, ExpandsWholeGroupsInPlace) {
  ASSERT_EQ(testutil::PackTwelveBit({0x123, 0x456, 0x789, 0xABC}),
            (std::vector<uint8_t>{0x23, 0x61, 0x45, 0x89, 0xC7, 0xAB}));
  constexpr size_t kGroups = 5;
  std::vector<uint16_t> samples(kGroups * 4);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint16_t>((0x9A5 + i * 0x2F3) & 0xFFF);
  samples[1] = 0xFFF;
  samples[6] = 0x000;
  std::vector<uint8_t> initial = testutil::PackTwelveBit(samples);
  initial.resize(kGroups * 8 + 4, kUntouched);

  struct Row { int count; int channels; size_t groups; };
  const Row rows[] = {{5, 4, 5}, {5, 1, 2}, {9, 2, 5}, {0, 4, 0}, {-2, -2, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.count << " x " << row.channels);
    std::vector<uint8_t> block = initial;
    EXPECT_EQ(QlxUnpack12(block.data(), 0, row.count, row.count, row.channels), QLX_OK);
    for (size_t i = 0; i < row.groups * 4; ++i) {
      const uint16_t word = static_cast<uint16_t>(block[2 * i] | block[2 * i + 1] << 8);
      ASSERT_EQ(word, samples[i] << 4) << "sample " << i;
    }
    const size_t expanded = row.groups * 8;
    EXPECT_EQ(std::vector<uint8_t>(block.begin() + expanded, block.end()),
              std::vector<uint8_t>(initial.begin() + expanded, initial.end()));
  }
  EXPECT_NE(QlxUnpack12(nullptr, 0, 4, 4, 1), QLX_OK);
}

// Inputs that share codes but differ in kind, gain or reference, called in turns, give what
// a call on a fresh thread gives: results remembered for one input are never handed to another.
TEST(QulixTest, RepeatedCallsGiveTheResultsOfFreshOnes) {
  struct Input { int kind, gain; std::vector<uint16_t> words; };
  const Input inputs[] = {{K, 100, {0x9000}}, {J, 100, {0x9000}}, {K, 50, {0x9000}},
                          {K, 100, {0xA000, 0x9000}}, {9, 100, {0x9000}}, {K, -100, {0x9000}}};
  std::vector<Call> fresh;
  for (const Input& in : inputs) {
    std::thread([&] { fresh.push_back(Thermocouple(in.kind, in.gain, in.words, static_cast<int>(in.words.size()))); })
        .join();
  }
  for (int round = 0; round < 3; ++round) {
    for (size_t i = 0; i < std::size(inputs); ++i) {
      const Call again = Thermocouple(inputs[i].kind, inputs[i].gain, inputs[i].words,
                                      static_cast<int>(inputs[i].words.size()));
      EXPECT_EQ(again.status, fresh[i].status) << i;
      EXPECT_EQ(again.Tenths(), fresh[i].Tenths()) << i;
    }
  }
}

}  // namespace
}  // namespace travune
