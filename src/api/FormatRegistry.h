// The constant table of source types and target formats, searched by section.
#pragma once

#include <cstdint>

namespace travune {

enum FormatKind : int32_t { kKindSource = 1, kKindTarget = 2, kKindReservedTarget = 6 };

struct FormatRow {
  int32_t id;
  const char* displayName;
  const char* ext1;  // data file (raw scans of a source; converted blocks of a target)
  const char* ext2;  // companion file (description of a source; header of a target), or ""
  const char* shortName;
  int32_t kind;
};

enum class FormatSection { kSource, kTarget };

inline constexpr int32_t kNumSourceRows = 7;
inline constexpr int32_t kNumTargetRows = 14;

// The row position of id in the section, or -1.
int32_t FindFormat(FormatSection section, int32_t id);
// The row at position in the section, or null when out of range.
const FormatRow* FormatAt(FormatSection section, int32_t position);

}  // namespace travune
