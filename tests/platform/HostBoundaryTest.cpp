// What a host process sees of the library at its boundary: its global locale is never changed,
// exceptions become statuses (even running out of memory), and a path it would have to cut is refused.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>

#include "api/ExportGuard.h"
#include "platform/Platform.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

static_assert(noexcept(cvtReadBinDescFile(nullptr, nullptr, 0)));
static_assert(noexcept(cvtConvertBinData(0)));
static_assert(noexcept(tvnGuessSourceType(nullptr, nullptr, 0)));
static_assert(noexcept(tvnGetChanInfo(0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr)));

// The Celdrin description carries its scaling as decimal text ("0.5"); with the host process in
// a decimal-comma locale the numbers are still read the "C" way, and the host's locale is the
// same afterwards. Under LC_ALL=de_DE.UTF-8 the library's calls run in the user's comma locale
// too, so only values checked against the generator's (not another conversion's) show a misread.
TEST(HostBoundary, ConvertingLeavesTheHostsGlobalLocaleAlone) {
  const testing::ScratchDir scratch;
  const std::string saved = setlocale(LC_ALL, nullptr);
  ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "scripts/install-deps.sh generates de_DE.UTF-8";
  const std::string before = setlocale(LC_ALL, nullptr);
  ASSERT_STREQ(localeconv()->decimal_point, ",");

  const samples::SampleSpec sample = testing::SampleOf(TRAVUNE_SRC_CELDRIN, 300, 20);
  testing::ConversionRequest request;
  request.files = scratch.Sample(sample, "chart");
  request.sourceType = TRAVUNE_SRC_CELDRIN;
  request.format = TRAVUNE_FMT_FLOAT32;
  request.output = scratch.File("chart.f32");
  const int32_t status = request.files.empty() ? -1 : testing::Convert(request);

  EXPECT_EQ(setlocale(LC_ALL, nullptr), before);
  EXPECT_STREQ(localeconv()->decimal_point, ",");
  EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);  // no thread locale left behind
  setlocale(LC_ALL, saved.c_str());

  ASSERT_EQ(status, 0);
  // A scale read as 0 or 5 instead of 0.5 misses the generator's values by far more than the
  // encoding's tolerance.
  const std::string bytes = testing::FileBytes(request.output);
  const samples::PlainValues plain = samples::PlainValuesOf(sample, 0, sample.scans);
  ASSERT_EQ(bytes.size(), 4 * plain.values.size());
  for (size_t i = 0; i < plain.values.size(); ++i) {
    const double expected = plain.values[i];
    const double slack = plain.tolerances[i % static_cast<size_t>(plain.chans)] + std::ldexp(std::fabs(expected), -24);
    ASSERT_LE(std::fabs(le::F32(bytes.data() + 4 * i) - expected), slack) << "value " << i;
  }
}

// The other locale than the user's: the guard must switch to the user's even from there.
locale_t LocaleOtherThanTheUsers() {
  return newlocale(LC_ALL_MASK, platform::UserNumberConventions().decimalMark == ',' ? "C" : "de_DE.UTF-8", nullptr);
}

TEST(ExportGuard, ResultsExceptionsAndTheLocaleOfTheBody) {
  const locale_t other = LocaleOtherThanTheUsers();
  ASSERT_NE(other, nullptr) << "scripts/install-deps.sh generates de_DE.UTF-8";
  const locale_t before = uselocale(other);
  const char otherMark = localeconv()->decimal_point[0];
  ASSERT_NE(otherMark, platform::UserNumberConventions().decimalMark);

  struct Case { const char* what; int32_t (*body)(); int32_t expected; };
  const Case cases[] = {
      {"the body runs in the user's locale",
       [] { return int32_t{localeconv()->decimal_point[0] == platform::UserNumberConventions().decimalMark}; }, 1},
      {"no memory", []() -> int32_t { throw std::bad_alloc(); }, -7},
      {"a standard exception", []() -> int32_t { throw std::runtime_error("broken"); }, -9},
      {"anything else thrown", []() -> int32_t { throw 5; }, -9},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(GuardedCall(-7, -9, c.body), c.expected) << c.what;
    EXPECT_EQ(localeconv()->decimal_point[0], otherMark) << c.what << ": the thread's locale is back";
  }

  uselocale(before);
  freelocale(other);
}

// Bytes of address space the process has mapped.
rlim_t AddressSpaceInUse() {
  std::ifstream statm("/proc/self/statm");
  rlim_t pages = 0;
  statm >> pages;
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// A description far larger than the memory the process may take: reading it in fails for lack
// of memory, and the caller gets a status instead of a dead process. Runs in a child process
// under RLIMIT_AS, so that the limit does not reach the test runner.
TEST(HostBoundary, RunningOutOfMemoryGivesAStatus) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer reserves more address space than RLIMIT_AS allows";
#endif
  const testing::ScratchDir scratch;
  const std::string huge = scratch.File("huge.DSC");
  apitest::Store(huge, std::string());
  std::filesystem::resize_file(huge, uint64_t{8} << 30);  // sparse: takes no disk space

  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Room for 512 MiB more than the process holds now, far less than the description.
    const rlim_t room = AddressSpaceInUse() + (rlim_t{512} << 20);
    const rlimit limit = {room, room};
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(2);
    char why[200] = {};
    const int32_t status = tvnGuessSourceType(huge.c_str(), why, sizeof why);
    _exit(status == -1 ? 0 : 1);
  }
  int wait = 0;
  ASSERT_EQ(waitpid(child, &wait, 0), child);
  ASSERT_TRUE(WIFEXITED(wait)) << "the child died of signal " << (WIFSIGNALED(wait) ? WTERMSIG(wait) : 0);
  EXPECT_EQ(WEXITSTATUS(wait), 0);
}

// A description whose file name is longer than a base name may be is refused with a reason,
// not opened under a cut name.
TEST(HostBoundary, ANameTooLongToSplitIsRefused) {
  const testing::ScratchDir scratch;
  const std::string longName = scratch.File(std::string(200, 'n') + ".DSC");
  apitest::Store(longName, std::string("not a description"));
  char why[300] = {};
  EXPECT_EQ(tvnGuessSourceType(longName.c_str(), why, sizeof why), -1);
  EXPECT_NE(std::strstr(why, "too long"), nullptr) << why;
}

}  // namespace
}  // namespace travune
