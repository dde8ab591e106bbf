// Text formatted in chunks on several threads: the spreadsheet and plain text writers give the
// bytes of one thread whatever the threads and block sizes, including fitted ('*') fields,
// non-finite values and the time column, whose times are read before the threads start.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/TgtFmtAscii.h"
#include "writer/TgtFmtText.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;

// Enough values for eight chunks of at least 16384 values each.
constexpr int64_t kScans = 40000;

// Values cycling through ordinary, negative, out-of-range (fitted) and non-finite ones.
std::vector<double> Values(size_t chans) {
  const double specials[] = {1e30, -1e30, std::numeric_limits<double>::infinity(), std::nan("")};
  std::vector<double> values;
  for (int64_t scan = 0; scan < kScans; ++scan) {
    for (size_t chan = 0; chan < chans; ++chan) {
      const double ordinary = std::sin(static_cast<double>(scan) * 0.001 + static_cast<double>(chan)) * 9.5;
      values.push_back(scan % 997 == 0 ? specials[(scan / 997 + static_cast<int64_t>(chan)) % 4] : ordinary);
    }
  }
  return values;
}

TEST(TgtFmtTextChunks, ThreadsAndBlockSizesGiveTheBytesOfOneThread) {
  struct Case {
    const char* name;
    bool spreadsheet;
    uint32_t flags;
    bool absolute;
    int64_t headerLines;
  };
  const Case cases[] = {
      {"text", false, 0, false, 0},
      {"spreadsheet", true, 0, false, 2},
      {"spreadsheet, relative times", true, 1, false, 2},
      {"spreadsheet, clock times", true, 1, true, 2},
  };
  const std::vector<FakeChannel> channels = {
      {"A", "V", -10.0, 10.0, 3}, {"B", "n", -10.0, 10.0, 0}, {"C", "g", -10.0, 10.0, 6}, {"D", "m", -10.0, 10.0, 1}};
  const std::vector<double> values = Values(channels.size());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source(channels, values);
    source.SetRates(1000.0, 1000.0);
    if (c.absolute) source.SetAbsolute(46349.25);
    const auto run = [&](int32_t threads, int64_t blockScans) {
      WriterContext context;
      context.flags = c.flags;
      context.formatThreads = threads;
      std::unique_ptr<TgtFmt> writer = c.spreadsheet ? std::unique_ptr<TgtFmt>(new TgtFmtAscii(&source, context))
                                                     : std::unique_ptr<TgtFmt>(new TgtFmtText(&source, context));
      EXPECT_TRUE(writer->IsOk());
      testing::ScratchDir dir;
      return testing::RunWriter(*writer, dir.File("out.txt"), dir.File("out.hdr"), kScans, 0, kScans, blockScans).data;
    };
    const std::string oneThread = run(1, kScans);
    EXPECT_EQ(std::count(oneThread.begin(), oneThread.end(), '\n'), kScans + c.headerLines);
    EXPECT_NE(oneThread.find('*'), std::string::npos) << "no fitted field: the fitting path is not compared";
    EXPECT_TRUE(run(8, kScans) == oneThread);
    EXPECT_TRUE(run(3, 17001) == oneThread);
    EXPECT_TRUE(run(1, 777) == oneThread);
  }
}

}  // namespace
}  // namespace travune
