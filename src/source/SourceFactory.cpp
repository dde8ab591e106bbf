// Builds a source through its row of the format table.
#include "source/SourceFactory.h"

#include "api/FormatRegistry.h"

namespace travune {

std::unique_ptr<SrcFmt> CreateSource(int32_t typeId, const uint8_t* image, size_t size, const SourceContext& context) {
  const FormatRow* row = FormatById(FormatSection::kSource, typeId);
  if (row == nullptr || row->makeSource == nullptr) return nullptr;
  return row->makeSource(image, size, context);
}

}  // namespace travune
