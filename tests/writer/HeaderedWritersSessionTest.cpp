// DADiSP, Snap-Master and DASYLab through the conversion functions: a scan range converts
// exactly those scans under the whole file's header, header numbers ignore the decimal mark and
// the process locale, and dated sources start at scan 0's date.
#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/WriterRuns.h"
#include "writer/decoders/Code16.h"
#include "writer/decoders/DADiSPDecoder.h"
#include "writer/decoders/DASYLabDecoder.h"
#include "writer/decoders/SnapMasterDecoder.h"

namespace travune {
namespace {

using testing::Decoded;

struct Writer {
  const char* name;
  int32_t format;
  Decoded (*decode)(const std::string& dataPath, const std::string& headerPath);
  bool codes16;  // values held as 16-bit codes over the channel's range, wrapping outside it
};

const Writer kWriters[] = {
    {"DADiSP", TRAVUNE_FMT_DADISP, testing::DecodeDADiSP, false},
    {"SnapMaster", TRAVUNE_FMT_SNAPMASTER, testing::DecodeSnapMaster, false},
    {"DASYLab", TRAVUNE_FMT_DASYLAB, testing::DecodeDASYLab, true},
};

struct Variant {
  const char* name;
  samples::SampleSpec request;
  uint32_t flags;
};

using testing::SampleOf;

const Variant kVariants[] = {
    {"morvane", SampleOf(3, 700, 50), 0},
    {"tarquilPacked", SampleOf(4, 500, 10, false, true), 0},
    {"brenlowStamps", SampleOf(2, 700, 20, true), 0},
    {"brenlowOwnStamps", SampleOf(2, 700, 0, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"vexmoor", SampleOf(7, 300, 5), 0},
    {"threnix", SampleOf(8, 300, 0, true), 0},
    {"quillon", SampleOf(5, 700, 30), 0},
    {"celdrin", SampleOf(6, 700, 40), 0},
    {"celdrinStamps", SampleOf(6, 700, 40, true), TRAVUNE_FLAG_OWN_STAMPS},
};

using Output = testing::WrittenFiles;
using Range = testing::ChannelRange;

class HeaderedWritersSession : public testing::HeaderedWriterTest {
 protected:
  // Converts the sample's scans [first, first + count) (all when count is 0) with the given
  // start block size and decimal mark; returns the status of the first failing call, or 0.
  int32_t Convert(const std::vector<std::string>& files, const Variant& v, const Writer& w, int64_t blockBytes,
                  uint32_t first, uint32_t count, char mark = '.') {
    testing::ConversionRequest r;
    r.files = files;
    r.sourceType = v.request.type;
    r.format = w.format;
    r.flags = v.flags;
    r.header = HeaderPath();
    r.data = DataPath();
    r.mark = mark;
    r.blockBytes = blockBytes;
    r.firstScan = first;
    r.scanCount = count;
    return testing::Convert(r, &ranges_);
  }
  // Writes the variant's sample; its description and data file names, or none on failure.
  std::vector<std::string> Write(const Variant& v) const {
    return testing::WriteSampleFiles(v.request, scratch_, v.name);
  }
  std::string DataPath() const { return Path("out.dat"); }
  std::string HeaderPath() const { return Path("out.hdr"); }
  Output Read() const { return {testing::FileBytes(DataPath()), testing::FileBytes(HeaderPath())}; }

  std::vector<Range> ranges_;  // the channel ranges of the last conversion's source
};

// The decoded scans against the acquisition's scaled values: float formats hold each value
// rounded once to float32, code formats are compared code for code.
void ExpectScaledValues(const Variant& v, const Writer& w, const std::vector<Range>& ranges, const Decoded& decoded,
                        const std::vector<double>& scaled, int64_t firstScan, int64_t scans) {
  ASSERT_TRUE(decoded.ok);
  const int chans = samples::NumChannels(v.request);
  ASSERT_EQ(decoded.chans, chans);
  ASSERT_EQ(decoded.scans, scans);
  ASSERT_EQ(ranges.size(), static_cast<size_t>(chans));
  int failures = 0;
  for (int64_t s = 0; s < scans; ++s) {
    for (int c = 0; c < chans; ++c) {
      const double expected = scaled[static_cast<size_t>((firstScan + s) * chans + c)];
      const double actual = decoded.values[static_cast<size_t>(s * chans + c)];
      bool ok = false;
      if (w.codes16) {
        const Range& r = ranges[c];
        const int apart = std::abs(testing::ExpectedCode16(actual, r.lower, r.upper) -
                                   testing::ExpectedCode16(expected, r.lower, r.upper));
        ok = apart == 0;
      } else {
        ok = actual == static_cast<double>(static_cast<float>(expected));
      }
      if (!ok && ++failures <= 5) {
        ADD_FAILURE() << "scan " << firstScan + s << " channel " << c << ": " << actual << " vs " << expected;
      }
    }
  }
}

TEST_F(HeaderedWritersSession, AScanRangeConvertsThoseScansUnderTheWholeFilesHeader) {
  const Variant& v = kVariants[0];
  const std::vector<std::string> files = Write(v);
  ASSERT_EQ(files.size(), 2u);
  const std::vector<double> scaled = testing::ScaledValues(files, v.request.type);
  for (const Writer& w : kWriters) {
    SCOPED_TRACE(w.name);
    ASSERT_EQ(Convert(files, v, w, 4096, 333, 201), 0);
    ExpectScaledValues(v, w, ranges_, w.decode(DataPath(), HeaderPath()), scaled, 333, 201);
  }
  // The header describes the acquisition the conversion was opened for.
  EXPECT_NE(Read().data.find("TOTAL SCANS\t= 700\r\n"), std::string::npos);
}

TEST_F(HeaderedWritersSession, HeaderNumbersTakeAPointUnderACommaLocale) {
  const Variant& v = kVariants[0];
  const std::vector<std::string> files = Write(v);
  ASSERT_EQ(files.size(), 2u);
  for (const Writer& w : kWriters) {
    SCOPED_TRACE(w.name);
    ASSERT_EQ(Convert(files, v, w, 0, 0, 0), 0);
    const Output plain = Read();
    // The user's mark and, where installed, a process locale that prints "1000,000000".
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    const bool german = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    const int32_t status = Convert(files, v, w, 0, 0, 0, ',');
    std::setlocale(LC_ALL, previous.c_str());
    ASSERT_EQ(status, 0);
    const Output comma = Read();
    EXPECT_EQ(comma.data, plain.data) << (german ? "de_DE" : "C");
    EXPECT_EQ(comma.header, plain.header);
  }
  // The rate of the sample (Morvane: 1000 scans per second) as written by each format.
  EXPECT_NE(Read().data.find("SAMPLE RATE\t= 1000.000000 \r\n"), std::string::npos);
}

// "START TIME<tab>= M/D/YYYY hh:mm:ss" for a date in days since 30 December 1899, whole seconds.
std::string StartTimeLine(double days) {
  using namespace std::chrono;
  const auto whole = static_cast<int64_t>(std::floor(days * 86400.0 + 5e-7));
  const sys_seconds t = sys_days{1899y / December / 30} + seconds{whole};
  const year_month_day date{floor<std::chrono::days>(t)};
  const hh_mm_ss clock{t - floor<std::chrono::days>(t)};
  char line[64];
  std::snprintf(line, sizeof line, "START TIME\t= %u/%u/%d %02d:%02d:%02d\r\n", static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(date.year()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return line;
}

TEST_F(HeaderedWritersSession, SourcesWithDatedScansStartTheDASYLabFileAtScanZerosDate) {
  int dated = 0;
  for (const Variant& v : kVariants) {
    const double start = samples::ExpectedScanTime(v.request, 0);
    if (start < 1.0) continue;  // relative times: the clock's moment, covered elsewhere
    SCOPED_TRACE(v.name);
    ++dated;
    const std::vector<std::string> files = Write(v);
    ASSERT_EQ(files.size(), 2u);
    ASSERT_EQ(Convert(files, v, kWriters[2], 0, 0, 0), 0);
    EXPECT_NE(Read().data.find(StartTimeLine(start)), std::string::npos) << StartTimeLine(start);
  }
  EXPECT_GE(dated, 3);
}

}  // namespace
}  // namespace travune
