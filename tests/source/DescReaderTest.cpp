// Tests of the description-image cursor: line ends, zero bytes, fields, bounded reads at the
// end of an unterminated image and overlong lines and fields cut without overflow.
#include "source/DescReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace travune {
namespace {

// An exactly sized copy of text, so that any read past the end leaves the allocation.
std::vector<uint8_t> Image(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

std::vector<std::string> AllLines(DescReader& reader) {
  std::vector<std::string> lines;
  char buf[64];
  while (!reader.AtEnd()) {
    reader.ReadLine(buf, sizeof(buf));
    lines.emplace_back(buf);
  }
  return lines;
}

TEST(DescReaderTest, ReadLineSplitsOnEveryLineEnd) {
  struct Case { const char* name; std::string text; std::vector<std::string> lines; };
  const Case cases[] = {
      {"LFCR", "a\n\rbb\n\rc", {"a", "bb", "c"}},
      {"CR", "a\rbb\rc\r", {"a", "bb", "c"}},
      {"CRLF then LF", "a\r\n\nb", {"a", "", "b"}},
      {"zero byte ends a line", std::string("ab\0cd", 5), {"ab", "cd"}},
  };
  for (const Case& c : cases) {
    const std::vector<uint8_t> image = Image(c.text);
    DescReader reader(image.data(), image.size());
    EXPECT_EQ(AllLines(reader), c.lines) << c.name;
  }
}

TEST(DescReaderTest, ReadTokenStopsAtSeparatorOrLineEnd) {
  struct Case {
    const char* separator;
    std::string text;
    std::vector<std::string> fields;  // read up to the line end
    std::string nextLine;
  };
  const Case cases[] = {
      {",", "x,yy,,z\nw", {"x", "yy", "", "z"}, "w"},
      {";", "1,5;2,5\r\nnext", {"1,5", "2,5"}, "next"},
      {",", "a,b,", {"a", "b"}, ""},
  };
  for (const Case& c : cases) {
    const std::vector<uint8_t> image = Image(c.text);
    DescReader reader(image.data(), image.size());
    reader.SetSeparator(c.separator);
    std::vector<std::string> fields;
    char buf[32];
    while (!reader.AtLineEnd()) {
      reader.ReadToken(buf, sizeof(buf));
      fields.emplace_back(buf);
    }
    EXPECT_EQ(fields, c.fields) << c.text;
    // The line end is left for the line reader: the next field read there is empty.
    EXPECT_EQ(reader.ReadToken(buf, sizeof(buf)), 0u) << c.text;
    reader.SkipLineEnd();
    reader.ReadLine(buf, sizeof(buf));
    EXPECT_EQ(std::string(buf), c.nextLine) << c.text;
  }
}

TEST(DescReaderTest, ReadsStayWithinTheImage) {
  const std::vector<uint8_t> image = {1, 2, 3, 4, 5};
  DescReader reader(image.data(), image.size());
  uint8_t dst[8] = {};
  EXPECT_EQ(reader.Seek(3), 3u);
  EXPECT_EQ(reader.Read(dst, sizeof(dst)), 2u);
  EXPECT_EQ(dst[0], 4);
  EXPECT_EQ(dst[1], 5);
  char line[8] = "junk";
  EXPECT_EQ(reader.ReadLine(line, sizeof(line)), 0u);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(reader.Seek(1000), 5u);
  EXPECT_EQ(reader.SeekRel(-100), 0u);

  uint32_t word = 0;
  reader.Seek(2);
  EXPECT_FALSE(reader.ReadU32(&word));  // three bytes left
  reader.Seek(1);
  ASSERT_TRUE(reader.ReadU32(&word));
  EXPECT_EQ(word, 0x05040302u);
}

// A line or field longer than the buffer is cut to the buffer, the bytes behind the buffer
// stay untouched, and reading goes on at the next line.
TEST(DescReaderTest, OverlongLinesAndFieldsAreCut) {
  struct Case { bool token; size_t length; size_t bufSize; };
  const Case cases[] = {{false, 5000, 4096}, {true, 300, 128}, {true, 127, 128}};
  for (const Case& c : cases) {
    const std::vector<uint8_t> image = Image(std::string(c.length, 'x') + "\r\nnext");
    DescReader reader(image.data(), image.size());
    std::vector<char> buf(c.bufSize + 16, '#');
    const size_t length = c.token ? reader.ReadToken(buf.data(), c.bufSize) : reader.ReadLine(buf.data(), c.bufSize);
    EXPECT_EQ(length, c.length);
    const size_t kept = c.length < c.bufSize ? c.length : c.bufSize - 1;
    EXPECT_EQ(std::string(buf.data()), std::string(kept, 'x'));
    for (size_t i = c.bufSize; i < buf.size(); ++i) ASSERT_EQ(buf[i], '#') << "overflow at " << i;
    if (c.token) reader.SkipLineEnd();
    char next[8];
    reader.ReadLine(next, sizeof(next));
    EXPECT_STREQ(next, "next");
  }
}

}  // namespace
}  // namespace travune
