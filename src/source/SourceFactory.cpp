// The table of source types: id, application name and how to build the source from a
// description image. A new source type is one row here.
#include "source/SourceFactory.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>

#include "source/SrcFmtBrenlow.h"
#include "source/SrcFmtBrenlowTitled.h"
#include "source/SrcFmtCeldrin.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtQuillon.h"
#include "source/SrcFmtTarquil.h"

namespace travune {

namespace {

using SourceMaker = SrcFmt* (*)(const uint8_t* image, size_t size, const SourceContext& context);

struct SourceRow {
  int32_t id;
  const char* name;
  SourceMaker make;
};

const SourceRow kSources[] = {
    {2, "brenlow", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtBrenlow(i, n);
     }},
    {3, "morvane", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtMorvane(i, n);
     }},
    {4, "tarquil", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtTarquil(i, n);
     }},
    {5, "quillon", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtQuillon(i, n);
     }},
    {6, "celdrin", [](const uint8_t* i, size_t n, const SourceContext& c) -> SrcFmt* {
       return new (std::nothrow) SrcFmtCeldrin(i, n, c.listSeparator, c.dataFileSize);
     }},
    {7, "vexmoor", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtBrenlowTitled(i, n, "Vexmoor");
     }},
    {8, "threnix", [](const uint8_t* i, size_t n, const SourceContext&) -> SrcFmt* {
       return new (std::nothrow) SrcFmtBrenlowTitled(i, n, "Threnix");
     }},
};

const SourceRow* FindRow(int32_t typeId) {
  for (const SourceRow& row : kSources) {
    if (row.id == typeId) return &row;
  }
  return nullptr;
}

bool EqualsIgnoringCase(const char* a, const char* b) {
  for (; *a && *b; ++a, ++b) {
    if (std::tolower(static_cast<unsigned char>(*a)) != std::tolower(static_cast<unsigned char>(*b))) return false;
  }
  return *a == *b;
}

}  // namespace

std::unique_ptr<SrcFmt> CreateSource(int32_t typeId, const uint8_t* image, size_t size, const SourceContext& context) {
  const SourceRow* row = FindRow(typeId);
  if (row == nullptr) return nullptr;
  return std::unique_ptr<SrcFmt>(row->make(image, size, context));
}

const char* SourceTypeName(int32_t typeId) {
  const SourceRow* row = FindRow(typeId);
  return row ? row->name : nullptr;
}

int32_t SourceTypeFromName(const char* name) {
  if (name == nullptr || *name == '\0') return -1;
  for (const SourceRow& row : kSources) {
    if (EqualsIgnoringCase(name, row.name)) return row.id;
  }
  char* end = nullptr;
  const long id = std::strtol(name, &end, 10);
  if (*end == '\0' && FindRow(static_cast<int32_t>(id)) != nullptr && id == static_cast<int32_t>(id)) {
    return static_cast<int32_t>(id);
  }
  return -1;
}

}  // namespace travune
