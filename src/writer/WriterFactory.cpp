// Builds a writer through its row of the format table.
#include "writer/WriterFactory.h"

#include "api/FormatRegistry.h"

namespace travune {

std::unique_ptr<TgtFmt> CreateWriter(int32_t formatId, SrcFmt* source, const WriterContext& context) {
  const FormatRow* row = FormatById(FormatSection::kTarget, formatId);
  if (row == nullptr || row->makeWriter == nullptr) return nullptr;
  return row->makeWriter(source, context);
}

}  // namespace travune
