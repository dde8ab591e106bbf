// Block-file decoder: six header lines "keyword<TAB>cell..." with CRLF endings, in a fixed
// order, then one row per sample "x<TAB>value..." of numbers in the shortest float text.
#include "writer/decoders/Decoders.h"

#include <charconv>
#include <fstream>
#include <iterator>

namespace travune::testing {

namespace {

// The float a cell spells, widened; false unless the whole cell is one number.
bool ParseFloat(const std::string& cell, double* out) {
  float value = 0.0f;
  const std::from_chars_result result = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (result.ec != std::errc() || result.ptr != cell.data() + cell.size()) return false;
  *out = value;
  return true;
}

class LineReader {
 public:
  explicit LineReader(std::string text) : text_(std::move(text)) {}
  bool AtEnd() const { return position_ >= text_.size(); }
  // The next line without its CRLF; false when the line does not end in CRLF.
  bool Next(std::string* line) {
    const size_t end = text_.find("\r\n", position_);
    if (end == std::string::npos) return false;
    *line = text_.substr(position_, end - position_);
    position_ = end + 2;
    return line->find_first_of("\r\n") == std::string::npos;
  }

 private:
  std::string text_;
  size_t position_ = 0;
};

BlockFile Failed(BlockFile file, std::string error) {
  file.ok = false;
  file.error = std::move(error);
  return file;
}

}  // namespace

BlockFile ReadBlockFile(const std::string& path) {
  BlockFile file;
  std::ifstream in(path, std::ios::binary);
  if (!in) return Failed(std::move(file), "cannot open " + path);
  LineReader reader{std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())};

  // The first four keywords take one cell each; units and labels one per trace.
  const char* keywords[] = {"Measurement Type", "Label", "X Axis Spacing", "X Axis Units", "Y Axis Units",
                            "Trace Labels"};
  std::vector<std::string> header[6];
  for (int i = 0; i < 6; ++i) {
    std::string line;
    if (!reader.Next(&line)) return Failed(std::move(file), std::string("no CRLF line for ") + keywords[i]);
    header[i] = Split(line, "\t");
    if (header[i][0] != keywords[i]) return Failed(std::move(file), "expected " + std::string(keywords[i]));
    if (i < 4 && header[i].size() != 2) return Failed(std::move(file), "one cell expected after " + header[i][0]);
  }
  file.spacing = header[2][1];
  file.traces = header[5].size() - 1;
  if (file.spacing != "Uniform" && file.spacing != "Non-Uniform") return Failed(std::move(file), "bad spacing");
  if (header[4].size() != header[5].size()) return Failed(std::move(file), "units and labels differ");

  while (!reader.AtEnd()) {
    std::string line;
    if (!reader.Next(&line)) return Failed(std::move(file), "row without CRLF");
    const std::vector<std::string> cells = Split(line, "\t");
    if (cells.size() != file.traces + 1) {
      return Failed(std::move(file), "row with " + std::to_string(cells.size()) + " cells");
    }
    double number = 0.0;
    if (!ParseFloat(cells[0], &number)) return Failed(std::move(file), "bad x value " + cells[0]);
    file.x.push_back(number);
    for (size_t t = 1; t <= file.traces; ++t) {
      if (!ParseFloat(cells[t], &number)) return Failed(std::move(file), "bad value " + cells[t]);
      file.values.push_back(number);
    }
  }
  file.ok = true;
  return file;
}

Decoded DecodeBlock(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  BlockFile file = ReadBlockFile(dataPath);
  if (!file.ok) return decoded;
  decoded.scans = static_cast<int64_t>(file.x.size());
  decoded.chans = static_cast<int32_t>(file.traces);
  decoded.values = std::move(file.values);
  // Each value is the float nearest the scaled value: half a unit in its last place, 2^-24
  // relative, or half the smallest subnormal near zero.
  decoded.relTolerance = 5.9604645e-8 * 1.000001;
  decoded.absTolerance = 7.1e-46;
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
