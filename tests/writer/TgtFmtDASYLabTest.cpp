// DASYLab writer: the whole file byte for byte for a small acquisition, the start time from the
// clock or from scan 0's date, block sizes, channel lines cut to 35 bytes, rate 0, and the
// rounding and wrapping of 16-bit codes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/LittleEndian.h"
#include "writer/FakeSource.h"
#include "writer/WriterRuns.h"
#include "writer/TgtFmtDASYLab.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;

class TgtFmtDASYLabTest : public testing::HeaderedWriterTest {
 protected:
  testing::WrittenFiles Run(FakeSource& source, int64_t total, int64_t blockScans = 2) {
    TgtFmtDASYLab writer(&source);
    const int64_t scans = source.GetNumProgScans();
    return testing::RunWriter(writer, Path("out.ddf"), Path("unused"), total, 0, scans, blockScans);
  }
};

const uint8_t* Bytes(const std::string& s, size_t at) { return reinterpret_cast<const uint8_t*>(s.data() + at); }

TEST_F(TgtFmtDASYLabTest, WholeFileByteForByte) {
  FakeSource source({{"Volt", "V", -10.0, 10.0}, {"Temp", "degC", 0.0, 100.0}},
                    {-10.0, 0.0, 10.0, 100.0, 0.0, 50.0, 10.5, -1.0});
  const std::string text =
      "DTDF\r\r\n"
      "DASYLab  -- Fake 1.0\r\n"
      "WORKSHEET\t= Fake Configuration\r\n"
      "AUTHOR\t\t= \r\n"
      "COMPANY  \t= \r\n"
      "DIVISION\t\t= \r\n"
      "TITLE\t\t= \r\n"
      "SAMPLE RATE\t= 100.000000 \r\n"
      "TOTAL SCANS\t= 4\r\n"
      "DATA FORMAT\t= 0\r\n"
      "DATA CHANNELS\t= 2\r\n"
      "START TIME\t= 1/2/2003 14:30:05\r\n"  // the conversion clock: the source is relative
      "\r\n\r\n"
      " CHANNEL\tUNIT:\r\n"
      "            Volt\tV               \r\n"
      "            Temp\tdegC            \r\n";
  std::string global(
      "\x00\x1A"
      "IN"
      "LL"                                 // text length + 28, filled in below
      "\x00\x00\x01\x00\x14\x00\x96\x01"   // 0, 1, 20, 406
      "\x00\x00\x00\x00\x02\x00"           // 0, 0, 2 channels
      "\x7B\x14\xAE\x47\xE1\x7A\x84\x3F"   // 1 / 100 s
      "\xED\x4C\x14\x3E"                   // 2003-01-02 14:30:05 = 1041517805 s after 1970
      "\x14\x00\x02\x00\x00\x00\x00\x00"   // 20, 2 channels, 0, 0
      "\x10\x00\x04\x00"                   // 16; 4 scans per block (4 divides 4)
      "\x00\x00\x00\x00\x01\x00\x00\x00",  // 0, 1
      52);
  le::PutU16(global.data() + 4, static_cast<uint16_t>(text.size() + 28));
  // Codes: lower limit 0, upper 65535, mid-point 32767.5 up to 32768; 10.5 V is code 67173,
  // kept to 16 bits 1637; -1 degC is code -655, kept to 16 bits 64881.
  const std::string codes(
      "\x00\x00\x00\x00"
      "\xFF\xFF\xFF\xFF"
      "\x00\x80\x00\x80"
      "\x65\x06\x71\xFD",
      16);

  const auto files = Run(source, 4);
  ASSERT_EQ(files.data.size(), text.size() + 52 + 2 * 406 + 16);
  EXPECT_EQ(files.data.substr(0, text.size()), text);
  EXPECT_EQ(files.data.substr(text.size(), 52), global);
  const char* labels[] = {"Volt", "Temp"};
  const double lower[] = {-10.0, 0.0}, upper[] = {10.0, 100.0};
  for (size_t c = 0; c < 2; ++c) {
    SCOPED_TRACE(labels[c]);
    const std::string record = files.data.substr(text.size() + 52 + 406 * c, 406);
    EXPECT_EQ(le::U16(Bytes(record, 0)), 406);
    EXPECT_EQ(le::U16(Bytes(record, 2)), 1);
    std::string label(labels[c]);
    label.resize(386, '\0');  // label field and the zero u16 at 388
    EXPECT_EQ(record.substr(4, 386), label);
    EXPECT_EQ(le::F64(Bytes(record, 390)), (upper[c] - lower[c]) / 65535.0);
    EXPECT_EQ(le::F64(Bytes(record, 398)), lower[c]);
  }
  EXPECT_EQ(files.data.substr(files.data.size() - 16), codes);
}

// A dated source starts at scan 0's date (a relative one at the clock: WholeFileByteForByte).
TEST_F(TgtFmtDASYLabTest, StartTimeFromScanZerosDate) {
  const double seconds14_30_15_25 = 14 * 3600 + 30 * 60 + 15.25;
  const double seconds08_07_06 = 8 * 3600 + 7 * 60 + 6;
  const struct {
    const char* name;
    double startDays;
    int64_t preTrig;
    const char* line;
    uint32_t unixSeconds;
  } cases[] = {
      // Whole seconds of the calendar date: the quarter second is dropped.
      {"absolute source: scan 0", 37623.0 + seconds14_30_15_25 / 86400.0, 0,
       "START TIME\t= 1/2/2003 14:30:15\r\n", 1041517815u},
      {"absolute, trigger later", 44509.0 + seconds08_07_06 / 86400.0, 2, "START TIME\t= 11/9/2021 08:07:06\r\n",
       1636445226u},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({{"a", "V"}}, {0.0, 1.0, 2.0, 3.0});
    source.SetPreTrigCount(c.preTrig);
    source.SetAbsolute(c.startDays);
    const auto files = Run(source, 4);
    EXPECT_NE(files.data.find(c.line), std::string::npos);
    const size_t global = files.data.find(" CHANNEL\tUNIT:\r\n") + 16 + 35;
    EXPECT_EQ(le::U32(Bytes(files.data, global + 28)), c.unixSeconds);
  }
}

TEST_F(TgtFmtDASYLabTest, HeaderFieldsFollowTheSourceFacts) {
  const std::string line = "               a\tV               \r\n";
  const struct {
    const char* name;
    int64_t total;
    FakeChannel chan;
    uint16_t blockScans;  // the largest divisor of the total up to 512
    std::string channelLine;
  } cases[] = {
      {"a prime above 512: blocks of 1", 1009, {"a", "V"}, 1, line},
      {"no scans: 512", 0, {"a", "V"}, 512, line},
      {"1026 = 2 x 27 x 19: 342", 1026, {"a", "V"}, 342, line},
      {"1536: 512", 1536, {"a", "V"}, 512, line},
      {"a long label is cut at 35 bytes", 3, {"ABCDEFGHIJKLMNOPQRSTU", "V"}, 3,
       "ABCDEFGHIJKLMNOPQRSTU\tV" + std::string(12, ' ')},
      {"long units too", 3, {"a", "0123456789abcdefghij"}, 3, "               a\t0123456789abcdefgh"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({c.chan}, {0.0});
    const auto files = Run(source, c.total);
    const size_t lines = files.data.find(" CHANNEL\tUNIT:\r\n") + 16;
    EXPECT_EQ(files.data.substr(lines, 35), c.channelLine);
    EXPECT_EQ(le::U16(Bytes(files.data, lines + 35 + 42)), c.blockScans);
    EXPECT_NE(files.data.find("TOTAL SCANS\t= " + std::to_string(c.total) + "\r\n"), std::string::npos);
    const std::string label(files.data.data() + lines + 35 + 52 + 4);
    EXPECT_EQ(label, c.chan.label);
  }
}

TEST_F(TgtFmtDASYLabTest, RateZeroGivesAnInfiniteSampleDistance) {
  FakeSource source({{"a", "V"}}, {1.0, 2.0});
  source.SetRates(0.0, 0.0);
  const auto files = Run(source, 2);
  EXPECT_NE(files.data.find("SAMPLE RATE\t= 0.000000 \r\n"), std::string::npos);
  const size_t global = files.data.find(" CHANNEL\tUNIT:\r\n") + 16 + 35;
  EXPECT_EQ(le::F64(Bytes(files.data, global + 20)), std::numeric_limits<double>::infinity());
}

TEST_F(TgtFmtDASYLabTest, CodesRoundHalfUpAndKeepTheLow16Bits) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    double lower, upper, value;
    uint16_t code;
  } cases[] = {
      // Range 0 to 65535: the code is the value rounded half up (2.5 up, -0.5 up to 0, -0.51
      // down to -1).
      {0.0, 65535.0, 2.5, 3},
      {0.0, 65535.0, -0.5, 0},
      {0.0, 65535.0, -0.51, 65535},  // -1
      {0.0, 65535.0, 65535.5, 0},    // 65536
      {0.0, 65535.0, 1e12, 4096},   // 1e12 mod 65536
      {0.0, 65535.0, -3e9, 41472},  // -3e9 mod 65536
      {0.0, 65535.0, nan, 0},
      {0.0, 65535.0, inf, 0},
      {-1.0, 1.0, 1.0, 65535},
      {-1.0, 1.0, 0.0, 32768},  // 32767.5 rounds up
      // A zero-width range divides by 1: code = (value - 5) x 65535.
      {5.0, 5.0, 5.0, 0},
      {5.0, 5.0, 5.5, 32768},
      {5.0, 5.0, 4.0, 1},  // -65535
  };
  std::vector<FakeChannel> chans;
  std::vector<double> values;
  for (const auto& c : cases) {
    chans.push_back({"c", "u", c.lower, c.upper});
    values.push_back(c.value);
  }
  FakeSource source(chans, values);
  const auto files = Run(source, 1);
  const size_t codes = files.data.size() - 2 * std::size(cases);
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(le::U16(Bytes(files.data, codes + 2 * i)), cases[i].code) << "value " << cases[i].value;
  }
}

}  // namespace
}  // namespace travune
