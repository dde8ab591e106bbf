// Every writer (the spreadsheet also with times) gives the same bytes through the handle API on one thread,
// on every core with reads and writes overlapped, and through the exported functions' small blocks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/ApiTestKit.h"

namespace travune::apitest {
namespace {

TEST(ThreadedFormatting, OneThreadEveryCoreAndSmallBlocksGiveTheSameBytes) {
  // Several handle-API blocks at 16 channels, each large enough to be cut into chunks.
  constexpr int64_t kScans = 40000;
  const Scratch scratch;
  const std::vector<std::string> files = scratch.Sample(SampleOf(TRAVUNE_SRC_BRENLOW, kScans, 100, 16), "acq");
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
    CvtSteps steps(files, scratch.File(c.name + ".hdr"), scratch.File(c.name), c.format);
    steps.type = TRAVUNE_SRC_BRENLOW;
    steps.flags = c.flags;
    const auto withHandles = [&](uint32_t flags) {
      tvnConvOptions options = ConvOptions(c.format, steps.output);
      options.flags = flags;
      EXPECT_EQ(ConvertWithHandles(files, TRAVUNE_SRC_BRENLOW, options), TVN_OK);
      return Contents(steps.output);
    };
    const std::string threaded = withHandles(c.flags);
    if (c.format != TRAVUNE_FMT_PERNIX) {
      EXPECT_GT(threaded.size(), static_cast<size_t>(kScans));
    }
    EXPECT_TRUE(withHandles(c.flags | TRAVUNE_FLAG_ONE_THREAD) == threaded);
    // The exported functions in blocks of 4096 bytes.
    EXPECT_EQ(steps.Whole(), 0);
    EXPECT_TRUE(Contents(steps.output) == threaded);
  }
}

}  // namespace
}  // namespace travune::apitest
