// UFF 58 files from generated acquisitions through the exported functions: the user's decimal
// comma, and no temporary file left after failure (two processes at once: SideBySideTest).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/decoders/Decoders.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using samples::SampleSpec;
using testing::ReadUff;
using testing::UffContents;
using testing::UffWriterTest;

const SampleSpec kMorvane = testing::SampleOf(TRAVUNE_SRC_MORVANE, 700, 40);

class Uff58Conversion : public UffWriterTest {
 protected:
  std::vector<std::string> Sample(const SampleSpec& sample, const std::string& name) {
    return testing::WriteSampleFiles(sample, scratch_, name);
  }
};

// The exported functions in blocks of 4096 raw bytes (scans [first, first + count) when count
// > 0); 0 or the first failing status.
int32_t Convert(const std::vector<std::string>& files, const SampleSpec& sample, int32_t format,
                const std::string& output, char mark = '.', uint32_t first = 0, uint32_t count = 0) {
  testing::ConversionRequest r;
  r.files = files;
  r.sourceType = sample.type;
  r.format = format;
  r.output = output;
  r.mark = mark;
  r.blockBytes = 4096;
  r.firstScan = first;
  r.scanCount = count;
  return testing::Convert(r);
}

// Every channel of a text file holds its own scaled values, to the printed digits' rounding.
void ExpectPrintedValues(const UffContents& file, const std::vector<double>& scaled) {
  ASSERT_TRUE(file.ok) << file.error;
  const size_t chans = file.channels.size();
  for (size_t c = 0; c < chans; ++c) {
    ASSERT_EQ(file.channels[c].values.size() * chans, scaled.size());
    for (size_t s = 0; s < file.channels[c].values.size(); ++s) {
      const double x = scaled[s * chans + c];
      ASSERT_LE(std::abs(file.channels[c].values[s] - x), 5.0000001e-6 * std::abs(x) + 1e-12)
          << "channel " << c << " scan " << s;
    }
  }
}

// Every number after the header's sentences, in evenly spaced files (no pre-trigger scans) and
// in files of time/value pairs.
TEST_F(Uff58Conversion, TheUsersDecimalCommaIsWritten) {
  for (const SampleSpec& sample : {kMorvane, testing::SampleOf(TRAVUNE_SRC_MORVANE, 700, 0)}) {
    SCOPED_TRACE(sample.preTrig);
    const std::vector<std::string> files = Sample(sample, "acq");
    ASSERT_EQ(Convert(files, sample, TRAVUNE_FMT_UFF58_ASCII, Path("comma.unv"), ','), 0);
    const std::string text = testing::FileBytes(Path("comma.unv"));
    EXPECT_NE(text.find("  1,00000000000000000D+00"), std::string::npos);
    EXPECT_NE(text.find(sample.preTrig > 0 ? "         0  0,00000E+00" : "         1  0,00000E+00  1,00000E-03"),
              std::string::npos);
    // Only the file name and the header's sentences before dataset 164 hold points.
    EXPECT_EQ(text.find('.', text.find("   164\r\n")), std::string::npos);
    ExpectPrintedValues(ReadUff(Path("comma.unv")), testing::ScaledValues(files, sample.type));
  }
}

TEST_F(Uff58Conversion, AFailedConversionLeavesNoTemporaryFile) {
  const std::vector<std::string> files = Sample(kMorvane, "acq");
  // A range that runs past the end of the data fails while the channels are half written.
  EXPECT_EQ(Convert(files, kMorvane, TRAVUNE_FMT_UFF58_ASCII, Path("short.unv"), '.', 600, 200), TRAVUNE_ERR_DATA_READ);
  EXPECT_EQ(scratch_.TempFilesLeft(), 0);
  // A source released in the middle of a conversion finishes the writer and its files too.
  ASSERT_GE(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), kMorvane.type), 0);
  ASSERT_EQ(cvtInitDataFileEx(Path("open.unv").c_str(), Path("open.unv").c_str(), TRAVUNE_FMT_UFF58_ASCII, 0), 0);
  EXPECT_GT(scratch_.TempFilesLeft(), 0);
  EXPECT_GE(cvtConvertBinData(TRAVUNE_FMT_UFF58_ASCII), 0);
  cvtReleaseResources();
  EXPECT_EQ(scratch_.TempFilesLeft(), 0);
}

}  // namespace
}  // namespace travune
