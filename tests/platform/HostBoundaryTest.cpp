// What a host process sees of the library at its boundary: its own global locale is never
// changed, exceptions become statuses (even running out of memory), and a path the library
// would have to cut is refused.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/ExportGuard.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune {
namespace {

namespace fs = std::filesystem;

static_assert(noexcept(cvtReadBinDescFile(nullptr, nullptr, 0)));
static_assert(noexcept(cvtConvertBinData(0)));
static_assert(noexcept(tvnGuessSourceType(nullptr, nullptr, 0)));
static_assert(noexcept(tvnGetChanInfo(0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr)));

class HostBoundary : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-host-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path dir_;
};

std::vector<float> ReadFloats(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::vector<float> values(bytes.size() / 4);
  for (size_t i = 0; i < values.size(); ++i) values[i] = le::F32(bytes.data() + 4 * i);
  return values;
}

// Converts the acquisition to raw floats at output through the exported functions; 0 or the
// first negative status.
int32_t ConvertToFloat32(const std::vector<std::string>& files, int32_t type, const std::string& output) {
  int32_t status = cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), type);
  if (status >= 0) status = cvtInitDataFileEx(output.c_str(), output.c_str(), TRAVUNE_FMT_FLOAT32, 0);
  for (int calls = 0; status >= 0 && status < 100 && calls < 100000; ++calls) {
    status = cvtConvertBinData(TRAVUNE_FMT_FLOAT32);
  }
  cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  cvtReleaseResources();
  return status < 0 ? status : 0;
}

// The Celdrin description carries its scaling as decimal text ("0.5"); with the host process in
// a decimal-comma locale the numbers are still read the "C" way, and the host's locale is the
// same afterwards.
TEST_F(HostBoundary, ConvertingLeavesTheHostsGlobalLocaleAlone) {
  const std::string saved = setlocale(LC_ALL, nullptr);
  ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "scripts/install-deps.sh generates de_DE.UTF-8";
  const std::string before = setlocale(LC_ALL, nullptr);
  ASSERT_STREQ(localeconv()->decimal_point, ",");

  samples::SampleSpec request;
  request.type = TRAVUNE_SRC_CELDRIN;
  request.scans = 300;
  request.preTrig = 20;
  std::vector<std::string> files;
  std::string error;
  ASSERT_TRUE(samples::WriteSample(request, (dir_ / "chart").string(), &files, &error)) << error;
  const std::string output = (dir_ / "chart.f32").string();
  const int32_t status = ConvertToFloat32(files, TRAVUNE_SRC_CELDRIN, output);

  EXPECT_EQ(setlocale(LC_ALL, nullptr), before);
  EXPECT_STREQ(localeconv()->decimal_point, ",");
  EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);  // no thread locale left behind
  setlocale(LC_ALL, saved.c_str());

  ASSERT_EQ(status, 0);
  // A scale read as 0 or 5 instead of 0.5 misses the generator's values by far more than the
  // encoding's tolerance.
  const std::vector<float> values = ReadFloats(output);
  const samples::PlainValues plain = samples::PlainValuesOf(request, 0, request.scans);
  ASSERT_EQ(values.size(), plain.values.size());
  int failures = 0;
  for (size_t i = 0; i < values.size() && failures < 5; ++i) {
    const double expected = plain.values[i];
    const double slack = plain.tolerances[i % static_cast<size_t>(plain.chans)] + std::ldexp(std::fabs(expected), -24);
    if (!(std::fabs(values[i] - expected) <= slack)) {
      ++failures;
      ADD_FAILURE() << "value " << i << ": " << values[i] << " instead of " << expected;
    }
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

  EXPECT_EQ(GuardedPointerCall([]() -> char* { throw std::bad_alloc(); }), nullptr);

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
TEST_F(HostBoundary, RunningOutOfMemoryGivesAStatus) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer reserves more address space than RLIMIT_AS allows";
#endif
  const std::string huge = (dir_ / "huge.DSC").string();
  {
    std::ofstream create(huge, std::ios::binary);
  }
  fs::resize_file(huge, uint64_t{8} << 30);  // sparse: takes no disk space

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
TEST_F(HostBoundary, ANameTooLongToSplitIsRefused) {
  const std::string longName = (dir_ / (std::string(200, 'n') + ".DSC")).string();
  {
    std::ofstream create(longName, std::ios::binary);
    create << "not a description";
  }
  char why[300] = {};
  EXPECT_EQ(tvnGuessSourceType(longName.c_str(), why, sizeof why), -1);
  EXPECT_NE(std::strstr(why, "too long"), nullptr) << why;
}

}  // namespace
}  // namespace travune
