// WAV writer: the head is written once with its final sizes (all scans of the data file); the
// frames are the Halvard writer's blocks without clock stamps.
#include "writer/TgtFmtWav.h"

#include <cstring>

#include "support/LittleEndian.h"

namespace travune {

namespace {

constexpr uint16_t kPcm = 1;
constexpr uint16_t kBitsPerSample = 16;
constexpr uint32_t kFormatChunkBytes = 16;
// RIFF size = data size + the 36 head bytes that follow the RIFF size field.
constexpr uint32_t kRiffOverhead = 36;

// The Halvard writer without clock stamps; its separator is never written.
WriterContext FramesOnly() {
  WriterContext context;
  context.flags = 0;
  context.listSeparator = "";
  return context;
}

// Frames per second: the post-trigger rate truncated. A rate that does not fit the field (or
// is not a number) gives 0.
uint32_t SampleRate(double scansPerSecond) {
  return scansPerSecond >= 0.0 && scansPerSecond < 4294967296.0 ? static_cast<uint32_t>(scansPerSecond) : 0;
}

void PutTag(uint8_t* out, const char* tag) { std::memcpy(out, tag, 4); }

}  // namespace

TgtFmtWav::TgtFmtWav(SrcFmt* source) : TgtFmtHalvard(source, FramesOnly()) {
  outputBytesPerScan_ = 2 * static_cast<int64_t>(NumChans());
  headerFile_ = false;
  ok_ = true;
}

bool TgtFmtWav::PreConvert(const char*, platform::File* dataFile, platform::File*, int64_t) {
  if (!LoadChannelLimits()) return false;
  if (dataFile == nullptr) return false;
  const uint32_t chans = static_cast<uint32_t>(NumChans());
  const uint32_t block = 2 * chans;
  // Sizes are 32-bit fields: larger acquisitions keep their low 32 bits.
  const uint32_t dataBytes = static_cast<uint32_t>(static_cast<uint64_t>(source_->GetNumScans()) * block);
  const uint32_t rate = SampleRate(source_->GetPostTrigRate());

  uint8_t head[kHeadBytes];
  PutTag(head, "RIFF");
  le::PutU32(head + 4, dataBytes + kRiffOverhead);
  PutTag(head + 8, "WAVE");
  PutTag(head + 12, "fmt ");
  le::PutU32(head + 16, kFormatChunkBytes);
  le::PutU16(head + 20, kPcm);
  le::PutU16(head + 22, static_cast<uint16_t>(chans));
  le::PutU32(head + 24, rate);
  le::PutU32(head + 28, rate * block);
  le::PutU16(head + 32, static_cast<uint16_t>(block));
  le::PutU16(head + 34, kBitsPerSample);
  PutTag(head + 36, "data");
  le::PutU32(head + 40, dataBytes);
  return dataFile->WriteAt(0, head, sizeof head);
}

}  // namespace travune
