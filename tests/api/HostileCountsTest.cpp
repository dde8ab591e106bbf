// Descriptions claiming 2^31 channels, records, text bytes or scans, opened through every entry point in a
// child limited to 1 GiB of address space, so that an allocation sized by a claimed count fails visibly.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/ChildProcess.h"
#include "support/LittleEndian.h"

namespace travune::apitest {
namespace {

using Patch = std::function<void(std::string*)>;

constexpr uint32_t kHugeCount = 0x7FFFFFFFu;

uint8_t* At(std::string* b, size_t offset) { return reinterpret_cast<uint8_t*>(b->data() + offset); }
Patch U32At(size_t offset, uint32_t value) {
  return [=](std::string* b) { le::PutU32(At(b, offset), value); };
}

// Replaces the text after a keyword line up to the line's end, or up to a comma.
Patch KeywordValue(const std::string& keyword, const std::string& value, char end = '\r') {
  return [=](std::string* b) {
    const size_t start = b->find(keyword + "\r\n") + keyword.size() + 2;
    b->replace(start, b->find(end, start) - start, value);
  };
}

// The offset of the Quillon channel count: after the counted application name, three words
// and the counted file kind.
size_t QuillonChannelCountOffset(std::string* b) {
  const size_t kindOffset = 4 + le::U32(At(b, 0)) + 12;
  return kindOffset + 4 + le::U32(At(b, kindOffset));
}

enum class Outcome {
  kRefused,   // the description is not accepted
  kConverts,  // the claim does not matter: the acquisition converts as far as the data goes
  kTooLarge,  // the source counts its programmed scans: no room for the output, or the data runs out
};

struct HostileCase {
  const char* name;
  int type;
  std::vector<Patch> patches;
  Outcome outcome;
};

const HostileCase kCases[] = {
    {"morvane 2^31 channels", 3, {U32At(4, kHugeCount)}, Outcome::kRefused},
    {"morvane 2^32-1 programmed and trigger scans", 3, {U32At(8, 0xFFFFFFFFu), U32At(12, 0xFFFFFFFFu)},
     Outcome::kConverts},
    {"tarquil 65535 channels", 4, {[](std::string* b) { le::PutU16(At(b, 0), 0xFFFF); }}, Outcome::kRefused},
    {"tarquil 2^32-1 programmed scans, 2^31-1 trigger scans", 4, {U32At(2, 0xFFFFFFFFu), U32At(18, kHugeCount)},
     Outcome::kTooLarge},
    // Small enough for the block-writer library to accept, large enough that its block of
    // 5 x 50 million floats and their times would not fit the child's address space.
    {"tarquil 50 million programmed scans", 4, {U32At(2, 50000000u)}, Outcome::kTooLarge},
    {"brenlow 2^31 records", 2, {U32At(16, kHugeCount)}, Outcome::kRefused},
    {"vexmoor 2^31 records", 7, {U32At(16, kHugeCount)}, Outcome::kRefused},
    {"threnix 2^31 records", 8, {U32At(16, kHugeCount)}, Outcome::kRefused},
    {"brenlow 2^31 trigger and programmed scans", 2, {U32At(20, kHugeCount), U32At(24, kHugeCount)},
     Outcome::kConverts},
    {"quillon application name of 2^31 bytes", 5, {U32At(0, kHugeCount)}, Outcome::kRefused},
    {"quillon 32767 channels", 5,
     {[](std::string* b) { le::PutU16(At(b, QuillonChannelCountOffset(b)), 0x7FFF); }}, Outcome::kRefused},
    {"quillon first label of 2^31 bytes", 5,
     {[](std::string* b) { le::PutU32(At(b, QuillonChannelCountOffset(b) + 2 + 4 + 4 + 4 + 8 + 8 + 4 + 4), kHugeCount); }},
     Outcome::kRefused},
    {"celdrin 2^31 trigger and post-stop scans", 6,
     {KeywordValue("*PRETRIG_COUNT", "2147483647"), KeywordValue("*POST_STOP_COUNT", "2147483647")},
     Outcome::kConverts},
    {"celdrin channel at word 2^31", 6, {KeywordValue("*CHANNELS", "2147483647", ',')}, Outcome::kRefused},
};

// One entry point per command, run in the child: a: the handle API's open, h: its conversion,
// m: its conversion into the block-writer library, which keeps the whole conversion in memory,
// r: the exported open, c: their conversion, d: Data File Access's open (which knows the four
// original source types and the Brenlow family as Brenlow).
int32_t OpenOrConvert(char command, const std::vector<std::string>& files, int type, const std::string& out) {
  CvtSteps steps(files, out, out, TRAVUNE_FMT_FLOAT32);
  steps.type = type;
  tvnAcq* acq = nullptr;
  int32_t status = INT32_MIN;
  switch (command) {
    case 'a':
      status = tvnAcqOpen(files[0].c_str(), files[1].c_str(), type, &acq);
      tvnAcqClose(acq);
      break;
    case 'h': return ConvertWithHandles(files, type, ConvOptions(TRAVUNE_FMT_FLOAT32, out));
    case 'm': return ConvertWithHandles(files, type, ConvOptions(TRAVUNE_FMT_MESCOPE, out + ".blk"));
    case 'r':
      status = steps.Read();
      cvtReleaseResources();
      break;
    case 'c': return steps.Whole();
    case 'd':
      status = dfaOpen(files[0].c_str(), type > TRAVUNE_SRC_CELDRIN ? TRAVUNE_SRC_BRENLOW : type);
      if (status >= 0) dfaClose(status);
      break;
  }
  return status;
}

TEST(HostileCounts, ClaimedCountsNeverAllocateBeyondTheFiles) {
  const Scratch scratch;
  for (const HostileCase& c : kCases) {
    SCOPED_TRACE(c.name);
    const std::vector<std::string> files = scratch.Sample(SampleOf(c.type, 40, 4), "acq");
    std::string desc = Contents(files[0]);
    for (const Patch& patch : c.patches) patch(&desc);
    Store(files[0], desc);
    const auto dataBytes = static_cast<int32_t>(fs::file_size(files[1]));
    // Not limited under AddressSanitizer, whose shadow memory alone is larger than the limit.
    ChildProcess child(
        [] {
#ifndef __SANITIZE_ADDRESS__
          const rlimit limit{rlim_t{1} << 30, rlim_t{1} << 30};
          if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(2);
#endif
        },
        [&](char command) { return OpenOrConvert(command, files, c.type, scratch.File("out.f32")); });
    int32_t a[6] = {-100, -100, -100, -100, -100, -100};
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(child.Ask("ahmrcd"[i], &a[i])) << "the child died at " << "ahmrcd"[i];
    EXPECT_TRUE(ChildProcess::EndedNormally(child.Finish()));
    const auto [tvnOpen, tvnConvert, tvnBlockConvert, cvtOpen, cvtConvert, dfaOpened] = a;
    if (c.outcome == Outcome::kRefused) {
      EXPECT_EQ(tvnOpen, TVN_ERR_DESC_INVALID);
      EXPECT_EQ(cvtOpen, TRAVUNE_ERR_DESC_INVALID);
      EXPECT_EQ(dfaOpened, errBadHeaderFormat);
      continue;
    }
    EXPECT_EQ(tvnOpen, TVN_OK);
    EXPECT_EQ(cvtOpen, dataBytes);
    EXPECT_GE(dfaOpened, 0);
    if (c.outcome == Outcome::kConverts) {
      EXPECT_EQ(tvnConvert, TVN_OK);
      EXPECT_EQ(cvtConvert, 0);
    } else {
      // The handle API refuses scans the data file does not hold before sizing anything by them.
      EXPECT_EQ(tvnConvert, TVN_ERR_DATA_READ);
      EXPECT_EQ(tvnBlockConvert, TVN_ERR_DATA_READ);
      EXPECT_TRUE(cvtConvert == TRAVUNE_ERR_DISK_SPACE || cvtConvert == TRAVUNE_ERR_DATA_READ) << cvtConvert;
    }
  }
}

}  // namespace
}  // namespace travune::apitest
