// The table of target writers: format id and how to build its writer. A new writer is one row.
#include "writer/WriterFactory.h"

#include <new>

#include "writer/TgtFmtFloat32.h"

namespace travune {

namespace {

using WriterMaker = TgtFmt* (*)(SrcFmt* source, const WriterContext& context);

struct WriterRow {
  int32_t formatId;
  WriterMaker make;
};

const WriterRow kWriters[] = {
    {9, [](SrcFmt* s, const WriterContext&) -> TgtFmt* { return new (std::nothrow) TgtFmtFloat32(s); }},
};

}  // namespace

std::unique_ptr<TgtFmt> CreateWriter(int32_t formatId, SrcFmt* source, const WriterContext& context) {
  for (const WriterRow& row : kWriters) {
    if (row.formatId == formatId) return std::unique_ptr<TgtFmt>(row.make(source, context));
  }
  return nullptr;
}

}  // namespace travune
