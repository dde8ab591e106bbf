// Real write failures: each writer converts in a child process whose file-size limit
// (RLIMIT_FSIZE, SIGXFSZ ignored) lies below the size of its output, so the kernel refuses a
// write part-way through. The failure must be reported, and the data file must keep exactly the
// blocks written before it, byte for byte as a conversion without a limit writes them.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "api/CvtSteps.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"
#include "platform/ProcessTraces.h"
#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/WriterRuns.h"

namespace travune::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kMostBlocks = 10000;

struct WriterCase {
  const char* name;
  int32_t format;
};

const WriterCase kWriters[] = {
    {"Halvard", TRAVUNE_FMT_HALVARD},   {"Ascii", TRAVUNE_FMT_ASCII},
    {"SnapMaster", TRAVUNE_FMT_SNAPMASTER}, {"DADiSP", TRAVUNE_FMT_DADISP},
    {"DASYLab", TRAVUNE_FMT_DASYLAB},   {"DIAdem", TRAVUNE_FMT_DIADEM},
    {"Matlab", TRAVUNE_FMT_MATLAB},     {"Float32", TRAVUNE_FMT_FLOAT32},
    {"Text", TRAVUNE_FMT_TEXT},         {"Uff58Ascii", TRAVUNE_FMT_UFF58_ASCII},
    {"Uff58Binary", TRAVUNE_FMT_UFF58_BINARY}, {"Wav", TRAVUNE_FMT_WAV},
    {"MEscope", TRAVUNE_FMT_MESCOPE},   {"Pernix", TRAVUNE_FMT_PERNIX},
};

platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 250}; }

class WriteFailure : public ::testing::TestWithParam<WriterCase> {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch_.Path().empty());
    fs::create_directories(scratch_.Path() / "tmp");
    const char* previous = getenv("TMPDIR");
    hadTmpDir_ = previous != nullptr;
    if (hadTmpDir_) previousTmpDir_ = previous;
    setenv("TMPDIR", scratch_.File("tmp").c_str(), 1);
    platform::SetClock(FixedClock);
    const std::vector<std::string> files = WriteSampleFiles(SampleOf(TRAVUNE_SRC_MORVANE, 3000, 0), scratch_, "RUN");
    ASSERT_EQ(files.size(), 2u);
    steps_.desc = files[0];
    steps_.data = files[1];
    steps_.header = scratch_.File("out.hdr");
    steps_.output = scratch_.File("out.dat");
    steps_.format = GetParam().format;
  }
  void TearDown() override {
    platform::SetClock(nullptr);
    if (hadTmpDir_) {
      setenv("TMPDIR", previousTmpDir_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
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

  ScratchDir scratch_;
  CvtSteps steps_;
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

TEST_P(WriteFailure, ALimitBelowTheOutputSizeIsReportedAndKeepsTheBlocksWritten) {
  const std::vector<int64_t> sizes = ReferenceSizes();
  const std::string reference = FileBytes(steps_.output);
  const int64_t headerBytes = sizes.front();
  const int64_t finalBytes = sizes.back();
  ASSERT_GT(finalBytes, headerBytes + 2);
  // Half-way between what the open writes and the whole file.
  const rlim_t limit = static_cast<rlim_t>(headerBytes + (finalBytes - headerBytes) / 2);
  fs::remove(steps_.output);

  CvtSteps steps = steps_;
  ChildProcess child(
      [limit] {
        const struct rlimit fileSize = {limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &fileSize);
        std::signal(SIGXFSZ, SIG_IGN);
      },
      [&steps](char command) { return steps.Run(command); });
  ASSERT_TRUE(child.Started());

  int32_t opened = 0;
  ASSERT_TRUE(child.Ask('o', &opened));
  ASSERT_EQ(opened, 0);
  int32_t percent = 0;
  int blocksWritten = 0;
  while (percent >= 0 && percent < 100 && blocksWritten < kMostBlocks) {
    ASSERT_TRUE(child.Ask('b', &percent)) << "the child died in a block";
    if (percent >= 0) ++blocksWritten;
  }
  int32_t closed = 0;
  ASSERT_TRUE(child.Ask('c', &closed)) << "the child died closing the conversion";
  EXPECT_TRUE(ChildProcess::EndedNormally(child.Finish()));

  EXPECT_TRUE(percent == -1 || closed == -1003) << "the failed write went unreported: block " << percent
                                                 << ", close " << closed;
  EXPECT_EQ(EntriesBelow(scratch_.Path() / "tmp"), 0) << "temporary files were left";
  const std::string written = FileBytes(steps_.output);
  EXPECT_LE(written.size(), limit);
  if (percent == -1) {
    // The session wrote the blocks: the file ends after the last whole block written, and those
    // blocks are the bytes a conversion without a limit wrote there.
    // The block that failed is the first one whose end lies beyond the limit.
    const size_t done = static_cast<size_t>(blocksWritten);
    ASSERT_LT(done + 1, sizes.size());
    EXPECT_LE(static_cast<rlim_t>(sizes[done]), limit);
    EXPECT_GT(static_cast<rlim_t>(sizes[done + 1]), limit);
    const int64_t expectedBytes = sizes[done];
    ASSERT_EQ(static_cast<int64_t>(written.size()), expectedBytes);
    EXPECT_EQ(written.substr(static_cast<size_t>(headerBytes)),
              reference.substr(static_cast<size_t>(headerBytes), written.size() - static_cast<size_t>(headerBytes)));
  }
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, WriteFailure, ::testing::ValuesIn(kWriters),
                         [](const ::testing::TestParamInfo<WriterCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace travune::testing
