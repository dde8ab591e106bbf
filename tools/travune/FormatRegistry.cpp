// Reads the registry rows through the public format queries.
#include "FormatRegistry.h"

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
    if (tvnGetFormatByIndex(index, sources ? 1 : 0, display, ext1, ext2, shortName, &row.kind, &row.id) != 1) break;
    row.displayName = display;
    row.ext1 = ext1;
    row.ext2 = ext2;
    row.shortName = shortName;
    rows.push_back(row);
  }
  return rows;
}

std::optional<FormatRow> FindTargetFormat(const std::string& nameOrId) {
  const int32_t id = tvnFormatIdFromName(nameOrId.c_str(), 0);
  for (const FormatRow& row : ReadFormatSection(false)) {
    if (row.id == id) return row;
  }
  return std::nullopt;
}

int32_t SourceTypeFromName(const std::string& nameOrId) { return tvnFormatIdFromName(nameOrId.c_str(), 1); }

const char* SourceTypeName(int32_t id) {
  const char* name = tvnFormatName(id, 1);
  return name ? name : "unknown";
}

std::string AcceptedSourceTypeNames() {
  std::string text;
  for (const FormatRow& row : ReadFormatSection(true)) {
    if (!text.empty()) text += ", ";
    text += std::string(SourceTypeName(row.id)) + " (" + std::to_string(row.id) + ")";
  }
  return text;
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
