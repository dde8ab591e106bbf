// Parser of the keyword-section description format: a header of "*KEYWORD" lines each followed
// by its value line, and a "*CHANNELS" list of separated channel fields.
#include "source/KeywordDesc.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/Platform.h"
#include "support/TextUtil.h"

namespace travune {

namespace {

bool Contains(const uint8_t* begin, const uint8_t* end, const char* text) {
  const size_t length = std::strlen(text);
  return std::search(begin, end, text, text + length) != end;
}

// Reads one line, cut to the line buffer, and trims it in place.
char* ReadTrimmedLine(DescReader& reader, char* line) {
  reader.ReadLine(line, kKeywordLineSize);
  return Trim(line, kWhiteSpace, kWhiteSpace);
}

// Numbers in descriptions are written the "C" way whatever the user's locale: they are parsed
// in the "C" locale.

// The leading decimal integer of text (0 when none), saturated to 32 bits.
int32_t ParseInt(const char* text) {
  const platform::ScopedCLocale cLocale;
  const long value = std::strtol(text, nullptr, 10);
  const long lowest = std::numeric_limits<int32_t>::min();
  const long highest = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(std::clamp(value, lowest, highest));
}

double ParseDouble(const char* text) {
  const platform::ScopedCLocale cLocale;
  return std::strtod(text, nullptr);
}

int32_t ParseFormat(const char* text) {
  if (EqualsIgnoringAsciiCase(text, "BINARY")) return 1;
  if (EqualsIgnoringAsciiCase(text, "ASCII")) return 2;
  return 0;
}

// Counts the channel lines that follow "*CHANNELS": up to an empty line, a keyword line or the
// end of the image. The reader is left at the start of the line that ended the count.
int32_t CountChannelLines(DescReader& reader, char* line) {
  int32_t count = 0;
  for (;;) {
    const size_t lineStart = reader.Offset();
    const char* text = ReadTrimmedLine(reader, line);
    if (text[0] == '\0' || text[0] == '*') {
      reader.Seek(lineStart);
      return count;
    }
    if (count < std::numeric_limits<int32_t>::max()) ++count;
  }
}

// Reads the two rates of the line after "*FREQUENCY" and consumes the rest of that line.
void ReadRates(DescReader& reader, KeywordHeader* header, char* line) {
  char field[kKeywordFieldSize];
  reader.ReadToken(field, sizeof(field));
  header->preTrigRate = ParseDouble(field);
  reader.ReadToken(field, sizeof(field));
  header->postTrigRate = ParseDouble(field);
  reader.ReadLine(line, kKeywordLineSize);
}

}  // namespace

bool IsKeywordDescription(const DescReader& reader) {
  const uint8_t* begin = reader.CurPtr();
  const uint8_t* end = reader.Start() + reader.Size();
  return Contains(begin, end, "*TYPE") && Contains(begin, end, "*FORMAT") && Contains(begin, end, "*FREQUENCY") &&
         Contains(begin, end, "*CHANNELS");
}

bool ParseKeywordHeader(DescReader& reader, KeywordHeader* header, const char* listSeparator) {
  *header = KeywordHeader{};
  bool hasVersion = false;
  char line[kKeywordLineSize];
  while (!reader.AtEnd()) {
    const char* key = ReadTrimmedLine(reader, line);
    if (EqualsIgnoringAsciiCase(key, "*TYPE")) {
      header->type = ReadTrimmedLine(reader, line);
      header->hasType = true;
    } else if (EqualsIgnoringAsciiCase(key, "*VERSION")) {
      header->version = ReadTrimmedLine(reader, line);
      hasVersion = true;
      reader.SetSeparator(listSeparator != nullptr ? listSeparator : ",");
    } else if (EqualsIgnoringAsciiCase(key, "*FORMAT")) {
      header->format = ParseFormat(ReadTrimmedLine(reader, line));
    } else if (EqualsIgnoringAsciiCase(key, "*CHANNELS")) {
      header->numChans = CountChannelLines(reader, line);
    } else if (EqualsIgnoringAsciiCase(key, "*FREQUENCY")) {
      ReadRates(reader, header, line);
    } else if (EqualsIgnoringAsciiCase(key, "*POST_STOP_COUNT")) {
      header->postStopCount = ParseInt(ReadTrimmedLine(reader, line));
    } else if (EqualsIgnoringAsciiCase(key, "*PRETRIG_COUNT")) {
      header->preTrigCount = ParseInt(ReadTrimmedLine(reader, line));
    }
  }
  if (!hasVersion) header->version = "1";
  return header->hasType && header->format != 0 && header->postTrigRate != 0.0 && header->numChans != 0;
}

bool FindChannelSection(DescReader& reader) {
  char line[kKeywordLineSize];
  while (!reader.AtEnd()) {
    if (EqualsIgnoringAsciiCase(ReadTrimmedLine(reader, line), "*CHANNELS")) return true;
  }
  return false;
}

bool ParseChannelLine(DescReader& reader, KeywordChannel* record) {
  *record = KeywordChannel{};
  char field[kKeywordFieldSize];
  for (int column = 0; column < 10; ++column) {
    reader.ReadToken(field, sizeof(field));
    switch (column) {
      case 0: record->position = ParseInt(field); break;
      case 1: record->countsPerUnit = static_cast<float>(ParseDouble(field)); break;
      case 2: record->label = field; break;
      case 3: record->kind = Trim(field, kWhiteSpace, kWhiteSpace); break;
      case 4: record->gain = static_cast<float>(ParseDouble(field)); break;
      case 5: record->offset = static_cast<float>(ParseDouble(field)); break;
      case 6: record->column6 = ParseInt(field); break;
      case 7: record->column7 = ParseInt(field); break;
      case 8: record->column8 = ParseInt(field); break;
      default: record->units = field; break;
    }
  }
  reader.ReadLine(field, sizeof(field));
  return true;
}

}  // namespace travune
