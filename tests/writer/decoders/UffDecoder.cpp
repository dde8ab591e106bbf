// A reader of Universal File Format files written on its own from the published layout: lines
// ending in CR LF, datasets between "    -1" lines, dataset 58's fixed columns, 13-character
// data fields six to a line, and the binary form's little-endian floats.
#include "writer/decoders/Decoders.h"

#include <charconv>
#include <fstream>
#include <iterator>

namespace travune::testing {

namespace {

constexpr int kDataField = 13;
constexpr int kFieldsPerLine = 6;
constexpr int kTextRecordLines = 11;  // ID lines 1 to 5 and records 6 to 11

class Cursor {
 public:
  explicit Cursor(std::string bytes) : bytes_(std::move(bytes)) {}

  bool AtEnd() const { return pos_ >= bytes_.size(); }
  // The next line without its CR LF; false when there is none or it ends otherwise.
  bool Line(std::string* line) {
    const size_t end = bytes_.find("\r\n", pos_);
    if (end == std::string::npos) return false;
    line->assign(bytes_, pos_, end - pos_);
    if (line->find('\n') != std::string::npos || line->find('\r') != std::string::npos) return false;
    pos_ = end + 2;
    return true;
  }
  bool Bytes(size_t n, std::string* out) {
    if (bytes_.size() - pos_ < n) return false;
    out->assign(bytes_, pos_, n);
    pos_ += n;
    return true;
  }

 private:
  std::string bytes_;
  size_t pos_ = 0;
};

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

bool ParseInt(const std::string& line, size_t column, size_t width, int64_t* out) {
  if (line.size() < column + width) return false;
  const std::string text = Trimmed(line.substr(column, width));
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *out);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool ParseReal(const std::string& field, double* out) {
  std::string text = Trimmed(field);
  for (char& c : text) {
    if (c == ',') c = '.';
    if (c == 'D' || c == 'd') c = 'E';
  }
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *out);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// ID lines 1 to 5 and records 6 to 11; record 7's counts and record 9's label are kept.
bool ReadRecords(Cursor& in, UffChannelData* channel, std::string* error) {
  std::string lines[kTextRecordLines];
  for (std::string& line : lines) {
    if (!in.Line(&line)) return Fail(error, "dataset 58 ends inside its records");
  }
  const std::string& record7 = lines[6];
  int64_t type = 0;
  int64_t spacing = 0;
  double start = 0.0, step = 0.0;
  if (!ParseInt(record7, 0, 10, &type) || !ParseInt(record7, 10, 10, &channel->declaredValues) ||
      !ParseInt(record7, 20, 10, &spacing) || record7.size() != 30 + 3 * kDataField ||
      !ParseReal(record7.substr(30, kDataField), &start) || !ParseReal(record7.substr(43, kDataField), &step)) {
    return Fail(error, "record 7 unreadable: " + record7);
  }
  channel->evenSpacing = spacing == 1;
  const std::string& record9 = lines[8];
  if (record9.size() < 62) return Fail(error, "record 9 too short: " + record9);
  channel->label = Trimmed(record9.substr(26, 20));
  return true;
}

// Values (or time/value pairs) in 13-character fields, six fields on every line but the last.
bool ReadTextData(Cursor& in, UffChannelData* channel, std::string* error) {
  const int64_t fields = channel->declaredValues * (channel->evenSpacing ? 1 : 2);
  for (int64_t read = 0; read < fields;) {
    std::string line;
    const int64_t expected = std::min<int64_t>(kFieldsPerLine, fields - read);
    if (!in.Line(&line) || line.size() != static_cast<size_t>(expected * kDataField)) {
      return Fail(error, "data line of the wrong length after " + std::to_string(read) + " fields: " + line);
    }
    for (int64_t f = 0; f < expected; ++f, ++read) {
      const std::string field = line.substr(static_cast<size_t>(f * kDataField), kDataField);
      double number = 0.0;
      if (field[0] != ' ' && field[0] != '-') return Fail(error, "data field without its leading blank: " + line);
      if (!ParseReal(field, &number)) return Fail(error, "data field unreadable: " + line);
      const bool isTime = !channel->evenSpacing && read % 2 == 0;
      (isTime ? channel->times : channel->values).push_back(number);
    }
  }
  return true;
}

bool ReadBinaryData(Cursor& in, UffChannelData* channel, std::string* error) {
  const size_t perValue = channel->evenSpacing ? 4 : 8;
  if (channel->declaredBytes != channel->declaredValues * static_cast<int64_t>(perValue)) {
    return Fail(error, "byte count not that of the values: " + std::to_string(channel->declaredBytes));
  }
  std::string bytes;
  if (!in.Bytes(static_cast<size_t>(channel->declaredBytes), &bytes)) return Fail(error, "binary data too short");
  for (size_t offset = 0; offset < bytes.size(); offset += perValue) {
    if (!channel->evenSpacing) channel->times.push_back(LittleEndianFloat(&bytes[offset]));
    channel->values.push_back(LittleEndianFloat(&bytes[offset + perValue - 4]));
  }
  return true;
}

// Line 2 of a binary dataset 58: 58, 'b', byte order 1, IEEE format 2, 11 lines, byte count.
bool ReadBinaryHeader(const std::string& line, UffChannelData* channel, std::string* error) {
  int64_t number = 0, order = 0, format = 0, lines = 0;
  if (line.size() != 79 || line[6] != 'b' || !ParseInt(line, 0, 6, &number) || !ParseInt(line, 7, 6, &order) ||
      !ParseInt(line, 13, 6, &format) || !ParseInt(line, 19, 12, &lines) ||
      !ParseInt(line, 31, 12, &channel->declaredBytes) || number != 58 || order != 1 || format != 2 ||
      lines != kTextRecordLines) {
    return Fail(error, "binary dataset 58 header unreadable: " + line);
  }
  channel->binary = true;
  return true;
}

bool SkipToEndOfDataset(Cursor& in, std::string* error) {
  std::string line;
  while (in.Line(&line)) {
    if (line == "    -1") return true;
  }
  return Fail(error, "dataset without its end line");
}

bool ReadDataset(Cursor& in, UffContents* contents) {
  std::string line;
  if (!in.Line(&line) || line != "    -1") return Fail(&contents->error, "expected a dataset start: " + line);
  if (!in.Line(&line) || line.size() < 6) return Fail(&contents->error, "dataset number missing");
  int64_t number = 0;
  if (!ParseInt(line, 0, 6, &number)) return Fail(&contents->error, "dataset number unreadable: " + line);
  if (number != 58) return SkipToEndOfDataset(in, &contents->error);

  UffChannelData channel;
  const bool binary = line.size() > 6;
  if (binary && !ReadBinaryHeader(line, &channel, &contents->error)) return false;
  if (!ReadRecords(in, &channel, &contents->error)) return false;
  const bool data = binary ? ReadBinaryData(in, &channel, &contents->error)
                           : ReadTextData(in, &channel, &contents->error);
  if (!data) return false;
  if (!in.Line(&line) || line != "    -1") {
    return Fail(&contents->error, "dataset 58 does not end right after its data: " + line);
  }
  contents->channels.push_back(std::move(channel));
  return true;
}

}  // namespace

UffContents ReadUff(const std::string& path) {
  UffContents contents;
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    contents.error = "cannot open " + path;
    return contents;
  }
  Cursor in{std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>())};
  while (!in.AtEnd()) {
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
  for (const UffChannelData& channel : contents.channels) {
    if (static_cast<int64_t>(channel.values.size()) != decoded.scans) return decoded;
  }
  decoded.values.resize(static_cast<size_t>(decoded.scans * decoded.chans));
  for (int32_t c = 0; c < decoded.chans; ++c) {
    for (int64_t s = 0; s < decoded.scans; ++s) {
      decoded.values[static_cast<size_t>(s * decoded.chans + c)] = contents.channels[static_cast<size_t>(c)].values[static_cast<size_t>(s)];
    }
  }
  // Six significant digits: at most half a unit of the fifth decimal of the mantissa.
  const bool binary = !contents.channels.empty() && contents.channels[0].binary;
  decoded.relTolerance = binary ? 0.0 : 5.0000001e-6;
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
