// WAV writer: the 44-byte head and the frames for known channels and rates (truncated rate, no
// rate), and the heads of generated samples, whole and for a scan range.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "writer/WriterRuns.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtWav.h"
#include "writer/decoders/WavDecoder.h"

namespace travune {
namespace {

using testing::FakeSource;
using testing::Hex;
using testing::ScratchDir;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

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
    ASSERT_EQ(files.data.size(), TgtFmtWav::kHeadBytes + c.values.size() * 2);
    EXPECT_EQ(Hex(files.data.substr(0, TgtFmtWav::kHeadBytes)), c.head);
    EXPECT_EQ(Hex(files.data.substr(TgtFmtWav::kHeadBytes)), c.frames);
  }
}

// The head of generated samples: the source's rate truncated, sizes for every scan of the data
// file, also under a scan range (whose frames are those scans'). Frame values are the
// every-writer walk's.
TEST(TgtFmtWav, SampleHeadsCarryTheRateAndEveryScansSize) {
  struct Case {
    const char* name;
    samples::SampleSpec sample;
    uint32_t flags;
    uint32_t sampleRate;  // the generator's post-trigger rate, truncated
  };
  const Case cases[] = {
      // Scan times asked for: the WAV file has no stamps all the same.
      {"quillonTimes", testing::SampleOf(TRAVUNE_SRC_QUILLON, 1200, 100), TRAVUNE_FLAG_SCAN_TIMES, 200},
      {"brenlowStamps", testing::SampleOf(TRAVUNE_SRC_BRENLOW, 1000, 0, true), 0, 128},
      {"celdrin", testing::SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100), 0, 1000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    testing::ConversionRequest request;
    request.files = testing::WriteSampleFiles(c.sample, dir, c.name);
    ASSERT_EQ(request.files.size(), 2u);
    request.sourceType = c.sample.type;
    request.format = TRAVUNE_FMT_WAV;
    request.flags = c.flags;
    request.header = dir.File("unused.hdr");
    request.data = dir.File("one.wav");
    ASSERT_EQ(testing::Convert(request), 0);
    const std::string whole = testing::FileBytes(dir.File("one.wav"));
    EXPECT_FALSE(std::filesystem::exists(dir.File("unused.hdr")));

    const int chans = samples::NumChannels(c.sample);
    const size_t block = 2 * static_cast<size_t>(chans);
    const testing::WavHead head = testing::ReadWavHead(dir.File("one.wav"));
    ASSERT_TRUE(head.ok);
    EXPECT_EQ(head.channels, chans);
    EXPECT_EQ(head.blockAlign, block);
    EXPECT_EQ(head.sampleRate, c.sampleRate);
    EXPECT_EQ(head.byteRate, head.sampleRate * block);
    EXPECT_EQ(head.dataBytes, block * static_cast<size_t>(c.sample.scans));
    EXPECT_EQ(head.riffBytes, head.dataBytes + 36);
    EXPECT_EQ(whole.size(), TgtFmtWav::kHeadBytes + head.dataBytes);

    // A range: the same head (sized for every scan of the data file), then those scans' frames.
    request.data = dir.File("range.wav");
    request.firstScan = 37;
    request.scanCount = 500;
    ASSERT_EQ(testing::Convert(request), 0);
    const std::string range = testing::FileBytes(dir.File("range.wav"));
    const std::string wholeHead = whole.substr(0, TgtFmtWav::kHeadBytes);
    EXPECT_TRUE(range == wholeHead + whole.substr(TgtFmtWav::kHeadBytes + 37 * block, 500 * block));
  }
}

}  // namespace
}  // namespace travune
