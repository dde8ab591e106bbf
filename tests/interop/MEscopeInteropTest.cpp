// The ME'scope block file as a spreadsheet-style numeric reader sees it: Octave's dlmread takes
// the tab-separated rows after the six keyword lines, and every value equals, as a float, the
// raw float conversion of the same acquisition.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "writer/WriterRuns.h"

namespace travune {
namespace {

namespace codes = testing;

// Reads the block file and the raw floats named by its arguments (and the channel count), and
// prints rows, columns, and 1 when the trace columns equal the floats as single precision numbers.
constexpr const char* kCompare = R"(args = argv();
blk = dlmread(args{1}, "\t", 6, 0);
f = fopen(args{2}); raw = fread(f, Inf, "single=>double"); fclose(f);
v = transpose(reshape(raw, str2double(args{3}), []));
printf("%d %d %d\n", rows(blk), columns(blk), isequal(single(blk(:, 2:end)), single(v)));
)";

// Octave's standard output for the script and its arguments; empty with a failure recorded when
// it fails.
std::string RunOctave(const std::string& script, const std::string& blockPath, const std::string& floatPath,
                      int chans) {
  const std::string command = "octave-cli --quiet --no-window-system --norc '" + script + "' '" + blockPath + "' '" +
                              floatPath + "' " + std::to_string(chans) + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run octave-cli";
    return {};
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  if (pclose(pipe) != 0) ADD_FAILURE() << "octave-cli failed: " << output.substr(0, 500);
  return output;
}

TEST(MEscopeInterop, OctaveReadsEverySampleOfTheBlockFile) {
  const struct {
    const char* name;
    samples::SampleSpec sample;
  } acquisitions[] = {
      {"morvane, one time base", codes::SampleOf(TRAVUNE_SRC_MORVANE, 1200, 100)},
      {"tarquil, two time bases", codes::SampleOf(TRAVUNE_SRC_TARQUIL, 900, 30)},
  };
  for (const auto& a : acquisitions) {
    SCOPED_TRACE(a.name);
    codes::ScratchDir dir;
    codes::ConversionRequest request;
    request.files = codes::WriteSampleFiles(a.sample, dir, "acq");
    ASSERT_EQ(request.files.size(), 2u);
    request.sourceType = a.sample.type;
    request.header = dir.File("acq.hdr");
    request.format = TRAVUNE_FMT_FLOAT32;
    request.data = dir.File("acq.f32");
    ASSERT_EQ(codes::Convert(request), 0);
    request.format = TRAVUNE_FMT_MESCOPE;
    request.data = dir.File("acq.blk");
    ASSERT_EQ(codes::Convert(request), 0);

    const int chans = samples::NumChannels(a.sample);
    const std::string script = dir.File("compare.m");
    std::ofstream(script) << kCompare;
    std::istringstream report(RunOctave(script, dir.File("acq.blk"), dir.File("acq.f32"), chans));
    long long rows = -1, columns = -1;
    int equal = -1;
    report >> rows >> columns >> equal;
    EXPECT_EQ(rows, a.sample.scans);
    EXPECT_EQ(columns, chans + 1);  // the x value, then one column per trace
    EXPECT_EQ(equal, 1);
  }
}

}  // namespace
}  // namespace travune
