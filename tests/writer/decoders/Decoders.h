// The test decoders: readers of every output format written from the formats' layouts, never
// from the writers' code, that hand back what a converted file holds.
#pragma once

#include <bit>
#include <charconv>
#include <cstdint>
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
  std::string spacing;         // "Uniform" or "Non-Uniform"
  size_t traces = 0;
  std::vector<double> x;       // one per sample
  std::vector<double> values;  // sample after sample, one per trace
  bool ok = false;             // false when the file is missing or malformed
  std::string error;           // what was wrong
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
  std::string label;  // record 9's ordinate label
  bool binary = false;
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

// Shared by the decoders.

// The whole file, or "" when it cannot be read.
inline std::string FileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The unsigned little-endian number of width bytes at p.
inline uint64_t LittleEndianWord(const char* p, int width) {
  uint64_t v = 0;
  for (int i = width - 1; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(p[i]);
  return v;
}
inline float LittleEndianFloat(const char* p) {
  return std::bit_cast<float>(static_cast<uint32_t>(LittleEndianWord(p, 4)));
}
inline double LittleEndianDouble(const char* p) { return std::bit_cast<double>(LittleEndianWord(p, 8)); }

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

// The lines of the file; false when it cannot be opened or a line does not end in CR LF or
// holds another CR or LF.
inline bool CrlfLines(const std::string& path, std::vector<std::string>* lines) {
  std::ifstream in(path, std::ios::binary);
  *lines = Split(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), "\r\n");
  if (!in.is_open() || !lines->back().empty()) return false;
  lines->pop_back();
  for (const std::string& line : *lines) {
    if (line.find_first_of("\r\n") != std::string::npos) return false;
  }
  return true;
}

// The number the whole of text spells (no blanks, no '+'); "inf" and "nan" for floating types.
template <typename T>
bool ParseWhole(const std::string& text, T* out) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *out);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

// Reads a file front to back; a call that fails leaves nothing the caller may rely on.
class Cursor {
 public:
  explicit Cursor(std::string text) : text_(std::move(text)) {}
  size_t Rest() const { return text_.size() - pos_; }
  bool Take(const std::string& expected) {
    if (text_.compare(pos_, expected.size(), expected) != 0) return false;
    pos_ += expected.size();
    return true;
  }
  bool Bytes(size_t n, std::string* out) {
    if (Rest() < n) return false;
    *out = text_.substr(pos_, n);
    pos_ += n;
    return true;
  }
  // The characters before the next stop, which is consumed too.
  bool Until(char stop, std::string* out) {
    const size_t end = text_.find(stop, pos_);
    return end != std::string::npos && Bytes(end - pos_, out) && Bytes(1, &skipped_);
  }
  // A line ending in CR LF that holds no other CR or LF.
  bool Line(std::string* out) {
    if (!Until('\n', out) || out->empty() || out->back() != '\r') return false;
    out->pop_back();
    return out->find('\r') == std::string::npos;
  }

 private:
  std::string text_, skipped_;
  size_t pos_ = 0;
};

}  // namespace travune::testing
