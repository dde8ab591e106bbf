// Tests of the support building blocks: String appends, FilePath splitting and its length
// limits, and the text helpers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/FilePath.h"
#include "support/String.h"
#include "support/TextUtil.h"

namespace travune {
namespace {

TEST(StringTest, AppendsTakeCountsAndTheirOwnText) {
  String s("x");
  s.Append("abcdef", 2);
  s.Append("q", 0);
  s.Append(nullptr);
  EXPECT_STREQ(s.c_str(), "xab");
  s.Append(s.c_str());  // the argument lives in the buffer that grows
  EXPECT_STREQ(s.c_str(), "xabxab");
  s.Assign(s.c_str() + 1);
  EXPECT_STREQ(s.c_str(), "abxab");
  const String copy(s);
  s.Data()[0] = 'Z';
  EXPECT_STREQ(copy.c_str(), "abxab");
  String blank;
  blank.Append("");
  EXPECT_TRUE(blank.IsEmpty());
}

TEST(FilePathTest, SplitChangeExtensionAndRefuseTooLongParts) {
  // withBin: after SetExtension(".BIN") and Compose(null).
  const struct { const char *path, *dir, *base, *ext, *withBin; } cases[] = {
      {"/data/run1/test.DSC", "/data/run1/", "test", ".DSC", "/data/run1/test.BIN"},
      {"dir.v2/file", "dir.v2/", "file", "", "dir.v2/file.BIN"},
      {"a/b.c/name.tar.gz", "a/b.c/", "name.tar", ".gz", "a/b.c/name.tar.BIN"},
      {".hidden", "", "", ".hidden", ".BIN"},
      {"", "", "", "", ".BIN"},
  };
  for (const auto& c : cases) {
    FilePath fp;
    EXPECT_STREQ(fp.Compose(c.path), c.path);
    EXPECT_STREQ(fp.Directory(), c.dir) << c.path;
    EXPECT_STREQ(fp.BaseName(), c.base) << c.path;
    EXPECT_STREQ(fp.Extension(), c.ext) << c.path;
    fp.SetExtension(".BIN");  // the point is not doubled
    EXPECT_STREQ(fp.Compose(nullptr), c.withBin) << c.path;
  }
  FilePath own;
  EXPECT_STREQ(own.Compose(own.Compose("a/b.c/d.e")), "a/b.c/d.e");
  EXPECT_STREQ(own.Compose(own.Directory()), "a/b.c/");

  // Each part holds at most its limit − 1 characters; one more and the path is refused whole,
  // with the parts of the last accepted path kept.
  const std::string dir255 = std::string(254, 'd') + "/";
  const std::string base127(127, 'b');
  const std::string ext63 = "." + std::string(62, 'e');
  const struct { const char* what; std::string path; bool accepted; } limits[] = {
      {"every part at its limit", dir255 + base127 + ext63, true},
      {"directory one over", "d" + dir255 + base127 + ext63, false},
      {"base name one over", dir255 + "b" + base127 + ext63, false},
      {"extension one over", dir255 + base127 + ext63 + "e", false},
  };
  for (const auto& c : limits) {
    FilePath fp;
    ASSERT_NE(fp.Compose("/kept/old.dsc"), nullptr);
    const char* full = fp.Compose(c.path.c_str());
    if (c.accepted) {
      ASSERT_NE(full, nullptr) << c.what;
      EXPECT_EQ(full, c.path) << c.what;
    } else {
      EXPECT_EQ(full, nullptr) << c.what;
      EXPECT_STREQ(fp.Compose(nullptr), "/kept/old.dsc") << c.what;
    }
  }
  own.Compose("/d/x.dsc");
  EXPECT_EQ(own.SetExtension(("." + std::string(63, 'e')).c_str()), nullptr);
  EXPECT_STREQ(own.Compose(nullptr), "/d/x.dsc");
}

// BoundedCopy writes nothing past the terminator.
TEST(TextUtilTest, BoundedCopyTrimAndRoundUp) {
  const struct { const char* text; int64_t size; const char* expected; bool whole; } copies[] = {
      {"hello", 5, "hell", false}, {"hello", 6, "hello", true}, {"a", 1, "", false}};
  for (const auto& c : copies) {
    char destination[16];
    std::memset(destination, '#', sizeof destination);
    EXPECT_EQ(BoundedCopy(destination, c.text, c.size), c.whole) << c.text << " " << c.size;
    EXPECT_STREQ(destination, c.expected);
    EXPECT_EQ(destination[std::strlen(c.expected) + 1], '#');
  }
  char untouched[4] = {'#', '#', '#', '\0'};
  EXPECT_FALSE(BoundedCopy(untouched, "abc", 0));
  EXPECT_STREQ(untouched, "###");

  const struct { const char* text; const char* leading; const char* trailing; const char* expected; } trims[] = {
      {" \tkey = 1\r\n", kWhiteSpace, kWhiteSpace, "key = 1"},
      {" \t \r\n", kWhiteSpace, kWhiteSpace, ""},
      {"xxayxy", "x", "y", "ayx"},
      {" a ", nullptr, nullptr, " a "},
  };
  for (const auto& c : trims) {
    char text[32];
    std::strcpy(text, c.text);
    EXPECT_EQ(Trim(text, c.leading, c.trailing), text);
    EXPECT_STREQ(text, c.expected) << "[" << c.text << "]";
  }
  EXPECT_EQ(Trim(nullptr, kWhiteSpace, kWhiteSpace), nullptr);

  const struct { int64_t x, m, expected; } rounds[] = {
      {10, 4, 12}, {12, 4, 12}, {0, 4, 0}, {-3, 4, -3}, {5, 0, 5}, {5, -2, 5},
      {int64_t{1} << 40, 3, (int64_t{1} << 40) + 2},
      {INT64_MAX, 2, INT64_MAX},  // no multiple above it is representable
  };
  for (const auto& c : rounds) EXPECT_EQ(RoundUpToMultiple(c.x, c.m), c.expected) << c.x << " " << c.m;
}

}  // namespace
}  // namespace travune
