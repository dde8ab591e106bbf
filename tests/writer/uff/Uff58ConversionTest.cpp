// UFF 58 text files from a generated acquisition through the exported functions: the user's
// decimal comma in every number, and no temporary file left by a source released mid-conversion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using samples::SampleSpec;
using Uff58Conversion = testing::UffWriterTest;

const SampleSpec kMorvane = testing::SampleOf(TRAVUNE_SRC_MORVANE, 700, 40);

// Every number after the header's sentences, in evenly spaced files (no pre-trigger scans) and
// in files of time/value pairs. The values themselves, written with a comma, are read back by
// EveryWriter.* under a comma locale.
TEST_F(Uff58Conversion, TheUsersDecimalCommaIsWritten) {
  for (const SampleSpec& sample : {kMorvane, testing::SampleOf(TRAVUNE_SRC_MORVANE, 700, 0)}) {
    SCOPED_TRACE(sample.preTrig);
    testing::ConversionRequest r;
    r.files = testing::WriteSampleFiles(sample, scratch_, "acq");
    r.sourceType = sample.type;
    r.format = TRAVUNE_FMT_UFF58_ASCII;
    r.output = Path("comma.unv");
    r.mark = ',';
    r.blockBytes = 4096;
    ASSERT_EQ(testing::Convert(r), 0);
    const std::string text = testing::FileBytes(r.output);
    EXPECT_NE(text.find("  1,00000000000000000D+00"), std::string::npos);
    EXPECT_NE(text.find(sample.preTrig > 0 ? "         0  0,00000E+00" : "         1  0,00000E+00  1,00000E-03"),
              std::string::npos);
    // Only the file name and the header's sentences before dataset 164 hold points.
    EXPECT_EQ(text.find('.', text.find("   164\r\n")), std::string::npos);
  }
}

// Failed conversions leave none either: FaultWalk.* checks after every injected failure.
TEST_F(Uff58Conversion, AReleaseInTheMiddleOfAConversionLeavesNoTemporaryFile) {
  const std::vector<std::string> files = testing::WriteSampleFiles(kMorvane, scratch_, "acq");
  ASSERT_GE(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), kMorvane.type), 0);
  ASSERT_EQ(cvtInitDataFileEx(Path("open.unv").c_str(), Path("open.unv").c_str(), TRAVUNE_FMT_UFF58_ASCII, 0), 0);
  EXPECT_GT(scratch_.TempFilesLeft(), 0);
  EXPECT_GE(cvtConvertBinData(TRAVUNE_FMT_UFF58_ASCII), 0);
  cvtReleaseResources();
  EXPECT_EQ(scratch_.TempFilesLeft(), 0);
}

}  // namespace
}  // namespace travune
