#include "structure_ingest/readers/ase_places.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "structure_ingest/base/path.hpp"

// The build tells the places that it knows: STRUCTURE_INGEST_PYTHON (may be empty), and the folders
// of an installation, relative to its prefix and as configured.

namespace structure_ingest::internal {
namespace {

constexpr std::string_view INSTALLED_NAME = "structure_ingest/ase_worker.py";

/// What `folder` is inside of when it ends with the path `inner`; empty when it does not.
std::string_view prefix_of(std::string_view folder, std::string_view inner) {
  if (!folder.ends_with(inner)) return {};
  folder.remove_suffix(inner.size());
  return folder.ends_with('/') ? folder : std::string_view();
}

/// The script of the installation that has `file` in its folder `inner`.
void add_installed(std::vector<std::string>& scripts, const std::string& file,
                   std::string_view inner) {
  if (!is_absolute(file)) return;
  const std::string folder = parent_folder(file);
  const std::string_view prefix = prefix_of(folder, inner);
  if (prefix.empty()) return;
  scripts.push_back(join_path(join_path(prefix, STRUCTURE_INGEST_INSTALL_DATADIR), INSTALLED_NAME));
}

std::string program_file() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

/// The file that this code was loaded from. For a program that is the name it was started with.
std::string library_file() {
  static const char inside = 0;
  Dl_info info{};
  if (dladdr(&inside, &info) == 0 || info.dli_fname == nullptr) return {};
  return info.dli_fname;
}

}  // namespace

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
  const std::string configured = STRUCTURE_INGEST_PYTHON;
  if (!configured.empty() && (interpreters.empty() || interpreters.front() != configured)) {
    interpreters.push_back(configured);
  }
  return interpreters;
}

std::optional<std::string> ase_worker_script() {
  std::vector<std::string> scripts;
  add_installed(scripts, library_file(), STRUCTURE_INGEST_INSTALL_LIBDIR);
  add_installed(scripts, program_file(), STRUCTURE_INGEST_INSTALL_BINDIR);
  scripts.push_back(join_path(STRUCTURE_INGEST_INSTALL_FULL_DATADIR, INSTALLED_NAME));
  scripts.emplace_back(STRUCTURE_INGEST_SOURCE_SCRIPT);
  const auto found = std::find_if(scripts.begin(), scripts.end(), is_regular_file);
  return found != scripts.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace structure_ingest::internal
