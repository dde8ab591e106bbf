// Opening the block's output file: exclusively, without truncation until the lock is held, so
// a file someone else holds open is left as it is.
#pragma once

#include <cstdio>

namespace wrtblk32 {

// The file at path opened for binary writing, held exclusively and emptied; null when it cannot
// be created or someone else holds it.
std::FILE* OpenLockedOutputFile(const char* path);

}  // namespace wrtblk32
