// The test decoders: readers of every output format written from the formats' layouts, never
// from the writers' code, that hand back what a converted file holds.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace travune::testing {

// The values a file holds, scan after scan, and how closely they can match the scaled values:
// a decoded v matches x when |v - x| <= absTolerance + relTolerance * |x| (0 and 0 for formats
// that hold the float32 or the double itself).
struct Decoded {
  int64_t scans = 0;
  int32_t chans = 0;
  std::vector<double> values;
  double absTolerance = 0.0;
  double relTolerance = 0.0;
  bool ok = false;  // false when the file could not be decoded
};

// The whole file, or "" when it cannot be read.
inline std::string FileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The unsigned little-endian number of width bytes at bytes[at].
inline uint64_t LittleEndianWord(const std::string& bytes, size_t at, int width) {
  uint64_t v = 0;
  for (int i = width - 1; i >= 0; --i) v = (v << 8) | static_cast<uint8_t>(bytes[at + static_cast<size_t>(i)]);
  return v;
}

inline float LittleEndianFloat(const char* p) {
  uint32_t u = 0;
  for (int i = 3; i >= 0; --i) u = (u << 8) | static_cast<uint8_t>(p[i]);
  float f;
  std::memcpy(&f, &u, 4);
  return f;
}

inline double LittleEndianDouble(const std::string& bytes, size_t at) {
  const uint64_t u = LittleEndianWord(bytes, at, 8);
  double d;
  std::memcpy(&d, &u, 8);
  return d;
}

// The pieces of text between separators (one more than there are separators).
inline std::vector<std::string> Split(const std::string& text, const std::string& separator) {
  std::vector<std::string> pieces;
  size_t start = 0;
  for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + separator.size()) {
    pieces.push_back(text.substr(start, end - start));
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

// Every decoder takes the data file and the header file; formats of one file ignore the header.
// Plain text (no header lines) and the spreadsheet (header lines and time column skipped).
Decoded DecodeText(const std::string& dataPath, const std::string& headerPath);
Decoded DecodeAscii(const std::string& dataPath, const std::string& headerPath);
// The block file: every sample of the block (outside a converted scan range 0).
Decoded DecodeBlock(const std::string& dataPath, const std::string& headerPath);
Decoded DecodeDADiSP(const std::string& dataPath, const std::string& headerPath);
// Codes × slope + offset from the channel records.
Decoded DecodeDASYLab(const std::string& dataPath, const std::string& headerPath);
// The data channels (every channel block after the first, which describes the time).
Decoded DecodeDIAdem(const std::string& dataPath, const std::string& headerPath);
// code / codesPerUnit + offset, to half a code step plus the printed decimals' rounding.
Decoded DecodeHalvard(const std::string& dataPath, const std::string& headerPath);
// The header, when named, must hold the text naming the data file's base name.
Decoded DecodeMatlab(const std::string& dataPath, const std::string& headerPath);
// The header is the small pointer file, which must name the data file.
Decoded DecodeSnapMaster(const std::string& dataPath, const std::string& headerPath);
Decoded DecodeUff(const std::string& dataPath, const std::string& headerPath);
// A WAV file holds codes, not values: they come back as values, to be compared with
// ExpectedCode16 (Code16.h) of the scaled values and the channel ranges.
Decoded DecodeWav(const std::string& dataPath, const std::string& headerPath);

// The spreadsheet's header lines and time fields.
struct TextSheet {
  std::vector<std::string> units;               // header line 2
  int timeFields = 0;                           // 0, or 1 to 3 fields of the time column in front
  std::vector<std::vector<std::string>> times;  // each line's time fields
  bool ok = false;
};
TextSheet ReadTextSheet(const std::string& dataPath);
// A time column's fields read back: seconds for a relative time ("+hhh:mm:ss", fraction), a
// day count since 30 December 1899 for a date ("hh:mm:ss", fraction, "MM-DD-YYYY"), or the
// scan count itself. NaN when the fields do not have one of these forms.
double TimeFieldsValue(const std::vector<std::string>& fields);

// A block file written by the block-writer library, its layout checked line by line.
struct BlockFile {
  std::string spacing;                   // "Uniform" or "Non-Uniform"
  size_t traces = 0;
  std::vector<double> x;                 // one per sample
  std::vector<double> values;            // sample after sample, one per trace
  bool ok = false;                       // false when the file is missing or malformed
  std::string error;                     // what was wrong
};
BlockFile ReadBlockFile(const std::string& path);

// Each scan's time as the DIAdem files state it (seconds, or scans for a counting time
// channel), from the explicit time channel or the implicit start and step; empty when the files
// cannot be decoded.
std::vector<double> DecodeDIAdemTimes(const std::string& dataPath, const std::string& headerPath);

// The calendar fields of one Halvard clock stamp.
struct HalvardStamp {
  int hour = 0, minute = 0, second = 0;
  uint32_t microsecond = 0;
  int month = 0, day = 0, year = 0;  // month 1-12, year - 1900 (low 8 bits)
};
// Every scan's clock stamp; empty when the file has none.
std::vector<HalvardStamp> DecodeHalvardStamps(const std::string& dataPath, const std::string& headerPath);

// A dataset 58 (text or binary) of a Universal File Format file.
struct UffChannelData {
  std::string label;           // record 9's ordinate label
  int64_t declaredValues = 0;  // record 7
  bool evenSpacing = true;     // record 7
  bool binary = false;
  int64_t declaredBytes = 0;  // binary form only
  std::vector<double> times;  // uneven spacing only: each value's abscissa
  std::vector<double> values;
};
struct UffContents {
  std::vector<UffChannelData> channels;
  bool ok = false;
  std::string error;  // what could not be read, when ok is false
};
// Numbers may use ',' as decimal mark and 'D' as exponent letter.
UffContents ReadUff(const std::string& path);

}  // namespace travune::testing
