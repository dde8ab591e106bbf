// Creation and removal of the benchmarks' scratch directories.
#include "ScratchDir.h"

#include <stdlib.h>

#include <system_error>
#include <vector>

namespace travune::bench {

ScratchDir::ScratchDir(const std::string& tag) {
  std::error_code ec;
  const std::filesystem::path base = std::filesystem::temp_directory_path(ec);
  if (ec) return;
  const std::string pattern = (base / ("travune-bench-" + tag + "-XXXXXX")).string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) != nullptr) path_ = name.data();
}

ScratchDir::~ScratchDir() {
  if (!Exists()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace travune::bench
