// Extension replacement and same-file tests.
#include "Paths.h"

#include <strings.h>
#include <sys/stat.h>

#include <filesystem>

namespace travune::cli {
namespace {

namespace fs = std::filesystem;

std::string Normalized(const std::string& path) {
  std::error_code ec;
  const fs::path absolute = fs::absolute(path, ec);
  return (ec ? fs::path(path) : absolute).lexically_normal().string();
}

}  // namespace

std::string ReplaceExtension(const std::string& path, const std::string& ext) {
  const size_t slash = path.find_last_of('/');
  const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = path.find_last_of('.');
  // A point that starts the name (".hidden") is no extension separator.
  if (dot == std::string::npos || dot <= nameStart) return path + ext;
  return path.substr(0, dot) + ext;
}

std::string DataFileFor(const std::string& descName, int32_t sourceType) {
  return ReplaceExtension(descName, sourceType == 6 ? ".hxt" : ".bin");
}

std::string FindDataFile(const std::string& descName, int32_t sourceType) {
  const fs::path wanted(DataFileFor(descName, sourceType));
  std::error_code ec;
  if (fs::exists(wanted, ec)) return wanted.string();
  const fs::path dir = wanted.has_parent_path() ? wanted.parent_path() : fs::path(".");
  for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string candidate = it->path().filename().string();
    if (strcasecmp(candidate.c_str(), wanted.filename().string().c_str()) == 0) {
      return wanted.has_parent_path() ? (dir / candidate).string() : candidate;
    }
  }
  return {};
}

bool SameFile(const std::string& a, const std::string& b) {
  if (Normalized(a) == Normalized(b)) return true;
  struct stat sa {};
  struct stat sb {};
  return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

int64_t FileSize(const std::string& path) {
  struct stat s {};
  return stat(path.c_str(), &s) == 0 ? static_cast<int64_t>(s.st_size) : -1;
}

}  // namespace travune::cli
