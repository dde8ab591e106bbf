// The travune command-line tool: dispatches to the subcommands, all of which work through the
// library's public C functions only.
#include <cstdio>
#include <cstring>

#include "Commands.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

constexpr const char* kHelp =
    "usage: travune COMMAND [OPTIONS] [ARGS]\n"
    "\n"
    "Reads data-acquisition recordings (a description file plus a raw data file) and\n"
    "converts them to analysis formats.\n"
    "\n"
    "commands:\n"
    "  formats    list the source types and target formats\n"
    "  info       show what an acquisition holds\n"
    "  dump       print scaled values as a table\n"
    "  convert    convert an acquisition into a target format\n"
    "  sample     write a synthetic acquisition with known waveforms\n"
    "  demo       write a sample of every type and convert each to raw floats\n"
    "\n"
    "'travune COMMAND --help' or 'travune help COMMAND' explains a command.\n"
    "\n"
    "examples:\n"
    "  travune sample --type morvane run\n"
    "  travune info run.DSC\n"
    "  travune convert run.DSC --to Float32 -o run.f32\n"
    "\n"
    "exit status: 0 success, 1 failure, 2 usage error\n";

struct Command {
  const char* name;
  int (*run)(const Args&);
};

constexpr Command kCommands[] = {
    {"formats", RunFormats}, {"info", RunInfo},     {"dump", RunDump},
    {"convert", RunConvert}, {"sample", RunSample}, {"demo", RunDemo},
};

int RunCommand(const std::string& name, const Args& args) {
  for (const Command& command : kCommands) {
    if (name == command.name) return command.run(args);
  }
  return UsageError("", "unknown command '" + name + "'");
}

}  // namespace

void PrintError(const std::string& text) { std::fprintf(stderr, "travune: %s\n", text.c_str()); }

int UsageError(const std::string& command, const std::string& text) {
  PrintError(text);
  std::fprintf(stderr, "see 'travune %s--help'\n", command.empty() ? "" : (command + " ").c_str());
  return kExitUsage;
}

}  // namespace travune::cli

int main(int argc, char** argv) {
  using namespace travune::cli;
  if (argc < 2) {
    std::fputs(kHelp, stderr);
    return kExitUsage;
  }
  const std::string name = argv[1];
  // "travune help COMMAND" is "travune COMMAND --help".
  if (name == "help" && argc > 2) return RunCommand(argv[2], {"--help"});
  if (name == "--help" || name == "-h" || name == "help") {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (name == "--version") {
    char version[16] = {};
    cvtGetVersion(version, sizeof version);
    std::printf("travune %s\n", version);
    return kExitOk;
  }
  return RunCommand(name, Args(argv + 2, argv + argc));
}
