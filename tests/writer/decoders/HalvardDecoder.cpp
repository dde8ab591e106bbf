// Halvard decoder: parses the description line by line, independently of the writer, and reads
// the data file with the layout the description announces.
#include "writer/decoders/Decoders.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace travune::testing {
namespace {

constexpr size_t kStampBytes = 10;
constexpr int kStampWords = 5;

struct HalvardChannel {
  int position = 0;           // 16-bit word within the scan
  double codesPerUnit = 0.0;  // as printed (infinite for a zero-width range)
  double offset = 0.0;        // the value of code 0
};

struct HalvardHead {
  std::string separator;  // found between the two rates
  char decimalMark = '.';
  double preTrigRate = 0.0;
  double postTrigRate = 0.0;
  int64_t preTrigCount = 0;
  std::vector<HalvardChannel> channels;
  bool ok = false;
};

// A number printed with six decimals in the file's decimal mark ("inf" for infinity).
bool ParseNumber(std::string text, char mark, double* out) {
  for (char& c : text) {
    if (c == mark) c = '.';
  }
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *out);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A field of decimal digits only (leading zeros allowed).
bool ParseDigits(const std::string& text, int64_t* out) {
  if (text.empty() || !std::all_of(text.begin(), text.end(), IsDigit)) return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *out);
  return result.ec == std::errc();
}

// Nine zero-padded digits; a conversion that starts after the trigger counts it negative
// ("-00000194": the trigger lies 194 scans before the first one written).
bool ParsePreTrigCount(const std::string& text, int64_t* out) {
  if (text.empty() || text[0] != '-') return ParseDigits(text, out);
  if (!ParseDigits(text.substr(1), out)) return false;
  *out = -*out;
  return true;
}

// "R1<sep>R2" where each rate is digits, a one-character mark and six digits: the mark is the
// seventh character from the end, the separator lies between the two rates.
bool ParseRates(const std::string& line, HalvardHead* head) {
  size_t firstEnd = 0;
  while (firstEnd < line.size() && IsDigit(line[firstEnd])) ++firstEnd;
  if (firstEnd == 0 || firstEnd + 7 > line.size() || line.size() < 8) return false;
  head->decimalMark = line[firstEnd];
  firstEnd += 7;
  size_t secondStart = line.size() - 7;
  while (secondStart > firstEnd && IsDigit(line[secondStart - 1])) --secondStart;
  if (secondStart <= firstEnd) return false;
  head->separator = line.substr(firstEnd, secondStart - firstEnd);
  return ParseNumber(line.substr(0, firstEnd), head->decimalMark, &head->preTrigRate) &&
         ParseNumber(line.substr(secondStart), head->decimalMark, &head->postTrigRate);
}

// position, codes per unit, label, units, offset, then an empty field after the last separator.
bool ParseChannel(const std::string& line, const HalvardHead& head, HalvardChannel* channel) {
  const std::vector<std::string> fields = Split(line, head.separator);
  int64_t position = 0;
  if (fields.size() != 6 || !fields[5].empty() || fields[0].size() != 5 || !ParseDigits(fields[0], &position)) {
    return false;
  }
  channel->position = static_cast<int>(position);
  return ParseNumber(fields[1], head.decimalMark, &channel->codesPerUnit) &&
         ParseNumber(fields[4], head.decimalMark, &channel->offset);
}

// The layout of a scan, or 0 when the positions are not consecutive from 0 or from 5.
size_t StampBytesOf(const HalvardHead& head) {
  if (head.channels.empty()) return 0;
  const int first = head.channels.front().position;
  for (size_t i = 0; i < head.channels.size(); ++i) {
    if (head.channels[i].position != first + static_cast<int>(i)) return SIZE_MAX;
  }
  return first == kStampWords ? kStampBytes : first == 0 ? 0 : SIZE_MAX;
}

struct DataLayout {
  std::string bytes;
  size_t stampBytes = 0;
  size_t scanBytes = 0;
  int64_t scans = 0;
  bool ok = false;
};

DataLayout ReadData(const std::string& dataPath, const HalvardHead& head) {
  DataLayout layout;
  layout.stampBytes = StampBytesOf(head);
  if (!head.ok || layout.stampBytes == SIZE_MAX) return layout;
  layout.scanBytes = layout.stampBytes + 2 * head.channels.size();
  layout.bytes = FileContents(dataPath);
  if (layout.scanBytes == 0 || layout.bytes.size() % layout.scanBytes != 0) return layout;
  layout.scans = static_cast<int64_t>(layout.bytes.size() / layout.scanBytes);
  layout.ok = true;
  return layout;
}

int16_t CodeAt(const std::string& bytes, size_t offset) {
  const auto lo = static_cast<uint8_t>(bytes[offset]);
  const auto hi = static_cast<uint8_t>(bytes[offset + 1]);
  return static_cast<int16_t>(static_cast<uint16_t>(lo | hi << 8));
}

HalvardHead ReadHalvardHead(const std::string& headerPath) {
  HalvardHead head;
  std::vector<std::string> lines = Split(FileContents(headerPath), "\r\n");
  if (lines.back().empty()) lines.pop_back();  // after the last line's CR LF
  const char* const fixed[] = {"*TYPE", "TARQUIL 2.0", "*VERSION", "2.00", "*FORMAT", "BINARY", "*FREQUENCY"};
  if (lines.size() < 11) return head;
  for (size_t i = 0; i < 7; ++i) {
    if (lines[i] != fixed[i]) return head;
  }
  if (!ParseRates(lines[7], &head) || lines[8] != "*PRETRIG_COUNT" || lines[9].size() != 9 ||
      !ParsePreTrigCount(lines[9], &head.preTrigCount) || lines[10] != "*CHANNELS") {
    return head;
  }
  for (size_t i = 11; i < lines.size(); ++i) {
    HalvardChannel channel;
    if (!ParseChannel(lines[i], head, &channel)) return head;
    head.channels.push_back(channel);
  }
  head.ok = true;
  return head;
}

}  // namespace

Decoded DecodeHalvard(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  const HalvardHead head = ReadHalvardHead(headerPath);
  const DataLayout data = ReadData(dataPath, head);
  if (!data.ok) return decoded;
  decoded.scans = data.scans;
  decoded.chans = static_cast<int32_t>(head.channels.size());
  for (const HalvardChannel& c : head.channels) {
    const double step = std::isinf(c.codesPerUnit) ? 0.0 : 1.0 / c.codesPerUnit;
    // Half a step from rounding; the printed codes per unit is off by at most 5e-7 (relative
    // error 5e-7 / codesPerUnit over at most 32768 codes), the printed offset by 5e-7.
    const double printed = std::isinf(c.codesPerUnit) ? 0.0 : 32768.0 * step * 5e-7 / c.codesPerUnit;
    decoded.absTolerance = std::max(decoded.absTolerance, (0.5 * step + printed + 5e-7) * 1.000001);
  }
  decoded.values.reserve(static_cast<size_t>(data.scans) * head.channels.size());
  for (int64_t s = 0; s < data.scans; ++s) {
    size_t offset = static_cast<size_t>(s) * data.scanBytes + data.stampBytes;
    for (const HalvardChannel& c : head.channels) {
      const double step = std::isinf(c.codesPerUnit) ? 0.0 : 1.0 / c.codesPerUnit;
      decoded.values.push_back(CodeAt(data.bytes, offset) * step + c.offset);
      offset += 2;
    }
  }
  decoded.ok = true;
  return decoded;
}

std::vector<HalvardStamp> DecodeHalvardStamps(const std::string& dataPath, const std::string& headerPath) {
  std::vector<HalvardStamp> stamps;
  const DataLayout data = ReadData(dataPath, ReadHalvardHead(headerPath));
  if (!data.ok || data.stampBytes == 0) return stamps;
  for (int64_t s = 0; s < data.scans; ++s) {
    const auto* b = reinterpret_cast<const uint8_t*>(data.bytes.data()) + static_cast<size_t>(s) * data.scanBytes;
    HalvardStamp stamp;
    stamp.hour = b[0];
    stamp.minute = b[1];
    stamp.second = b[2];
    stamp.microsecond = static_cast<uint32_t>(b[3] | b[4] << 8 | b[5] << 16) | static_cast<uint32_t>(b[6]) << 24;
    stamp.month = b[7];
    stamp.day = b[8];
    stamp.year = b[9];
    stamps.push_back(stamp);
  }
  return stamps;
}

}  // namespace travune::testing
