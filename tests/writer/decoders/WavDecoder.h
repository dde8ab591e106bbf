// Reads a RIFF WAVE file of 16-bit PCM back: its format chunk and its frames. A WAV file holds
// codes, not values: DecodeWav gives the codes as values (tolerance 0), to be compared with
// ExpectedCode16 (Code16.h) of the scaled values and the channel ranges.
#pragma once

#include <cstdint>
#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

struct WavHead {
  uint32_t riffBytes = 0;    // the RIFF chunk's size field
  uint16_t formatTag = 0;    // 1: PCM
  uint16_t channels = 0;
  uint32_t sampleRate = 0;
  uint32_t byteRate = 0;
  uint16_t blockAlign = 0;
  uint16_t bitsPerSample = 0;
  uint32_t dataBytes = 0;    // the data chunk's size field
  size_t dataOffset = 0;     // where the frames start
  size_t fileBytes = 0;
  bool ok = false;           // RIFF/WAVE with a "fmt " chunk before a "data" chunk
};

WavHead ReadWavHead(const std::string& path);
// The frames present in the file (at most what the data chunk announces); headerPath is unused.
Decoded DecodeWav(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
