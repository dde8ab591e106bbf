// Threads on and off through the handle API: every writer (the spreadsheet also with times) gives
// the same bytes with TRAVUNE_FLAG_ONE_THREAD as when text is formatted on every core and reads
// and writes overlap the formatting, and both equal the exported functions' small blocks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/ApiTestKit.h"

namespace travune::apitest {
namespace {

// Several handle-API blocks at 16 channels, each large enough to be cut into chunks.
constexpr int64_t kScans = 40000;

class ThreadedFormatting : public ::testing::Test {
 protected:
  std::string WithHandles(int32_t format, uint32_t flags, const std::string& name) const {
    const std::string data = scratch_.File(name);
    tvnConvOptions options = ConvOptions(format, data);
    options.flags = flags;
    EXPECT_EQ(ConvertWithHandles(files_, TRAVUNE_SRC_BRENLOW, options), TVN_OK);
    return Contents(data);
  }

  // The exported functions in blocks of 4096 bytes.
  std::string InSmallBlocks(int32_t format, uint32_t flags, const std::string& name) const {
    CvtSteps steps(files_, scratch_.File(name + ".hdr"), scratch_.File(name), format);
    steps.type = TRAVUNE_SRC_BRENLOW;
    steps.flags = flags;
    EXPECT_EQ(steps.Whole(), 0);
    return Contents(steps.output);
  }

  Scratch scratch_;
  const std::vector<std::string> files_ = scratch_.Sample(SampleOf(TRAVUNE_SRC_BRENLOW, kScans, 100, 16), "acq");
};

TEST_F(ThreadedFormatting, OneThreadEveryCoreAndSmallBlocksGiveTheSameBytes) {
  struct Case {
    int32_t format;
    uint32_t flags;
    std::string name;
  };
  std::vector<Case> cases = {{TRAVUNE_FMT_ASCII, TRAVUNE_FLAG_SCAN_TIMES, "AsciiTimes"}};
  for (const NamedFormat& f : kEveryFormat) cases.push_back({f.id, 0, f.name});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // One output name for the three runs: the ME'scope file holds its own name.
    const std::string threaded = WithHandles(c.format, c.flags, c.name);
    if (c.format != TRAVUNE_FMT_PERNIX) {
      EXPECT_GT(threaded.size(), static_cast<size_t>(kScans));
    }
    EXPECT_TRUE(WithHandles(c.format, c.flags | TRAVUNE_FLAG_ONE_THREAD, c.name) == threaded);
    EXPECT_TRUE(InSmallBlocks(c.format, c.flags, c.name) == threaded);
  }
}

}  // namespace
}  // namespace travune::apitest
