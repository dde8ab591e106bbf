// Fuzz target: the keyword-section description parser, run over the input with the list
// separators a locale can give (and none), header first, then every channel line.
#include <cstddef>
#include <cstdint>

#include "source/DescReader.h"
#include "source/KeywordDesc.h"

namespace {

void ParseWithSeparator(const uint8_t* data, size_t size, const char* separator) {
  travune::DescReader reader(data, size);
  // The recogniser and the header parse must be safe on any bytes, keyword text or not.
  static_cast<void>(travune::IsKeywordDescription(reader));
  travune::KeywordHeader header;
  travune::ParseKeywordHeader(reader, &header, separator);
  reader.Seek(0);
  if (!travune::FindChannelSection(reader)) return;
  travune::KeywordChannel channel;
  for (int32_t chan = 0; chan < header.numChans && !reader.AtEnd(); ++chan) {
    travune::ParseChannelLine(reader, &channel);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const char* separator : {",", ";", "\t", ""}) ParseWithSeparator(data, size, separator);
  return 0;
}
