// The WAV files as audio tools see them: soxi and sndfile-info report the acquisition's rate,
// channel count and length, and sox turns the file into raw 16-bit samples that equal the codes
// of the plain rounding rule applied to the generator's values.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "writer/WriterRuns.h"
#include "writer/decoders/Code16.h"

namespace travune {
namespace {

namespace codes = testing;

// Runs command; its standard output and error, with a failure recorded when it fails.
std::string RunTool(const std::string& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  if (pclose(pipe) != 0) ADD_FAILURE() << command << " failed: " << output.substr(0, 500);
  return output;
}

// The number after "name :" in sndfile-info's report, or -1.
long long ReportedNumber(const std::string& report, const std::string& name) {
  std::smatch match;
  if (!std::regex_search(report, match, std::regex(name + R"(\s*:\s*(\d+))"))) return -1;
  return std::stoll(match[1].str());
}

long long NumberOf(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

TEST(WavInterop, AudioToolsReadRateChannelsLengthAndCodes) {
  const struct {
    const char* name;
    samples::SampleSpec sample;
    long long rate;  // the sample's post-trigger rate in whole scans per second
  } acquisitions[] = {
      {"morvane", codes::SampleOf(TRAVUNE_SRC_MORVANE, 1200, 100), 1000},
      {"quillon", codes::SampleOf(TRAVUNE_SRC_QUILLON, 900, 30), 200},
      {"brenlow", codes::SampleOf(TRAVUNE_SRC_BRENLOW, 700, 0, true), 128},
      {"celdrin", codes::SampleOf(TRAVUNE_SRC_CELDRIN, 1000, 100), 1000},
  };
  for (const auto& a : acquisitions) {
    SCOPED_TRACE(a.name);
    codes::ScratchDir dir;
    codes::ConversionRequest request;
    request.files = codes::WriteSampleFiles(a.sample, dir, "acq");
    ASSERT_EQ(request.files.size(), 2u);
    request.sourceType = a.sample.type;
    request.format = TRAVUNE_FMT_WAV;
    request.header = dir.File("acq.hdr");
    request.data = dir.File("acq.wav");
    std::vector<codes::ChannelRange> ranges;
    ASSERT_EQ(codes::Convert(request, &ranges), 0);
    const int chans = samples::NumChannels(a.sample);
    ASSERT_EQ(ranges.size(), static_cast<size_t>(chans));
    const std::string wav = "'" + request.data + "'";
    const std::vector<double> scaled = codes::ScaledValues(request.files, a.sample.type);

    EXPECT_EQ(NumberOf(RunTool("soxi -r " + wav)), a.rate);
    EXPECT_EQ(NumberOf(RunTool("soxi -c " + wav)), chans);
    EXPECT_EQ(NumberOf(RunTool("soxi -s " + wav)), a.sample.scans);
    EXPECT_EQ(NumberOf(RunTool("soxi -b " + wav)), 16);
    const std::string report = RunTool("sndfile-info " + wav);
    EXPECT_EQ(ReportedNumber(report, "Sample Rate"), a.rate);
    EXPECT_EQ(ReportedNumber(report, "Channels"), chans);
    EXPECT_EQ(ReportedNumber(report, "Frames"), a.sample.scans);

    const std::string raw = dir.File("acq.raw");
    RunTool("sox " + wav + " -t raw -e signed-integer -b 16 -L '" + raw + "'");
    const std::string bytes = codes::FileBytes(raw);
    ASSERT_EQ(bytes.size(), 2 * static_cast<size_t>(chans * a.sample.scans));
    int failures = 0;
    for (int64_t s = 0; s < a.sample.scans && failures < 5; ++s) {
      for (int c = 0; c < chans; ++c) {
        const size_t at = 2 * static_cast<size_t>(s * chans + c);
        const int sample = static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint8_t>(bytes[at]) |
                                                                      static_cast<uint8_t>(bytes[at + 1]) << 8));
        const int expected =
            testing::ExpectedCode16(scaled[static_cast<size_t>(s * chans + c)], ranges[c].lower, ranges[c].upper);
        if (sample != expected && ++failures <= 5) {
          ADD_FAILURE() << "scan " << s << " channel " << c << ": sox gives " << sample << ", expected " << expected;
        }
      }
    }
  }
}

}  // namespace
}  // namespace travune
