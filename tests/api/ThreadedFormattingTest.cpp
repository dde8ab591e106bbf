// Threads on and off through the handle API: the text writers (plain, spreadsheet with and
// without times, UFF text and binary) give the same bytes with TRAVUNE_FLAG_ONE_THREAD as when
// they format on every core, and both equal the exported functions' small single-thread blocks.
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
    const char* ext;
  };
  const Case cases[] = {{TRAVUNE_FMT_TEXT, 0, "txt"},
                        {TRAVUNE_FMT_ASCII, 0, "asc"},
                        {TRAVUNE_FMT_ASCII, TRAVUNE_FLAG_SCAN_TIMES, "asc"},
                        {TRAVUNE_FMT_UFF58_ASCII, 0, "unv"},
                        {TRAVUNE_FMT_UFF58_BINARY, 0, "unv"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(tvnFormatName(c.format, 0)) + " flags " + std::to_string(c.flags));
    const std::string threaded = WithHandles(c.format, c.flags, std::string("threads.") + c.ext);
    EXPECT_GT(threaded.size(), static_cast<size_t>(kScans));
    EXPECT_TRUE(WithHandles(c.format, c.flags | TRAVUNE_FLAG_ONE_THREAD, std::string("one.") + c.ext) == threaded);
    EXPECT_TRUE(InSmallBlocks(c.format, c.flags, std::string("small.") + c.ext) == threaded);
  }
}

}  // namespace
}  // namespace travune::apitest
