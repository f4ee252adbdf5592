#include "outputs/output_file.hpp"

#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "collaborators/agent_modules/project_state.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace outputs {
namespace {

namespace base = structure_ingest::internal;
namespace fs = std::filesystem;

/// Whether a file begins as the pages and the SVG pictures do that this program writes.
bool is_of_our_making(const std::string& path) {
  std::array<char, 1024> bytes{};
  std::string_view beginning;
  try {
    beginning = {bytes.data(), base::InputFile(path).read(bytes.data(), bytes.size())};
  } catch (const std::system_error&) {
    return false;
  }
  return beginning.find("<meta name=\"generator\" content=\"structure-ingest\">") !=
             std::string_view::npos ||
         beginning.find("aria-labelledby=\"si-title si-desc\"") != std::string_view::npos;
}

/// The one of these files that `path` is, by itself or by a link; nothing when it is none.
std::optional<std::string> same_file_among(const std::vector<std::string>& files,
                                           const std::string& path) {
  for (const std::string& file : files) {
    std::error_code error;
    if (fs::equivalent(file, path, error)) return file;
  }
  return std::nullopt;
}

}  // namespace

std::string ending_of_output(const std::string& path, const std::vector<std::string>& endings) {
  const std::string name = base::ascii_lower_cased(path);
  std::string known;
  for (const std::string& ending : endings) {
    if (name.ends_with(ending) && name.size() > ending.size()) return ending;
    known += (known.empty() ? "" : " or ") + ending;
  }
  throw RefusedOutput(path + ": its name must end with " + known);
}

void require_xyz_name(const std::string& path) {
  if (fs::path(path).has_extension()) ending_of_output(path, {".xyz", ".extxyz"});
}

void require_replaceable(const std::string& output, bool force,
                         const std::vector<std::string>& made_from) {
  if (output.empty()) throw RefusedOutput("the name of the file to write is empty");
  std::error_code error;
  const fs::file_status there = fs::symlink_status(output, error);
  if (!exists(there) || is_directory(there)) return;
  if (const auto same = same_file_among(made_from, output)) {
    throw RefusedOutput(output + ": it is " + *same + ", which the output is made from");
  }
  if (const auto project = structure_ingest::owning_project_root(output)) {
    if (same_file_among(files_of_project(*project), output)) {
      throw RefusedOutput(output + ": it is a file of the project " + *project);
    }
  }
  if (!force && !is_of_our_making(output)) {
    throw RefusedOutput(output + ": it exists already", true);
  }
}

std::vector<std::string> files_of_project(const std::string& project) {
  std::vector<std::string> files = {
      base::join_path(project, agent_modules::PROJECT_STATE),
      base::join_path(project, structure_ingest::INGEST_MANIFEST_REL)};
  for (const std::string& copy : structure_ingest::copies_in(project)) {
    files.push_back(base::join_path(project, copy));
  }
  try {
    const auto state = agent_modules::read_project_state({.project = project});
    for (const auto& held : structure_ingest::list_structures(project, state.state).structures) {
      if (!held.source_file.empty()) {
        files.push_back(structure_ingest::file_stored_as(held.source_file));
      }
    }
  } catch (const agent_modules::StateError&) {
    // Without a readable state nothing tells its sources.
  } catch (const std::invalid_argument&) {
    // Nor does one whose sources are no list.
  }
  return files;
}

}  // namespace outputs
