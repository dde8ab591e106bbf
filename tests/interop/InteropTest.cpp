// Our files as the programs users load them into read them: MATLAB files through Octave's load and
// scipy.io.loadmat, WAV files through sndfile-info and sox. Each must see every scaled value.
#include <gtest/gtest.h>

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

// The numbers command prints ("-0", "inf" and "nan" as strtod reads them), with a failure
// recorded when it fails. Its messages go to the test's own error stream: some Octave builds
// print one at every exit, which is no number.
std::vector<double> NumbersPrintedBy(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  if (pclose(pipe) != 0) ADD_FAILURE() << command << " failed (its messages are above): " << output.substr(0, 500);
  std::vector<double> numbers;
  std::istringstream fields(output);
  for (std::string field; fields >> field;) numbers.push_back(std::strtod(field.c_str(), nullptr));
  return numbers;
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

// Each program's numbers are those expected to the bit (-0 and 0 differ, any NaN equals any NaN):
// the matrix's shape and the scaled values; the WAV head's rate, frames and channels; and the
// codes of the plain rounding rule applied to the scaled values over each channel's range.
TEST(Interop, FieldProgramsReadOurMatlabAndWavFiles) {
  const samples::SampleSpec sample = testing::SampleOf(TRAVUNE_SRC_MORVANE, 900, 100);
  const double scans = static_cast<double>(sample.scans);
  testing::ScratchDir dir;
  testing::ConversionRequest request;
  request.files = dir.Sample(sample, "acq");
  request.sourceType = sample.type;
  request.format = TRAVUNE_FMT_MATLAB;
  request.header = dir.File("acq_header.txt");
  request.data = dir.File("acq_matrix.MAT");
  ASSERT_EQ(testing::Convert(request), 0);
  request.format = TRAVUNE_FMT_WAV;
  request.data = dir.File("acq.wav");
  std::vector<testing::ChannelRange> ranges;
  ASSERT_EQ(testing::Convert(request, &ranges), 0);
  const std::vector<double> scaled = testing::ScaledValues(request.files, sample.type);
  const double chans = static_cast<double>(ranges.size());
  std::vector<double> matrix = {scans, chans}, codes;
  matrix.insert(matrix.end(), scaled.begin(), scaled.end());
  for (size_t i = 0; i < scaled.size(); ++i) {
    const testing::ChannelRange& range = ranges[i % ranges.size()];
    codes.push_back(testing::ExpectedCode16(scaled[i], range.lower, range.upper));
  }

  const std::string mat = dir.File("acq_matrix.MAT"), wav = dir.File("acq.wav"), script = dir.File("read_mat.py");
  std::ofstream(script) << kScipyReader;
  char octave[512];
  std::snprintf(octave, sizeof octave, kOctaveReader, mat.c_str());
  const struct {
    const char* name;
    std::string command;
    std::vector<double> expected;
  } readers[] = {
      {"octave", "octave-cli --no-init-file --no-window-system --eval \"" + std::string(octave) + "\"", matrix},
      {"scipy", "/usr/bin/python3 '" + script + "' '" + mat + "'", matrix},
      {"sndfile-info", "sndfile-info '" + wav + "' | awk -F' *: *' '/^(Sample Rate|Frames|Channels) /{print $2}'",
       {1000, scans, chans}},
      {"sox", "sox '" + wav + "' -t raw -e signed-integer -b 16 -L - | od -An -v -td2 -w2", codes},
  };
  for (const auto& reader : readers) {
    SCOPED_TRACE(reader.name);
    const std::vector<double> read = NumbersPrintedBy(reader.command);
    ASSERT_EQ(read.size(), reader.expected.size());
    int failures = 0;
    for (size_t i = 0; i < read.size() && failures < 5; ++i) {
      const double a = read[i], b = reader.expected[i];
      if (std::memcmp(&a, &b, sizeof a) != 0 && !(std::isnan(a) && std::isnan(b))) {
        ++failures;
        ADD_FAILURE() << "number " << i << ": " << a << " for " << b;
      }
    }
  }
}

}  // namespace
}  // namespace travune
