// Resolves --type by application name or id, or asks tvnGuessSourceType.
#include "SourceChoice.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Commands.h"
#include "FormatRegistry.h"
#include "Messages.h"
#include "travune/travune.h"

namespace travune::cli {

int32_t ChooseSourceType(const std::string& command, const std::string& acq,
                         const std::optional<std::string>& typeOption, int* exitCode) {
  if (typeOption) {
    const int32_t type = SourceTypeFromName(*typeOption);
    if (type < 0) {
      *exitCode = UsageError(
          command, "unknown source type '" + *typeOption + "'; accepted: " + AcceptedSourceTypeNames());
    }
    return type;
  }
  std::FILE* file = std::fopen(acq.c_str(), "rb");
  if (file == nullptr) {
    PrintError("cannot open " + acq + ": " + std::strerror(errno));
    *exitCode = kExitFailure;
    return -1;
  }
  std::fclose(file);
  char why[1024] = {};
  const int32_t type = tvnGuessSourceType(acq.c_str(), why, sizeof why);
  if (type < 0) {
    PrintError(acq + ": cannot tell the source type: " + why + "; give it with --type, one of " +
               AcceptedSourceTypeNames());
    *exitCode = kExitFailure;
    return -1;
  }
  Note(acq + ": guessed the source type " + SourceTypeName(type) + ": " + why);
  return type;
}

}  // namespace travune::cli
