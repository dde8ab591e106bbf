// WAV writer: one RIFF file of 16-bit PCM frames, one audio channel per acquisition channel and
// one frame per scan, with the codes of the Halvard writer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "writer/TgtFmtHalvard.h"

namespace travune {

class TgtFmtWav : public TgtFmtHalvard {
 public:
  explicit TgtFmtWav(SrcFmt* source);

  // Writes the 44-byte RIFF head, sized for every scan of the data file.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;

  static constexpr size_t kHeadBytes = 44;
};

}  // namespace travune
