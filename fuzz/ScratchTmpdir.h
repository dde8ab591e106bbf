// For the fuzz targets that write files: the library's temporary files (the UFF writers'
// channel files) go into the scratch directory too, where a file left behind shows.
#pragma once

#include <stdlib.h>

#include "ScratchDir.h"

namespace travune::fuzz {

inline void RouteTemporaryFilesToScratch() { ::setenv("TMPDIR", ScratchDir::Instance().Path("").c_str(), 1); }

}  // namespace travune::fuzz
