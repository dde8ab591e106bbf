// Tests of the Celdrin source: channel layout and hostile positions, clock stamps, gain,
// temperature and digital scaling, the three-rate time base and stamps loaded from a file.
#include "source/SrcFmtCeldrin.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "source/SourceImages.h"

namespace travune {
namespace {

SrcFmtCeldrin Make(const std::vector<uint8_t>& image, int64_t dataFileSize = 0) {
  return SrcFmtCeldrin(image.data(), image.size(), ",", dataFileSize);
}

// A channel line: position, countsPerUnit, label, kind, gain, offset, three unused columns, units.
std::string Chan(int position, const std::string& kind = "VOLTS", const std::string& countsPerUnit = "1",
                 const std::string& gain = "1", const std::string& offset = "0") {
  return std::to_string(position) + "," + countsPerUnit + ",Ch" + std::to_string(position) + "," + kind + "," + gain +
         "," + offset + ",0,0,0,U" + std::to_string(position);
}

std::string TextOf(const std::vector<std::string>& channels) {
  const std::vector<uint8_t> image = testutil::CeldrinImage({.channels = channels});
  return std::string(image.begin(), image.end());
}

// Positions at 5 and up leave room for a clock stamp; a scan reaches to the last position's word.
// Headers the keyword parser finds invalid are refused (which headers: KeywordDescTest).
TEST(SrcFmtCeldrinTest, ChannelLayoutAndRefusedDescriptions) {
  const std::string good = TextOf({Chan(0)});
  struct Case { const char* name; std::string text; int32_t status; int64_t scanSize; bool stamps; };
  const Case cases[] = {
      {"stamped, positions 5 6 7", TextOf({Chan(5), Chan(6), Chan(7)}), 0, 16, true},
      {"no stamps, positions 0 1", TextOf({Chan(0), Chan(1)}), 0, 4, false},
      {"largest position", TextOf({Chan(65535)}), 0, 131072, false},
      {"position beyond the scan", TextOf({Chan(2), Chan(0)}), -1, 0, false},
      {"huge position", TextOf({Chan(65536)}), -1, 0, false},
      {"position far beyond 32 bits", TextOf({"99999999999,1,a,VOLTS,1,0,0,0,0,u"}), -1, 0, false},
      {"empty", "", -1, 0, false},
      {"misspelt channel keyword", good.substr(0, good.find("*CHANNELS")) + "*CHANNELSX\r\n" + Chan(0), -1, 0, false},
      {"no *FREQUENCY", "*TYPE\nT\n*FORMAT\nBINARY\n*CHANNELS\n0,1,a,b,1,0,0,0,0,u\n", -1, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SrcFmtCeldrin source = Make(std::vector<uint8_t>(c.text.begin(), c.text.end()), 100);
    ASSERT_EQ(source.GetStatus(), c.status);
    if (c.status != 0) continue;
    EXPECT_EQ(source.GetScanSize(), c.scanSize);
    EXPECT_EQ(source.GetNumProgScans(), 100 / c.scanSize);
    EXPECT_EQ(source.NativeTimeFormat().stampsInData, c.stamps);
  }
  EXPECT_EQ(SrcFmtCeldrin(nullptr, 0, ",", 0).GetStatus(), -1);
}

std::vector<uint8_t> Stamp(int hour, int minute, int second, uint32_t micro, int month, int day, int year) {
  return {static_cast<uint8_t>(hour),         static_cast<uint8_t>(minute),         static_cast<uint8_t>(second),
          static_cast<uint8_t>(micro),        static_cast<uint8_t>(micro >> 8),     static_cast<uint8_t>(micro >> 16),
          static_cast<uint8_t>(micro >> 24),  static_cast<uint8_t>(month),          static_cast<uint8_t>(day),
          static_cast<uint8_t>(year)};
}

constexpr double kAnyFiniteTime = -1e9;

// Day numbers: 1 Jan 1991 = 33239, 31 Dec 1999 = 36525, 29 Feb 2000 = 36585,
// 2 Jan 2003 = 37623, 1 Jan 2090 = 69399.
TEST(SrcFmtCeldrinTest, DecodesClockStamps) {
  struct Case { std::vector<uint8_t> stamp; double days; };
  const Case cases[] = {
      {Stamp(12, 30, 15, 250000, 1, 2, 3), 37623.0 + 45015.25 / 86400.0},
      {Stamp(0, 0, 0, 0, 1, 1, 90), 69399.0},
      {Stamp(0, 0, 0, 0, 1, 1, 91), 33239.0},
      {Stamp(23, 59, 59, 999999, 12, 31, 99), 36525.0 + 86399.999999 / 86400.0},
      {Stamp(6, 0, 0, 0, 3, 1, 0), 36586.25},
      // Damaged stamps (no month, months beyond 12, every field at its largest) give some finite time.
      {Stamp(255, 255, 255, 0xFFFFFFFFu, 0, 255, 255), kAnyFiniteTime},
      {Stamp(255, 255, 255, 0xFFFFFFFFu, 13, 255, 255), kAnyFiniteTime},
      {Stamp(255, 255, 255, 0xFFFFFFFFu, 255, 255, 255), kAnyFiniteTime},
  };
  SrcFmtCeldrin source = Make(testutil::CeldrinImage({.preTrig = 1, .channels = {Chan(5), Chan(6), Chan(7)}}));
  ASSERT_EQ(source.GetStatus(), 0);
  for (const Case& c : cases) {
    // Two scans of 16 bytes, the first starting at scan 10: the stamp of scan 11 is asked for.
    std::vector<uint8_t> block(32, 0xEE);
    std::copy(c.stamp.begin(), c.stamp.end(), block.begin() + 16);
    source.SetRawBlock(block.data(), 2, 10);
    double t = 0.0;
    ASSERT_TRUE(source.GetNativeScanTime(11, &t));
    if (c.days == kAnyFiniteTime) {
      EXPECT_TRUE(std::isfinite(t)) << testing::PrintToString(c.stamp);
    } else {
      EXPECT_NEAR(t, c.days, 2e-11) << testing::PrintToString(c.stamp);
    }
  }
}

// Raw words to values; where given, the channel's range runs from the value of −32768 to that of
// 32767 (asymmetric by one count).
TEST(SrcFmtCeldrinTest, ScalesAnalogTemperatureAndDigitalChannels) {
  struct Case { std::string line; uint16_t raw; double expected; double lower = NAN; double upper = NAN; };
  const Case cases[] = {
      {Chan(0, "Deg F", "1"), 1000, 212.0, 32.0 - 5898.24, 5898.06 + 32.0},
      {Chan(0, "deg f", "10"), 1000, 100.0},  // not a temperature kind: raw / countsPerUnit
      {Chan(0, "Deg C", "1", "2", "1"), static_cast<uint16_t>(-500), -99.0},
      {Chan(0, "Deg K", "7"), 1000, 373.15},
      {Chan(0, "Deg R", "7"), 1000, 671.67},
      {Chan(0, "VOLTS", "3276.8"), 0x8000, -32768.0 / static_cast<double>(3276.8f)},
      {Chan(0, "VOLTS", "4", "2", "1"), 1000, 501.0, -16383.0, 16384.5},
      {Chan(0, "VOLTS", "1"), 0xFFFF, -1.0},  // signed
      {Chan(0, "DIGITAL"), 0xFFFF, 32767.0, -32768.0, 32767.0},  // unsigned, offset by 32768 counts
      {Chan(0, "DIGITAL", "2", "1", "5"), 40000, 3621.0},
      {Chan(0, "digital"), 0xFFFF, -1.0},  // kind is case-sensitive: analog
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    SrcFmtCeldrin source = Make(testutil::CeldrinImage({.channels = {c.line}}));
    ASSERT_EQ(source.GetStatus(), 0);
    const uint8_t raw[2] = {static_cast<uint8_t>(c.raw), static_cast<uint8_t>(c.raw >> 8)};
    source.SetRawBlock(const_cast<uint8_t*>(raw), 1, 0);
    double value = 0.0;
    source.GetScaledValue(0, 0, &value);
    EXPECT_NEAR(value, c.expected, 1e-9 * std::fmax(1.0, std::fabs(c.expected))) << "raw " << c.raw;
    double lower = 0.0, upper = 0.0;
    ASSERT_TRUE(source.GetChanRange(0, &lower, &upper));
    if (!std::isnan(c.lower)) {
      EXPECT_NEAR(lower, c.lower, 1e-9);
      EXPECT_NEAR(upper, c.upper, 1e-9);
    }
  }

  // To the last bit, the sample maps through the line from (-32768, lower) to (32767, upper), with
  // lower = b - 32768 m and upper = 32767 m + b for m = gain / countsPerUnit and b = offset; in
  // these cases that differs from raw * m + b in the last bit of the double (and of the float).
  struct Exact { const char *countsPerUnit, *gain, *offset; float cpu, g, o; int16_t raw; };
  const Exact exact[] = {{"3.3", "2.5", "0", 3.3f, 2.5f, 0.0f, 0},
                         {"3276.8", "0.7", "1.5", 3276.8f, 0.7f, 1.5f, -28671}};
  for (const Exact& c : exact) {
    SrcFmtCeldrin source =
        Make(testutil::CeldrinImage({.channels = {Chan(0, "VOLTS", c.countsPerUnit, c.gain, c.offset)}}));
    ASSERT_EQ(source.GetStatus(), 0);
    const double mc = static_cast<double>(c.g) * (1.0 / static_cast<double>(c.cpu));
    const double bc = static_cast<double>(c.g) * 0.0 + static_cast<double>(c.o);
    const double lower = bc - 32768.0 * mc, upper = 32767.0 * mc + bc;
    const double m = (upper - lower) / 65535.0;
    const uint8_t raw[2] = {static_cast<uint8_t>(c.raw), static_cast<uint8_t>(static_cast<uint16_t>(c.raw) >> 8)};
    const double value = source.ScaleSample(0, raw);
    EXPECT_EQ(value, c.raw * m + (lower - m * -32768.0)) << c.countsPerUnit;
    EXPECT_NE(value, c.raw * mc + bc) << c.countsPerUnit;
  }
}

TEST(SrcFmtCeldrinTest, ThreeRateTimeBase) {
  struct Case {
    const char* name;
    std::string frequency;
    int preTrig;
    int postStop;
    double setDataFileSize;  // < 0: not set, the programmed count (40 bytes, 10 scans) holds
    bool uniform;
    std::vector<std::pair<int64_t, double>> seconds;
  };
  const Case cases[] = {
      {"pre-trigger, post-trigger, post-stop", "10,100", 2, 3, -1.0, false,
       {{0, -0.2}, {1, -0.1}, {2, 0.0}, {3, 0.01}, {7, 0.05}, {8, 0.15}, {9, 0.25}}},
      {"data file size moves the post-stop start", "10,100", 2, 3, 80.0, false,
       {{0, -0.2}, {9, 0.07}, {17, 0.15}, {18, 0.25}}},
      {"no pre-trigger scans: post-stop runs at the post rate", "10,100", 0, 3, -1.0, true,
       {{0, 0.0}, {5, 0.05}, {7, 0.07}, {9, 0.09}}},
      {"pre-trigger rate 0 reads as 1", "0,100", 2, 0, -1.0, false, {{0, -2.0}, {1, -1.0}, {2, 0.0}, {3, 0.01}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SrcFmtCeldrin source = Make(testutil::CeldrinImage({c.frequency, c.preTrig, c.postStop, {Chan(0), Chan(1)}}), 40);
    ASSERT_EQ(source.GetStatus(), 0);
    if (c.setDataFileSize >= 0.0) source.SetDataFileSize(c.setDataFileSize);
    EXPECT_EQ(source.HasUniformRate(), c.uniform);
    EXPECT_FALSE(source.NativeTimeFormat().absolute);
    for (const auto& [scan, expected] : c.seconds) {
      double t = 0.0;
      ASSERT_TRUE(source.GetNativeScanTime(scan, &t));
      EXPECT_NEAR(t * 86400.0, expected, 1e-12) << "scan " << scan;
      if (scan == 0) {
        EXPECT_EQ(source.FirstScanTime(), t);
      }
    }
  }
}

// Scan 0 and the trigger scan's stamps are read from the data file and answered afterwards
// without any raw block. The file holds more than one 64 KiB block of scans.
TEST(SrcFmtCeldrinTest, LoadsStampsFromTheDataFile) {
  const testutil::CeldrinDesc d = {.preTrig = 2, .channels = {Chan(5), Chan(6)}};  // 14-byte scans
  std::vector<uint8_t> data;
  for (int scan = 0; scan < 10000; ++scan) {
    const std::vector<uint8_t> stamp = Stamp(scan == 2 ? 1 : 0, 0, scan == 1 ? 30 : 0, 0, 1, 2, 3);
    data.insert(data.end(), stamp.begin(), stamp.end());
    data.insert(data.end(), 4, 0);
  }
  const std::string path = testing::TempDir() + "celdrin_stamps.hxt";
  ASSERT_TRUE(platform::File::Create(path.c_str()).Write(data.data(), data.size()));
  SrcFmtCeldrin source = Make(testutil::CeldrinImage(d), static_cast<int64_t>(data.size()));
  ASSERT_EQ(source.GetStatus(), 0);
  source.SetDataFileSize(static_cast<double>(data.size()));
  platform::File dataFile = platform::File::OpenRead(path.c_str());
  ASSERT_TRUE(dataFile.IsOpen());
  const bool loaded = source.LoadTimeStamps(&dataFile);
  dataFile.Close();
  platform::DeleteFile(path.c_str());
  ASSERT_TRUE(loaded);
  EXPECT_NEAR(source.FirstScanTime(), 37623.0, 1e-11);
  double t = 0.0;
  ASSERT_TRUE(source.GetScanTime(2, &t));
  EXPECT_NEAR(t, 37623.0 + 1.0 / 24.0, 1e-11);
}

}  // namespace
}  // namespace travune
