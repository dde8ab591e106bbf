// "travune formats": both sections of the format registry as a table.
#include <cstdio>

#include "ArgParser.h"
#include "Commands.h"
#include "FormatRegistry.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune formats\n"
    "\n"
    "Lists the source types the library reads and the target formats it writes, as the\n"
    "library's registry describes them: id, short name, display name, extensions, kind.\n"
    "Targets are chosen in 'travune convert --to' by short name or id; sources in '--type'\n"
    "by application name (morvane, tarquil, brenlow, vexmoor, threnix, quillon, celdrin).\n"
    "\n"
    "example:\n"
    "  travune formats\n";

const char* KindName(int32_t kind) {
  switch (kind) {
    case 1:
      return "source";
    case 2:
      return "target";
    case 6:
      return "target (reserved)";
    default:
      return "?";
  }
}

void PrintSection(const char* title, bool sources) {
  std::printf("%s\n", title);
  std::printf("  %-4s %-10s %-26s %-6s %-6s %s\n", "id", "short", "display name", "ext1", "ext2", "kind");
  for (const FormatRow& row : ReadFormatSection(sources)) {
    std::printf("  %-4d %-10s %-26s %-6s %-6s %s\n", row.id, row.shortName.empty() ? "-" : row.shortName.c_str(),
                row.displayName.c_str(), row.ext1.c_str(), row.ext2.empty() ? "-" : row.ext2.c_str(),
                KindName(row.kind));
  }
}

}  // namespace

int RunFormats(const Args& args) {
  ArgParser parser;
  std::string error;
  if (!parser.Parse(args, &error)) return UsageError("formats", error);
  if (parser.WantsHelp()) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (!parser.Positionals().empty()) return UsageError("formats", "unexpected argument " + parser.Positionals()[0]);
  PrintSection("Source types (read with --type; choose them by application name):", true);
  std::printf("\n");
  PrintSection("Target formats (written with convert --to; choose them by short name or id):", false);
  return kExitOk;
}

}  // namespace travune::cli
