// Reads the registry rows through the public format queries.
#include "FormatRegistry.h"

#include <strings.h>

#include "ArgParser.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr int kMaxRows = 64;    // far more than either section holds; ends a runaway loop
constexpr int kTextSize = 128;  // the longest registry text is 24 characters

}  // namespace

std::vector<FormatRow> ReadFormatSection(bool sources) {
  std::vector<FormatRow> rows;
  for (int32_t index = 0; index < kMaxRows; ++index) {
    char display[kTextSize] = {};
    char ext1[kTextSize] = {};
    char ext2[kTextSize] = {};
    char shortName[kTextSize] = {};
    FormatRow row;
    if (cvtGetFormatByIndex(index, sources ? 1 : 0, display, ext1, ext2, shortName, &row.kind, &row.id) != 1) break;
    row.displayName = display;
    row.ext1 = ext1;
    row.ext2 = ext2;
    row.shortName = shortName;
    rows.push_back(row);
  }
  return rows;
}

std::optional<FormatRow> FindTargetFormat(const std::string& nameOrId) {
  const std::optional<int64_t> id = ParseNumber(nameOrId, INT32_MIN, INT32_MAX);
  for (const FormatRow& row : ReadFormatSection(false)) {
    if (id ? row.id == *id : strcasecmp(row.shortName.c_str(), nameOrId.c_str()) == 0) return row;
  }
  return std::nullopt;
}

std::string AcceptedTargetNames() {
  std::string text;
  for (const FormatRow& row : ReadFormatSection(false)) {
    if (!text.empty()) text += ", ";
    text += row.shortName + " (" + std::to_string(row.id) + ")";
  }
  return text;
}

}  // namespace travune::cli
