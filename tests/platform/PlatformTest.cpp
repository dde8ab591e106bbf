// Tests of the POSIX platform layer: exclusive file locking, positioned I/O, the Windows-style
// file-information record, free space, temp dir and private temp files, locale objects,
// messages, modules, memory checks and the clock.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace travune::platform {
namespace {

// A fresh directory under the temp dir for each test, removed with its files afterwards.
class PlatformFileTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = TempDirectory() + "travune-platform-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern + "/";
  }
  void TearDown() override {
    for (const std::string& name : created_) ::unlink(name.c_str());
    ::rmdir(dir_.c_str());
  }
  std::string PathOf(const char* name) {
    created_.push_back(dir_ + name);
    return created_.back();
  }
  std::string WriteFileWith(const char* name, const std::string& content) {
    const std::string path = PathOf(name);
    File file = File::Create(path.c_str());
    EXPECT_TRUE(file.IsOpen());
    EXPECT_TRUE(file.Write(content.data(), content.size()));
    return path;
  }
  static std::string ReadAll(const std::string& path) {
    File file = File::OpenRead(path.c_str());
    if (!file.IsOpen()) return "<unopened>";
    std::string content(static_cast<size_t>(file.Size()), '\0');
    if (!file.ReadAt(0, content.data(), content.size())) return "<unread>";
    return content;
  }

  std::string dir_;
  std::vector<std::string> created_;
};

TEST_F(PlatformFileTest, SecondOpenOfAHeldFileFails) {
  const std::string path = WriteFileWith("held.bin", "data");
  using Opener = File (*)(const char*);
  const Opener openers[] = {&File::OpenRead, &File::OpenReadWrite, &File::Create};
  for (Opener first : {&File::OpenRead, &File::OpenReadWrite}) {
    File holder = first(path.c_str());
    ASSERT_TRUE(holder.IsOpen());
    for (Opener second : openers) EXPECT_FALSE(second(path.c_str()).IsOpen());
  }
  // Closing releases the lock.
  EXPECT_TRUE(File::OpenRead(path.c_str()).IsOpen());
  EXPECT_EQ(ReadAll(path), "data");
}

TEST_F(PlatformFileTest, CreateOfAHeldFileLeavesItsContent) {
  const std::string path = WriteFileWith("keep.bin", "precious bytes");
  {
    File holder = File::OpenRead(path.c_str());
    ASSERT_TRUE(holder.IsOpen());
    EXPECT_FALSE(File::Create(path.c_str()).IsOpen());
    EXPECT_EQ(holder.Size(), 14);
  }
  EXPECT_EQ(ReadAll(path), "precious bytes");
}

TEST_F(PlatformFileTest, AnotherProcessIsRefusedToo) {
  const std::string path = WriteFileWith("shared.bin", "x");
  File holder = File::OpenRead(path.c_str());
  ASSERT_TRUE(holder.IsOpen());
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(File::OpenRead(path.c_str()).IsOpen() ? 1 : 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(PlatformFileTest, CreateTruncatesAnUnheldFile) {
  const std::string path = WriteFileWith("old.bin", "old content");
  File file = File::Create(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  EXPECT_EQ(file.Size(), 0);
  ASSERT_TRUE(file.Write("new", 3));
  file.Close();
  EXPECT_EQ(ReadAll(path), "new");
}

TEST_F(PlatformFileTest, OpenFailures) {
  EXPECT_FALSE(File::OpenRead(PathOf("missing.bin").c_str()).IsOpen());
  EXPECT_FALSE(File::OpenReadWrite(PathOf("missing.bin").c_str()).IsOpen());
  EXPECT_FALSE(File::OpenRead(dir_.c_str()).IsOpen());
  EXPECT_FALSE(File::Create(dir_.c_str()).IsOpen());
  EXPECT_FALSE(File::Create((dir_ + "no-such-dir/x.bin").c_str()).IsOpen());
  EXPECT_FALSE(File::OpenRead(nullptr).IsOpen());
  const File closed;
  char byte = 0;
  EXPECT_FALSE(closed.ReadAt(0, &byte, 1));
  EXPECT_EQ(closed.Size(), -1);
}

TEST_F(PlatformFileTest, PositionedReads) {
  const std::string path = WriteFileWith("ten.bin", "0123456789");
  File file = File::OpenRead(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  struct Case {
    uint64_t offset;
    size_t n;
    bool ok;
    const char* expected;
  };
  const Case cases[] = {
      {0, 10, true, "0123456789"}, {3, 4, true, "3456"}, {9, 1, true, "9"}, {10, 0, true, ""},
      {8, 3, false, nullptr},      // runs past the end: a short read is a failure
      {10, 1, false, nullptr},     {UINT64_MAX - 1, 4, false, nullptr},
  };
  for (const Case& c : cases) {
    char buffer[16] = {};
    EXPECT_EQ(file.ReadAt(c.offset, buffer, c.n), c.ok) << c.offset << " " << c.n;
    if (c.ok) {
      EXPECT_EQ(std::string(buffer, c.n), c.expected);
    }
  }
}

TEST_F(PlatformFileTest, WritesSeeksAndSequentialReads) {
  const std::string path = PathOf("rw.bin");
  {
    File file = File::Create(path.c_str());
    ASSERT_TRUE(file.IsOpen());
    ASSERT_TRUE(file.Write("abcdef", 6));
    EXPECT_EQ(file.Tell(), 6);
    ASSERT_TRUE(file.WriteAt(2, "XY", 2));
    EXPECT_EQ(file.Tell(), 6);  // positioned writes leave the position alone
    ASSERT_TRUE(file.WriteAt(8, "Z", 1));  // beyond the end: the gap reads as zeros
    EXPECT_EQ(file.Size(), 9);
    ASSERT_TRUE(file.Flush());
  }
  File file = File::OpenReadWrite(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  char buffer[16] = {};
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 9);
  EXPECT_EQ(std::string(buffer, 9), std::string("abXYef\0\0Z", 9));
  EXPECT_EQ(file.Read(buffer, sizeof buffer), 0);
  ASSERT_TRUE(file.Seek(4));
  EXPECT_EQ(file.Read(buffer, 2), 2);
  EXPECT_EQ(std::string(buffer, 2), "ef");
  ASSERT_TRUE(file.Resize(3));
  EXPECT_EQ(file.Size(), 3);

  File moved(std::move(file));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(moved.IsOpen());
  EXPECT_FALSE(File::OpenRead(path.c_str()).IsOpen());  // the moved-to object holds the lock
}

TEST_F(PlatformFileTest, InformationMatchesStat) {
  const std::string path = WriteFileWith("info.bin", "12345");
  // 2 January 2003 00:00:00 UTC is 1041465600 s after 1970; in 100-ns ticks since 1601:
  // (1041465600 + 11644473600) * 10^7 + 1234500 / 100 = 126859392000012345.
  const struct timespec times[2] = {{1041465600, 1234500}, {1041465600, 1234500}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  ASSERT_EQ(link(path.c_str(), PathOf("info-link.bin").c_str()), 0);

  File file = File::OpenRead(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  FileInformation info;
  ASSERT_TRUE(file.GetInformation(&info));
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);

  const uint64_t expectedTicks = 126859392000012345ull;
  EXPECT_EQ(info.attributes, 0x80u);
  EXPECT_EQ(info.sizeHigh, 0u);
  EXPECT_EQ(info.sizeLow, 5u);
  EXPECT_EQ(info.numLinks, 2u);
  EXPECT_EQ((uint64_t{info.indexHigh} << 32) | info.indexLow, static_cast<uint64_t>(st.st_ino));
  EXPECT_EQ(info.lastWriteLow, static_cast<uint32_t>(expectedTicks));
  EXPECT_EQ(info.lastWriteHigh, static_cast<uint32_t>(expectedTicks >> 32));
  EXPECT_EQ(info.lastAccessLow, static_cast<uint32_t>(expectedTicks));
  EXPECT_EQ(info.lastAccessHigh, static_cast<uint32_t>(expectedTicks >> 32));
  // Creation is the birth time (about now) or, where none is recorded, the last write.
  const uint64_t creation = (uint64_t{info.creationHigh} << 32) | info.creationLow;
  const uint64_t nextSecond = (static_cast<uint64_t>(time(nullptr)) + 1 + 11644473600ull) * 10000000ull;
  EXPECT_TRUE(creation == expectedTicks || (creation <= nextSecond && creation + 600ull * 10000000ull > nextSecond))
      << creation;

  // Another file of the same directory lies on the same volume, with another index.
  const std::string other = WriteFileWith("other.bin", "");
  FileInformation otherInfo;
  ASSERT_TRUE(File::OpenRead(other.c_str()).GetInformation(&otherInfo));
  EXPECT_EQ(otherInfo.volumeSerial, info.volumeSerial);
  EXPECT_NE(otherInfo.indexLow, info.indexLow);
}

TEST_F(PlatformFileTest, InformationOfLargeAndReadOnlyFiles) {
  const std::string path = PathOf("big.bin");
  {
    File file = File::Create(path.c_str());
    ASSERT_TRUE(file.IsOpen());
    ASSERT_TRUE(file.Resize((uint64_t{5} << 30) + 7));  // sparse: 5 GiB + 7 bytes
  }
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  File file = File::OpenRead(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  FileInformation info;
  ASSERT_TRUE(file.GetInformation(&info));
  EXPECT_EQ(info.sizeHigh, 1u);
  EXPECT_EQ(info.sizeLow, (1u << 30) + 7u);
  EXPECT_EQ(info.attributes, 0x81u);  // normal and read-only
  EXPECT_EQ(file.Size(), (int64_t{5} << 30) + 7);
  char last = 1;
  EXPECT_TRUE(file.ReadAt((uint64_t{5} << 30) + 6, &last, 1));
  EXPECT_EQ(last, 0);
}

TEST_F(PlatformFileTest, DeleteRenameExists) {
  const std::string from = WriteFileWith("a.bin", "A");
  const std::string to = WriteFileWith("b.bin", "B");
  EXPECT_TRUE(RenameFile(from.c_str(), to.c_str()));
  EXPECT_FALSE(PathExists(from.c_str()));
  EXPECT_EQ(ReadAll(to), "A");
  EXPECT_TRUE(DeleteFile(to.c_str()));
  EXPECT_FALSE(PathExists(to.c_str()));
  EXPECT_FALSE(DeleteFile(to.c_str()));
  EXPECT_TRUE(PathExists(dir_.c_str()));
  EXPECT_FALSE(PathExists(nullptr));
}

TEST_F(PlatformFileTest, FreeDiskBytes) {
  struct statvfs vfs;
  ASSERT_EQ(statvfs(dir_.c_str(), &vfs), 0);
  const uint64_t expected = static_cast<uint64_t>(vfs.f_bavail) * vfs.f_frsize;
  const std::string existing = WriteFileWith("f.bin", "x");
  // The directory itself, an existing file in it, and a file not created yet.
  for (const std::string& path : {dir_, existing, dir_ + "not-yet.bin"}) {
    uint64_t free = 0;
    ASSERT_TRUE(FreeDiskBytes(path.c_str(), &free)) << path;
    EXPECT_NEAR(static_cast<double>(free), static_cast<double>(expected), 64.0 * 1024 * 1024) << path;
  }
  uint64_t free = 0;
  EXPECT_TRUE(FreeDiskBytes("name-without-directory.bin", &free));
  EXPECT_FALSE(FreeDiskBytes((dir_ + "no-such-dir/x.bin").c_str(), &free));
  EXPECT_FALSE(FreeDiskBytes(nullptr, &free));
}

// Sets TMPDIR (null: unsets it) while the object lives.
class TmpDirSetting {
 public:
  explicit TmpDirSetting(const char* value) : had_(getenv("TMPDIR") != nullptr), saved_(had_ ? getenv("TMPDIR") : "") {
    Set(value);
  }
  ~TmpDirSetting() { Set(had_ ? saved_.c_str() : nullptr); }
  TmpDirSetting(const TmpDirSetting&) = delete;
  TmpDirSetting& operator=(const TmpDirSetting&) = delete;
  static void Set(const char* value) {
    if (value != nullptr) {
      setenv("TMPDIR", value, 1);
    } else {
      unsetenv("TMPDIR");
    }
  }

 private:
  bool had_;
  std::string saved_;
};

TEST(PlatformTest, TempDirectoryEndsWithSeparator) {
  struct Case {
    const char* tmpdir;  // null: unset
    const char* expected;
  };
  const Case cases[] = {{nullptr, "/tmp/"}, {"", "/tmp/"}, {"/var/tmp", "/var/tmp/"}, {"/scratch/", "/scratch/"}};
  const TmpDirSetting restore(getenv("TMPDIR"));
  for (const Case& c : cases) {
    TmpDirSetting::Set(c.tmpdir);
    EXPECT_EQ(TempDirectory(), c.expected);
  }
}

TEST_F(PlatformFileTest, PrivateTempDirsAreNewAndOwnerOnly) {
  const TmpDirSetting tmpdir(dir_.c_str());
  const std::string first = MakePrivateTempDir();
  const std::string second = MakePrivateTempDir();
  ASSERT_FALSE(first.empty());
  ASSERT_FALSE(second.empty());
  EXPECT_NE(first, second);
  for (const std::string& made : {first, second}) {
    EXPECT_EQ(made.rfind(dir_ + "travune-", 0), 0u) << made;
    EXPECT_EQ(made.back(), '/') << made;
    struct stat st;
    ASSERT_EQ(lstat(made.c_str(), &st), 0) << made;
    EXPECT_TRUE(S_ISDIR(st.st_mode)) << made;
    EXPECT_EQ(st.st_mode & 07777, 0700u) << made;
    EXPECT_EQ(st.st_uid, getuid()) << made;
  }
  // Only an empty directory is removed.
  const std::string inside = first + "chan000.tmp";
  ASSERT_TRUE(File::CreateExclusive(inside.c_str()).IsOpen());
  EXPECT_FALSE(RemoveDir(first.c_str()));
  ASSERT_TRUE(DeleteFile(inside.c_str()));
  EXPECT_TRUE(RemoveDir(first.c_str()));
  EXPECT_TRUE(RemoveDir(second.c_str()));
  EXPECT_FALSE(PathExists(first.c_str()));
  EXPECT_FALSE(RemoveDir(second.c_str()));
  EXPECT_FALSE(RemoveDir(nullptr));

  TmpDirSetting::Set((dir_ + "no-such-dir").c_str());
  EXPECT_EQ(MakePrivateTempDir(), "");
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
  EXPECT_EQ(ReadAll(target), "keep me");
  EXPECT_EQ(ReadAll(existing), "old");
  EXPECT_FALSE(PathExists(missingTarget.c_str()));
  EXPECT_FALSE(File::CreateExclusive(nullptr).IsOpen());
}

TEST_F(PlatformFileTest, CreateExclusiveMakesAnOwnerOnlyLockedFile) {
  const std::string path = PathOf("fresh.tmp");
  File file = File::CreateExclusive(path.c_str());
  ASSERT_TRUE(file.IsOpen());
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(file.Size(), 0);
  ASSERT_TRUE(file.Write("abc", 3));
  char back[3] = {};
  ASSERT_TRUE(file.ReadAt(0, back, 3));  // opened for reading too
  EXPECT_EQ(std::string(back, 3), "abc");
  EXPECT_FALSE(File::OpenRead(path.c_str()).IsOpen());  // held like every other open
  file.Close();
  EXPECT_EQ(ReadAll(path), "abc");
}

// ---- Locale objects --------------------------------------------------------------------

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

TEST(LocaleObjectsTest, UserConventionsFollowTheEnvironment) {
  // make test runs this under LC_ALL=C and under LC_ALL=de_DE.UTF-8.
  const NumberConventions& conventions = UserNumberConventions();
  EXPECT_EQ(conventions.decimalMark, EnvironmentDecimalMark());
  EXPECT_EQ(conventions.listSeparator, conventions.decimalMark == ',' ? ";" : ",");
  EXPECT_EQ(&UserNumberConventions(), &conventions);  // read once
}

// Scoped locales change the calling thread's locale only, restore it on the way out (nested
// too), and never touch the process's global locale.
TEST(LocaleObjectsTest, ScopedLocalesSwitchTheThreadOnly) {
  const locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", nullptr);
  ASSERT_NE(german, nullptr) << "scripts/install-deps.sh generates de_DE.UTF-8";
  const std::string globalBefore = setlocale(LC_ALL, nullptr);
  const locale_t before = uselocale(german);
  ASSERT_EQ(Printed(2.5), "2,50");
  {
    const ScopedCLocale c;
    EXPECT_EQ(Printed(2.5), "2.50");
    EXPECT_EQ(strtod("0.75", nullptr), 0.75);
    {
      const ScopedUserLocale user;
      EXPECT_EQ(Printed(2.5), std::string("2") + UserNumberConventions().decimalMark + "50");
    }
    EXPECT_EQ(Printed(2.5), "2.50");
  }
  EXPECT_EQ(Printed(2.5), "2,50");
  EXPECT_EQ(strtod("0,75", nullptr), 0.75);
  EXPECT_EQ(uselocale(before), german);
  freelocale(german);
  EXPECT_EQ(setlocale(LC_ALL, nullptr), globalBefore);
}

TEST(PlatformTest, ShowMessageWritesOneLineToStandardError) {
  testing::internal::CaptureStderr();
  ShowMessage("ME'scope", "Could not load the block writer.");
  ShowMessage(nullptr, "no caption");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ME'scope: Could not load the block writer.\nError: no caption\n");
}

TEST(PlatformTest, ModulesAndSymbols) {
  void* math = LoadModule("libm.so.6");
  ASSERT_NE(math, nullptr);
  auto* cosine = reinterpret_cast<double (*)(double)>(FindSymbol(math, "cos"));
  ASSERT_NE(cosine, nullptr);
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_EQ(FindSymbol(math, "no_such_symbol_here"), nullptr);
  FreeModule(math);
  EXPECT_EQ(LoadModule("no-such-module-travune"), nullptr);
  EXPECT_EQ(LoadModule(nullptr), nullptr);
  EXPECT_EQ(FindSymbol(nullptr, "cos"), nullptr);

  // A bare name finds lib<name>.so, as a Windows module name finds its .dll.
  void* direct = dlopen("libBrokenLocale.so", RTLD_NOW);
  if (direct == nullptr) GTEST_SKIP() << "libBrokenLocale.so is not installed";
  dlclose(direct);
  void* bare = LoadModule("BrokenLocale");
  EXPECT_NE(bare, nullptr);
  FreeModule(bare);
}

TEST(PlatformTest, WritableMemory) {
  const long pageSize = sysconf(_SC_PAGESIZE);
  const size_t page = static_cast<size_t>(pageSize);
  auto* pages = static_cast<uint8_t*>(mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(pages, MAP_FAILED);
  for (size_t i = 0; i < 3 * page; ++i) pages[i] = static_cast<uint8_t>(i * 7);
  ASSERT_EQ(mprotect(pages + page, page, PROT_READ), 0);  // second page read-only
  ASSERT_EQ(munmap(pages + 2 * page, page), 0);            // third page gone

  char stack[100];
  for (int i = 0; i < 100; ++i) stack[i] = static_cast<char>(i);
  std::vector<uint8_t> heap(100000);
  for (size_t i = 0; i < heap.size(); ++i) heap[i] = static_cast<uint8_t>(i * 13);
  char* literal = const_cast<char*>("a string literal in read-only data");

  struct Case {
    const char* what;
    void* address;
    size_t size;
    bool expected;
  };
  const Case cases[] = {
      {"stack buffer", stack, sizeof stack, true},
      {"heap buffer across chunks", heap.data(), heap.size(), true},
      {"writable page", pages, page, true},
      {"size 0", stack, 0, true},
      {"string literal", literal, 8, false},
      {"read-only page", pages + page, 16, false},
      {"writable running into read-only", pages + page - 8, 16, false},
      {"unmapped page", pages + 2 * page, 16, false},
      {"null", nullptr, 16, false},
      {"null, size 0", nullptr, 0, false},
      {"wrapping range", stack, SIZE_MAX, false},
  };
  for (const Case& c : cases) EXPECT_EQ(IsWritableMemory(c.address, c.size), c.expected) << c.what;

  // Nothing was changed by the checks.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(stack[i], static_cast<char>(i));
  for (size_t i = 0; i < heap.size(); ++i) ASSERT_EQ(heap[i], static_cast<uint8_t>(i * 13));
  for (size_t i = 0; i < 2 * page; ++i) ASSERT_EQ(pages[i], static_cast<uint8_t>(i * 7));
  EXPECT_STREQ(literal, "a string literal in read-only data");
  munmap(pages, 2 * page);
}

LocalTime FixedTime() { return LocalTime{2024, 2, 29, 23, 59, 58, 999}; }

TEST(PlatformTest, ASetClockReplacesTheSystemClockUntilCleared) {
  SetClock(&FixedTime);
  const LocalTime fixed = CurrentLocalTime();
  SetClock(nullptr);
  EXPECT_EQ(fixed.year, 2024);
  EXPECT_EQ(fixed.month, 2);
  EXPECT_EQ(fixed.day, 29);
  EXPECT_EQ(fixed.hour, 23);
  EXPECT_EQ(fixed.minute, 59);
  EXPECT_EQ(fixed.second, 58);
  EXPECT_EQ(fixed.millisecond, 999);
  // Cleared: the system clock again.
  const time_t now = time(nullptr);
  struct tm fields = {};
  localtime_r(&now, &fields);
  EXPECT_EQ(CurrentLocalTime().year, fields.tm_year + 1900);
}

TEST(PlatformTest, CurrentLocalTimeIsNow) {
  const time_t before = time(nullptr);
  const LocalTime now = CurrentLocalTime();
  const time_t after = time(nullptr);
  struct tm fields = {};
  fields.tm_year = now.year - 1900;
  fields.tm_mon = now.month - 1;
  fields.tm_mday = now.day;
  fields.tm_hour = now.hour;
  fields.tm_min = now.minute;
  fields.tm_sec = now.second;
  fields.tm_isdst = -1;
  const time_t reported = mktime(&fields);
  EXPECT_GE(reported, before);
  EXPECT_LE(reported, after);
  EXPECT_GE(now.millisecond, 0);
  EXPECT_LE(now.millisecond, 999);
}

}  // namespace
}  // namespace travune::platform
