// A reader of Universal File Format files from the published layout: lines ending in CR LF,
// datasets between "    -1" lines, dataset 58's fixed columns, 13-character data fields six to
// a line, and the binary form's little-endian floats.
#include <algorithm>

#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

constexpr size_t kField = 13;

// Records what could not be read; false.
bool Fail(std::string* error, std::string what) {
  *error = std::move(what);
  return false;
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The integer in columns [column, column + width) of line.
bool FixedInt(const std::string& line, size_t column, size_t width, int64_t* out) {
  return line.size() >= column + width && ParseWhole(Trimmed(line.substr(column, width)), out);
}

// A real with '.' or ',' as decimal mark and 'E' or 'D' as exponent letter.
bool Real(std::string field, double* out) {
  for (char& c : field) {
    if (c == ',') c = '.';
    if (c == 'D' || c == 'd') c = 'E';
  }
  return ParseWhole(Trimmed(field), out);
}

// count numbers: text fields (each with its leading blank or minus sign) six to a line, or the
// binary form's floats, which the dataset's second line says fill bytes bytes.
bool ReadNumbers(Cursor& in, bool binary, int64_t bytes, int64_t count, std::vector<double>* numbers,
                 std::string* error) {
  std::string data;
  if (binary) {
    if (bytes != 4 * count) return Fail(error, "byte count not that of the values: " + std::to_string(bytes));
    if (!in.Bytes(static_cast<size_t>(bytes), &data)) return Fail(error, "binary data too short");
    for (size_t at = 0; at < data.size(); at += 4) numbers->push_back(LittleEndianFloat(&data[at]));
    return true;
  }
  while (static_cast<int64_t>(numbers->size()) < count) {
    const size_t fields = static_cast<size_t>(std::min<int64_t>(6, count - static_cast<int64_t>(numbers->size())));
    if (!in.Line(&data) || data.size() != fields * kField) return Fail(error, "data line of the wrong length: " + data);
    for (size_t f = 0; f < fields; ++f) {
      const std::string field = data.substr(f * kField, kField);
      double number = 0.0;
      if ((field[0] != ' ' && field[0] != '-') || !Real(field, &number)) return Fail(error, "bad field: " + data);
      numbers->push_back(number);
    }
  }
  return true;
}

// One dataset, from its "    -1" line to the next; only datasets 58 are kept.
bool ReadDataset(Cursor& in, UffContents* contents) {
  std::string* error = &contents->error;
  std::string line;
  int64_t number = 0;
  if (!in.Line(&line) || line != "    -1") return Fail(error, "expected a dataset start: " + line);
  if (!in.Line(&line) || !FixedInt(line, 0, 6, &number)) return Fail(error, "dataset number unreadable: " + line);
  if (number != 58) {
    while (in.Line(&line)) {
      if (line == "    -1") return true;
    }
    return Fail(error, "dataset without its end line");
  }
  // Binary: 58, 'b', byte order 1 (little-endian), IEEE floats 2, 11 record lines, byte count.
  UffChannelData channel;
  channel.binary = line.size() > 6;
  int64_t order = 0, format = 0, lines = 0, bytes = 0;
  if (channel.binary &&
      (line.size() != 79 || line[6] != 'b' || !FixedInt(line, 7, 6, &order) || !FixedInt(line, 13, 6, &format) ||
       !FixedInt(line, 19, 12, &lines) || !FixedInt(line, 31, 12, &bytes) || order != 1 || format != 2 ||
       lines != 11)) {
    return Fail(error, "binary dataset 58 header unreadable: " + line);
  }
  // ID lines 1 to 5 and records 6 to 11: record 7's type, value count, spacing (1 even), start
  // and step, and record 9's ordinate label.
  std::string records[11];
  for (std::string& record : records) {
    if (!in.Line(&record)) return Fail(error, "dataset 58 ends inside its records");
  }
  const std::string& record7 = records[6];
  int64_t type = 0, values = 0, spacing = 0;
  double start = 0.0, step = 0.0;
  if (record7.size() != 30 + 3 * kField || !FixedInt(record7, 0, 10, &type) || !FixedInt(record7, 10, 10, &values) ||
      !FixedInt(record7, 20, 10, &spacing) || !Real(record7.substr(30, kField), &start) ||
      !Real(record7.substr(43, kField), &step)) {
    return Fail(error, "record 7 unreadable: " + record7);
  }
  if (records[8].size() < 62) return Fail(error, "record 9 too short: " + records[8]);
  channel.label = Trimmed(records[8].substr(26, 20));
  // Uneven spacing: each value follows its abscissa.
  std::vector<double> numbers;
  if (!ReadNumbers(in, channel.binary, bytes, values * (spacing == 1 ? 1 : 2), &numbers, error)) return false;
  for (size_t i = 0; i < numbers.size(); ++i) {
    (spacing != 1 && i % 2 == 0 ? channel.times : channel.values).push_back(numbers[i]);
  }
  if (!in.Line(&line) || line != "    -1") return Fail(error, "dataset 58 does not end right after its data");
  contents->channels.push_back(std::move(channel));
  return true;
}

}  // namespace

UffContents ReadUff(const std::string& path) {
  if (!std::ifstream(path)) return {{}, false, "cannot open " + path};
  UffContents contents;
  Cursor in(FileContents(path));
  while (in.Rest() > 0) {
    if (!ReadDataset(in, &contents)) return contents;
  }
  contents.ok = true;
  return contents;
}

Decoded DecodeUff(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const UffContents contents = ReadUff(dataPath);
  if (!contents.ok) return decoded;
  decoded.chans = static_cast<int32_t>(contents.channels.size());
  decoded.scans = contents.channels.empty() ? 0 : static_cast<int64_t>(contents.channels[0].values.size());
  decoded.values.resize(static_cast<size_t>(decoded.scans * decoded.chans));
  for (size_t c = 0; c < contents.channels.size(); ++c) {
    const std::vector<double>& values = contents.channels[c].values;
    if (static_cast<int64_t>(values.size()) != decoded.scans) return decoded;
    for (size_t s = 0; s < values.size(); ++s) decoded.values[s * contents.channels.size() + c] = values[s];
  }
  // Six significant digits: at most half a unit of the fifth decimal of the mantissa.
  decoded.relTolerance = decoded.chans > 0 && contents.channels[0].binary ? 0.0 : 5.0000001e-6;
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
