// Halvard writer: the description and data bytes for known channels and values (codes at the
// range ends, rounding, wrapping, clock stamps), and blocks refused without limits or room.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "writer/WriterRuns.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtHalvard.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;
using testing::Hex;
using testing::RunWriter;
using testing::ScratchDir;
using testing::WrittenFiles;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

const char kHead[] =
    "*TYPE\r\nTARQUIL 2.0\r\n*VERSION\r\n2.00\r\n*FORMAT\r\nBINARY\r\n*FREQUENCY\r\n";

// Three channels: -10..10 V (slope 20/65535: 3276.75 codes per unit, code 0 at
// -10 + 32768 * 20/65535 = 0.00015259), 0..5 (13107 codes per unit, code 0 at 2.50003815) and
// a zero-width range at 1 (no slope: infinite codes per unit, code 0 at 1).
//
// Codes, floor(v * m + b + 0.5) with m = 65535 / width and b = -32768 - m * lower, low 16 bits:
//   -10 V: -32767.5 -> -32768 (80 00); 10 V would be 32767.5 -> 32767
//   5 on 0..5: 32767.5 -> 32767 (7F FF); 0 on 0..5: -32767.5 -> -32768
//   0.5 V: 1638.375 -> 1638 (06 66); -0.5 V: -1638.375 -> -1639 (F9 99): floor, not truncation
//   -0.5 on 0..5: -39321 wraps to 26215 (66 67); 20 V: 65535 -> FF FF; -11 V: -36044.25 ->
//   -36045 -> 29491 (73 33); 1e6 on 0..5: 13106967232 mod 65536 = 29376 (72 C0);
//   -1e6 V: -3276750000 mod 65536 = 50000 (C3 50); not-a-number and infinities: 0.
//   Zero width (m = 65535, b = -98303): 1 -> -32768 (80 00), 2 -> 32767, 0 -> -98303 -> 32769 (80 01).
const std::vector<double> kValues = {
    -10.0, 5.0,  1.0,  //
    0.0,   2.5,  2.0,  //
    0.5,   -0.5, 0.0,  //
    -0.5,  0.0,  1.0,  //
    20.0,  kNaN, 1.0,  //
    -11.0, 1e6,  kInf, //
    -1e6,  -kInf, 1.0,
};
const char kCodes[] =
    "00 80 FF 7F 00 80 "
    "00 00 00 00 FF 7F "
    "66 06 67 66 01 80 "
    "99 F9 00 80 00 80 "
    "FF FF 00 00 00 80 "
    "33 73 C0 72 00 00 "
    "50 C3 00 00 00 80";

std::unique_ptr<FakeSource> ThreeChannels() {
  auto source = std::make_unique<FakeSource>(
      std::vector<FakeChannel>{{"Volt", "V", -10.0, 10.0}, {"Temp", "degC", 0.0, 5.0}, {"Flat", "", 1.0, 1.0}},
      kValues);
  source->SetRates(1000.0, 500.0);
  source->SetPreTrigCount(3);
  return source;
}

// Stamps asked from a relative source change nothing: TimeAxes.* finds none in its files.
TEST(TgtFmtHalvard, DescriptionAndCodesAreExactlyTheFormats) {
  const struct {
    const char* name;
    const char* separator;
    char mark;
    const char* body;  // the description after kHead
  } cases[] = {
      {"comma separator, decimal point", ",", '.',
       "1000.000000,500.000000\r\n*PRETRIG_COUNT\r\n000000003\r\n*CHANNELS\r\n"
       "00000,3276.750000,Volt,V,0.000153,\r\n"
       "00001,13107.000000,Temp,degC,2.500038,\r\n"
       "00002,inf,Flat,,1.000000,\r\n"},
      {"comma locale: semicolons and decimal commas", ";", ',',
       "1000,000000;500,000000\r\n*PRETRIG_COUNT\r\n000000003\r\n*CHANNELS\r\n"
       "00000;3276,750000;Volt;V;0,000153;\r\n"
       "00001;13107,000000;Temp;degC;2,500038;\r\n"
       "00002;inf;Flat;;1,000000;\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const std::unique_ptr<FakeSource> source = ThreeChannels();
    WriterContext context;
    context.listSeparator = c.separator;
    context.decimalMark = c.mark;
    TgtFmtHalvard writer(source.get(), context);
    const WrittenFiles files = RunWriter(writer, 7, dir);
    EXPECT_EQ(files.header, std::string(kHead) + c.body);
    EXPECT_EQ(Hex(files.data), kCodes);
  }
}

// The calendar of every day: TimeTest.EveryDayMatchesTheCLibraryAndComesBack.
TEST(TgtFmtHalvard, ClockStampsPrecedeEveryScanOfAnAbsoluteSource) {
  struct Case {
    const char* name;
    double startDays;  // scan 0's date
    double rate;
    const char* rates;
    const char* data;  // per scan: hour minute second, microseconds (u32), month day year-1900, code
  };
  const Case cases[] = {
      // 45366.5 is 15 March 2024, 12:00; scans 0.25 s apart (250000 = 0x3D090 microseconds).
      {"quarter seconds", 45366.5, 4.0, "4.000000,4.000000",
       "0C 00 00 00 00 00 00 03 0F 7C 00 00 "
       "0C 00 00 90 D0 03 00 03 0F 7C FF 7F "
       "0C 00 00 20 A1 07 00 03 0F 7C 00 80 "
       "0C 00 00 B0 71 0B 00 03 0F 7C 66 06"},
      // Scans 7 s apart: scan 1's seconds since 1899 come out as 3919665606.9999995, whose
      // fraction would round to 1000000 microseconds on top of the calendar's 12:00:07. The
      // microseconds follow the calendar's rounded time of day instead: 0.
      {"a second reached by rounding", 45366.5, 1.0 / 7.0, "0.142857,0.142857",
       "0C 00 00 00 00 00 00 03 0F 7C 00 00 "
       "0C 00 07 00 00 00 00 03 0F 7C FF 7F "
       "0C 00 0E 00 00 00 00 03 0F 7C 00 80 "
       "0C 00 15 00 00 00 00 03 0F 7C 66 06"},
      // No rate: the scans have no time, and their stamps stay zero (month 0: no date).
      {"no rate", 45366.5, 0.0, "0.000000,0.000000",
       "00 00 00 00 00 00 00 00 00 00 00 00 "
       "00 00 00 00 00 00 00 00 00 00 FF 7F "
       "00 00 00 00 00 00 00 00 00 00 00 80 "
       "00 00 00 00 00 00 00 00 00 00 66 06"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    FakeSource source({{"Volt", "V", -10.0, 10.0}}, {0.0, 10.0, -10.0, 0.5});
    source.SetRates(c.rate, c.rate);
    source.SetAbsolute(c.startDays);
    WriterContext context;
    context.flags = 1;
    TgtFmtHalvard writer(&source, context);
    const WrittenFiles files = RunWriter(writer, 4, dir);
    // The stamp's five words come first: the channel sits at word 5.
    EXPECT_EQ(files.header, std::string(kHead) + c.rates + "\r\n*PRETRIG_COUNT\r\n000000000\r\n*CHANNELS\r\n" +
                                "00005,3276.750000,Volt,V,0.000153,\r\n");
    EXPECT_EQ(Hex(files.data), c.data);
  }
}

TEST(TgtFmtHalvard, BlocksNeedTheChannelLimitsAndRoomForEveryScan) {
  ScratchDir dir;
  const std::unique_ptr<FakeSource> source = ThreeChannels();
  TgtFmtHalvard writer(source.get(), WriterContext{});
  std::vector<uint8_t> area(64);
  OutputArea beforePreConvert(area.data(), area.size());
  EXPECT_EQ(writer.ConvertDataBlock(2, beforePreConvert, 0), -1);

  platform::File header = platform::File::Create(dir.File("a.HX$").c_str());
  platform::File data = platform::File::Create(dir.File("a.HXT").c_str());
  ASSERT_TRUE(writer.PreConvert("a.HXT", &data, &header, 7));
  OutputArea tooSmall(area.data(), 11);  // two scans need 12 bytes
  EXPECT_EQ(writer.ConvertDataBlock(2, tooSmall, 0), -1);
  OutputArea none(area.data(), 0);
  EXPECT_EQ(writer.ConvertDataBlock(0, none, 0), 0);
  OutputArea lastScans(area.data(), area.size());
  ASSERT_EQ(writer.ConvertDataBlock(2, lastScans, 5), 12);
  EXPECT_EQ(Hex(std::string(area.begin(), area.begin() + 12)), "33 73 C0 72 00 00 50 C3 00 00 00 80");

  EXPECT_TRUE(writer.PostConvert());
  OutputArea afterPostConvert(area.data(), area.size());
  EXPECT_EQ(writer.ConvertDataBlock(1, afterPostConvert, 0), -1);
  // Without a description file there is nothing to write the description into.
  EXPECT_FALSE(writer.PreConvert("a.HXT", &data, nullptr, 7));
}

}  // namespace
}  // namespace travune
