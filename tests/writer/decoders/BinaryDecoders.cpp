// Decoders of the formats whose data are binary numbers: floats (DADiSP, DIAdem, Snap-Master),
// doubles (MATLAB) and 16-bit codes (DASYLab, WAV), each with the header that describes them.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

// The file name without its directory.
std::string FileName(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The floats of bytes from at on, chans to a scan; nothing unless they fill whole scans.
void Floats(const std::string& bytes, size_t at, int chans, Decoded* decoded) {
  if (chans <= 0 || (bytes.size() - at) % (4 * static_cast<size_t>(chans)) != 0) return;
  decoded->chans = chans;
  decoded->scans = static_cast<int64_t>((bytes.size() - at) / (4 * static_cast<size_t>(chans)));
  for (; at < bytes.size(); at += 4) decoded->values.push_back(LittleEndianFloat(&bytes[at]));
  decoded->ok = true;
}

// The lines "KEY value" of a DADiSP header: the value of the one starting with key, or "".
std::string DADiSPValue(const std::vector<std::string>& lines, const std::string& key) {
  for (const std::string& line : lines) {
    if (line.rfind(key + " ", 0) == 0) return line.substr(key.size() + 1);
  }
  return "";
}

// Items of a DADiSP series line: " a , b , c " holds three.
int ItemCount(const std::string& list) {
  return list.empty() ? 0 : static_cast<int>(std::count(list.begin(), list.end(), ',')) + 1;
}

// A DIAdem header is "DIAEXTENDED", a global block and channel blocks between
// "#BEGINCHANNELHEADER" and "#ENDCHANNELHEADER" of "key,value" lines. The first channel is the
// time: IMPLICIT with start (240) and step (241), or EXPLICIT like the data channels, whose float
// sits at position 221 (from 1) of 222 values per scan in the file named by 211.
using Keys = std::map<int, std::string>;

std::string At(const Keys& keys, int key) {
  const auto found = keys.find(key);
  return found == keys.end() ? "" : found->second;
}

// The key lines of every channel block, in order; empty when the header is malformed.
std::vector<Keys> ChannelBlocks(const std::string& headerPath) {
  std::vector<std::string> lines;
  if (!CrlfLines(headerPath, &lines) || lines.size() < 3 || lines[0] != "DIAEXTENDED {@:ENGLISH" ||
      !lines[1].empty() || lines[2] != "#BEGINGLOBALHEADER") {
    return {};
  }
  std::vector<Keys> blocks;
  bool global = true, inBlock = false;
  for (size_t i = 3; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    const size_t comma = line.find(',');
    int key = 0;
    if (global) {
      global = line != "#ENDGLOBALHEADER";
    } else if (line == "#BEGINCHANNELHEADER" && !inBlock) {
      blocks.emplace_back();
      inBlock = true;
    } else if (line == "#ENDCHANNELHEADER" && inBlock) {
      inBlock = false;
    } else if (inBlock && comma != std::string::npos && ParseWhole(line.substr(0, comma), &key)) {
      blocks.back()[key] = line.substr(comma + 1);
    } else if (inBlock || !line.empty()) {
      return {};
    }
  }
  return inBlock || global ? std::vector<Keys>{} : blocks;
}

// Where a float channel of dataPath lies; false when its keys do not describe one.
bool Position(const Keys& keys, const std::string& dataPath, size_t* position, size_t* perScan) {
  return At(keys, 210) == "EXPLICIT" && At(keys, 211) == FileName(dataPath) && At(keys, 213) == "BLOCK" &&
         At(keys, 214) == "REAL32" && ParseWhole(At(keys, 221), position) && ParseWhole(At(keys, 222), perScan) &&
         *position >= 1 && *position <= *perScan;
}

// The data channels' values (every channel block after the first) and each scan's time (the
// first block: implicit, or the scan's first float); nothing when the files do not decode.
void ReadDIAdem(const std::string& dataPath, const std::string& headerPath, Decoded* decoded,
                std::vector<double>* times) {
  const std::vector<Keys> blocks = ChannelBlocks(headerPath);
  if (blocks.empty()) return;
  const bool implicit = At(blocks[0], 210) == "IMPLICIT";
  double start = 0.0, step = 0.0;
  if (implicit && (!ParseWhole(At(blocks[0], 240), &start) || !ParseWhole(At(blocks[0], 241), &step))) return;
  std::vector<size_t> positions;
  size_t perScan = 0;
  for (size_t i = implicit ? 1 : 0; i < blocks.size(); ++i) {
    size_t position = 0, count = 0;
    if (!Position(blocks[i], dataPath, &position, &count) || (i == 0 && position != 1)) return;
    if (perScan != 0 && count != perScan) return;
    perScan = count;
    positions.push_back(position);
  }
  const std::string data = FileContents(dataPath);
  if (perScan == 0 || data.size() % (4 * perScan) != 0) return;
  const auto floatAt = [&](size_t scan, size_t position) {
    return LittleEndianFloat(&data[4 * (scan * perScan + position - 1)]);
  };
  decoded->scans = static_cast<int64_t>(data.size() / (4 * perScan));
  decoded->chans = static_cast<int32_t>(blocks.size() - 1);
  for (size_t s = 0; s < data.size() / (4 * perScan); ++s) {
    times->push_back(implicit ? start + static_cast<double>(s) * step : floatAt(s, 1));
    for (size_t c = implicit ? 0 : 1; c < positions.size(); ++c) decoded->values.push_back(floatAt(s, positions[c]));
  }
  // A float holds the value to half a unit in its last place: 2^-24 relative, or the smallest
  // subnormal's half near zero.
  decoded->relTolerance = 5.9604645e-8 * 1.000001;
  decoded->absTolerance = 7.1e-46;
  decoded->ok = true;
}

}  // namespace

Decoded DecodeDADiSP(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  std::vector<std::string> lines;
  if (!CrlfLines(headerPath, &lines) || lines.empty() || lines[0].rfind("DATASET ", 0) != 0 ||
      DADiSPValue(lines, "FILE_TYPE") != "FLOAT" || DADiSPValue(lines, "STORAGE_MODE") != "INTERLACED") {
    return decoded;
  }
  int chans = 0;
  if (ParseWhole(DADiSPValue(lines, "NUM_SERIES"), &chans) && ItemCount(DADiSPValue(lines, "SERIES")) == chans &&
      ItemCount(DADiSPValue(lines, "VERT_UNITS")) == chans) {
    Floats(FileContents(dataPath), 0, chans, &decoded);
  }
  return decoded;
}

// The text header ends with " CHANNEL<tab>UNIT:" CR LF, followed by one 35-byte line per
// channel; the 52-byte global block (0x00 0x1A "IN") gives the text length + 28 and the channel
// count; each 406-byte channel record gives the slope and offset that turn a 16-bit code into
// the value code × slope + offset.
Decoded DecodeDASYLab(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const std::string file = FileContents(dataPath);
  const std::string kChannels = "DATA CHANNELS\t= ", kTextEnd = " CHANNEL\tUNIT:\r\n";
  const size_t channelsAt = file.find(kChannels);
  const size_t textEnd = file.find(kTextEnd);
  if (file.rfind("DTDF\r\r\n", 0) != 0 || channelsAt == std::string::npos || textEnd == std::string::npos) {
    return decoded;
  }
  const size_t chans = static_cast<size_t>(std::max(0, std::atoi(file.c_str() + channelsAt + kChannels.size())));
  const size_t global = textEnd + kTextEnd.size() + 35 * chans;
  const size_t records = global + 52;
  const size_t samples = records + 406 * chans;
  if (chans == 0 || file.size() < samples || file.compare(global, 4, std::string("\0\x1AIN", 4)) != 0 ||
      LittleEndianWord(&file[global + 4], 2) != ((global + 28) & 0xFFFF) ||
      LittleEndianWord(&file[global + 18], 2) != chans || LittleEndianWord(&file[global + 12], 2) != 406 ||
      (file.size() - samples) % (2 * chans) != 0) {
    return decoded;
  }
  std::vector<double> slope(chans), offset(chans);
  for (size_t c = 0; c < chans; ++c) {
    const char* record = &file[records + 406 * c];
    if (LittleEndianWord(record, 2) != 406) return decoded;
    slope[c] = LittleEndianDouble(record + 390);
    offset[c] = LittleEndianDouble(record + 398);
    // Rounding to the nearest code loses up to half a step.
    decoded.absTolerance = std::fmax(decoded.absTolerance, std::fabs(slope[c]) * 0.5000001);
  }
  decoded.relTolerance = 1e-12;
  decoded.chans = static_cast<int32_t>(chans);
  decoded.scans = static_cast<int64_t>((file.size() - samples) / (2 * chans));
  for (size_t i = samples, c = 0; i < file.size(); i += 2, c = (c + 1) % chans) {
    decoded.values.push_back(static_cast<double>(LittleEndianWord(&file[i], 2)) * slope[c] + offset[c]);
  }
  decoded.ok = true;
  return decoded;
}

Decoded DecodeDIAdem(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  std::vector<double> times;
  ReadDIAdem(dataPath, headerPath, &decoded, &times);
  return decoded;
}

std::vector<double> DecodeDIAdemTimes(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  std::vector<double> times;
  ReadDIAdem(dataPath, headerPath, &decoded, &times);
  return times;
}

// Five little-endian 32-bit words (type 0 = little-endian doubles, full matrix; rows; columns;
// imaginary flag 0; name length 2), the name "A\0", then the matrix column by column. The
// values are handed back row by row.
Decoded DecodeMatlab(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  const std::string name = FileName(dataPath);
  const std::string text = "The file " + name.substr(0, name.rfind('.')) +
                           ".MAT contains the acquisition data in a matrix format.\r\nThe matrix name is: A.\r\n";
  if (!headerPath.empty() && FileContents(headerPath) != text) return decoded;
  const std::string file = FileContents(dataPath);
  constexpr size_t kHead = 22;
  if (file.size() < kHead || LittleEndianWord(&file[0], 4) != 0 || LittleEndianWord(&file[12], 4) != 0 ||
      LittleEndianWord(&file[16], 4) != 2 || file.compare(20, 2, std::string("A\0", 2)) != 0) {
    return decoded;
  }
  const uint64_t rows = LittleEndianWord(&file[4], 4);
  const uint64_t columns = LittleEndianWord(&file[8], 4);
  if (file.size() != kHead + 8 * rows * columns) return decoded;
  decoded.scans = static_cast<int64_t>(rows);
  decoded.chans = static_cast<int32_t>(columns);
  decoded.values.resize(rows * columns);
  for (uint64_t c = 0; c < columns; ++c) {
    for (uint64_t r = 0; r < rows; ++r) {
      decoded.values[r * columns + c] = LittleEndianDouble(&file[kHead + 8 * (c * rows + r)]);
    }
  }
  decoded.ok = true;
  return decoded;
}

// The data file opens with '"Snap-Master Data File", N' and N key lines '"KEY", LEN, =VALUE'
// whose VALUE is exactly LEN characters (it may hold CR LF), then a '"TR", K' record of K lines,
// the byte 0xAA and the interleaved floats. Every length is followed exactly, so a wrong length
// field makes the file undecodable.
Decoded DecodeSnapMaster(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  if (FileContents(headerPath) != "Snap-Master Data File.\r\n" + dataPath + "\r\n\x1A") return decoded;
  const std::string data = FileContents(dataPath);
  Cursor in(data);
  std::map<std::string, std::string> keys;
  std::string line, key, length;
  int count = 0, records = 0;
  size_t size = 0;
  if (!in.Take("\"Snap-Master Data File\", ") || !in.Line(&line) || !ParseWhole(line, &count)) return decoded;
  for (; count > 0; --count) {
    if (!in.Take("\"") || !in.Until('"', &key) || !in.Take(", ") || !in.Until(',', &length) ||
        !ParseWhole(length, &size) || !in.Take(" =") || !in.Bytes(size, &keys[key]) || !in.Take("\r\n")) {
      return decoded;
    }
  }
  if (!in.Take("\"TR\", ") || !in.Line(&line) || !ParseWhole(line, &records)) return decoded;
  for (; records > 0; --records) {
    if (!in.Line(&line)) return decoded;
  }
  int chans = 0;
  if (in.Take("\xAA") && keys["FILE.TYPE$"] == "Interleaved Analog Binary" && ParseWhole(keys["NCHAN%"], &chans)) {
    Floats(data, data.size() - in.Rest(), chans, &decoded);
  }
  return decoded;
}

// A RIFF WAVE file of 16-bit PCM whose "fmt " chunk of 16 bytes is followed by the "data"
// chunk; the frames present, at most as many as the data chunk announces.
Decoded DecodeWav(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const std::string bytes = FileContents(dataPath);
  constexpr size_t kHead = 44;
  if (bytes.size() < kHead || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 8, "WAVEfmt ") != 0 ||
      bytes.compare(36, 4, "data") != 0) {
    return decoded;
  }
  const uint64_t channels = LittleEndianWord(&bytes[22], 2);
  const uint64_t dataBytes = LittleEndianWord(&bytes[40], 4);
  if (LittleEndianWord(&bytes[16], 4) != 16 || LittleEndianWord(&bytes[20], 2) != 1 || channels == 0 ||
      LittleEndianWord(&bytes[32], 2) != 2 * channels || LittleEndianWord(&bytes[34], 2) != 16) {
    return decoded;
  }
  decoded.chans = static_cast<int32_t>(channels);
  decoded.scans = static_cast<int64_t>(std::min<uint64_t>(dataBytes, bytes.size() - kHead) / (2 * channels));
  for (size_t at = kHead; at < kHead + static_cast<size_t>(decoded.scans) * 2 * channels; at += 2) {
    decoded.values.push_back(static_cast<int16_t>(LittleEndianWord(&bytes[at], 2)));
  }
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
