// DASYLab writer: the whole file byte for byte, the header's facts for various sources (start
// time, block size, lines cut to 35 bytes, rate 0) and the code line of each channel's range.
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

// The header's facts for one channel: the channel line (cut to 35 bytes), the block of the
// largest divisor of the total up to 512, and in the global record (35 bytes after the line) the
// sample distance at 20 and the start time at 28: the clock's for a relative source, else the
// whole seconds of scan 0's date.
TEST_F(TgtFmtDASYLabTest, HeaderFollowsTheSourceFacts) {
  const uint32_t clock = 1041517805u;  // 2003-01-02 14:30:05, seconds after 1970
  const std::string line = "               a\tV               \r\n";
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* name;
    FakeChannel chan;
    int64_t total;
    double rate, startDays;  // startDays 0: a relative source
    int64_t preTrig;
    std::string textLine, channelLine;
    uint16_t blockScans;
    double distance;
    uint32_t unixSeconds;
  } cases[] = {
      {"a prime above 512: blocks of 1", {"a", "V"}, 1009, 100, 0, 0, "TOTAL SCANS\t= 1009\r\n", line, 1, 0.01, clock},
      {"no scans: 512", {"a", "V"}, 0, 100, 0, 0, "TOTAL SCANS\t= 0\r\n", line, 512, 0.01, clock},
      {"1026 = 2 x 27 x 19: 342", {"a", "V"}, 1026, 100, 0, 0, "TOTAL SCANS\t= 1026\r\n", line, 342, 0.01, clock},
      {"1536: 512", {"a", "V"}, 1536, 100, 0, 0, "TOTAL SCANS\t= 1536\r\n", line, 512, 0.01, clock},
      {"a long label is cut at 35 bytes", {"ABCDEFGHIJKLMNOPQRSTU", "V"}, 3, 100, 0, 0, "TOTAL SCANS\t= 3\r\n",
       "ABCDEFGHIJKLMNOPQRSTU\tV" + std::string(12, ' '), 3, 0.01, clock},
      {"long units too", {"a", "0123456789abcdefghij"}, 3, 100, 0, 0, "TOTAL SCANS\t= 3\r\n",
       "               a\t0123456789abcdefgh", 3, 0.01, clock},
      {"rate 0: an infinite sample distance", {"a", "V"}, 2, 0, 0, 0, "SAMPLE RATE\t= 0.000000 \r\n", line, 2, inf,
       clock},
      // 14:30:15.25 on 2 January 2003: the quarter second is dropped.
      {"absolute source: scan 0", {"a", "V"}, 4, 100, 37623.0 + (14 * 3600 + 30 * 60 + 15.25) / 86400.0, 0,
       "START TIME\t= 1/2/2003 14:30:15\r\n", line, 4, 0.01, 1041517815u},
      {"absolute, trigger later", {"a", "V"}, 4, 100, 44509.0 + (8 * 3600 + 7 * 60 + 6) / 86400.0, 2,
       "START TIME\t= 11/9/2021 08:07:06\r\n", line, 4, 0.01, 1636445226u},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({c.chan}, {0.0, 1.0, 2.0, 3.0});
    source.SetRates(c.rate, c.rate);
    source.SetPreTrigCount(c.preTrig);
    if (c.startDays > 0) source.SetAbsolute(c.startDays);
    const auto files = Run(source, c.total);
    EXPECT_NE(files.data.find(c.textLine), std::string::npos);
    const size_t lines = files.data.find(" CHANNEL\tUNIT:\r\n") + 16;
    EXPECT_EQ(files.data.substr(lines, 35), c.channelLine);
    const size_t global = lines + 35;
    EXPECT_EQ(le::F64(Bytes(files.data, global + 20)), c.distance);
    EXPECT_EQ(le::U32(Bytes(files.data, global + 28)), c.unixSeconds);
    EXPECT_EQ(le::U16(Bytes(files.data, global + 42)), c.blockScans);
    EXPECT_EQ(std::string(files.data.data() + global + 52 + 4), c.chan.label);  // the record's label
  }
}

// The line through (lower, 0) and (upper, 65535) of each channel; its rounding (half up) and
// wrapping of the low 16 bits are RoundedCode's and show in WholeFileByteForByte.
TEST_F(TgtFmtDASYLabTest, CodesFollowTheLineOfEachChannelsRange) {
  const struct {
    double lower, upper, value;
    uint16_t code;
  } cases[] = {
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
