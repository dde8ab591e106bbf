// Command-line options of one subcommand: declared flags and valued options ("--to X" or
// "--to=X"), positional arguments, and "--help"/"-h", which every subcommand knows.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace travune::cli {

class ArgParser {
 public:
  void Flag(const std::string& name) { flags_.insert(name); }
  void Value(const std::string& name) { valued_.insert(name); }

  // Splits args into options and positionals; false with error for an unknown option or a
  // valued option without its value.
  bool Parse(const std::vector<std::string>& args, std::string* error);

  bool Has(const std::string& name) const { return given_.count(name) != 0; }
  std::optional<std::string> Get(const std::string& name) const;
  bool WantsHelp() const { return Has("--help"); }
  const std::vector<std::string>& Positionals() const { return positionals_; }

 private:
  std::set<std::string> flags_;
  std::set<std::string> valued_;
  std::map<std::string, std::string> given_;
  std::vector<std::string> positionals_;
};

// A whole decimal number within [low, high]; empty otherwise.
std::optional<int64_t> ParseNumber(const std::string& text, int64_t low, int64_t high);

}  // namespace travune::cli
