// The subcommands of the travune tool and the exit codes they share.
#pragma once

#include <string>
#include <vector>

namespace travune::cli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

using Args = std::vector<std::string>;  // the arguments after the subcommand's name

int RunFormats(const Args& args);
int RunInfo(const Args& args);
int RunDump(const Args& args);
int RunConvert(const Args& args);
int RunSample(const Args& args);
int RunDemo(const Args& args);

// Prints "travune: text" on standard error.
void PrintError(const std::string& text);
// Prints a usage error with a hint to the command's help and returns kExitUsage.
int UsageError(const std::string& command, const std::string& text);

}  // namespace travune::cli
