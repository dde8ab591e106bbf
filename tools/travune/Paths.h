// File-name rules of the tool: extensions, the data file that belongs to a description, and
// whether two names are the same file.
#pragma once

#include <cstdint>
#include <string>

namespace travune::cli {

// path with the extension of its last component replaced by ext (given with its point), or
// with ext appended when it has none. "run.DSC" + ".bin" = "run.bin".
std::string ReplaceExtension(const std::string& path, const std::string& ext);

// The data file of a description: ".hxt" for Celdrin (type 6), ".bin" for every other type.
std::string DataFileFor(const std::string& descName, int32_t sourceType);

// The data file of a description as it exists beside it, its extension in any letter case
// ("run.BIN" for "run.DSC"); empty when there is none.
std::string FindDataFile(const std::string& descName, int32_t sourceType);

// True when a and b name the same file: equal normalized absolute paths, or, when both exist,
// the same device and inode (links included).
bool SameFile(const std::string& a, const std::string& b);

// Size in bytes, or -1 when the file cannot be examined.
int64_t FileSize(const std::string& path);

}  // namespace travune::cli
