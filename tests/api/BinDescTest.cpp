// The binary-descriptor functions: every status in call order, raw values to user units by the
// channel formulas worked out by hand, and user values back to raw counts (whole blocks against
// the raw-float conversion: TvnApiTest).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "source/TarquilDescBuilder.h"
#include "support/ByteBuilder.h"

namespace travune::apitest {
namespace {
using testutil::TarquilChannelFields;
using testutil::TarquilHeaderFields;

// A Morvane channel record: gain, channel type, scale, offset and polarity; named "ch" in V.
std::vector<uint8_t> MorvaneRecord(float gain = 1.0f, int32_t type = 0, float scale = 1.0f, float offset = 0.0f,
                                   int32_t polarity = 0) {
  ByteBuilder b;
  b.F32(gain);
  b.I32(0);
  b.I32(type);
  b.I32(0);
  b.F32(scale);
  b.F32(offset);
  b.I32(polarity);
  b.I32(0);
  b.FixedText("ch", 12);
  b.FixedText("V", 12);
  return b.Take();
}

// Builds the descriptor record by record, as callers without arrays do.
void BuildRecordByRecord(int32_t type, const std::vector<std::vector<uint8_t>>& records) {
  ASSERT_EQ(cvtVbAllocBdc(type, static_cast<int32_t>(records.size())), 0);
  for (size_t i = 0; i < records.size(); ++i) ASSERT_EQ(cvtVbBuildBdc(static_cast<int32_t>(i), records[i].data()), 0);
}

double ToUser(int32_t chan, uint32_t raw) {
  double user = std::nan("");
  EXPECT_EQ(cvtCvtBinToUser(0, chan, raw, &user), 0);
  return user;
}

uint32_t ToRaw(int32_t chan, double user) {
  uint32_t raw = 0xDEADBEEF;
  EXPECT_EQ(cvtCvtUserToBin(0, chan, user, &raw), 0);
  return raw;
}

TEST(BinDescTest, StatusesInCallOrder) {
  // Counter descriptions' first 32 bytes: Morvane headers of 2 and 3 channels.
  const std::vector<uint8_t> header2 = CounterDescription(2, 1000, 100.0f);
  const std::vector<uint8_t> header3 = CounterDescription(3, 1000, 100.0f);
  const std::vector<uint8_t> record = MorvaneRecord();
  std::vector<uint8_t> records = record;
  records.insert(records.end(), record.begin(), record.end());
  const std::vector<uint8_t> tarquilHeader = testutil::TarquilHeaderBytes({1, 10, 0, 0, 0, 0});
  const std::vector<uint8_t> tarquilRecord = testutil::TarquilChannelBytes({TarquilChannelFields{}});
  double user = 7.0;
  uint32_t raw = 7;
  float out[8] = {};
  const uint16_t words[4] = {};
  const struct { const char* what; std::function<int32_t()> call; int32_t status; } steps[] = {
      {"type 5", [&] { return cvtSetBinDesc(5, header2.data(), records.data()); }, -1006},
      {"raw to user without a descriptor", [&] { return cvtCvtBinToUser(0, 0, 0, &user); }, -1001},
      {"end", [] { return cvtEndBinDesc(0); }, 0},
      {"build buffer of -1 records", [] { return cvtVbAllocBdc(3, -1); }, -1},
      {"record without a build buffer", [&] { return cvtVbBuildBdc(0, record.data()); }, -2},
      {"built records without a build buffer", [&] { return cvtSetBinDesc(3, header2.data(), nullptr); }, -2},
      {"build buffer of 2", [] { return cvtVbAllocBdc(3, 2); }, 0},
      {"record 2 of 2", [&] { return cvtVbBuildBdc(2, record.data()); }, -2},
      {"record 0", [&] { return cvtVbBuildBdc(0, record.data()); }, 0},
      {"record 1", [&] { return cvtVbBuildBdc(1, record.data()); }, 0},
      {"Tarquil from Morvane records", [&] { return cvtSetBinDesc(4, tarquilHeader.data(), nullptr); }, -2},
      {"3 channels from 2 records", [&] { return cvtSetBinDesc(3, header3.data(), nullptr); }, -2},
      {"2 channels from 2 records", [&] { return cvtSetBinDesc(3, header2.data(), nullptr); }, 0},
      {"built records taken", [&] { return cvtSetBinDesc(3, header2.data(), nullptr); }, -2},
      {"a failed set leaves no descriptor", [&] { return cvtCvtBinToUser(0, 0, 0, &user); }, -1001},
      {"from a count", [&] { return cvtSetScanDesc(4, 1, tarquilRecord.data()); }, 0},
      {"raw to user", [&] { return cvtCvtBinToUser(0, 0, 0, &user); }, 0},
      {"replaced by an unknown type", [&] { return cvtSetScanDesc(8, 1, tarquilRecord.data()); }, -1006},
      {"replaced descriptor gone", [&] { return cvtCvtUserToBin(0, 0, 1.0, &raw); }, -1001},
      {"negative count", [&] { return cvtSetScanDesc(3, -5, records.data()); }, -1006},
      {"Morvane from a count", [&] { return cvtSetScanDesc(3, 2, records.data()); }, 0},
      {"no raw values", [&] { return cvtCvtBinData(0, 1, nullptr, out); }, -1},
      {"end keeps the descriptor", [] { return cvtEndBinDesc(0); }, 0},
      {"still there", [&] { return cvtCvtBinData(0, 2, words, out); }, 0},
  };
  for (const auto& step : steps) EXPECT_EQ(step.call(), step.status) << step.what;
}

// Morvane channels by the formulas worked out by hand: voltage ranges spread over 65535 codes,
// other types the raw word times scale plus offset. Only the low 16 bits of a raw value count.
// (Whole blocks: TvnApi.EveryPathReadsTheGeneratorsValues.)
TEST(BinDescTest, MorvaneRawValuesInUserUnits) {
  BuildRecordByRecord(3, {MorvaneRecord(1.0f, 0, 1.0f, 0.0f, 1),    // ±5 V
                          MorvaneRecord(0.0f, 0, 1.0f, 0.0f, 0),    // gain 0 as 1: 0..10 V
                          MorvaneRecord(1.0f, 6, 0.5f, 10.0f, 0),   // 0.5 w + 10
                          MorvaneRecord(1.0f, 9, 1.0f, 0.0f, 0),    // counter
                          MorvaneRecord(2.0f, 7, 1.0f, 0.0f, 1)});  // span 20, bipolar, gain 2: ±5
  ASSERT_EQ(cvtSetScanDesc(3, 5, nullptr), 0);
  const struct { int32_t chan; uint32_t raw; double user; } cases[] = {
      {0, 0x1FFFF, 5.0},  {0, 32768, -5.0 + 32768 * 10.0 / 65535}, {1, 65535, 10.0}, {2, 300, 160.0},
      {3, 0xABCD0007, 7.0}, {4, 0, -5.0},
      {5, 1234, 0.0},  // no such channel
  };
  for (const auto& c : cases) EXPECT_NEAR(ToUser(c.chan, c.raw), c.user, 1e-12) << c.chan << " " << c.raw;
  // A Morvane descriptor converts nothing back: the raw count is 0.
  EXPECT_EQ(ToRaw(0, 1.0), 0u);
}

// Tarquil channels whose scaling is exact in binary, so that user values convert back to the
// very raw counts: signed and unsigned; a reciprocal one refuses.
TEST(BinDescTest, TarquilRawUserRoundTrips) {
  const std::vector<TarquilChannelFields> fields = {
      {1, 2.0f, 0.5f, 1u << 0, 0.0f, "signed", "V"},           // bipolar, range word 1
      {2, 1.0f, 0.0f, (1u << 0) | (1u << 3), 0.0f, "unsigned", "V"},  // bipolar, unsigned counts
      {1, 1.0f, 0.0f, 1u << 5, 0.0f, "recip", "Hz"},           // reciprocal
  };
  std::vector<std::vector<uint8_t>> records;
  for (const TarquilChannelFields& f : fields) records.push_back(testutil::TarquilChannelBytes({f}));
  BuildRecordByRecord(4, records);
  ASSERT_EQ(cvtSetBinDesc(4, testutil::TarquilHeaderBytes({3, 100, 1000.0f, 1000.0f, 0, 0}).data(), nullptr), 0);
  // The values of these formulas: SrcFmtTarquilTest; here they convert back to the raw counts.
  for (const int32_t x : {-32768, -1234, -1, 0, 4097, 32767}) {
    EXPECT_EQ(ToRaw(0, ToUser(0, static_cast<uint16_t>(x))), static_cast<uint32_t>(x)) << x;
  }
  for (const uint32_t x : {0u, 1u, 40000u, 65535u}) EXPECT_EQ(ToRaw(1, ToUser(1, x)), x) << x;
  // The clamp is to 32 bits, not to the 16-bit raw range.
  EXPECT_EQ(ToRaw(0, 1e12), 2147483647u);
  EXPECT_EQ(ToRaw(1, -3.0), 0u);
  EXPECT_EQ(ToRaw(1, 1e12), 4294967295u);
  EXPECT_EQ(ToRaw(2, 1.0), 0u);
}
}  // namespace
}  // namespace travune::apitest
