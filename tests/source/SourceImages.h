// Test helper: Morvane, Brenlow, Quillon and Celdrin description images assembled field by field,
// shared by the source tests and the bulk-scaling test. Bytes the sources do not read are junk.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/ByteBuilder.h"

namespace travune::testutil {

// The text, then zeros to size bytes (no terminator when the text fills them).
inline void PaddedText(ByteBuilder& b, const std::string& text, size_t size) {
  b.Text(text);
  b.Zeros(size - text.size());
}

inline void Junk(ByteBuilder& b, size_t n) { b.Text(std::string(n, '\xA5')); }

struct MorvaneChan {
  int32_t type = 0;
  float gain = 1.0f;
  float scale = 1.0f;
  float offset = 0.0f;
  int32_t polarity = 0;  // bipolar when odd; its low byte is the thermocouple kind: 1 J, 2 K, 3 T, 8 N
  int32_t deviceCode = 0;
  std::string label = "ch";
  std::string units = "V";
};

struct MorvaneHead {
  uint32_t preTrig = 0;
  int32_t firstChannel = 0;  // exchanges raw positions with channel 0 (0: none)
  float rate = 1000.0f;
};

// The current description form: a 32-byte header (100 programmed scans) and 56-byte channel
// records.
inline std::vector<uint8_t> MorvaneImage(const std::vector<MorvaneChan>& chans, const MorvaneHead& h = {}) {
  ByteBuilder b;
  b.I32(5040);
  b.I32(static_cast<int32_t>(chans.size()));
  b.U32(100);
  b.U32(h.preTrig);
  Junk(b, 8);
  b.I32(h.firstChannel);
  b.F32(h.rate);
  for (const MorvaneChan& c : chans) {
    b.F32(c.gain);
    Junk(b, 4);
    b.I32(c.type);
    Junk(b, 4);
    b.F32(c.scale);
    b.F32(c.offset);
    b.I32(c.polarity);
    b.I32(c.deviceCode);
    PaddedText(b, c.label, 12);
    PaddedText(b, c.units, 12);
  }
  return b.Take();
}

struct BrenlowRecord {
  int32_t type = 0;  // 6 is a time-stamp record, not a channel
  double lower = -10.0;
  double upper = 10.0;
  std::string label = "ch";
  std::string units = "V";
};

struct BrenlowHead {
  double rate = 0.0;
  int32_t preTrig = 0;
  int32_t progScans = 0;
  std::optional<int32_t> numRecords = std::nullopt;  // unset: the number of records given
};

// A 56-byte header and 112-byte records.
inline std::vector<uint8_t> BrenlowImage(const std::vector<BrenlowRecord>& records, const BrenlowHead& h = {}) {
  ByteBuilder b;
  b.F64(2.5);
  b.F64(h.rate);
  b.I32(h.numRecords.value_or(static_cast<int32_t>(records.size())));
  b.I32(h.preTrig);
  b.I32(h.progScans);
  Junk(b, 28);
  for (const BrenlowRecord& r : records) {
    Junk(b, 4);
    PaddedText(b, r.label, 16);
    PaddedText(b, r.units, 20);
    b.I32(r.type);
    Junk(b, 28);
    b.F64(r.lower);
    b.F64(r.upper);
    Junk(b, 24);
  }
  return b.Take();
}

struct QuillonChan {
  int32_t type = 1;
  float lower = -10.0f;
  float upper = 10.0f;
  std::string label = "Temp";
  std::optional<uint32_t> labelClaim = std::nullopt;  // a length word other than the text's size
  std::optional<uint32_t> lastClaim = std::nullopt;  // the same for the record's last text
};

struct QuillonDesc {
  std::string app = "Quillon";
  std::optional<uint32_t> appClaim = std::nullopt;
  std::string kind = "DSC File";
  std::optional<int16_t> numChans = std::nullopt;  // unset: the number of records
  int32_t preTrigCount = 100;
  double scanRate = 4.0;
  std::vector<QuillonChan> channels = {QuillonChan{}, QuillonChan{}};
};

// A length word (or another length claimed) and the text's bytes.
inline void CountedText(ByteBuilder& b, const std::string& text, std::optional<uint32_t> claim = std::nullopt) {
  b.U32(claim.value_or(static_cast<uint32_t>(text.size())));
  b.Text(text);
}

// Version 3.14, triggered at day 37623.5; the channel records carry units "degC" and a last
// text "xyz".
inline std::vector<uint8_t> QuillonImage(const QuillonDesc& d) {
  ByteBuilder b;
  CountedText(b, d.app, d.appClaim);
  b.U32(3);
  b.U32(14);
  Junk(b, 4);
  CountedText(b, d.kind);
  b.I16(d.numChans.value_or(static_cast<int16_t>(d.channels.size())));
  b.U32(500);
  b.I32(d.preTrigCount);
  Junk(b, 4);
  b.F64(d.scanRate);
  b.F64(37623.5);
  for (const QuillonChan& c : d.channels) {
    b.I32(c.type);
    b.F32(c.upper);
    CountedText(b, c.label, c.labelClaim);
    b.F32(c.lower);
    Junk(b, 16);
    CountedText(b, "degC");
    Junk(b, 8);
    CountedText(b, "xyz", c.lastClaim);
  }
  return b.Take();
}

struct CeldrinDesc {
  std::string frequency = "10,100";
  int preTrig = 0;
  int postStop = 0;
  // position, counts per unit, label, kind, gain, offset, three unused columns, units
  std::vector<std::string> channels;
};

inline std::vector<uint8_t> CeldrinImage(const CeldrinDesc& d) {
  std::string text = "*TYPE\r\nChart\r\n*VERSION\r\n4.2\r\n*FORMAT\r\nBINARY\r\n*FREQUENCY\r\n" + d.frequency +
                     "\r\n*PRETRIG_COUNT\r\n" + std::to_string(d.preTrig) + "\r\n*POST_STOP_COUNT\r\n" +
                     std::to_string(d.postStop) + "\r\n*CHANNELS\r\n";
  for (const std::string& line : d.channels) text += line + "\r\n";
  return std::vector<uint8_t>(text.begin(), text.end());
}

}  // namespace travune::testutil
