// Reads and checks the sample options.
#include "SampleOptions.h"

#include <limits>

#include "FormatRegistry.h"

namespace travune::cli {
namespace {

// Reads option name as a whole number within [low, high] into out when it was given.
bool ReadNumber(const ArgParser& parser, const std::string& name, int64_t low, int64_t high, int64_t* out,
                std::string* error) {
  const std::optional<std::string> text = parser.Get(name);
  if (!text) return true;
  const std::optional<int64_t> value = ParseNumber(*text, low, high);
  if (!value) {
    *error = name + " wants a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    return false;
  }
  *out = *value;
  return true;
}

}  // namespace

void DeclareSampleOptions(ArgParser* parser) {
  for (const char* name : {"--type", "--scans", "--chans", "--pretrig"}) parser->Value(name);
  for (const char* name : {"--packed", "--stamps", "--force"}) parser->Flag(name);
}

bool ReadSampleOptions(const ArgParser& parser, samples::SampleSpec* request, std::string* error) {
  const std::string type = parser.Get("--type").value_or("");
  request->type = SourceTypeFromName(type);
  if (request->type < 0) {
    *error = "unknown source type '" + type + "'; accepted: " + AcceptedSourceTypeNames();
    return false;
  }
  constexpr int64_t kMaxCount = std::numeric_limits<int32_t>::max();
  int64_t chans = request->chans;
  if (!ReadNumber(parser, "--scans", 1, kMaxCount, &request->scans, error) ||
      !ReadNumber(parser, "--chans", 0, 256, &chans, error) ||
      !ReadNumber(parser, "--pretrig", 0, kMaxCount, &request->preTrig, error)) {
    return false;
  }
  request->chans = static_cast<int>(chans);
  request->packed = parser.Has("--packed");
  request->stamps = parser.Has("--stamps");
  return samples::CheckSpec(*request, error);
}

}  // namespace travune::cli
