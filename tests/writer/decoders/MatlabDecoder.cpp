// MATLAB Level 4 decoder: five little-endian 32-bit words (type 0 = little-endian doubles, full
// matrix; rows; columns; imaginary flag 0; name length 2), the name "A\0", then the matrix
// column by column. The values are handed back row by row.
#include "writer/decoders/Decoders.h"

namespace travune::testing {

namespace {

// The file name without directory and without its last extension.
std::string BaseName(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? name : name.substr(0, dot);
}

}  // namespace

Decoded DecodeMatlab(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  if (!headerPath.empty() &&
      FileContents(headerPath) !=
          "The file " + BaseName(dataPath) +
              ".MAT contains the acquisition data in a matrix format.\r\nThe matrix name is: A.\r\n") {
    return decoded;
  }
  const std::string file = FileContents(dataPath);
  constexpr size_t kHeader = 22;
  if (file.size() < kHeader || LittleEndianWord(file, 0, 4) != 0 || LittleEndianWord(file, 12, 4) != 0 || LittleEndianWord(file, 16, 4) != 2 ||
      file.compare(20, 2, std::string("A\0", 2)) != 0) {
    return decoded;
  }
  const uint64_t rows = LittleEndianWord(file, 4, 4);
  const uint64_t columns = LittleEndianWord(file, 8, 4);
  if (file.size() != kHeader + 8 * rows * columns) return decoded;
  decoded.scans = static_cast<int64_t>(rows);
  decoded.chans = static_cast<int32_t>(columns);
  decoded.values.resize(rows * columns);
  for (uint64_t c = 0; c < columns; ++c) {
    for (uint64_t r = 0; r < rows; ++r) decoded.values[r * columns + c] = LittleEndianDouble(file, kHeader + 8 * (c * rows + r));
  }
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
