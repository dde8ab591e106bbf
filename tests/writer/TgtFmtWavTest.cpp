// WAV writer: the 44-byte head and the frames for known channels and rates (truncated rate, no
// rate), and the head of a scan range.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/TgtFmtWav.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::FakeSource;
using testing::Hex;
using testing::ScratchDir;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr size_t kHead = 44;  // RIFF (12), fmt (8 + 16) and the data chunk's tag and size (8)

TEST(TgtFmtWav, HeadAndFramesAreExactlyTheFormats) {
  struct Case {
    const char* name;
    int chans;
    double rate;
    std::vector<double> values;  // every channel -10..10
    const char* head;
    const char* frames;
  };
  const Case cases[] = {
      // 4 channels: block 8; 1000.9 scans/s truncate to 1000 (E8 03), byte rate 8000 (40 1F);
      // 2 scans: data size 16, RIFF size 16 + 36 = 52 (34).
      {"four channels, fractional rate", 4, 1000.9, {-10.0, 10.0, 0.0, 0.5, -0.5, 20.0, -11.0, kNaN},
       "52 49 46 46 34 00 00 00 57 41 56 45 66 6D 74 20 10 00 00 00 01 00 04 00 "
       "E8 03 00 00 40 1F 00 00 08 00 10 00 64 61 74 61 10 00 00 00",
       // -10 -> -32768, 10 -> 32767, 0 -> 0, 0.5 -> 1638, -0.5 -> -1639, 20 -> 65535 wraps
       // to -1, -11 -> -36045 wraps to 29491, not a number -> 0.
       "00 80 FF 7F 00 00 66 06 99 F9 FF FF 33 73 00 00"},
      // 2 channels at 44100.7 scans/s: 44100 (44 AC 00 00), byte rate 176400 (10 B1 02 00).
      {"two channels, audio rate", 2, 44100.7, {10.0, -10.0},
       "52 49 46 46 28 00 00 00 57 41 56 45 66 6D 74 20 10 00 00 00 01 00 02 00 "
       "44 AC 00 00 10 B1 02 00 04 00 10 00 64 61 74 61 04 00 00 00",
       "FF 7F 00 80"},
      // No rate: sample rate and byte rate 0, no trap; 3 scans of one channel: 6 bytes.
      {"no rate", 1, 0.0, {0.0, 10.0, -10.0},
       "52 49 46 46 2A 00 00 00 57 41 56 45 66 6D 74 20 10 00 00 00 01 00 01 00 "
       "00 00 00 00 00 00 00 00 02 00 10 00 64 61 74 61 06 00 00 00",
       "00 00 FF 7F 00 80"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const std::vector<testing::FakeChannel> channels(static_cast<size_t>(c.chans),
                                                     testing::FakeChannel{"Ch", "V", -10.0, 10.0});
    FakeSource source(channels, c.values);
    source.SetRates(c.rate, c.rate);
    TgtFmtWav writer(&source);
    const testing::WrittenFiles files =
        testing::RunWriter(writer, static_cast<int64_t>(c.values.size()) / c.chans, dir);
    ASSERT_EQ(files.data.size(), kHead + c.values.size() * 2);
    EXPECT_EQ(Hex(files.data.substr(0, kHead)), c.head);
    EXPECT_EQ(Hex(files.data.substr(kHead)), c.frames);
  }
}

// A scan range (through the exported functions): the head of the whole conversion, sized for
// every scan of the data file, then the frames of those scans.
TEST(TgtFmtWav, AScanRangeKeepsTheHeadOfEveryScan) {
  ScratchDir dir;
  const samples::SampleSpec sample = testing::SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100);
  testing::ConversionRequest request;
  request.files = testing::WriteSampleFiles(sample, dir, "acq");
  request.sourceType = sample.type;
  request.format = TRAVUNE_FMT_WAV;
  request.output = dir.File("whole.wav");
  ASSERT_EQ(testing::Convert(request), 0);
  const std::string whole = testing::FileBytes(request.output);
  const size_t block = 2 * static_cast<size_t>(samples::NumChannels(sample));
  ASSERT_EQ(whole.size(), kHead + 1200 * block);
  request.output = dir.File("range.wav");
  request.firstScan = 37;
  request.scanCount = 500;
  ASSERT_EQ(testing::Convert(request), 0);
  EXPECT_TRUE(testing::FileBytes(request.output) ==
              whole.substr(0, kHead) + whole.substr(kHead + 37 * block, 500 * block));
}

}  // namespace
}  // namespace travune
