// Tests of the support building blocks: String growth and comparison, PtrArray, ByteBuffer,
// FilePath splitting and making, and the text helpers.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/ByteBuffer.h"
#include "support/FilePath.h"
#include "support/PtrArray.h"
#include "support/String.h"
#include "support/TextUtil.h"

#if defined(__SANITIZE_ADDRESS__)
#define TRAVUNE_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TRAVUNE_UNDER_ASAN 1
#endif
#endif

namespace travune {
namespace {

// ---- String ---------------------------------------------------------------------------

TEST(StringTest, StatesAfterConstructionAndReset) {
  struct Case {
    const char* what;
    String value;
    bool empty;
    int32_t capacity;
  };
  String freed("abc");
  freed.Free();
  String assignedNull("abc");
  assignedNull.Assign(nullptr);
  String assignedBlank("abc");
  assignedBlank.Assign("");
  const Case cases[] = {
      {"default", String(), true, 0},
      {"room for 5", String(5), false, 6},
      {"text", String("hello"), false, 6},
      {"null text", String(static_cast<const char*>(nullptr)), true, 0},
      {"freed", std::move(freed), true, 0},
      {"assigned null", std::move(assignedNull), true, 0},
      {"assigned blank", std::move(assignedBlank), false, 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.IsEmpty(), c.empty) << c.what;
    EXPECT_EQ(c.value.Capacity(), c.capacity) << c.what;
  }
}

TEST(StringTest, AppendGrowsToTheExactSize) {
  struct Step {
    const char* text;
    int32_t count;
    const char* expected;
    int32_t capacity;
  };
  struct Case {
    const char* start;  // null: a default-constructed (empty) string
    int32_t room;       // >= 0: start instead with room for that many characters
    std::vector<Step> steps;
  };
  const Case cases[] = {
      {nullptr, -1, {{"abc", -1, "abc", 4}, {"de", -1, "abcde", 6}, {"", -1, "abcde", 6}}},
      // The growth is sized for the whole text even when fewer characters are taken.
      {"x", -1, {{"abcdef", 2, "xab", 8}, {"q", 0, "xab", 8}, {"yz", 5, "xabyz", 8}}},
      {"ab", -1, {{nullptr, -1, "ab", 3}, {"", -1, "ab", 3}, {"c", -1, "abc", 4}}},
      {nullptr, 5, {{"abc", -1, "abc", 6}, {"de", -1, "abcde", 6}, {"f", -1, "abcdef", 7}}},
      {nullptr, -1, {{"", -1, "", 0}, {nullptr, -1, "", 0}}},  // nothing appended: stays empty
  };
  for (const Case& c : cases) {
    String s = c.room >= 0 ? String(c.room) : String(c.start);
    for (const Step& step : c.steps) {
      s.Append(step.text, step.count);
      EXPECT_STREQ(s.c_str(), step.expected) << c.start << " + " << step.text;
      EXPECT_EQ(s.Capacity(), step.capacity) << c.start << " + " << step.text;
    }
  }
}

TEST(StringTest, OwnTextAsArgument) {
  String s("ab");
  s.Append(s.c_str());
  EXPECT_STREQ(s.c_str(), "abab");
  s.Assign(s.c_str() + 1);
  EXPECT_STREQ(s.c_str(), "bab");
  EXPECT_EQ(s.Capacity(), 4);
  const String& same = s;
  s = same;
  EXPECT_STREQ(s.c_str(), "bab");
}

TEST(StringTest, CopiesAreDeep) {
  String original("abc");
  const String copy(original);
  String assigned;
  assigned = original;
  original.Data()[0] = 'X';
  EXPECT_STREQ(copy.c_str(), "abc");
  EXPECT_STREQ(assigned.c_str(), "abc");
  EXPECT_NE(copy.c_str(), original.c_str());

  const String empty;
  const String emptyCopy(empty);
  EXPECT_TRUE(emptyCopy.IsEmpty());
}

TEST(StringTest, CompareN) {
  struct Case {
    const char* string;  // null: empty string
    const char* text;
    int32_t n;
    bool expected;
  };
  const Case cases[] = {
      {"abc", "abc", 0, true},     {"abd", "abc", 0, false},   {nullptr, "abc", 0, false},
      {"abc", "abcdef", 0, true},  // n < 1 compares the string's own characters only
      {"abcdef", "abc", 0, false}, {"abc", "abX", 2, true},    {"abc", "abX", 3, false},
      {"Abc", "abc", 0, false},    {"", "anything", 0, true},  {"abc", nullptr, 0, false},
      {"abc", "abc", -4, true},
  };
  for (const Case& c : cases) {
    const String s(c.string);
    EXPECT_EQ(s.CompareN(c.text, c.n), c.expected) << c.string << " vs " << c.text << " n " << c.n;
  }
}

#if !defined(TRAVUNE_UNDER_ASAN)
// Caps the address space, so that a large allocation really fails, and exits with 0 when the
// string is left empty with the message printed.
[[noreturn]] void AllocateBeyondCappedMemory() {
  const rlimit cap = {512u << 20, 512u << 20};
  setrlimit(RLIMIT_AS, &cap);
  testing::internal::CaptureStdout();
  String s;
  s.Alloc(1 << 30);
  std::fflush(stdout);
  const std::string printed = testing::internal::GetCapturedStdout();
  const bool ok = s.IsEmpty() && s.Capacity() == (1 << 30) && s.Length() == 0 &&
                  printed == "String::Alloc( 1073741824 ) failed.\n";
  std::_Exit(ok ? 0 : 1);
}

TEST(StringTest, FailedAllocationPrintsMessageAndLeavesTextNull) {
  EXPECT_EXIT(AllocateBeyondCappedMemory(), testing::ExitedWithCode(0), "");
}
#endif

// ---- PtrArray, ByteBuffer --------------------------------------------------------------

TEST(PtrArrayTest, AddRemoveAndBounds) {
  int items[4] = {10, 11, 12, 13};
  PtrArray array;
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(array.Add(&items[i]));
  for (int32_t bad : {5, 3, -1}) {
    EXPECT_EQ(array.RemoveAt(bad), nullptr);
    EXPECT_EQ(array.At(bad), nullptr);
  }
  ASSERT_EQ(array.Count(), 3);
  EXPECT_EQ(array.RemoveAt(1), &items[1]);
  ASSERT_EQ(array.Count(), 2);
  EXPECT_EQ(array.At(0), &items[0]);
  EXPECT_EQ(array.At(1), &items[2]);
  EXPECT_EQ(array.RemoveAt(1), &items[2]);
  EXPECT_EQ(array.RemoveAt(0), &items[0]);
  EXPECT_EQ(array.Count(), 0);
  ASSERT_TRUE(array.Add(&items[3]));
  EXPECT_EQ(array.At(0), &items[3]);
}

TEST(ByteBufferTest, SizeReportsAllocation) {
  ByteBuffer buffer(4096);
  ASSERT_NE(buffer.Data(), nullptr);
  EXPECT_EQ(buffer.Size(), 4096u);
  buffer.Data()[4095] = 0x5a;  // the whole block is usable
  const ByteBuffer none(0);
  EXPECT_EQ(none.Size(), 0u);
#if !defined(TRAVUNE_UNDER_ASAN)
  const ByteBuffer huge(SIZE_MAX / 2);
  EXPECT_EQ(huge.Size(), 0u);
  EXPECT_EQ(huge.Data(), nullptr);
#endif
}

// ---- FilePath ----------------------------------------------------------------------------

TEST(FilePathTest, SplitAndChangeExtension) {
  struct Case {
    const char* path;
    const char* dir;
    const char* base;
    const char* ext;
    const char* withBin;  // after SetExtension("BIN") and Compose(null)
  };
  const Case cases[] = {
      {"rel.dsc", "", "rel", ".dsc", "rel.BIN"},
      {"/data/run1/test.DSC", "/data/run1/", "test", ".DSC", "/data/run1/test.BIN"},
      {"dir.v2/file", "dir.v2/", "file", "", "dir.v2/file.BIN"},
      {"a/b.c/name.tar.gz", "a/b.c/", "name.tar", ".gz", "a/b.c/name.tar.BIN"},
      {"/abs", "/", "abs", "", "/abs.BIN"},
      {"dir/", "dir/", "", "", "dir/.BIN"},
      {".hidden", "", "", ".hidden", ".BIN"},
      {"trailing.", "", "trailing", ".", "trailing.BIN"},
      {"", "", "", "", ".BIN"},
  };
  for (const Case& c : cases) {
    FilePath fp;
    EXPECT_STREQ(fp.Compose(c.path), c.path);
    EXPECT_STREQ(fp.Drive(), "");
    EXPECT_STREQ(fp.Directory(), c.dir) << c.path;
    EXPECT_STREQ(fp.BaseName(), c.base) << c.path;
    EXPECT_STREQ(fp.Extension(), c.ext) << c.path;
    EXPECT_STREQ(fp.SetExtension("BIN"), "BIN");
    EXPECT_STREQ(fp.Compose(nullptr), c.withBin) << c.path;
    fp.SetExtension(".BIN");  // an extension that brings its own point
    EXPECT_STREQ(fp.Compose(nullptr), c.withBin) << c.path;
  }
}

TEST(FilePathTest, ChangeBaseNameKeepsTheRest) {
  FilePath fp;
  fp.Compose("/d/x.dsc");
  EXPECT_STREQ(fp.SetBaseName("y"), "y");
  EXPECT_STREQ(fp.SetBaseName(nullptr), "y");
  EXPECT_STREQ(fp.Compose(nullptr), "/d/y.dsc");
}

TEST(FilePathTest, OwnResultAsInput) {
  FilePath fp;
  const char* full = fp.Compose("a/b.c/d.e");
  EXPECT_STREQ(fp.Compose(full), "a/b.c/d.e");
  EXPECT_STREQ(fp.Compose(fp.Directory()), "a/b.c/");
  EXPECT_STREQ(fp.BaseName(), "");
}

// Each part holds at most its limit − 1 characters; one more and the path is refused whole,
// with the parts of the last accepted path kept.
TEST(FilePathTest, APartTooLongIsRefusedNotCut) {
  const std::string dir255 = std::string(254, 'd') + "/";
  const std::string base127(127, 'b');
  const std::string ext63 = "." + std::string(62, 'e');
  struct Case {
    const char* what;
    std::string path;
    bool accepted;
  };
  const Case cases[] = {
      {"every part at its limit", dir255 + base127 + ext63, true},
      {"directory one over", "d" + dir255 + base127 + ext63, false},
      {"base name one over", dir255 + "b" + base127 + ext63, false},
      {"extension one over", dir255 + base127 + ext63 + "e", false},
      {"a long directory of short names", std::string(300, 'x') + "/" + "run.DSC", false},
  };
  for (const Case& c : cases) {
    FilePath fp;
    ASSERT_NE(fp.Compose("/kept/old.dsc"), nullptr);
    const char* full = fp.Compose(c.path.c_str());
    if (c.accepted) {
      ASSERT_NE(full, nullptr) << c.what;
      EXPECT_EQ(full, c.path) << c.what;
      EXPECT_EQ(std::strlen(full), size_t{255 + 127 + 63}) << c.what;
    } else {
      EXPECT_EQ(full, nullptr) << c.what;
      EXPECT_STREQ(fp.Directory(), "/kept/") << c.what;
      EXPECT_STREQ(fp.BaseName(), "old") << c.what;
      EXPECT_STREQ(fp.Extension(), ".dsc") << c.what;
      EXPECT_STREQ(fp.Compose(nullptr), "/kept/old.dsc") << c.what;
    }
  }
}

TEST(FilePathTest, SettingAPartTooLongIsRefused) {
  FilePath fp;
  fp.Compose("/d/x.dsc");
  EXPECT_EQ(fp.SetBaseName(std::string(128, 'n').c_str()), nullptr);
  EXPECT_EQ(fp.SetExtension(("." + std::string(63, 'e')).c_str()), nullptr);
  EXPECT_STREQ(fp.Compose(nullptr), "/d/x.dsc");
  EXPECT_STREQ(fp.SetBaseName(std::string(127, 'n').c_str()), std::string(127, 'n').c_str());
  EXPECT_STREQ(fp.Compose(nullptr), ("/d/" + std::string(127, 'n') + ".dsc").c_str());
}

// ---- Text helpers --------------------------------------------------------------------------

TEST(TextUtilTest, BoundedCopy) {
  struct Case {
    const char* text;
    int64_t size;
    const char* expected;
    bool whole;
  };
  const Case cases[] = {
      {"hello", 5, "hell", false}, {"hello", 6, "hello", true}, {"hello", 100, "hello", true},
      {"", 1, "", true},           {"a", 1, "", false},
  };
  for (const Case& c : cases) {
    char destination[16];
    std::memset(destination, '#', sizeof destination);
    EXPECT_EQ(BoundedCopy(destination, c.text, c.size), c.whole) << c.text << " " << c.size;
    EXPECT_STREQ(destination, c.expected);
    const size_t written = std::strlen(c.expected) + 1;
    EXPECT_EQ(destination[written], '#');  // nothing beyond the terminator
  }
  char untouched[4] = {'#', '#', '#', '\0'};
  EXPECT_FALSE(BoundedCopy(untouched, "abc", 0));
  EXPECT_STREQ(untouched, "###");
}

TEST(TextUtilTest, Trim) {
  struct Case {
    const char* text;
    const char* leading;
    const char* trailing;
    const char* expected;
  };
  const Case cases[] = {
      {" \tkey = 1\r\n", kWhiteSpace, kWhiteSpace, "key = 1"},
      {" \t \r\n", kWhiteSpace, kWhiteSpace, ""},
      {"", kWhiteSpace, kWhiteSpace, ""},
      {"plain", kWhiteSpace, kWhiteSpace, "plain"},
      {"xxayxy", "x", "y", "ayx"},
      {"  a  ", " ", "", "a  "},
      {"  a  ", "", " ", "  a"},
      {" a ", nullptr, nullptr, " a "},
  };
  for (const Case& c : cases) {
    char text[32];
    std::strcpy(text, c.text);
    EXPECT_EQ(Trim(text, c.leading, c.trailing), text);
    EXPECT_STREQ(text, c.expected) << "[" << c.text << "]";
  }
  EXPECT_EQ(Trim(nullptr, kWhiteSpace, kWhiteSpace), nullptr);
}

TEST(TextUtilTest, RoundUpToMultiple) {
  struct Case {
    int64_t x, m, expected;
  };
  const Case cases[] = {
      {10, 4, 12},  {12, 4, 12}, {0, 4, 0},   {1, 4, 4},   {13, 1, 13},
      {-3, 4, -3},  {-8, 4, -8}, {5, 0, 5},   {5, -2, 5},  {4097, 4096, 8192},
      {int64_t{1} << 40, 3, (int64_t{1} << 40) + 2},
      {INT64_MAX, 2, INT64_MAX},  // no multiple above it is representable
  };
  for (const Case& c : cases) EXPECT_EQ(RoundUpToMultiple(c.x, c.m), c.expected) << c.x << " " << c.m;
}

}  // namespace
}  // namespace travune
