// Tests of the POSIX platform layer: exclusive locks, positioned I/O, the file-information record,
// free space, private temp files and locale objects (modules load in the TgtFmtMEscope tests).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/Platform.h"

namespace travune::platform {
namespace {

// A fresh directory for each test, removed with its files afterwards.
class PlatformFileTest : public testing::Test {
 protected:
  std::string PathOf(const char* name) const { return scratch_.File(name); }
  std::string WriteFileWith(const char* name, const std::string& content) const {
    apitest::Store(scratch_ / name, content);
    return PathOf(name);
  }

  apitest::ScratchDir scratch_;
  const std::string dir_ = scratch_.Root().string() + "/";
};

TEST_F(PlatformFileTest, AHeldFileCanBeOpenedByNoOneElse) {
  const std::string path = WriteFileWith("held.bin", "precious bytes");
  using Opener = File (*)(const char*);
  for (Opener first : {&File::OpenRead, &File::OpenReadWrite}) {
    File holder = first(path.c_str());
    ASSERT_TRUE(holder.IsOpen());
    for (Opener second : {&File::OpenRead, &File::OpenReadWrite, &File::Create}) {
      EXPECT_FALSE(second(path.c_str()).IsOpen());
    }
  }
  EXPECT_EQ(apitest::Contents(path), "precious bytes");  // the refused Create truncated nothing
  File file = File::Create(path.c_str());                // unheld: truncated
  ASSERT_TRUE(file.IsOpen());
  EXPECT_EQ(file.Size(), 0);
  File moved(std::move(file));
  EXPECT_FALSE(File::OpenRead(path.c_str()).IsOpen());  // the moved-to object holds the lock
}

TEST_F(PlatformFileTest, PositionedReadsAndWrites) {
  const std::string path = WriteFileWith("ten.bin", "0123456789");
  File file = File::OpenReadWrite(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  const struct { uint64_t offset; size_t n; bool ok; const char* expected; } cases[] = {
      {3, 4, true, "3456"}, {10, 0, true, ""},
      {8, 3, false, nullptr},  // runs past the end: a short read is a failure
      {UINT64_MAX - 1, 4, false, nullptr},
  };
  for (const auto& c : cases) {
    char buffer[16] = {};
    EXPECT_EQ(file.ReadAt(c.offset, buffer, c.n), c.ok) << c.offset << " " << c.n;
    if (c.ok) {
      EXPECT_EQ(std::string(buffer, c.n), c.expected);
    }
  }
  ASSERT_TRUE(file.Seek(6));
  ASSERT_TRUE(file.WriteAt(2, "XY", 2));
  EXPECT_EQ(file.Tell(), 6);             // positioned writes leave the position alone
  ASSERT_TRUE(file.WriteAt(12, "Z", 1));  // beyond the end: the gap reads as zeros
  char rest[16] = {};
  EXPECT_EQ(file.Read(rest, sizeof rest), 7);
  EXPECT_EQ(std::string(rest, 7), std::string("6789\0\0Z", 7));
  file.Close();
  EXPECT_EQ(apitest::Contents(path).substr(0, 6), "01XY45");

  EXPECT_FALSE(File::OpenRead(PathOf("missing.bin").c_str()).IsOpen());
  EXPECT_FALSE(File::Create(dir_.c_str()).IsOpen());
  EXPECT_FALSE(File::OpenRead(nullptr).IsOpen());
}

// A sparse file of 5 GiB + 7 bytes with a known write time (the UFF header's date): the size
// split at 32 bits and the write time in ticks since 1601.
TEST_F(PlatformFileTest, InformationHasTheSizeAndWriteTime) {
  const std::string path = PathOf("big.bin");
  ASSERT_TRUE(File::Create(path.c_str()).Resize((uint64_t{5} << 30) + 7));
  // 2 January 2003 00:00:00 UTC is 1041465600 s after 1970; in 100-ns ticks since 1601:
  // (1041465600 + 11644473600) * 10^7 + 1234500 / 100 = 126859392000012345.
  const struct timespec times[2] = {{1041465600, 1234500}, {1041465600, 1234500}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  File file = File::OpenRead(path.c_str());
  FileInformation info;
  ASSERT_TRUE(file.GetInformation(&info));
  const uint64_t expectedTicks = 126859392000012345ull;
  EXPECT_EQ(info.sizeHigh, 1u);  // 5 GiB + 7 split at 32 bits
  EXPECT_EQ(info.sizeLow, (1u << 30) + 7u);
  EXPECT_EQ(info.lastWriteLow, static_cast<uint32_t>(expectedTicks));
  EXPECT_EQ(info.lastWriteHigh, static_cast<uint32_t>(expectedTicks >> 32));
  char last = 1;  // offsets beyond 32 bits
  EXPECT_TRUE(file.ReadAt((uint64_t{5} << 30) + 6, &last, 1));
  EXPECT_EQ(last, 0);
}

TEST_F(PlatformFileTest, DeleteAndFreeBytes) {
  const std::string doomed = WriteFileWith("a.bin", "A");
  EXPECT_TRUE(DeleteFile(doomed.c_str()));
  EXPECT_NE(access(doomed.c_str(), F_OK), 0);
  EXPECT_FALSE(DeleteFile(doomed.c_str()));

  struct statvfs vfs;
  ASSERT_EQ(statvfs(dir_.c_str(), &vfs), 0);
  const double expected = static_cast<double>(vfs.f_bavail) * static_cast<double>(vfs.f_frsize);
  uint64_t free = 0;
  ASSERT_TRUE(FreeDiskBytes((dir_ + "not-yet.bin").c_str(), &free));  // judged by its directory
  EXPECT_NEAR(static_cast<double>(free), expected, 64.0 * 1024 * 1024);
  EXPECT_FALSE(FreeDiskBytes((dir_ + "no-such-dir/x.bin").c_str(), &free));
}

// Private temporary directories are new and owner-only, and only an empty one is removed. That
// they lie in TMPDIR, are removed after use and fail where TMPDIR is missing
// UffWriterTest.NoTemporaryFileOutlivesTheWriter checks.
TEST_F(PlatformFileTest, PrivateTempDirsAreNewAndOwnerOnly) {
  const std::string first = MakePrivateTempDir();
  const std::string second = MakePrivateTempDir();
  ASSERT_FALSE(first.empty());
  EXPECT_NE(first, second);
  for (const std::string& made : {first, second}) {
    struct stat st;
    ASSERT_EQ(lstat(made.c_str(), &st), 0) << made;
    EXPECT_TRUE(S_ISDIR(st.st_mode)) << made;
    EXPECT_EQ(st.st_mode & 07777, 0700u) << made;
  }
  const std::string inside = first + "chan000.tmp";
  ASSERT_TRUE(File::CreateExclusive(inside.c_str()).IsOpen());
  EXPECT_FALSE(RemoveDir(first.c_str()));
  ASSERT_TRUE(DeleteFile(inside.c_str()));
  EXPECT_TRUE(RemoveDir(first.c_str()));
  EXPECT_TRUE(RemoveDir(second.c_str()));
}

// A name that already exists, as a file or as a symbolic link (to a file or to nowhere), is
// refused, and what it points to is neither created nor changed.
TEST_F(PlatformFileTest, CreateExclusiveRefusesAnythingAlreadyThere) {
  const std::string target = WriteFileWith("target.bin", "keep me");
  const std::string existing = WriteFileWith("existing.bin", "old");
  const std::string toFile = PathOf("link-to-file.bin");
  const std::string missingTarget = PathOf("not-there.bin");
  const std::string toNowhere = PathOf("link-to-nowhere.bin");
  ASSERT_EQ(symlink(target.c_str(), toFile.c_str()), 0);
  ASSERT_EQ(symlink(missingTarget.c_str(), toNowhere.c_str()), 0);

  for (const std::string& path : {existing, toFile, toNowhere, dir_}) {
    EXPECT_FALSE(File::CreateExclusive(path.c_str()).IsOpen()) << path;
  }
  EXPECT_EQ(apitest::Contents(target), "keep me");
  EXPECT_EQ(apitest::Contents(existing), "old");
  EXPECT_NE(access(missingTarget.c_str(), F_OK), 0);

  const std::string fresh = PathOf("fresh.tmp");
  File file = File::CreateExclusive(fresh.c_str());
  ASSERT_TRUE(file.IsOpen());
  struct stat st;
  ASSERT_EQ(stat(fresh.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_FALSE(File::OpenRead(fresh.c_str()).IsOpen());  // held like every other open
}

// The decimal mark the environment's locale gives, asked through the global locale (not the
// way the platform layer asks), and the global locale put back.
char EnvironmentDecimalMark() {
  const std::string saved = setlocale(LC_ALL, nullptr);
  const char* set = setlocale(LC_NUMERIC, "");
  const char mark = set != nullptr ? localeconv()->decimal_point[0] : '.';
  setlocale(LC_ALL, saved.c_str());
  return mark;
}

std::string Printed(double value) {
  char text[32];
  snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// The user's conventions follow the environment (make test runs under LC_ALL=C and
// LC_ALL=de_DE.UTF-8). The scoped C locale changes the calling thread's locale only, restores
// it on the way out, and never touches the process's global locale; the scoped user's locale
// ExportGuard.ResultsExceptionsAndTheLocaleOfTheBody checks.
TEST(LocaleObjectsTest, UserConventionsAndScopedLocales) {
  const NumberConventions& conventions = UserNumberConventions();
  EXPECT_EQ(conventions.decimalMark, EnvironmentDecimalMark());
  EXPECT_EQ(conventions.listSeparator, conventions.decimalMark == ',' ? ";" : ",");
  const locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", nullptr);
  ASSERT_NE(german, nullptr) << "scripts/install-deps.sh generates de_DE.UTF-8";
  const std::string globalBefore = setlocale(LC_ALL, nullptr);
  const locale_t before = uselocale(german);
  ASSERT_EQ(Printed(2.5), "2,50");
  {
    const ScopedCLocale c;
    EXPECT_EQ(Printed(2.5), "2.50");
    EXPECT_EQ(strtod("0.75", nullptr), 0.75);
  }
  EXPECT_EQ(Printed(2.5), "2,50");
  EXPECT_EQ(strtod("0,75", nullptr), 0.75);
  EXPECT_EQ(uselocale(before), german);
  freelocale(german);
  EXPECT_EQ(setlocale(LC_ALL, nullptr), globalBefore);
}

}  // namespace
}  // namespace travune::platform
