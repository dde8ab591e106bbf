// Parsing of one subcommand's options and positional arguments.
#include "ArgParser.h"

#include <charconv>

namespace travune::cli {

bool ArgParser::Parse(const std::vector<std::string>& args, std::string* error) {
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      positionals_.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    if (arg == "--help" || arg == "-h") {
      given_["--help"] = "";
      continue;
    }
    const size_t equals = arg.find('=');
    const std::string name = arg.substr(0, equals);
    if (flags_.count(name) != 0 && equals == std::string::npos) {
      given_[name] = "";
    } else if (valued_.count(name) != 0) {
      if (equals != std::string::npos) {
        given_[name] = arg.substr(equals + 1);
      } else if (i + 1 < args.size()) {
        given_[name] = args[++i];
      } else {
        *error = "option " + name + " needs a value";
        return false;
      }
    } else {
      *error = "unknown option " + arg;
      return false;
    }
  }
  return true;
}

std::optional<std::string> ArgParser::Get(const std::string& name) const {
  const auto it = given_.find(name);
  if (it == given_.end()) return std::nullopt;
  return it->second;
}

std::optional<int64_t> ParseNumber(const std::string& text, int64_t low, int64_t high) {
  int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value < low || value > high) return std::nullopt;
  return value;
}

}  // namespace travune::cli
