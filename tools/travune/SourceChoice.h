// Which source type an acquisition is read as: the --type option, or the library's guess,
// announced on standard error with its reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace travune::cli {

// The source type id for the description acq, or -1 after printing why not; exitCode is then
// kExitUsage for an unknown --type name and kExitFailure when the file is missing or no type
// fits it.
int32_t ChooseSourceType(const std::string& command, const std::string& acq,
                         const std::optional<std::string>& typeOption, int* exitCode);

}  // namespace travune::cli
