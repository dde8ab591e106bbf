// Conversions in two processes at once, their steps interleaved in a fixed order through pipes:
// a file one process holds is refused to the other with the status for a held file and is left
// as the holder writes it; conversions of separate files run side by side without disturbing each
// other, temporary channel files included.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "api/CvtSteps.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"
#include "platform/ProcessTraces.h"
#include "writer/WriterRuns.h"

namespace travune::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kMostBlocks = 10000;

platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 250}; }

class SideBySide : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch_.Path().empty());
    fs::create_directories(scratch_.Path() / "tmp");
    const char* previous = getenv("TMPDIR");
    hadTmpDir_ = previous != nullptr;
    if (hadTmpDir_) previousTmpDir_ = previous;
    setenv("TMPDIR", scratch_.File("tmp").c_str(), 1);
    platform::SetClock(FixedClock);
    run_ = WriteSampleFiles(SampleOf(TRAVUNE_SRC_MORVANE, 3000, 0), scratch_, "RUN");
    copy_ = WriteSampleFiles(SampleOf(TRAVUNE_SRC_MORVANE, 3000, 0), scratch_, "COPY");
    ASSERT_EQ(run_.size(), 2u);
    ASSERT_EQ(copy_.size(), 2u);
  }
  void TearDown() override {
    platform::SetClock(nullptr);
    if (hadTmpDir_) {
      setenv("TMPDIR", previousTmpDir_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }

  CvtSteps Steps(const std::vector<std::string>& acquisition, const std::string& output, int32_t format) const {
    CvtSteps steps;
    steps.desc = acquisition[0];
    steps.data = acquisition[1];
    steps.output = scratch_.File(output);
    steps.header = scratch_.File(output + ".hdr");
    steps.format = format;
    return steps;
  }

  // The header and data file steps write (header first, empty when there is none).
  static std::string Output(const CvtSteps& steps) {
    return (fs::exists(steps.header) ? FileBytes(steps.header) : "") + "|" + FileBytes(steps.output);
  }

  // What steps write when nothing else runs, made in this process; the files are removed again.
  static std::string Reference(CvtSteps steps) {
    EXPECT_EQ(steps.Open(), 0);
    for (int32_t percent = 0, blocks = 0; percent >= 0 && percent < 100 && blocks < kMostBlocks; ++blocks) {
      percent = steps.Block();
      EXPECT_GE(percent, 0);
    }
    EXPECT_EQ(steps.Close(), 0);
    const std::string bytes = Output(steps);
    fs::remove(steps.header);
    fs::remove(steps.output);
    return bytes;
  }

  static std::unique_ptr<ChildProcess> Start(const CvtSteps& steps) {
    return std::make_unique<ChildProcess>(nullptr, [copy = steps](char command) mutable { return copy.Run(command); });
  }

  static int32_t Ask(ChildProcess& child, char command) {
    int32_t answer = INT32_MIN;
    EXPECT_TRUE(child.Ask(command, &answer)) << "the child died at command " << command;
    return answer;
  }

  // Converts every remaining block; the last percentage.
  static int32_t ConvertRest(ChildProcess& child) {
    int32_t percent = 0;
    for (int blocks = 0; percent >= 0 && percent < 100 && blocks < kMostBlocks; ++blocks) percent = Ask(child, 'b');
    return percent;
  }

  ScratchDir scratch_;
  std::vector<std::string> run_;
  std::vector<std::string> copy_;
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

// The same acquisition, or another one into the same output, while the first conversion runs:
// the file the first holds is refused with the status of its step, and the first's output is the
// one it writes alone.
TEST_F(SideBySide, AFileHeldByAConversionIsRefusedToTheSecondProcess) {
  struct Case {
    const char* what;
    int32_t format;
    bool sameAcquisition;
    char refusedStep;
    int32_t refusal;
  };
  const Case cases[] = {
      {"same acquisition: its data file is held", TRAVUNE_FMT_FLOAT32, true, 'r', TRAVUNE_ERR_SOURCE},
      {"same data file output", TRAVUNE_FMT_FLOAT32, false, 'o', TRAVUNE_ERR_DATA_CREATE},
      {"same header file output", TRAVUNE_FMT_DADISP, false, 'o', TRAVUNE_ERR_WRITER},
      {"same UFF output", TRAVUNE_FMT_UFF58_ASCII, false, 'o', TRAVUNE_ERR_DATA_CREATE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    // An output of each case's own, so that no file of an earlier case is counted.
    const std::string output = std::string("held") + std::to_string(&c - cases) + ".out";
    const CvtSteps first = Steps(run_, output, c.format);
    const std::string reference = Reference(first);
    auto holder = Start(first);
    auto second = Start(Steps(c.sameAcquisition ? run_ : copy_, output, c.format));
    ASSERT_EQ(Ask(*holder, 'o'), 0);
    ASSERT_GE(Ask(*holder, 'b'), 0);
    EXPECT_EQ(Ask(*second, c.refusedStep), c.refusal);
    EXPECT_EQ(Ask(*second, 'c'), 0);
    EXPECT_TRUE(ChildProcess::EndedNormally(second->Finish()));
    EXPECT_EQ(ConvertRest(*holder), 100);
    EXPECT_EQ(Ask(*holder, 'c'), 0);
    EXPECT_TRUE(ChildProcess::EndedNormally(holder->Finish()));
    EXPECT_EQ(FirstDifference(Output(first), reference), "");
    EXPECT_EQ(EntriesBelow(scratch_.Path() / "tmp"), 0) << "temporary files were left";
  }
}

// Two acquisitions into two outputs, block by block in turn, sharing the temporary directory.
TEST_F(SideBySide, ConversionsOfSeparateFilesInterleavedBothComeOutWhole) {
  for (const int32_t format : {TRAVUNE_FMT_UFF58_ASCII, TRAVUNE_FMT_UFF58_BINARY, TRAVUNE_FMT_DIADEM}) {
    SCOPED_TRACE(format);
    const CvtSteps one = Steps(run_, "one.out", format);
    const CvtSteps two = Steps(copy_, "two.out", format);
    const std::string referenceOne = Reference(one);
    const std::string referenceTwo = Reference(two);
    auto first = Start(one);
    auto second = Start(two);
    ASSERT_EQ(Ask(*first, 'o'), 0);
    ASSERT_EQ(Ask(*second, 'o'), 0);
    int32_t percentOne = 0;
    int32_t percentTwo = 0;
    for (int blocks = 0; blocks < kMostBlocks && (percentOne < 100 || percentTwo < 100); ++blocks) {
      if (percentOne < 100) percentOne = Ask(*first, 'b');
      if (percentTwo < 100) percentTwo = Ask(*second, 'b');
      ASSERT_GE(percentOne, 0);
      ASSERT_GE(percentTwo, 0);
    }
    EXPECT_EQ(Ask(*first, 'c'), 0);
    EXPECT_EQ(Ask(*second, 'c'), 0);
    EXPECT_TRUE(ChildProcess::EndedNormally(first->Finish()));
    EXPECT_TRUE(ChildProcess::EndedNormally(second->Finish()));
    EXPECT_EQ(FirstDifference(Output(one), referenceOne), "");
    EXPECT_EQ(FirstDifference(Output(two), referenceTwo), "");
    EXPECT_EQ(EntriesBelow(scratch_.Path() / "tmp"), 0) << "temporary files were left";
  }
}

// A Data File Access session and a conversion of the same acquisition: whichever holds the files
// first keeps them, the other is refused with its own status for a held file, and succeeds once
// the holder lets go.
TEST_F(SideBySide, DataFileAccessAndAConversionOfTheSameAcquisitionExcludeEachOther) {
  struct Case {
    const char* what;
    char hold, release;  // the holder's steps
    char open;           // the other process's step, refused, then granted
    int32_t refusal;
  };
  const Case cases[] = {
      {"a conversion holds the data file", 'r', 'c', 'd', errInvalidFileName},
      {"a session holds both files", 'd', 'x', 'r', TRAVUNE_ERR_DESC_OPEN},
  };
  const int32_t dataBytes = static_cast<int32_t>(fs::file_size(run_[1]));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto holder = Start(Steps(run_, "out.dat", TRAVUNE_FMT_FLOAT32));
    auto other = Start(Steps(run_, "other.dat", TRAVUNE_FMT_FLOAT32));
    const int32_t held = Ask(*holder, c.hold);
    ASSERT_TRUE(held == 0 || held == dataBytes) << held;
    EXPECT_EQ(Ask(*other, c.open), c.refusal);
    EXPECT_EQ(Ask(*holder, c.release), c.release == 'x' ? 1 : 0);
    const int32_t granted = Ask(*other, c.open);
    EXPECT_TRUE(granted == 0 || granted == dataBytes) << granted;
    EXPECT_EQ(Ask(*other, c.open == 'd' ? 'x' : 'c'), c.open == 'd' ? 1 : 0);
    EXPECT_TRUE(ChildProcess::EndedNormally(holder->Finish()));
    EXPECT_TRUE(ChildProcess::EndedNormally(other->Finish()));
  }
}

}  // namespace
}  // namespace travune::testing
