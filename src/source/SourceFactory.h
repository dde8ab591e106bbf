// Creates the acquisition source for a source type id from a description image, and the
// recognisers that tell source types apart: one row per source type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "source/SrcFmt.h"

namespace travune {

struct SourceContext {
  const char* listSeparator = ",";
  int64_t dataFileSize = 0;
};

// The source for typeId built from the image (check GetStatus), or null for an unknown id or a
// failed allocation.
std::unique_ptr<SrcFmt> CreateSource(int32_t typeId, const uint8_t* image, size_t size,
                                     const SourceContext& context);

// The application name of a source type ("morvane", ...), or null for an unknown id.
const char* SourceTypeName(int32_t typeId);
// The type id of an application name (case-insensitive) or a decimal id; -1 when unknown.
int32_t SourceTypeFromName(const char* name);

}  // namespace travune
