// Conversions in two processes at once, steps interleaved through pipes: a held file is refused to the other
// with its status and left whole; separate conversions, temporary files included, do not disturb each other.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/ChildProcess.h"

namespace travune::apitest {
namespace {

class SideBySide : public ::testing::Test {
 protected:
  CvtSteps Steps(const std::vector<std::string>& acquisition, const std::string& output, int32_t format) const {
    return CvtSteps(acquisition, scratch_.File(output + ".hdr"), scratch_.File(output), format);
  }

  // The header and data file steps write (header first, empty when there is none).
  static std::string Output(const CvtSteps& steps) { return Contents(steps.header) + "|" + Contents(steps.output); }

  // What steps write when nothing else runs, made in this process; the files are removed again.
  static std::string Reference(const CvtSteps& steps) {
    EXPECT_EQ(steps.Whole(), 0);
    const std::string bytes = Output(steps);
    fs::remove(steps.header);
    fs::remove(steps.output);
    return bytes;
  }

  static ChildProcess Start(const CvtSteps& steps) {
    return ChildProcess(nullptr, [copy = steps](char command) mutable { return copy.Run(command); });
  }

  static int32_t Ask(ChildProcess& child, char command) {
    int32_t answer = INT32_MIN;
    EXPECT_TRUE(child.Ask(command, &answer)) << "the child died at command " << command;
    return answer;
  }

  // Converts every remaining block of each child, one block of each in turn.
  static void ConvertRest(std::vector<ChildProcess*> children) {
    for (int round = 0; !children.empty() && round < 10000; ++round) {
      for (auto it = children.begin(); it != children.end();) {
        const int32_t percent = Ask(**it, 'b');
        ASSERT_GE(percent, 0);
        it = percent == 100 ? children.erase(it) : it + 1;
      }
    }
    EXPECT_TRUE(children.empty());
  }

  static void ExpectClosedAndEnded(ChildProcess& child) {
    EXPECT_EQ(Ask(child, 'c'), 0);
    EXPECT_TRUE(ChildProcess::EndedNormally(child.Finish()));
  }

  Scratch scratch_;
  const std::vector<std::string> run_ = scratch_.Sample(SampleOf(TRAVUNE_SRC_MORVANE, 3000), "RUN");
  // Another acquisition with other channels: outputs that mixed their channel files would show.
  const std::vector<std::string> copy_ = scratch_.Sample(SampleOf(TRAVUNE_SRC_MORVANE, 2000, 100, 8), "COPY");
};

// A second conversion while the first runs. Of the same acquisition, or of another one into the
// same output, the file the first holds is refused with the status of its step; of another
// acquisition into another output, sharing the temporary directory, both convert block by block
// in turn. Every output is the one its conversion writes alone.
TEST_F(SideBySide, ASecondConversionIsRefusedAHeldFileOrRunsBesideTheFirst) {
  struct Case {
    const char* what;
    int32_t format;
    bool sameAcquisition, sameOutput;
    char refusedStep;  // 0: none refused
    int32_t refusal;
  };
  const Case cases[] = {
      {"same acquisition: its data file is held", TRAVUNE_FMT_FLOAT32, true, false, 'r', TRAVUNE_ERR_SOURCE},
      {"same data file output", TRAVUNE_FMT_FLOAT32, false, true, 'o', TRAVUNE_ERR_DATA_CREATE},
      {"same header file output", TRAVUNE_FMT_DADISP, false, true, 'o', TRAVUNE_ERR_WRITER},
      {"same UFF output", TRAVUNE_FMT_UFF58_ASCII, false, true, 'o', TRAVUNE_ERR_DATA_CREATE},
      {"separate UFF text outputs", TRAVUNE_FMT_UFF58_ASCII, false, false, 0, 0},
      {"separate UFF binary outputs", TRAVUNE_FMT_UFF58_BINARY, false, false, 0, 0},
      {"separate DIAdem outputs", TRAVUNE_FMT_DIADEM, false, false, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    // Outputs of each case's own, so that no file of an earlier case is counted.
    const std::string name = "case" + std::to_string(&c - cases);
    const CvtSteps one = Steps(run_, name + ".one", c.format);
    const CvtSteps two = Steps(c.sameAcquisition ? run_ : copy_, c.sameOutput ? one.output : name + ".two", c.format);
    const std::string referenceOne = Reference(one);
    const std::string referenceTwo = c.refusedStep == 0 ? Reference(two) : "";
    ChildProcess first = Start(one);
    ChildProcess second = Start(two);
    ASSERT_EQ(Ask(first, 'o'), 0);
    if (c.refusedStep != 0) {
      ASSERT_GE(Ask(first, 'b'), 0);
      EXPECT_EQ(Ask(second, c.refusedStep), c.refusal);
      ExpectClosedAndEnded(second);
      ConvertRest({&first});
    } else {
      ASSERT_EQ(Ask(second, 'o'), 0);
      ConvertRest({&first, &second});
      ExpectClosedAndEnded(second);
      EXPECT_TRUE(Output(two) == referenceTwo);
    }
    ExpectClosedAndEnded(first);
    EXPECT_TRUE(Output(one) == referenceOne);
    EXPECT_EQ(scratch_.TempFilesLeft(), 0) << "temporary files were left";
  }
}

// A Data File Access session and a conversion of the same acquisition: whichever holds the files
// first keeps them, the other is refused with its own status for a held file, and succeeds once
// the holder lets go.
TEST_F(SideBySide, DataFileAccessAndAConversionOfTheSameAcquisitionExcludeEachOther) {
  const int32_t dataBytes = static_cast<int32_t>(fs::file_size(run_[1]));
  ChildProcess conversion = Start(Steps(run_, "out.dat", TRAVUNE_FMT_FLOAT32));
  ChildProcess session = Start(Steps(run_, "other.dat", TRAVUNE_FMT_FLOAT32));
  ASSERT_EQ(Ask(conversion, 'r'), dataBytes);
  EXPECT_EQ(Ask(session, 'd'), errInvalidFileName);  // the conversion holds the data file
  EXPECT_EQ(Ask(conversion, 'c'), 0);
  EXPECT_EQ(Ask(session, 'd'), 0);
  EXPECT_EQ(Ask(conversion, 'r'), TRAVUNE_ERR_DESC_OPEN);  // the session holds both files
  EXPECT_EQ(Ask(session, 'x'), 1);
  EXPECT_EQ(Ask(conversion, 'r'), dataBytes);
  EXPECT_EQ(Ask(conversion, 'c'), 0);
  EXPECT_TRUE(ChildProcess::EndedNormally(conversion.Finish()));
  EXPECT_TRUE(ChildProcess::EndedNormally(session.Finish()));
}

}  // namespace
}  // namespace travune::apitest
