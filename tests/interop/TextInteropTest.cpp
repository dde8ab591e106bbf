// The plain text and spreadsheet files as Python's csv module reads them (tab-separated), with
// the '.' and the ',' decimal mark: the values come back to the printed precision.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "writer/WriterRuns.h"
#include "writer/decoders/TextDecoder.h"

namespace travune {
namespace {

constexpr const char* kPython = "/usr/bin/python3";

// Reads a text file with csv (tab delimiter), skips the header lines and the time column that
// the first header line names, and prints each line's values, one line per scan.
constexpr const char* kReader = R"(import csv, sys
path, header_lines, mark = sys.argv[1], int(sys.argv[2]), sys.argv[3]
with open(path, newline='') as f:
    rows = list(csv.reader(f, delimiter='\t'))
titles = rows[0] if header_lines else []
time_fields = 0
if titles and titles[0] == 'Time':
    time_fields = 1
    for title in ('ms', 'Date'):
        if len(titles) > time_fields and titles[time_fields] == title:
            time_fields += 1
for row in rows[header_lines:]:
    if row[-1] != '':
        sys.exit('a line does not end in a tab')
    print(' '.join(repr(float(v.replace(mark, '.'))) for v in row[time_fields:-1]))
)";

// Runs the reader over path; the values per scan, or empty with a failure recorded.
std::vector<std::vector<double>> ReadWithCsv(const std::string& script, const std::string& path, int headerLines,
                                             char mark) {
  const std::string command = std::string(kPython) + " '" + script + "' '" + path + "' " +
                              std::to_string(headerLines) + " '" + mark + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string output;
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
  const int status = pclose(pipe);
  if (status != 0) {
    ADD_FAILURE() << command << " failed: " << output.substr(0, 500);
    return {};
  }
  std::vector<std::vector<double>> scans;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::vector<double> values;
    std::istringstream fields(line);
    for (std::string field; fields >> field;) values.push_back(std::strtod(field.c_str(), nullptr));
    scans.push_back(std::move(values));
  }
  return scans;
}

TEST(TextInterop, PythonCsvReadsTheValuesBackInBothMarks) {
  testing::ScratchDir dir;
  const std::string script = dir.File("read_text.py");
  std::ofstream(script) << kReader;
  const struct {
    const char* name;
    samples::SampleSpec sample;
  } acquisitions[] = {{"morvane", testing::SampleOf(3, 400, 20)}, {"celdrin stamps", testing::SampleOf(6, 300, 30, true)}};
  for (const auto& a : acquisitions) {
    testing::TextConversion c;
    c.files = testing::WriteSampleFiles(a.sample, dir, "acq");
    ASSERT_EQ(c.files.size(), 2u);
    c.sourceType = a.sample.type;
    c.flags = TRAVUNE_FLAG_SCAN_TIMES;
    c.output = dir.File("out.txt");
    const std::vector<double> scaled = testing::ScaledValues(c.files, a.sample.type);
    for (const int32_t format : {TRAVUNE_FMT_TEXT, TRAVUNE_FMT_ASCII}) {
      for (const char mark : {'.', ','}) {
        SCOPED_TRACE(std::string(a.name) + ", format " + std::to_string(format) + ", mark " + mark);
        c.format = format;
        c.mark = mark;
        ASSERT_EQ(testing::Convert(c), 0);

        const int headerLines = format == TRAVUNE_FMT_ASCII ? 2 : 0;
        const std::vector<std::vector<double>> read = ReadWithCsv(script, c.output, headerLines, mark);
        // Each value's printed precision, as the text itself tells it.
        const std::vector<double> tolerances = testing::TextTolerances(c.output, format == TRAVUNE_FMT_ASCII);
        ASSERT_EQ(read.size(), static_cast<size_t>(a.sample.scans));
        const size_t chans = static_cast<size_t>(samples::NumChannels(a.sample));
        ASSERT_EQ(tolerances.size(), read.size() * chans);
        int failures = 0;
        for (int64_t s = 0; s < a.sample.scans; ++s) {
          const std::vector<double>& values = read[static_cast<size_t>(s)];
          ASSERT_EQ(values.size(), chans) << "scan " << s;
          for (size_t c = 0; c < values.size(); ++c) {
            const double expected = scaled[static_cast<size_t>(s) * chans + c];
            const double tolerance = tolerances[static_cast<size_t>(s) * chans + c];
            if (!(std::fabs(values[c] - expected) <= tolerance) && ++failures <= 5) {
              ADD_FAILURE() << "scan " << s << " channel " << c << ": " << values[c] << " for " << expected;
            }
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace travune
