// The MATLAB files as GNU Octave's load and scipy.io.loadmat read them: the matrix A has a row
// per scan and a column per channel, and every element is our own scaled value, bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "writer/WriterRuns.h"
#include "writer/decoders/MatlabDecoder.h"

namespace travune {
namespace {

// What a reader printed: the matrix size, then the elements row after row.
struct ReadMatrix {
  int64_t rows = -1;
  int64_t columns = -1;
  std::vector<double> values;
};

// Runs command; its standard output parsed as numbers, or a failure recorded with its messages.
ReadMatrix RunReader(const std::string& command, const std::string& errorsPath) {
  ReadMatrix read;
  const std::string full = command + " 2>'" + errorsPath + "'";
  FILE* pipe = popen(full.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << full;
    return read;
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  const int status = pclose(pipe);
  if (status != 0) {
    ADD_FAILURE() << full << " failed (" << status << "): " << testing::FileBytes(errorsPath).substr(0, 800);
    return read;
  }
  std::istringstream numbers(output);
  numbers >> read.rows >> read.columns;
  // strtod reads "-0", "inf" and "nan" as the readers print them.
  for (std::string field; numbers >> field;) read.values.push_back(std::strtod(field.c_str(), nullptr));
  return read;
}

ReadMatrix ReadWithOctave(const std::string& matPath, const std::string& errorsPath) {
  const std::string program = "load('" + matPath +
                              "'); printf('%d %d\\n', rows(A), columns(A)); "
                              "if !strcmp(class(A), 'double') exit(3); end; printf('%.17g\\n', A.');";
  return RunReader("octave-cli --no-init-file --no-window-system --eval \"" + program + "\"", errorsPath);
}

constexpr const char* kScipyReader = R"(import sys
import numpy
import scipy.io
A = scipy.io.loadmat(sys.argv[1])['A']
if A.dtype != numpy.float64:
    sys.exit('A holds ' + str(A.dtype))
print(A.shape[0], A.shape[1])
for v in A.flatten(order='C'):
    print(repr(float(v)))
)";

ReadMatrix ReadWithScipy(const std::string& script, const std::string& matPath, const std::string& errorsPath) {
  return RunReader("/usr/bin/python3 '" + script + "' '" + matPath + "'", errorsPath);
}

// Same bits, so that -0 and 0 differ and equal NaNs agree.
bool SameDouble(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b)); }

TEST(MatlabInterop, OctaveAndScipyLoadOurScaledValues) {
  testing::ScratchDir dir;
  const std::string script = dir.File("read_mat.py");
  std::ofstream(script) << kScipyReader;
  const struct {
    const char* name;
    samples::SampleSpec sample;
  } cases[] = {
      {"morvane", testing::SampleOf(3, 900, 100)},
      {"celdrin", testing::SampleOf(6, 700, 50)},
      {"tarquil packed", testing::SampleOf(4, 500, 20, false, true)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::ConversionRequest r;
    r.files = testing::WriteSampleFiles(c.sample, dir, "acq");
    ASSERT_EQ(r.files.size(), 2u);
    r.sourceType = c.sample.type;
    r.format = TRAVUNE_FMT_MATLAB;
    r.header = dir.File("acq_matrix.txt");
    r.data = dir.File("acq_matrix.MAT");
    r.blockBytes = 4096;
    ASSERT_EQ(testing::Convert(r), 0);
    const testing::Decoded ours = testing::DecodeMatlab(r.data, r.header);
    ASSERT_TRUE(ours.ok);
    const int chans = samples::NumChannels(c.sample);
    ASSERT_EQ(ours.chans, chans);
    ASSERT_EQ(ours.scans, c.sample.scans);
    const std::vector<double> scaled = testing::ScaledValues(r.files, c.sample.type);
    ASSERT_EQ(scaled.size(), ours.values.size());

    const struct {
      const char* reader;
      ReadMatrix matrix;
    } reads[] = {
        {"octave", ReadWithOctave(r.data, dir.File("octave.err"))},
        {"scipy", ReadWithScipy(script, r.data, dir.File("scipy.err"))},
    };
    for (const auto& read : reads) {
      SCOPED_TRACE(read.reader);
      ASSERT_EQ(read.matrix.rows, c.sample.scans);
      ASSERT_EQ(read.matrix.columns, chans);
      ASSERT_EQ(read.matrix.values.size(), ours.values.size());
      int failures = 0;
      for (int64_t s = 0; s < c.sample.scans; ++s) {
        for (int ch = 0; ch < chans; ++ch) {
          const size_t i = static_cast<size_t>(s * chans + ch);
          const double expected = scaled[i];
          const double got = read.matrix.values[i];
          if ((!SameDouble(got, ours.values[i]) || !SameDouble(got, expected)) &&
              ++failures <= 5) {
            ADD_FAILURE() << "scan " << s << " channel " << ch << ": " << got << ", written " << ours.values[i]
                          << ", scaled " << expected;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace travune
