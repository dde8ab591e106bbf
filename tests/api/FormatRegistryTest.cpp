// Format registry queries: rows by id and section, the bounded version text and the
// file-name rules of two formats.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "travune/travune.h"

namespace {

// The result, display name, both extensions, short name and kind ("x" and -7: untouched).
using Described = std::tuple<int32_t, std::string, std::string, std::string, std::string, int32_t>;

Described ById(int32_t id, int32_t flags) {
  char display[64] = "x", ext1[16] = "x", ext2[16] = "x", shortName[16] = "x";
  int32_t kind = -7;
  const int32_t r = cvtGetFormatById(id, flags, display, ext1, ext2, shortName, &kind);
  return {r, display, ext1, ext2, shortName, kind};
}

TEST(FormatRegistry, DescribesRowsOfTheChosenSection) {
  struct Case { int32_t id, flags; Described expected; };
  const Case cases[] = {
      {3, 1, {1, "Morvane Raw Binary", "BIN", "DSC", "bin", 1}},
      {6, 1, {1, "Celdrin Binary", "HXT", "HX$", "", 1}},
      {9, 0, {1, "reserved 1", "F32", "", "Float32", 6}},
      {666, 0, {-1, "x", "x", "x", "x", -7}},
      {9, 1, {-1, "x", "x", "x", "x", -7}},
      // Only bit 0 chooses the section.
      {3, 0x100, {1, "ASCII Text (Spreadsheet)", "TXT", "", "ASCII", 2}},
  };
  for (const Case& c : cases) EXPECT_EQ(ById(c.id, c.flags), c.expected) << c.id << " in section " << c.flags;
  EXPECT_EQ(cvtGetFormatById(3, 1, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
}

TEST(FormatRegistry, VersionTextIsBoundedLikeACopyOfFixedSize) {
  EXPECT_EQ(cvtGetVersion(nullptr, 10), 0x00060502);
  // The bytes as written, '#' where the buffer was untouched.
  const struct { int32_t size; const char* expected; } cases[] = {
      {0, "##########"}, {5, "2.5.6#####"}, {8, "2.5.6\0\0\0##"}};
  for (const auto& c : cases) {
    char buffer[10];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(cvtGetVersion(buffer, c.size), 0x00060502);
    EXPECT_EQ(std::memcmp(buffer, c.expected, sizeof buffer), 0) << c.size;
  }
}

TEST(FormatRegistry, AdjustsFileNamesOnlyInTheLastComponent) {
  const struct { int32_t id; const char* in; const char* out; } cases[] = {
      {5, "/My Data/run #1-a b.dat", "/My Data/run_n1_a_b.dat"},
      {8, "test file.mat", "test_file.mat"},
      {8, "dir with blank/", "dir with blank/"},
      {9, "a b-c#.F32", "a b-c#.F32"},
  };
  for (const auto& c : cases) {
    char buffer[64];
    std::strcpy(buffer, c.in);
    EXPECT_EQ(cvtGetFmtFileName(c.id, buffer), buffer);
    EXPECT_STREQ(buffer, c.out) << c.in;
  }
}

}  // namespace
