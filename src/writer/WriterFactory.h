// Creates the target writer for a format id from the writer column of the target table.
#pragma once

#include <cstdint>
#include <memory>

#include "writer/TgtFmt.h"

namespace travune {

using WriterMaker = std::unique_ptr<TgtFmt> (*)(int32_t formatId, SrcFmt* source, const WriterContext& context);

// The writer for formatId, or null when the id has no writer or it could not be allocated.
std::unique_ptr<TgtFmt> CreateWriter(int32_t formatId, SrcFmt* source, const WriterContext& context);

}  // namespace travune
