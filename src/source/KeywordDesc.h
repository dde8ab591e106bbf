// The keyword-section description format ("*TYPE", "*FORMAT", "*FREQUENCY", "*CHANNELS"...)
// used by Celdrin descriptions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "source/DescReader.h"

namespace travune {

struct KeywordHeader {
  std::string type;
  bool hasType = false;
  std::string version;
  int32_t format = 0;  // 1 BINARY, 2 ASCII, 0 otherwise
  int32_t preTrigCount = 0;
  int32_t postStopCount = 0;
  int32_t numChans = 0;
  double preTrigRate = 0.0;
  double postTrigRate = 0.0;
};

struct KeywordChannel {
  int32_t column8 = 0;
  int32_t position = 0;
  int32_t column6 = 0;
  int32_t column7 = 0;
  float countsPerUnit = 0.0f;
  float gain = 0.0f;
  float offset = 0.0f;
  std::string label;
  std::string kind;  // trimmed
  std::string units;
};

inline constexpr size_t kKeywordLineSize = 4096;
inline constexpr size_t kKeywordFieldSize = 128;

// True when "*TYPE", "*FORMAT", "*FREQUENCY" and "*CHANNELS" all occur from the cursor on.
bool IsKeywordDescription(const DescReader& reader);
// Parses the header keywords to the end of the image. listSeparator becomes the field
// separator after "*VERSION". Returns whether the header is valid.
bool ParseKeywordHeader(DescReader& reader, KeywordHeader* header, const char* listSeparator);
// Moves the cursor to the first line after "*CHANNELS"; false when there is none.
bool FindChannelSection(DescReader& reader);
// Reads one channel line of ten fields; always true.
bool ParseChannelLine(DescReader& reader, KeywordChannel* record);

}  // namespace travune
