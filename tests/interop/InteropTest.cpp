// Our files as the programs users load them into read them: MATLAB files through Octave's load and
// scipy.io.loadmat, WAV files through sndfile-info and sox. Each must see every scaled value.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "writer/WriterRuns.h"
#include "writer/decoders/Code16.h"

namespace travune {
namespace {

// Runs command; its standard output, with a failure recorded when it fails. Its messages go to
// the test's own error stream: some Octave builds print one at every exit, which is no number.
std::string RunTool(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  if (pclose(pipe) != 0) ADD_FAILURE() << command << " failed (its messages are above): " << output.substr(0, 500);
  return output;
}

// Converts the sample in dir into format, its data file named data; the request made.
testing::ConversionRequest ConvertSample(const samples::SampleSpec& sample, const testing::ScratchDir& dir,
                                         int32_t format, const std::string& data,
                                         std::vector<testing::ChannelRange>* ranges = nullptr) {
  testing::ConversionRequest request;
  request.files = testing::WriteSampleFiles(sample, dir, "acq");
  request.sourceType = sample.type;
  request.format = format;
  request.header = dir.File("acq_header.txt");
  request.data = dir.File(data);
  EXPECT_EQ(testing::Convert(request, ranges), 0);
  return request;
}

// A reader prints the matrix A's rows and columns, then its elements row after row.
constexpr const char* kOctaveReader =
    "load('%s'); if !strcmp(class(A), 'double') exit(3); end; "
    "printf('%%d %%d\\n', rows(A), columns(A)); printf('%%.17g\\n', A.');";
constexpr const char* kScipyReader = R"(import sys, numpy, scipy.io
A = scipy.io.loadmat(sys.argv[1])['A']
if A.dtype != numpy.float64:
    sys.exit('A holds ' + str(A.dtype))
print(A.shape[0], A.shape[1])
for v in A.flatten(order='C'):
    print(repr(float(v)))
)";

// The reader's numbers: rows, columns, then the elements ("-0", "inf" and "nan" as strtod reads them).
std::vector<double> NumbersOf(const std::string& output) {
  std::vector<double> numbers;
  std::istringstream fields(output);
  for (std::string field; fields >> field;) numbers.push_back(std::strtod(field.c_str(), nullptr));
  return numbers;
}

// Same bits, so that -0 and 0 differ, and any NaN equals any NaN.
bool SameDouble(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b)); }

TEST(MatlabInterop, OctaveAndScipyLoadOurScaledValues) {
  const samples::SampleSpec sample = testing::SampleOf(TRAVUNE_SRC_MORVANE, 900, 100);
  testing::ScratchDir dir;
  const testing::ConversionRequest r = ConvertSample(sample, dir, TRAVUNE_FMT_MATLAB, "acq_matrix.MAT");
  const std::vector<double> scaled = testing::ScaledValues(r.files, sample.type);
  const std::string script = dir.File("read_mat.py");
  std::ofstream(script) << kScipyReader;
  char octave[512];
  std::snprintf(octave, sizeof octave, kOctaveReader, r.data.c_str());
  const struct { const char* name; std::string command; } readers[] = {
      {"octave", "octave-cli --no-init-file --no-window-system --eval \"" + std::string(octave) + "\""},
      {"scipy", "/usr/bin/python3 '" + script + "' '" + r.data + "'"},
  };
  const double chans = samples::NumChannels(sample);
  for (const auto& reader : readers) {
    SCOPED_TRACE(reader.name);
    const std::vector<double> read = NumbersOf(RunTool(reader.command));
    ASSERT_EQ(read.size(), 2 + scaled.size());
    EXPECT_EQ(read[0], static_cast<double>(sample.scans));
    EXPECT_EQ(read[1], chans);
    int failures = 0;
    for (size_t i = 0; i < scaled.size() && failures < 5; ++i) {
      if (!SameDouble(read[2 + i], scaled[i])) {
        ++failures;
        ADD_FAILURE() << "element " << i << ": " << read[2 + i] << " for " << scaled[i];
      }
    }
  }
}

// The number after "name :" in sndfile-info's report, or -1.
long long ReportedNumber(const std::string& report, const std::string& name) {
  size_t at = report.find(name);
  if (at == std::string::npos) return -1;
  at = report.find_first_not_of(" \t", at + name.size());
  if (at == std::string::npos || report[at] != ':') return -1;
  at = report.find_first_not_of(" \t", at + 1);
  if (at == std::string::npos || !std::isdigit(static_cast<unsigned char>(report[at]))) return -1;
  return std::stoll(report.substr(at));
}

// The rate and length come from the header; sox's samples are the codes of the plain rounding
// rule applied to the scaled values over each channel's range.
TEST(WavInterop, AudioToolsReadRateChannelsLengthAndCodes) {
  const struct { const char* name; samples::SampleSpec sample; long long rate; } acquisitions[] = {
      {"morvane", testing::SampleOf(TRAVUNE_SRC_MORVANE, 1200, 100), 1000},
      {"brenlow, rate from the stamps", testing::SampleOf(TRAVUNE_SRC_BRENLOW, 700, 0, true), 128},
  };
  for (const auto& a : acquisitions) {
    SCOPED_TRACE(a.name);
    testing::ScratchDir dir;
    std::vector<testing::ChannelRange> ranges;
    const testing::ConversionRequest r = ConvertSample(a.sample, dir, TRAVUNE_FMT_WAV, "acq.wav", &ranges);
    const std::vector<double> scaled = testing::ScaledValues(r.files, a.sample.type);
    const std::string report = RunTool("sndfile-info '" + r.data + "'");
    EXPECT_EQ(ReportedNumber(report, "Sample Rate"), a.rate);
    EXPECT_EQ(ReportedNumber(report, "Channels"), static_cast<long long>(ranges.size()));
    EXPECT_EQ(ReportedNumber(report, "Frames"), a.sample.scans);

    const std::string raw = dir.File("acq.raw");
    RunTool("sox '" + r.data + "' -t raw -e signed-integer -b 16 -L '" + raw + "'");
    const std::string bytes = testing::FileBytes(raw);
    ASSERT_EQ(bytes.size(), 2 * scaled.size());
    int failures = 0;
    for (size_t i = 0; i < scaled.size() && failures < 5; ++i) {
      const int16_t code = static_cast<int16_t>(static_cast<uint8_t>(bytes[2 * i]) |
                                                static_cast<uint8_t>(bytes[2 * i + 1]) << 8);
      const testing::ChannelRange& range = ranges[i % ranges.size()];
      if (code != testing::ExpectedCode16(scaled[i], range.lower, range.upper)) {
        ++failures;
        ADD_FAILURE() << "sample " << i << ": sox gives " << code << " for " << scaled[i];
      }
    }
  }
}

}  // namespace
}  // namespace travune
