// Snap-Master writer: the key header byte for byte with the conversion clock fixed, the pointer
// file, list lengths (ids past A9, long lists written in pieces), range decimals, sweep text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/WriterRuns.h"
#include "writer/TgtFmtSnapMaster.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;

class TgtFmtSnapMasterTest : public testing::HeaderedWriterTest {};

// The value of key line "KEY" in the file's header, with the length it announces.
std::string KeyLineOf(const std::string& file, const std::string& key) {
  const size_t start = file.find("\"" + key + "\", ");
  if (start == std::string::npos) return "";
  return file.substr(start, file.find("\r\n\"", start) - start);
}

TEST_F(TgtFmtSnapMasterTest, KeyHeaderPointerFileAndFloatsByteForByte) {
  FakeSource source({{"Ch0", "V", -10.0, 10.0}, {"Temp", "degC", -0.5, 0.5}}, {1.0, 0.25, -2.0, 0.5, 0.0, -0.5});
  source.SetRates(1000.0, 1000.0);
  source.SetPreTrigCount(5);
  TgtFmtSnapMaster writer(&source);
  const std::string data = Path("run.sma");
  const auto files = testing::RunWriter(writer, data, Path("run.dat"), 3, 0, 3, 3);
  EXPECT_EQ(files.header, "Snap-Master Data File.\r\n" + data + "\r\n\x1A");

  // Dates without zero padding (month-day-year), times with; lengths count the value only.
  const std::string header =
      "\"Snap-Master Data File\", 19\r\n"
      "\"DATE$\", 10, =\"1-2-2003\"\r\n"
      "\"TIME$\", 10, =\"14:30:05\"\r\n"
      "\"ACT.FREQ\", 11, =1000.000000\r\n"
      "\"ACT.SWEEP\", 16, =         0.00300\r\n"  // 3 scans / 1000 per second, 16 wide
      "\"NCHAN%\", 1, =2\r\n"
      "\"CHAN$[]\", 6, =A0, A1\r\n"
      "\"NUM.POINTS\", 10, =         3\r\n"
      "\"CLOCK.UNITS$\", 3, =Sec\r\n"
      "\"FILE.TYPE$\", 25, =Interleaved Analog Binary\r\n"
      "\"INTERLEAVE.FACTOR%\", 1, =2\r\n"
      "\"CONVERSION.POLY$[]\", 14, =0 + 1x, 0 + 1x\r\n"
      "\"UNITS$[]\", 7, =V, degC\r\n"
      "\"DEFAULT.LABEL$[]\", 4, =0, 0\r\n"
      "\"CHANNEL.LABEL$[]\", 9, =Ch0, Temp\r\n"
      "\"CHANNEL.TYPE$[]\", 6, =yt, yt\r\n"
      // 22 + 2 + 14 characters; an upper limit within ±1 takes three decimals.
      "\"CHANNEL.RANGES[]\", 38, =(-10.000000,10.000000), (-0.500,0.500)\r\n"
      "\"FFT.BLOCKSIZE%\", 4, =2048\r\n"
      "\"PRE.TRIGGER.PTS%\", 1, =5\r\n"
      // 13 + 2 + 25 + 2 + 11 characters, the inner CR LF pairs counted.
      "\"DATAINFO$[]\", 53, =Model:Corvath\r\nResolution:Floating-Point\r\nData:Scaled\r\n"
      "\"TR\", 1\r\n"
      "\"1-2-2003\",\"14:30:05\",\r\n\xAA";
  ASSERT_EQ(files.data.size(), header.size() + 24);
  EXPECT_EQ(files.data.substr(0, header.size()), header);
  // 1.0, 0.25, -2.0 as little-endian floats, straight after the 0xAA.
  EXPECT_EQ(files.data.substr(header.size(), 12), std::string("\x00\x00\x80\x3F\x00\x00\x80\x3E\x00\x00\x00\xC0", 12));
}

// n copies of item separated by ", ".
std::string Joined(const std::string& item, int n) {
  std::string list = item;
  for (int i = 1; i < n; ++i) list += ", " + item;
  return list;
}

TEST_F(TgtFmtSnapMasterTest, KeyLinesFollowTheSourceFacts) {
  std::vector<FakeChannel> eleven(11, FakeChannel{"c", "u", 0.0, 1.0});
  std::vector<FakeChannel> ranges = {{"a", "u", -2.0, 0.999}, {"b", "u", -5.0, -1.0}, {"c", "u", -1.5, -0.9994}};
  // 120 labels of 10 characters: a list far longer than a piece of 896, written whole.
  std::vector<FakeChannel> many;
  std::string labels;
  for (int i = 0; i < 120; ++i) {
    many.push_back({"label" + std::to_string(10000 + i), "V"});
    labels += (i ? ", label" : "label") + std::to_string(10000 + i);
  }
  const struct {
    const char* name;
    std::vector<FakeChannel> chans;
    double rate;
    int64_t scans;
    const char* key;
    std::string line;
  } cases[] = {
      {"A10 has three characters", eleven, 100.0, 1, "CHAN$[]",
       "\"CHAN$[]\", 43, =A0, A1, A2, A3, A4, A5, A6, A7, A8, A9, A10"},
      {"upper limit exactly 1 takes six decimals", eleven, 100.0, 1, "CHANNEL.RANGES[]",
       "\"CHANNEL.RANGES[]\", 229, =" + Joined("(0.000000,1.000000)", 11)},
      {"decimals by the upper limit only", ranges, 100.0, 1, "CHANNEL.RANGES[]",
       "\"CHANNEL.RANGES[]\", 54, =(-2.000,0.999), (-5.000000,-1.000000), (-1.500,-0.999)"},
      {"2000 scans at 1000 per second", ranges, 1000.0, 2000, "ACT.SWEEP", "\"ACT.SWEEP\", 16, =         2.00000"},
      {"rate 0: frequency 0, a finite sweep", ranges, 0.0, 2000, "ACT.FREQ", "\"ACT.FREQ\", 8, =0.000000"},
      {"rate 0 sweep", ranges, 0.0, 2000, "ACT.SWEEP", "\"ACT.SWEEP\", 16, =         0.00000"},
      {"count right-aligned in ten", ranges, 10.0, 1234567, "NUM.POINTS", "\"NUM.POINTS\", 10, =   1234567"},
      {"a long list's length counts it all", many, 100.0, 4, "CHANNEL.LABEL$[]",
       "\"CHANNEL.LABEL$[]\", 1438, =" + labels},  // 120 x 12 - 2
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source(c.chans, std::vector<double>(c.chans.size(), 0.0));
    source.SetRates(c.rate, c.rate);
    TgtFmtSnapMaster writer(&source);
    const auto files = testing::RunWriter(writer, Path("k.sma"), Path("k.dat"), c.scans, 0, 0, 1);
    EXPECT_EQ(KeyLineOf(files.data, c.key), c.line);
  }
}

}  // namespace
}  // namespace travune
