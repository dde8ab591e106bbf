// The free-space check, with the free bytes the platform reports set by the test: a conversion
// needing more than is free is refused with -1000 (TVN_ERR_DISK_SPACE in the handle API) before
// any output file is touched; one byte more than it needs is enough.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/FaultInjection.h"

namespace travune::apitest {
namespace {

constexpr int64_t kScans = 1000;

class FreeSpace : public ::testing::Test {
 protected:
  void TearDown() override { platform::ClearFreeBytes(); }

  // Opens a conversion with freeBytes free and closes it again; the open's status.
  int32_t OpenWith(uint64_t freeBytes, int32_t format) {
    const CvtSteps steps(input_, scratch_.File("fmt.hdr"), output_, format);
    EXPECT_GE(steps.Read(), 0);
    platform::SetFreeBytes(freeBytes);
    const int32_t opened = steps.Init();
    platform::ClearFreeBytes();
    steps.Close();
    return opened;
  }

  Scratch scratch_;
  const samples::SampleSpec sample_ = SampleOf(TRAVUNE_SRC_MORVANE, kScans);
  const std::vector<std::string> input_ = scratch_.Sample(sample_, "RUN");
  const std::string output_ = scratch_.File("out.dat");
};

TEST_F(FreeSpace, AConversionNeedingMoreThanIsFreeIsRefusedAndTouchesNoFile) {
  const int entries = EntriesBelow(scratch_.Root()) + 1;  // the earlier output below
  for (const NamedFormat& format : kEveryFormat) {
    SCOPED_TRACE(format.name);
    Store(output_, std::string("an earlier file"));
    EXPECT_EQ(OpenWith(0, format.id), TRAVUNE_ERR_DISK_SPACE);
    EXPECT_EQ(Contents(output_), "an earlier file");
    EXPECT_EQ(EntriesBelow(scratch_.Root()), entries) << "an output file was created beside the acquisition";
  }
  // Raw floats need four bytes per value: every scan of every channel; one byte more is enough.
  const uint64_t needed = static_cast<uint64_t>(kScans) * 4u * static_cast<uint64_t>(samples::NumChannels(sample_));
  EXPECT_EQ(OpenWith(needed, TRAVUNE_FMT_FLOAT32), TRAVUNE_ERR_DISK_SPACE);
  EXPECT_EQ(Contents(output_), "an earlier file");
  EXPECT_EQ(OpenWith(needed + 1, TRAVUNE_FMT_FLOAT32), 0);

  // The handle API sizes its conversion itself.
  fs::remove(output_);
  platform::SetFreeBytes(0);
  EXPECT_EQ(ConvertWithHandles(input_, TRAVUNE_SRC_MORVANE, ConvOptions(TRAVUNE_FMT_FLOAT32, output_)),
            TVN_ERR_DISK_SPACE);
  EXPECT_FALSE(fs::exists(output_));
}

}  // namespace
}  // namespace travune::apitest
