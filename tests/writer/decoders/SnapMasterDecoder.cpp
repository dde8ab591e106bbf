// Snap-Master decoder. The data file opens with '"Snap-Master Data File", N' and N key lines
// '"KEY", LEN, =VALUE' whose VALUE is exactly LEN characters (it may hold CR LF), then a
// '"TR", K' record of K lines, the byte 0xAA and the interleaved floats. Every length is
// followed exactly, so a wrong length field makes the file undecodable.
#include "writer/decoders/Decoders.h"

#include <cstdlib>
#include <map>

namespace travune::testing {

namespace {

class Cursor {
 public:
  explicit Cursor(const std::string& text) : text_(text) {}
  bool Take(const std::string& expected) {
    if (text_.compare(pos_, expected.size(), expected) != 0) return false;
    pos_ += expected.size();
    return true;
  }
  // Characters up to (not including) stop; the stop is consumed.
  bool Until(char stop, std::string* out) {
    const size_t end = text_.find(stop, pos_);
    if (end == std::string::npos) return false;
    *out = text_.substr(pos_, end - pos_);
    pos_ = end + 1;
    return true;
  }
  bool Exactly(size_t n, std::string* out) {
    if (pos_ + n > text_.size()) return false;
    *out = text_.substr(pos_, n);
    pos_ += n;
    return true;
  }
  size_t Pos() const { return pos_; }

 private:
  const std::string& text_;
  size_t pos_ = 0;
};

// '"KEY", LEN, =VALUE\r\n'
bool KeyLine(Cursor& in, std::map<std::string, std::string>* keys) {
  std::string key, length, value;
  if (!in.Take("\"") || !in.Until('"', &key) || !in.Take(", ") || !in.Until(',', &length) || !in.Take(" =") ||
      !in.Exactly(static_cast<size_t>(std::atoi(length.c_str())), &value) || !in.Take("\r\n")) {
    return false;
  }
  (*keys)[key] = value;
  return true;
}

}  // namespace

Decoded DecodeSnapMaster(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  const std::string pointer = FileContents(headerPath);
  if (pointer != "Snap-Master Data File.\r\n" + dataPath + "\r\n\x1A") return decoded;
  const std::string data = FileContents(dataPath);
  Cursor in(data);
  std::string count;
  if (!in.Take("\"Snap-Master Data File\", ") || !in.Until('\r', &count) || !in.Take("\n")) return decoded;
  std::map<std::string, std::string> keys;
  for (int i = std::atoi(count.c_str()); i > 0; --i) {
    if (!KeyLine(in, &keys)) return decoded;
  }
  std::string records, line;
  if (!in.Take("\"TR\", ") || !in.Until('\r', &records) || !in.Take("\n")) return decoded;
  for (int i = std::atoi(records.c_str()); i > 0; --i) {
    if (!in.Until('\r', &line) || !in.Take("\n")) return decoded;
  }
  if (!in.Take("\xAA") || keys["FILE.TYPE$"] != "Interleaved Analog Binary") return decoded;
  const int chans = std::atoi(keys["NCHAN%"].c_str());
  const size_t bytes = data.size() - in.Pos();
  if (chans <= 0 || bytes % (4 * static_cast<size_t>(chans)) != 0) return decoded;
  decoded.chans = chans;
  decoded.scans = static_cast<int64_t>(bytes / (4 * static_cast<size_t>(chans)));
  for (size_t i = in.Pos(); i + 4 <= data.size(); i += 4) decoded.values.push_back(LittleEndianFloat(&data[i]));
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
