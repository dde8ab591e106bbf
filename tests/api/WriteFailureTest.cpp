// Real write failures: each writer converts in a child process whose file-size limit
// (RLIMIT_FSIZE, SIGXFSZ ignored) lies below the size of its output, so the kernel refuses a
// write part-way through. The failure must be reported, and the data file must keep exactly the
// blocks written before it, byte for byte as a conversion without a limit writes them.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/ChildProcess.h"

namespace travune::apitest {
namespace {

constexpr int kMostBlocks = 10000;

// How the conversion in the limited child went.
struct LimitedRun {
  bool childLived = false;  // it answered every step and ended normally
  int32_t lastPercent = 0;
  int blocksWritten = 0;
  int32_t closed = 0;
};

class WriteFailure : public ::testing::TestWithParam<NamedFormat> {
 protected:
  void SetUp() override {
    steps_ = CvtSteps(scratch_.Sample(SampleOf(TRAVUNE_SRC_MORVANE, 3000), "RUN"), scratch_.File("out.hdr"),
                      scratch_.File("out.dat"), GetParam().id);
  }

  // Converts without a limit, noting the data file's size after the open and after each block.
  std::vector<int64_t> ReferenceSizes() {
    std::vector<int64_t> sizes;
    EXPECT_EQ(steps_.Open(), 0);
    sizes.push_back(static_cast<int64_t>(fs::file_size(steps_.output)));
    for (int32_t percent = 0; percent >= 0 && percent < 100 && sizes.size() < static_cast<size_t>(kMostBlocks);) {
      percent = steps_.Block();
      EXPECT_GE(percent, 0);
      sizes.push_back(static_cast<int64_t>(fs::file_size(steps_.output)));
    }
    EXPECT_EQ(steps_.Close(), 0);
    sizes.push_back(static_cast<int64_t>(fs::file_size(steps_.output)));
    return sizes;
  }

  // The whole conversion in a child whose files may not grow beyond limit bytes; its standard
  // error (where messages to the user go) is kept in stderr.txt.
  LimitedRun RunLimited(rlim_t limit) {
    const std::string messages = scratch_.File("stderr.txt");
    CvtSteps steps = steps_;
    ChildProcess child(
        [limit, &messages] {
          const int fd = ::open(messages.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
          if (fd >= 0) ::dup2(fd, STDERR_FILENO);
          const struct rlimit fileSize = {limit, limit};
          ::setrlimit(RLIMIT_FSIZE, &fileSize);
          std::signal(SIGXFSZ, SIG_IGN);
        },
        [&steps](char command) { return steps.Run(command); });
    LimitedRun run;
    int32_t opened = INT32_MIN;
    if (!child.Ask('o', &opened)) return run;
    EXPECT_EQ(opened, 0);
    int32_t percent = 0;
    while (percent >= 0 && percent < 100 && run.blocksWritten < kMostBlocks) {
      if (!child.Ask('b', &percent)) return run;
      if (percent >= 0) ++run.blocksWritten;
    }
    run.lastPercent = percent;
    run.childLived = child.Ask('c', &run.closed) && ChildProcess::EndedNormally(child.Finish());
    return run;
  }

  Scratch scratch_;
  CvtSteps steps_;
};

TEST_P(WriteFailure, ALimitBelowTheOutputSizeIsReportedAndKeepsTheBlocksWritten) {
  const std::vector<int64_t> sizes = ReferenceSizes();
  const std::string reference = Contents(steps_.output);
  // Pernix writes no file, so the limit changes nothing.
  const bool writesNothing = GetParam().id == TRAVUNE_FMT_PERNIX;
  ASSERT_EQ(sizes.back() > 2, !writesNothing) << sizes.back();
  const rlim_t limit = static_cast<rlim_t>(sizes.back() / 2);
  fs::remove(steps_.output);

  const LimitedRun run = RunLimited(limit);
  ASSERT_TRUE(run.childLived);
  EXPECT_EQ(scratch_.TempFilesLeft(), 0) << "temporary files were left";
  const std::string written = Contents(steps_.output);
  EXPECT_LE(written.size(), limit);
  if (writesNothing) {
    EXPECT_EQ(run.lastPercent, 100);
    EXPECT_EQ(run.closed, 0);
    return;
  }
  if (GetParam().id == TRAVUNE_FMT_MESCOPE) {
    // The block-writer library writes the file; its failure is shown to the user and the
    // conversion closes with success.
    EXPECT_EQ(run.closed, 0);
    EXPECT_NE(Contents(scratch_.File("stderr.txt")).find("Failed to write converted data disk."), std::string::npos);
    return;
  }
  EXPECT_TRUE(run.lastPercent == -1 || run.closed == -1003)
      << "the failed write went unreported: block " << run.lastPercent << ", close " << run.closed;
  // Where the session appends the blocks after the header, the block that failed is the first
  // whose end lies beyond the limit, the file ends after the last whole block before it, and
  // those blocks are the bytes a conversion without a limit wrote.
  const bool sessionAppends = sizes.size() > 2 && sizes[1] > sizes[0] && static_cast<rlim_t>(sizes[0]) <= limit;
  if (!sessionAppends) return;
  EXPECT_EQ(run.lastPercent, -1);
  const size_t done = static_cast<size_t>(run.blocksWritten);
  ASSERT_LT(done + 1, sizes.size());
  EXPECT_LE(static_cast<rlim_t>(sizes[done]), limit);
  EXPECT_GT(static_cast<rlim_t>(sizes[done + 1]), limit);
  ASSERT_EQ(static_cast<int64_t>(written.size()), sizes[done]);
  const size_t headerBytes = static_cast<size_t>(sizes[0]);
  EXPECT_TRUE(written.compare(headerBytes, std::string::npos, reference, headerBytes, written.size() - headerBytes) == 0)
      << "the blocks kept differ from a conversion without a limit";
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, WriteFailure, ::testing::ValuesIn(kEveryFormat),
                         [](const ::testing::TestParamInfo<NamedFormat>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace travune::apitest
