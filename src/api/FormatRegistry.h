// The constant table of source types and target formats: one row holds everything about a
// format (its exported texts, the name users type, how to recognise, build or name it).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "source/DescReader.h"
#include "source/SourceFactory.h"
#include "writer/WriterFactory.h"

namespace travune {

enum FormatKind : int32_t { kKindSource = 1, kKindTarget = 2, kKindReservedTarget = 6 };

using SourceMakerFn = std::unique_ptr<SrcFmt> (*)(const uint8_t* image, size_t size, const SourceContext& context);
// True when the description (its reader and its file extension with the dot) is of this type.
using RecogniserFn = bool (*)(DescReader& reader, const char* extension);
using WriterMakerFn = std::unique_ptr<TgtFmt> (*)(SrcFmt* source, const WriterContext& context);
// Adjusts the last component of an output file name in place.
using NamingRuleFn = void (*)(char* lastComponent);

struct FormatRow {
  int32_t id;
  const char* displayName;
  const char* ext1;  // data file (raw scans of a source; converted blocks of a target)
  const char* ext2;  // companion file (description of a source; header of a target), or ""
  const char* shortName;
  int32_t kind;
  const char* name;  // the name users type: the application of a source, the short name of a target
  SourceMakerFn makeSource = nullptr;
  RecogniserFn recognise = nullptr;
  int32_t recogniserOrder = 0;  // 1, 2, ...: the order in which opening by detection tries them
  WriterMakerFn makeWriter = nullptr;
  NamingRuleFn adjustName = nullptr;
};

// kTarget: the fourteen target formats the cvt* functions export. kHandleTarget: those and, after
// them, the formats only the handle API writes (HDF5, when the library is built with it).
enum class FormatSection { kSource, kTarget, kHandleTarget };

inline constexpr int32_t kNumSourceRows = 7;
inline constexpr int32_t kNumTargetRows = 14;
#ifdef TRAVUNE_HAVE_HDF5
inline constexpr int32_t kNumHandleOnlyTargetRows = 1;
#else
inline constexpr int32_t kNumHandleOnlyTargetRows = 0;
#endif

// The row position of id in the section, or -1.
int32_t FindFormat(FormatSection section, int32_t id);
// The row at position in the section, or null when out of range.
const FormatRow* FormatAt(FormatSection section, int32_t position);
// The row of id in the section, or null.
const FormatRow* FormatById(FormatSection section, int32_t id);
// The id whose name or display name is text (any case), or a target's short name (sources share
// theirs: "bin", "data"), or whose decimal id it is; -1 when none.
int32_t FormatIdFromName(FormatSection section, const char* text);

}  // namespace travune
