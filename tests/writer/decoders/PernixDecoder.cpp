// Pernix decoder: the file must exist and hold nothing.
#include "writer/decoders/PernixDecoder.h"

#include <filesystem>
#include <system_error>

namespace travune::testing {

Decoded DecodePernix(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  std::error_code error;
  decoded.ok = std::filesystem::is_regular_file(dataPath, error) && std::filesystem::file_size(dataPath, error) == 0 &&
               !error;
  return decoded;
}

}  // namespace travune::testing
