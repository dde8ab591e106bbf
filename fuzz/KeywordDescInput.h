// The keyword-description fuzz target's work on one input, shared by the libFuzzer target and
// the regression test that replays the seeds and saved findings: the keyword-section parser
// run over the input with the list separators a locale can give (and none), header first,
// then every channel line.
#pragma once

#include <cstddef>
#include <cstdint>

#include "source/DescReader.h"
#include "source/KeywordDesc.h"

namespace travune::fuzz {

inline void ParseKeywordDescWithSeparator(const uint8_t* data, size_t size, const char* separator) {
  DescReader reader(data, size);
  // The recogniser and the header parse must be safe on any bytes, keyword text or not.
  static_cast<void>(IsKeywordDescription(reader));
  KeywordHeader header;
  ParseKeywordHeader(reader, &header, separator);
  reader.Seek(0);
  if (!FindChannelSection(reader)) return;
  KeywordChannel channel;
  for (int32_t chan = 0; chan < header.numChans && !reader.AtEnd(); ++chan) {
    ParseChannelLine(reader, &channel);
  }
}

inline void ExerciseKeywordDesc(const uint8_t* data, size_t size) {
  for (const char* separator : {",", ";", "\t", ""}) ParseKeywordDescWithSeparator(data, size, separator);
}

}  // namespace travune::fuzz
