// Halvard decoder: parses the description line by line, independently of the writer, and reads
// the data file with the layout the description announces.
#include <algorithm>
#include <cmath>

#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

constexpr const char* kDigits = "0123456789";

// A number printed with six decimals in the file's decimal mark ("inf" for infinity).
bool Number(std::string text, char mark, double* out) {
  std::replace(text.begin(), text.end(), mark, '.');
  return ParseWhole(text, out);
}

// "R1<sep>R2", each rate digits, the decimal mark and six digits: the mark follows the first
// digits, the separator lies between the two rates.
bool ParseRates(const std::string& line, char* mark, std::string* separator) {
  const size_t firstEnd = line.find_first_not_of(kDigits) + 7;
  if (firstEnd < 8 || firstEnd + 8 > line.size()) return false;
  *mark = line[firstEnd - 7];
  const size_t secondStart = line.find_last_not_of(kDigits, line.size() - 8) + 1;
  *separator = line.substr(firstEnd, secondStart - firstEnd);
  double rate = 0.0;
  return secondStart > firstEnd && secondStart + 7 < line.size() && Number(line.substr(0, firstEnd), *mark, &rate) &&
         Number(line.substr(secondStart), *mark, &rate);
}

// The description's channels, and the data file's scans: 16-bit codes, after a 10-byte clock
// stamp when the channels' word positions start at 5 rather than 0. Nothing when the files do
// not decode.
void ReadHalvard(const std::string& dataPath, const std::string& headerPath, Decoded* decoded,
                 std::vector<HalvardStamp>* stamps) {
  std::vector<std::string> lines;
  const char* const fixed[] = {"*TYPE", "TARQUIL 2.0", "*VERSION", "2.00", "*FORMAT", "BINARY", "*FREQUENCY"};
  if (!CrlfLines(headerPath, &lines) || lines.size() < 12 || !std::equal(fixed, fixed + 7, lines.begin())) return;
  char mark = '.';
  std::string separator;
  int64_t preTrigCount = 0;  // negative when the conversion starts after the trigger
  if (!ParseRates(lines[7], &mark, &separator) || lines[8] != "*PRETRIG_COUNT" || lines[9].size() != 9 ||
      !ParseWhole(lines[9], &preTrigCount) || lines[10] != "*CHANNELS") {
    return;
  }
  // position (five digits, consecutive from 0 or from 5), codes per unit, label, units, offset,
  // then an empty field after the last separator.
  std::vector<double> steps, offsets;
  int64_t first = 0;
  for (size_t i = 11; i < lines.size(); ++i) {
    const std::vector<std::string> fields = Split(lines[i], separator);
    int64_t position = 0;
    double codesPerUnit = 0.0, offset = 0.0;
    if (fields.size() != 6 || !fields[5].empty() || fields[0].size() != 5 ||
        fields[0].find_first_not_of(kDigits) != std::string::npos || !ParseWhole(fields[0], &position) ||
        !Number(fields[1], mark, &codesPerUnit) || !Number(fields[4], mark, &offset)) {
      return;
    }
    if (i == 11) first = position;
    if (position != first + static_cast<int64_t>(i - 11) || (first != 0 && first != 5)) return;
    // A zero-width range prints infinite codes per unit: every code stands for the offset.
    steps.push_back(std::isinf(codesPerUnit) ? 0.0 : 1.0 / codesPerUnit);
    offsets.push_back(offset);
    // Half a step from rounding; the printed codes per unit is off by at most 5e-7 (relative
    // error 5e-7 / codesPerUnit over at most 32768 codes), the printed offset by 5e-7.
    const double printed = std::isinf(codesPerUnit) ? 0.0 : 32768.0 * steps.back() * 5e-7 / codesPerUnit;
    decoded->absTolerance = std::max(decoded->absTolerance, (0.5 * steps.back() + printed + 5e-7) * 1.000001);
  }
  const size_t stampBytes = first == 5 ? 10 : 0;
  const size_t scanBytes = stampBytes + 2 * steps.size();
  const std::string bytes = FileContents(dataPath);
  if (bytes.size() % scanBytes != 0) return;
  for (size_t scan = 0; scan < bytes.size(); scan += scanBytes) {
    const auto byte = [&](size_t at) { return static_cast<int>(static_cast<uint8_t>(bytes[scan + at])); };
    // hour, minute, second, microseconds (32 bits), month, day, year - 1900
    if (stampBytes > 0) {
      stamps->push_back({byte(0), byte(1), byte(2), static_cast<uint32_t>(LittleEndianWord(&bytes[scan + 3], 4)),
                         byte(7), byte(8), byte(9)});
    }
    for (size_t c = 0; c < steps.size(); ++c) {
      const auto code = static_cast<int16_t>(LittleEndianWord(&bytes[scan + stampBytes + 2 * c], 2));
      decoded->values.push_back(code * steps[c] + offsets[c]);
    }
  }
  decoded->scans = static_cast<int64_t>(bytes.size() / scanBytes);
  decoded->chans = static_cast<int32_t>(steps.size());
  decoded->ok = true;
}

}  // namespace

Decoded DecodeHalvard(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  std::vector<HalvardStamp> stamps;
  ReadHalvard(dataPath, headerPath, &decoded, &stamps);
  return decoded;
}

std::vector<HalvardStamp> DecodeHalvardStamps(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  std::vector<HalvardStamp> stamps;
  ReadHalvard(dataPath, headerPath, &decoded, &stamps);
  return stamps;
}

}  // namespace travune::testing
