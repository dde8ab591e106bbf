// Tests of the description-image cursor (line ends, zero bytes, fields, bounded reads, overlong
// lines and fields cut without overflow) and of the keyword description format read with it:
// keywords in any case and with any line end, the channel count, the list separator after
// "*VERSION", invalid headers and channel lines.
#include "source/DescReader.h"
#include "source/KeywordDesc.h"

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


std::string JoinLines(const std::vector<std::string>& lines, const std::string& lineEnd) {
  std::string text;
  for (const std::string& line : lines) text += line + lineEnd;
  return text;
}

struct Parsed {
  bool valid = false;
  KeywordHeader header;
  std::vector<KeywordChannel> channels;
  bool foundChannels = false;
};

// Parses the header, then, from the start again with the separator the header left, the
// channel lines.
Parsed ParseAll(const std::string& text, const char* listSeparator) {
  const std::vector<uint8_t> image = Image(text);
  DescReader reader(image.data(), image.size());
  Parsed parsed;
  parsed.valid = ParseKeywordHeader(reader, &parsed.header, listSeparator);
  reader.Seek(0);
  parsed.foundChannels = FindChannelSection(reader);
  if (parsed.foundChannels) {
    for (int32_t i = 0; i < parsed.header.numChans; ++i) {
      KeywordChannel channel;
      EXPECT_TRUE(ParseChannelLine(reader, &channel));
      parsed.channels.push_back(channel);
    }
  }
  return parsed;
}

const std::vector<std::string> kSample = {
    "*TYPE",           "Chart 8",   "*VERSION", "2.1",     "*FORMAT", "BINARY", "*FREQUENCY",
    "50.5,1000.25",    "*PRETRIG_COUNT", "12", "*POST_STOP_COUNT", "34", "*CHANNELS",
    "5,3276.8,Temp A, Deg C ,1.5,-2.25,6,7,8,degC",
    "6,100,Flow,VOLTS,2,0.5,0,0,0,l/min",
};

TEST(KeywordDescTest, HeaderAndChannelsParseWithEveryLineEnd) {
  for (const char* lineEnd : {"\n\r", "\r"}) {
    const Parsed parsed = ParseAll(JoinLines(kSample, lineEnd), ",");
    SCOPED_TRACE(testing::Message() << "line end " << testing::PrintToString(std::string(lineEnd)));
    ASSERT_TRUE(parsed.valid);
    EXPECT_EQ(parsed.header.version, "2.1");
    EXPECT_EQ(parsed.header.postTrigRate, 1000.25);
    EXPECT_EQ(parsed.header.postStopCount, 34);
    ASSERT_TRUE(parsed.foundChannels);
    ASSERT_EQ(parsed.channels.size(), 2u);
    const KeywordChannel& a = parsed.channels[0];
    EXPECT_EQ(a.countsPerUnit, 3276.8f);
    EXPECT_EQ(a.kind, "Deg C");  // trimmed
    EXPECT_EQ(a.offset, -2.25f);
    EXPECT_EQ(a.column8, 8);
    EXPECT_EQ(a.units, "degC");
    EXPECT_EQ(parsed.channels[1].units, "l/min");
  }
}

// After "*VERSION" fields are separated by the list separator; without it by ",".
TEST(KeywordDescTest, ListSeparatorAppliesAfterVersion) {
  const std::vector<std::string> semicolon = {"*TYPE", "T", "*VERSION", "3", "*FORMAT", "BINARY", "*FREQUENCY",
                                              "10;20", "*CHANNELS", "0;4;Ch A;VOLTS;2;1;0;0;0;V"};
  const std::vector<std::string> comma = {"*TYPE", "T", "*FORMAT", "BINARY", "*FREQUENCY",
                                          "10,20", "*CHANNELS", "0,4,Ch A,VOLTS,2,1,0,0,0,V"};
  struct Case { const char* name; std::vector<std::string> lines; const char* listSeparator; bool fieldsSplit; };
  const Case cases[] = {
      {"';' after *VERSION with ';' list separator", semicolon, ";", true},
      {"',' without *VERSION, list separator ';'", comma, ";", true},
      {"';' after *VERSION with ',' list separator", semicolon, ",", false},
  };
  for (const Case& c : cases) {
    const Parsed parsed = ParseAll(JoinLines(c.lines, "\r\n"), c.listSeparator);
    SCOPED_TRACE(c.name);
    ASSERT_EQ(parsed.channels.size(), 1u);
    const KeywordChannel& ch = parsed.channels[0];
    if (c.fieldsSplit) {
      EXPECT_TRUE(parsed.valid);
      EXPECT_EQ(parsed.header.preTrigRate, 10.0);
      EXPECT_EQ(parsed.header.postTrigRate, 20.0);
      EXPECT_EQ(ch.label, "Ch A");
      EXPECT_EQ(ch.units, "V");
    } else {
      // The whole rates line is one field: "10;20" reads as 10, the second rate as 0.
      EXPECT_FALSE(parsed.valid);
      EXPECT_EQ(parsed.header.preTrigRate, 10.0);
      EXPECT_EQ(parsed.header.postTrigRate, 0.0);
      EXPECT_EQ(ch.label, "");
    }
  }
}

TEST(KeywordDescTest, HeaderValidity) {
  struct Case { const char* name; std::vector<std::string> lines; bool valid; int32_t format; int32_t numChans; };
  const Case cases[] = {
      {"lower-case keywords, 'binary ' with a trailing blank",
       {"*type", "T", "*format", "binary ", "*frequency", "1,2", "*channels", "0,1,a,b,1,0,0,0,0,u"}, true, 1, 1},
      {"unknown format", {"*TYPE", "T", "*FORMAT", "BIN", "*FREQUENCY", "1,2", "*CHANNELS", "0"}, false, 0, 1},
      {"post-trigger rate 0", {"*TYPE", "T", "*FORMAT", "BINARY", "*FREQUENCY", "5,0", "*CHANNELS", "0"}, false, 1, 1},
      {"no channel lines", {"*TYPE", "T", "*FORMAT", "BINARY", "*FREQUENCY", "1,2", "*CHANNELS"}, false, 1, 0},
      {"empty line ends the channel count",
       {"*TYPE", "T", "*FORMAT", "BINARY", "*FREQUENCY", "1,2", "*CHANNELS", "0", "1", "", "2", "3"}, true, 1, 2},
      {"keyword line ends the count and is processed",
       {"*CHANNELS", "0", "1", "2", "*FORMAT", "ASCII", "*TYPE", "T", "*FREQUENCY", "1,2"}, true, 2, 3},
      {"a keyword given twice takes its last value",
       {"*TYPE", "T", "*FORMAT", "BINARY", "*FORMAT", "BOGUS", "*FREQUENCY", "1,2", "*CHANNELS", "0"}, false, 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Parsed parsed = ParseAll(JoinLines(c.lines, "\n"), ",");
    EXPECT_EQ(parsed.valid, c.valid);
    EXPECT_EQ(parsed.header.format, c.format);
    EXPECT_EQ(parsed.header.numChans, c.numChans);
    EXPECT_EQ(parsed.header.version, "1");  // none of these has a version
  }
}

TEST(KeywordDescTest, NumbersAndOverlongInput) {
  const std::string longType(5000, 't');
  const std::string longLabel(300, 'L');
  const std::vector<std::string> lines = {
      "*TYPE", longType, "*FORMAT", "BINARY", "*FREQUENCY", "  1e3 Hz, 2.5x", "*PRETRIG_COUNT", " -7 scans",
      "*POST_STOP_COUNT", "none", "*CHANNELS", "12," + longLabel + "," + longLabel + ",Deg F,,,,,,units", "3,x"};
  const Parsed parsed = ParseAll(JoinLines(lines, "\n"), ",");
  ASSERT_TRUE(parsed.valid);
  EXPECT_EQ(parsed.header.type, std::string(4095, 't'));
  EXPECT_EQ(parsed.header.preTrigRate, 1000.0);
  EXPECT_EQ(parsed.header.postTrigRate, 2.5);
  EXPECT_EQ(parsed.header.preTrigCount, -7);
  ASSERT_EQ(parsed.channels.size(), 2u);
  const KeywordChannel& a = parsed.channels[0];
  EXPECT_EQ(a.countsPerUnit, 0.0f);  // cut field of letters: no number
  EXPECT_EQ(a.label, std::string(127, 'L'));
  EXPECT_EQ(a.units, "units");
  // A short line leaves the missing fields empty rather than taking the next line's.
  const KeywordChannel& b = parsed.channels[1];
  EXPECT_EQ(b.position, 3);
  EXPECT_EQ(b.label, "");
  EXPECT_EQ(b.units, "");
}

}  // namespace
}  // namespace travune
