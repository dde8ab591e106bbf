// Creates the acquisition source for a source type id from a description image, by the maker
// in the source type's row of the format table.
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

}  // namespace travune
