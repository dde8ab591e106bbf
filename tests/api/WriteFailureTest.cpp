// Real write failures: each writer converts in a child whose file-size limit lies below its output, so the
// kernel refuses a write part-way; the failure is reported and the blocks before it kept byte for byte.
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

constexpr size_t kMostBlocks = 10000;

class WriteFailure : public ::testing::TestWithParam<NamedFormat> {
 protected:
  Scratch scratch_;
  CvtSteps steps_{scratch_.Sample(SampleOf(TRAVUNE_SRC_MORVANE, 3000), "RUN"), scratch_.File("out.hdr"),
                  scratch_.File("out.dat"), GetParam().id};
};

TEST_P(WriteFailure, ALimitBelowTheOutputSizeIsReportedAndKeepsTheBlocksWritten) {
  // Without a limit: the data file's size after the open, after each block and after the close.
  const auto size = [&] { return static_cast<int64_t>(fs::file_size(steps_.output)); };
  std::vector<int64_t> sizes;
  ASSERT_EQ(steps_.Open(), 0);
  sizes.push_back(size());
  for (int32_t percent = 0; percent < 100 && sizes.size() < kMostBlocks; sizes.push_back(size())) {
    percent = steps_.Block();
    ASSERT_GE(percent, 0);
  }
  ASSERT_EQ(steps_.Close(), 0);
  sizes.push_back(size());
  const std::string reference = Contents(steps_.output);
  // Pernix writes no file, so the limit changes nothing.
  const bool writesNothing = GetParam().id == TRAVUNE_FMT_PERNIX;
  ASSERT_EQ(sizes.back() > 2, !writesNothing) << sizes.back();
  const rlim_t limit = static_cast<rlim_t>(sizes.back() / 2);
  fs::remove(steps_.output);

  // The same conversion in a child whose files may not grow beyond the limit; its standard error
  // (where messages to the user go) is kept in stderr.txt.
  const std::string messages = scratch_.File("stderr.txt");
  ChildProcess child(
      [&] {
        const int fd = ::open(messages.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd >= 0) ::dup2(fd, STDERR_FILENO);
        const struct rlimit fileSize = {limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &fileSize);
        std::signal(SIGXFSZ, SIG_IGN);
      },
      [this](char command) { return steps_.Run(command); });
  int32_t opened = INT32_MIN, percent = 0, closed = INT32_MIN;
  ASSERT_TRUE(child.Ask('o', &opened));
  EXPECT_EQ(opened, 0);
  size_t blocksWritten = 0;
  while (percent >= 0 && percent < 100 && blocksWritten < kMostBlocks) {
    ASSERT_TRUE(child.Ask('b', &percent)) << "the child died at block " << blocksWritten;
    if (percent >= 0) ++blocksWritten;
  }
  ASSERT_TRUE(child.Ask('c', &closed));
  ASSERT_TRUE(ChildProcess::EndedNormally(child.Finish()));
  EXPECT_EQ(scratch_.TempFilesLeft(), 0) << "temporary files were left";
  const std::string written = Contents(steps_.output);
  EXPECT_LE(written.size(), limit);
  if (writesNothing) {
    EXPECT_EQ(percent, 100);
    EXPECT_EQ(closed, 0);
    return;
  }
  if (GetParam().id == TRAVUNE_FMT_MESCOPE) {
    // The block-writer library writes the file; its failure is shown to the user and the
    // conversion closes with success.
    EXPECT_EQ(closed, 0);
    EXPECT_NE(Contents(messages).find("Failed to write converted data disk."), std::string::npos);
    return;
  }
  EXPECT_TRUE(percent == -1 || closed == -1003)
      << "the failed write went unreported: block " << percent << ", close " << closed;
  // Where the session appends the blocks after the header, the block that failed is the first
  // whose end lies beyond the limit, the file ends after the last whole block before it, and
  // those blocks are the bytes a conversion without a limit wrote.
  const bool sessionAppends = sizes.size() > 2 && sizes[1] > sizes[0] && static_cast<rlim_t>(sizes[0]) <= limit;
  if (!sessionAppends) return;
  EXPECT_EQ(percent, -1);
  ASSERT_LT(blocksWritten + 1, sizes.size());
  EXPECT_LE(static_cast<rlim_t>(sizes[blocksWritten]), limit);
  EXPECT_GT(static_cast<rlim_t>(sizes[blocksWritten + 1]), limit);
  ASSERT_EQ(static_cast<int64_t>(written.size()), sizes[blocksWritten]);
  const size_t headerBytes = static_cast<size_t>(sizes[0]);
  EXPECT_TRUE(written.compare(headerBytes, std::string::npos, reference, headerBytes, written.size() - headerBytes) == 0)
      << "the blocks kept differ from a conversion without a limit";
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, WriteFailure, ::testing::ValuesIn(kEveryFormat),
                         [](const ::testing::TestParamInfo<NamedFormat>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace travune::apitest
