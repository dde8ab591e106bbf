// The application names of the acquisition source types ("morvane", ...) and their type ids,
// shared by the sample generator and the command-line tool.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace travune::samples {

// The type id of an application name (any letter case) or of a decimal id; -1 when unknown.
int32_t SourceTypeFromName(std::string_view name);

// The application name of a type id ("morvane"), or "unknown".
const char* SourceTypeName(int32_t id);

// Every accepted name with its id, for messages: "morvane (3), tarquil (4), ...".
std::string AcceptedSourceTypeNames();

}  // namespace travune::samples
