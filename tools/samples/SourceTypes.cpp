// The application names of the source types and their ids.
#include "samples/SourceTypes.h"

#include <array>
#include <cctype>
#include <charconv>

namespace travune::samples {
namespace {

struct NamedType {
  const char* name;
  int32_t id;
};

constexpr std::array<NamedType, 7> kTypes{
    {{"morvane", 3}, {"tarquil", 4}, {"brenlow", 2}, {"vexmoor", 7}, {"threnix", 8}, {"quillon", 5}, {"celdrin", 6}}};

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

}  // namespace

int32_t SourceTypeFromName(std::string_view name) {
  for (const NamedType& type : kTypes) {
    if (EqualsIgnoringCase(name, type.name)) return type.id;
  }
  int32_t id = 0;
  const auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), id);
  if (ec != std::errc() || end != name.data() + name.size() || name.empty()) return -1;
  for (const NamedType& type : kTypes) {
    if (type.id == id) return id;
  }
  return -1;
}

const char* SourceTypeName(int32_t id) {
  for (const NamedType& type : kTypes) {
    if (type.id == id) return type.name;
  }
  return "unknown";
}

std::string AcceptedSourceTypeNames() {
  std::string text;
  for (const NamedType& type : kTypes) {
    if (!text.empty()) text += ", ";
    text += type.name;
    text += " (" + std::to_string(type.id) + ")";
  }
  return text;
}

}  // namespace travune::samples
