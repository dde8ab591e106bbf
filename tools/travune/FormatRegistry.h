// The library's format registry as the tool sees it: every row of the source and target
// sections, read through cvtGetFormatByIndex, and target look-up by short name or id.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace travune::cli {

struct FormatRow {
  int32_t id = 0;
  std::string displayName;
  std::string ext1;  // data file
  std::string ext2;  // companion file (description of a source, header of a target); may be empty
  std::string shortName;
  int32_t kind = 0;
};

// The rows of the source section (sources = true) or of the target section, in order.
std::vector<FormatRow> ReadFormatSection(bool sources);

// The target format named by its short name (any letter case) or its numeric id.
std::optional<FormatRow> FindTargetFormat(const std::string& nameOrId);

// "Float32 (9), ASCII (3), ...": the accepted target names for messages.
std::string AcceptedTargetNames();
// A source type by application name (any case) or id; -1 when unknown.
int32_t SourceTypeFromName(const std::string& nameOrId);
// The application name of a source type id ("morvane").
const char* SourceTypeName(int32_t id);
// Every source type as "name (id)", for messages.
std::string AcceptedSourceTypeNames();

}  // namespace travune::cli
