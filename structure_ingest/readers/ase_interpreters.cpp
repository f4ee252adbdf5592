#include "structure_ingest/readers/ase_interpreters.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "structure_ingest/base/path.hpp"

namespace structure_ingest::internal {

std::vector<std::string> ase_interpreters() {
  std::vector<std::string> interpreters;
  const char* variable = std::getenv("PATH");
  std::string_view folders = variable != nullptr ? variable : "";
  while (!folders.empty() && interpreters.empty()) {
    const std::string_view folder = folders.substr(0, folders.find(':'));
    folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
    if (!is_absolute(folder)) continue;
    std::string file = join_path(folder, "python3");
    if (is_regular_file(file) && access(file.c_str(), X_OK) == 0) {
      interpreters.push_back(std::move(file));
    }
  }
  const std::string configured = STRUCTURE_INGEST_PYTHON;  // by the build; may be empty
  if (!configured.empty() && (interpreters.empty() || interpreters.front() != configured)) {
    interpreters.push_back(configured);
  }
  return interpreters;
}

}  // namespace structure_ingest::internal
