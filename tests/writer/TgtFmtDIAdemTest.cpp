// DIAdem writer: both files byte for byte with implicit and explicit time channels, odd rates' start
// and step, explicit times of untimed and rateless scans, and the reference scan of rateless stamps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "support/LittleEndian.h"
#include "writer/WriterRuns.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtDIAdem.h"
#include "writer/decoders/Decoders.h"

namespace travune {
namespace {

using testing::FakeSource;

// The global header for the test clock (2 January 2003 14:30:05) and the title "Fake".
const std::string kGlobalHeader =
    "DIAEXTENDED {@:ENGLISH\r\n\r\n#BEGINGLOBALHEADER\r\n  1,Windows\r\n  2,{@R:200\r\n101,Fake data\r\n102,\r\n"
    "103,\r\n104,01/02/03\r\n105,14:30:05\r\n111,9.9000000E+34\r\n112,High -> Low\r\n#ENDGLOBALHEADER\r\n\r\n";

// A channel stored in out.R32: name, unit, position and values per scan, total scans.
std::string StoredChannel(const std::string& name, const std::string& longName, const std::string& unit,
                          const std::string& total, const std::string& position, const std::string& perScan) {
  return "#BEGINCHANNELHEADER\r\n200," + name + "\r\n201," + longName + "\r\n202," + unit +
         "\r\n210,EXPLICIT\r\n211,out.R32\r\n213,BLOCK\r\n214,REAL32\r\n220," + total + "\r\n221," + position +
         "\r\n222," + perScan +
         "\r\n240,0\r\n241,1\r\n252,No\r\n253,not monotone\r\n260,Numeric\r\n#ENDCHANNELHEADER\r\n\r\n";
}

class TgtFmtDIAdemTest : public testing::HeaderedWriterTest {
 protected:
  testing::WrittenFiles Run(FakeSource& source, int64_t total, int64_t first, int64_t count, int64_t blockScans) {
    TgtFmtDIAdem writer(&source);
    return testing::RunWriter(writer, Path("out.R32"), Path("out.DAT"), total, first, count, blockScans);
  }
  testing::WrittenFiles RunAll(FakeSource& source, int64_t blockScans = 2) {
    const int64_t scans = source.GetNumProgScans();
    return Run(source, scans, 0, scans, blockScans);
  }
};

TEST_F(TgtFmtDIAdemTest, ImplicitTimeChannelByteForByte) {
  // Labels and units lose blanks, tabs and line ends at both ends only.
  FakeSource source({{"  Volt A ", " V\t"}, {"Temp\r\n", "degC"}}, {1.5, 0.1, -2.25, 100.0, 1e40, -0.0});
  source.SetRates(4.0, 4.0);
  source.SetPreTrigCount(1);
  const std::string header = kGlobalHeader +
                             "#BEGINCHANNELHEADER\r\n200,Time\r\n201,Time (s)\r\n202,s\r\n210,IMPLICIT\r\n220,3\r\n"
                             "240,-0.25\r\n241,0.25\r\n252,No\r\n253,increasing\r\n260,Numeric\r\n"
                             "#ENDCHANNELHEADER\r\n\r\n" +
                             StoredChannel("Volt A", "", "V", "3", "1", "2") +
                             StoredChannel("Temp", "", "degC", "3", "2", "2");
  // Floats: 1.5, 0.1 (nearest float 0x3DCCCCCD), -2.25, 100, 1e40 beyond float range (+inf), -0.
  const std::string data(
      "\x00\x00\xC0\x3F\xCD\xCC\xCC\x3D"
      "\x00\x00\x10\xC0\x00\x00\xC8\x42"
      "\x00\x00\x80\x7F\x00\x00\x00\x80",
      24);
  for (const int64_t blockScans : {1, 2, 3}) {
    SCOPED_TRACE(blockScans);
    const auto files = RunAll(source, blockScans);
    EXPECT_EQ(files.header, header);
    EXPECT_EQ(files.data, data);
  }
}

TEST_F(TgtFmtDIAdemTest, ExplicitTimeChannelByteForByte) {
  // Pre-trigger rate 2, post-trigger rate 4, trigger on scan 2: times -1, -0.5, 0, 0.25 s.
  FakeSource source({{"a", "V"}}, {1.0, 2.0, 3.0, 4.0});
  source.SetRates(2.0, 4.0);
  source.SetPreTrigCount(2);
  const std::string header =
      kGlobalHeader + StoredChannel("Time", "t (s)", "s", "4", "1", "2") + StoredChannel("a", "", "V", "4", "2", "2");
  const std::string data(
      "\x00\x00\x80\xBF\x00\x00\x80\x3F"   // -1 s, 1
      "\x00\x00\x00\xBF\x00\x00\x00\x40"   // -0.5 s, 2
      "\x00\x00\x00\x00\x00\x00\x40\x40"   // 0 s, 3
      "\x00\x00\x80\x3E\x00\x00\x80\x40",  // 0.25 s, 4
      32);
  for (const int64_t blockScans : {1, 3, 4}) {
    SCOPED_TRACE(blockScans);
    const auto files = RunAll(source, blockScans);
    EXPECT_EQ(files.header, header);
    EXPECT_EQ(files.data, data);
  }

  // A scan range: key 220 keeps the total given at the start, the data holds the range only.
  const auto range = Run(source, 4, 1, 2, 4);
  EXPECT_EQ(range.header, header);
  EXPECT_EQ(range.data, data.substr(8, 16));
}

// Keys 240 and 241 in six significant digits; the data channels' keys: the byte goldens above.
TEST_F(TgtFmtDIAdemTest, ImplicitStartAndStep) {
  const struct {
    const char* name;
    double rate;
    int64_t preTrig;
    bool untimed;
    const char* lines;  // keys 200 to 241 for a total of 5 scans
  } cases[] = {
      // A rate of 0 steps by one second.
      {"rate 0", 0.0, 3, false, "200,Time\r\n201,Time (s)\r\n202,s\r\n210,IMPLICIT\r\n220,5\r\n240,-3\r\n241,1\r\n"},
      // -(0 x step) is negative zero.
      {"no pre-trigger scans", 250.0, 0, false,
       "200,Time\r\n201,Time (s)\r\n202,s\r\n210,IMPLICIT\r\n220,5\r\n240,-0\r\n241,0.004\r\n"},
      {"six significant digits", 3.0, 2, false,
       "200,Time\r\n201,Time (s)\r\n202,s\r\n210,IMPLICIT\r\n220,5\r\n240,-0.666667\r\n241,0.333333\r\n"},
      {"exponent form", 100000.0, 5, false,
       "200,Time\r\n201,Time (s)\r\n202,s\r\n210,IMPLICIT\r\n220,5\r\n240,-5e-05\r\n241,1e-05\r\n"},
      {"untimed source counts scans", 10.0, 4, true,
       "200,Counts\r\n201,Counts (scans)\r\n202,scans\r\n210,IMPLICIT\r\n220,5\r\n240,-0.4\r\n241,0.1\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({{"a", "V"}, {"b", "A"}}, {0.0, 0.0});
    source.SetRates(c.rate, c.rate);
    source.SetPreTrigCount(c.preTrig);
    if (c.untimed) source.SetUntimed();
    const auto files = Run(source, 5, 0, 1, 1);
    const size_t time = kGlobalHeader.size() + std::strlen("#BEGINCHANNELHEADER\r\n");
    EXPECT_EQ(files.header.substr(time, std::strlen(c.lines)), c.lines);
  }
}

// Explicit times the source does not give in seconds (relative times: the byte golden above and
// TimeAxes on Tarquil's two rates; dates from the trigger scan's own: DIAdemSamples below).
TEST_F(TgtFmtDIAdemTest, ExplicitTimesOfUntimedAndRatelessScans) {
  const float noValue = 9.9e34f;
  const struct {
    const char* name;
    double pre;
    bool untimed;
    std::vector<float> times;
  } cases[] = {
      // Scan counts from the trigger, times 86400.
      {"untimed", 2.0, true, {-172800.0f, -86400.0f, 0.0f, 86400.0f, 172800.0f}},
      // Pre-trigger scans have no time at rate 0: the header's no-value mark.
      {"pre-trigger rate 0", 0.0, false, {noValue, noValue, 0.0f, 0.25f, 0.5f}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({{"a", "V"}}, {10.0, 11.0, 12.0, 13.0, 14.0});
    source.SetRates(c.pre, 4.0);
    source.SetPreTrigCount(2);
    if (c.untimed) source.SetUntimed();
    // Twice over the same source: the second conversion finds the caches the first one filled.
    for (const int64_t blockScans : {1, 5}) {
      const auto files = RunAll(source, blockScans);
      ASSERT_EQ(files.data.size(), 40u);
      for (size_t s = 0; s < 5; ++s) {
        EXPECT_EQ(le::F32(files.data.data() + 8 * s), c.times[s]) << "scan " << s;
        EXPECT_EQ(le::F32(files.data.data() + 8 * s + 4), 10.0f + static_cast<float>(s));
      }
    }
  }
}

// A Brenlow acquisition without a scan rate takes every time from the stamps in its data, so the
// time channel is explicit: times count from the trigger scan's own stamp, or from scan 0's when
// the trigger lies beyond the data, in every conversion and with either stamp option.
TEST(DIAdemSamples, RatelessStampsCountFromTheTriggerStamp) {
  testing::ScratchDir dir;
  const struct {
    const char* name;
    int32_t preTrig;  // written into the description
    int64_t referenceScan;
    uint32_t flags;
  } cases[] = {
      {"trigger on scan 100", 100, 100, 0},
      {"every scan's own stamp", 100, 100, TRAVUNE_FLAG_OWN_STAMPS},
      {"trigger beyond the data", 5000, 0, 0},
  };
  const samples::SampleSpec sample = testing::SampleOf(2, 1200, 100, true);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::ConversionRequest r;
    r.files = testing::WriteSampleFiles(sample, dir, "acq");
    ASSERT_EQ(r.files.size(), 2u);
    // The description starts with the version and the scan rate (doubles), the record count
    // and the pre-trigger count (32-bit).
    std::string description = testing::FileBytes(r.files[0]);
    ASSERT_GT(description.size(), 24u);
    le::PutF64(description.data() + 8, 0.0);
    le::PutI32(description.data() + 20, c.preTrig);
    std::ofstream(r.files[0], std::ios::binary | std::ios::trunc) << description;
    r.sourceType = sample.type;
    r.format = TRAVUNE_FMT_DIADEM;
    r.flags = c.flags;
    r.header = dir.File("out.DAT");
    r.data = dir.File("out.R32");
    ASSERT_EQ(testing::Convert(r), 0);
    const std::vector<double> times = testing::DecodeDIAdemTimes(r.data, r.header);
    ASSERT_EQ(times.size(), static_cast<size_t>(sample.scans));
    const double reference = samples::ExpectedScanTime(sample, c.referenceScan);
    for (int64_t s = 0; s < sample.scans; ++s) {
      const double seconds = (samples::ExpectedScanTime(sample, s) - reference) * 86400.0;
      // Float times round to 2^-24 relative; dates hold their seconds to about a microsecond.
      ASSERT_LE(std::fabs(times[static_cast<size_t>(s)] - seconds), 2e-6 + 1.2e-7 * std::fabs(seconds)) << s;
    }
  }
}

}  // namespace
}  // namespace travune
