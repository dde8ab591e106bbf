// Real write failures: each writer converts in a child process whose file-size limit
// (RLIMIT_FSIZE, SIGXFSZ ignored) lies below the size of its output, so the kernel refuses a
// write part-way through. The failure must be reported, and the data file must keep exactly the
// blocks written before it, byte for byte as a conversion without a limit writes them.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

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

// What a write refused half-way through the output must lead to.
enum class Expect {
  kFailure,   // a failing block (-1) or close (-1003)
  kMessage,   // a message to the user and a successful close (the block-writer library's file)
  kNoOutput,  // the writer writes no file, so the limit changes nothing
};

struct WriterCase {
  const char* name;
  int32_t format;
  Expect expect = Expect::kFailure;
};

const WriterCase kWriters[] = {
    {"Halvard", TRAVUNE_FMT_HALVARD},
    {"Ascii", TRAVUNE_FMT_ASCII},
    {"SnapMaster", TRAVUNE_FMT_SNAPMASTER},
    {"DADiSP", TRAVUNE_FMT_DADISP},
    {"DASYLab", TRAVUNE_FMT_DASYLAB},
    {"DIAdem", TRAVUNE_FMT_DIADEM},
    {"Matlab", TRAVUNE_FMT_MATLAB},
    {"Float32", TRAVUNE_FMT_FLOAT32},
    {"Text", TRAVUNE_FMT_TEXT},
    {"Uff58Ascii", TRAVUNE_FMT_UFF58_ASCII},
    {"Uff58Binary", TRAVUNE_FMT_UFF58_BINARY},
    {"Wav", TRAVUNE_FMT_WAV},
    {"MEscope", TRAVUNE_FMT_MESCOPE, Expect::kMessage},
    {"Pernix", TRAVUNE_FMT_PERNIX, Expect::kNoOutput},
};

// The writer's name in test listings, instead of the bytes of the record.
void PrintTo(const WriterCase& writer, std::ostream* os) { *os << writer.name; }

// How the conversion in the limited child went.
struct LimitedRun {
  bool childLived = false;  // it answered every step
  int waitStatus = -1;
  int32_t lastPercent = 0;
  int blocksWritten = 0;
  int32_t closed = 0;
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
    if (!child.Ask('c', &run.closed)) return run;
    run.childLived = true;
    run.waitStatus = child.Finish();
    return run;
  }

  ScratchDir scratch_;
  CvtSteps steps_;
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

TEST_P(WriteFailure, ALimitBelowTheOutputSizeIsReportedAndKeepsTheBlocksWritten) {
  const std::vector<int64_t> sizes = ReferenceSizes();
  const std::string reference = FileBytes(steps_.output);
  const int64_t finalBytes = sizes.back();
  if (GetParam().expect == Expect::kNoOutput) {
    ASSERT_EQ(finalBytes, 0);
  } else {
    ASSERT_GT(finalBytes, 2);
  }
  const rlim_t limit = static_cast<rlim_t>(finalBytes / 2);
  fs::remove(steps_.output);

  const LimitedRun run = RunLimited(limit);
  ASSERT_TRUE(run.childLived);
  EXPECT_TRUE(ChildProcess::EndedNormally(run.waitStatus));
  EXPECT_EQ(EntriesBelow(scratch_.Path() / "tmp"), 0) << "temporary files were left";
  const std::string written = FileBytes(steps_.output);
  EXPECT_LE(written.size(), limit);

  switch (GetParam().expect) {
    case Expect::kNoOutput:
      EXPECT_EQ(run.lastPercent, 100);
      EXPECT_EQ(run.closed, 0);
      return;
    case Expect::kMessage:
      // The block-writer library writes the file; its failure is shown to the user and the
      // conversion closes with success.
      EXPECT_EQ(run.closed, 0);
      EXPECT_NE(ContentsOf(scratch_.File("stderr.txt")).find("Failed to write converted data disk."), std::string::npos);
      return;
    case Expect::kFailure:
      break;
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

INSTANTIATE_TEST_SUITE_P(EveryWriter, WriteFailure, ::testing::ValuesIn(kWriters),
                         [](const ::testing::TestParamInfo<WriterCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace travune::testing
