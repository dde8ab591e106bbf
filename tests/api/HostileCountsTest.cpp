// Descriptions that claim 2^31 channels, records, text bytes, scans or trigger scans, opened
// through every entry point in a child process whose address space is limited to 1 GiB, so that
// an allocation sized by a claimed count fails the child instead of passing unseen.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "samples/Samples.h"
#include "travune/travune.h"

#if defined(__SANITIZE_ADDRESS__)
#define TRAVUNE_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TRAVUNE_TEST_ASAN 1
#endif
#endif

namespace travune {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;
using Patch = std::function<void(Bytes*)>;

constexpr uint32_t kHugeCount = 0x7FFFFFFFu;
constexpr rlim_t kAddressSpaceLimit = rlim_t{1} << 30;

void PutU32(Bytes* b, size_t offset, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) (*b)[offset + i] = static_cast<uint8_t>(value >> (8 * i));
}
void PutU16(Bytes* b, size_t offset, uint16_t value) {
  (*b)[offset] = static_cast<uint8_t>(value);
  (*b)[offset + 1] = static_cast<uint8_t>(value >> 8);
}
uint32_t GetU32(const Bytes& b, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value |= static_cast<uint32_t>(b[offset + i]) << (8 * i);
  return value;
}

// Replaces the line after a keyword line of a keyword text.
Patch KeywordValue(const std::string& keyword, const std::string& value) {
  return [=](Bytes* b) {
    std::string text(b->begin(), b->end());
    const size_t start = text.find(keyword + "\r\n") + keyword.size() + 2;
    text.replace(start, text.find("\r\n", start) - start, value);
    b->assign(text.begin(), text.end());
  };
}

// The offset of the Quillon channel count: after the counted application name, three words
// and the counted file kind.
size_t QuillonChannelCountOffset(const Bytes& b) {
  const size_t kindOffset = 4 + GetU32(b, 0) + 12;
  return kindOffset + 4 + GetU32(b, kindOffset);
}

enum class Outcome {
  kRefused,   // the description is not accepted
  kConverts,  // the claim does not matter: the acquisition converts as far as the data goes
  kTooLarge,  // the source counts its programmed scans: no room for the output, or the data runs out
};

struct HostileCase {
  const char* name;
  int type;
  Patch patch;
  Outcome outcome;
};

const HostileCase kCases[] = {
    {"morvane 2^31 channels", 3, [](Bytes* b) { PutU32(b, 4, kHugeCount); }, Outcome::kRefused},
    {"morvane 2^32-1 programmed and trigger scans", 3,
     [](Bytes* b) {
       PutU32(b, 8, 0xFFFFFFFFu);
       PutU32(b, 12, 0xFFFFFFFFu);
     },
     Outcome::kConverts},
    {"tarquil 65535 channels", 4, [](Bytes* b) { PutU16(b, 0, 0xFFFF); }, Outcome::kRefused},
    {"tarquil 2^32-1 programmed scans, 2^31-1 trigger scans", 4,
     [](Bytes* b) {
       PutU32(b, 2, 0xFFFFFFFFu);
       PutU32(b, 18, kHugeCount);
     },
     Outcome::kTooLarge},
    {"brenlow 2^31 records", 2, [](Bytes* b) { PutU32(b, 16, kHugeCount); }, Outcome::kRefused},
    {"vexmoor 2^31 records", 7, [](Bytes* b) { PutU32(b, 16, kHugeCount); }, Outcome::kRefused},
    {"threnix 2^31 records", 8, [](Bytes* b) { PutU32(b, 16, kHugeCount); }, Outcome::kRefused},
    {"brenlow 2^31 trigger and programmed scans", 2,
     [](Bytes* b) {
       PutU32(b, 20, kHugeCount);
       PutU32(b, 24, kHugeCount);
     },
     Outcome::kConverts},
    {"quillon application name of 2^31 bytes", 5, [](Bytes* b) { PutU32(b, 0, kHugeCount); }, Outcome::kRefused},
    {"quillon 32767 channels", 5, [](Bytes* b) { PutU16(b, QuillonChannelCountOffset(*b), 0x7FFF); }, Outcome::kRefused},
    {"quillon first label of 2^31 bytes", 5,
     [](Bytes* b) { PutU32(b, QuillonChannelCountOffset(*b) + 2 + 4 + 4 + 4 + 8 + 8 + 4 + 4, kHugeCount); }, Outcome::kRefused},
    {"celdrin 2^31 trigger and post-stop scans", 6,
     [](Bytes* b) {
       KeywordValue("*PRETRIG_COUNT", "2147483647")(b);
       KeywordValue("*POST_STOP_COUNT", "2147483647")(b);
     },
     Outcome::kConverts},
    {"celdrin channel at word 2^31", 6,
     [](Bytes* b) {
       std::string text(b->begin(), b->end());
       const size_t line = text.find("*CHANNELS\r\n") + 11;
       text.replace(line, text.find(',', line) - line, "2147483647");
       b->assign(text.begin(), text.end());
     },
     Outcome::kRefused},
};

// What every entry point answered in the child.
struct Answers {
  int32_t tvnOpen = -100;
  int32_t tvnConvert = -100;
  int32_t cvtOpen = -100;
  int32_t cvtConvert = -100;
  int32_t dfaOpen = -100;
};

int32_t ConvertWithHandles(const std::string& desc, const std::string& data, int type, const std::string& out,
                           int32_t* openStatus) {
  tvnAcq* acq = nullptr;
  *openStatus = tvnAcqOpen(desc.c_str(), data.c_str(), type, &acq);
  if (*openStatus != TVN_OK) return -100;
  tvnConvOptions options{};
  options.format = TRAVUNE_FMT_FLOAT32;
  options.dataName = out.c_str();
  options.count = -1;
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  if (status == TVN_OK) status = tvnConvRun(conv, nullptr, nullptr);
  if (status == TVN_OK) status = tvnConvFinish(conv);
  tvnConvClose(conv);
  tvnAcqClose(acq);
  return status;
}

int32_t ConvertWithExports(const std::string& desc, const std::string& data, int type, const std::string& out,
                           int32_t* openStatus) {
  *openStatus = cvtReadBinDescFile(desc.c_str(), data.c_str(), type);
  int32_t status = -100;
  if (*openStatus >= 0 && (status = cvtInitDataFile(nullptr, out.c_str(), TRAVUNE_FMT_FLOAT32)) == 0) {
    while ((status = cvtConvertBinData(TRAVUNE_FMT_FLOAT32)) >= 0 && status < 100) {
    }
    if (status == 100) status = cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  }
  cvtReleaseResources();
  return status;
}

// Data File Access knows the four original source types and the Brenlow family as Brenlow.
int32_t DfaType(int type) { return type > TRAVUNE_SRC_CELDRIN ? TRAVUNE_SRC_BRENLOW : type; }

Answers OpenEverywhere(const std::string& desc, const std::string& data, int type, const std::string& out) {
  Answers a;
  a.tvnConvert = ConvertWithHandles(desc, data, type, out, &a.tvnOpen);
  a.cvtConvert = ConvertWithExports(desc, data, type, out, &a.cvtOpen);
  a.dfaOpen = dfaOpen(desc.c_str(), DfaType(type));
  if (a.dfaOpen >= 0) dfaClose(a.dfaOpen);
  return a;
}

// Runs OpenEverywhere in a child limited to 1 GiB of address space (not under AddressSanitizer,
// whose shadow memory alone is larger); false when the child did not finish normally.
bool AnswersOfChild(const std::string& desc, const std::string& data, int type, const std::string& out,
                    Answers* answers) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    close(pipeEnds[0]);
#ifndef TRAVUNE_TEST_ASAN
    const rlimit limit{kAddressSpaceLimit, kAddressSpaceLimit};
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(2);
#endif
    const Answers a = OpenEverywhere(desc, data, type, out);
    const bool sent = write(pipeEnds[1], &a, sizeof a) == static_cast<ssize_t>(sizeof a);
    _exit(sent ? 0 : 3);
  }
  close(pipeEnds[1]);
  const bool received = child > 0 && read(pipeEnds[0], answers, sizeof *answers) == static_cast<ssize_t>(sizeof *answers);
  close(pipeEnds[0]);
  int status = 0;
  const bool exited = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return received && exited;
}

Bytes ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), {});
}

void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(bytes.data()),
                                                                 static_cast<std::streamsize>(bytes.size()));
}

TEST(HostileCounts, ClaimedCountsNeverAllocateBeyondTheFiles) {
  const fs::path dir = fs::temp_directory_path() / ("travune-hostile-" + std::to_string(getpid()));
  fs::create_directories(dir);
  for (const HostileCase& c : kCases) {
    SCOPED_TRACE(c.name);
    const samples::SampleSpec sample{c.type, 40, 4};
    std::vector<std::string> files;
    std::string error;
    ASSERT_TRUE(samples::WriteSample(sample, (dir / "acq").string(), &files, &error)) << error;
    Bytes desc = ReadBytes(files[0]);
    c.patch(&desc);
    WriteBytes(files[0], desc);
    const int64_t dataBytes = static_cast<int64_t>(fs::file_size(files[1]));

    Answers a;
    ASSERT_TRUE(AnswersOfChild(files[0], files[1], c.type, (dir / "out.f32").string(), &a));
    if (c.outcome == Outcome::kRefused) {
      EXPECT_EQ(a.tvnOpen, TVN_ERR_DESC_INVALID);
      EXPECT_EQ(a.cvtOpen, TRAVUNE_ERR_DESC_INVALID);
      EXPECT_EQ(a.dfaOpen, errBadHeaderFormat);
      continue;
    }
    EXPECT_EQ(a.tvnOpen, TVN_OK);
    EXPECT_EQ(a.cvtOpen, dataBytes);
    EXPECT_GE(a.dfaOpen, 0);
    if (c.outcome == Outcome::kConverts) {
      EXPECT_EQ(a.tvnConvert, TVN_OK);
      EXPECT_EQ(a.cvtConvert, 0);
    } else {
      EXPECT_TRUE(a.tvnConvert == TVN_ERR_DISK_SPACE || a.tvnConvert == TVN_ERR_DATA_READ) << a.tvnConvert;
      EXPECT_TRUE(a.cvtConvert == TRAVUNE_ERR_DISK_SPACE || a.cvtConvert == TRAVUNE_ERR_DATA_READ) << a.cvtConvert;
    }
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace travune
