// Creates the target writer for a format id: one row per writer.
#pragma once

#include <cstdint>
#include <memory>

#include "writer/TgtFmt.h"

namespace travune {

struct WriterContext {
  uint32_t flags = 0;             // conversion flags (bit 0: scan times wanted)
  const char* listSeparator = ",";
};

// The writer for formatId, or null when the id has no writer or it could not be allocated.
std::unique_ptr<TgtFmt> CreateWriter(int32_t formatId, SrcFmt* source, const WriterContext& context);

}  // namespace travune
