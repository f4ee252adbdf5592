#include "collaborators/agent_modules/project_state.hpp"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace agent_modules {
namespace {

namespace fs = std::filesystem;
using structure_ingest::Json;

std::string normal_folder(const std::string& folder) {
  std::string normal = fs::absolute(folder).lexically_normal().string();
  if (normal.size() > 1 && normal.ends_with('/')) normal.pop_back();
  return normal;
}

/// The folder of a project that is named by neither option is the current one.
std::string folder_of(const StateLocation& location) {
  return location.project.empty() ? "." : location.project;
}

/// Whether `named` names no project, or the folder `project`.
bool names_project(const Json& named, const std::string& project) {
  std::error_code error;
  return named.is_string() && fs::equivalent(named.get<std::string>(), project, error);
}

bool is_missing(const Json& named) {
  return named.is_null() || (named.is_string() && named.get_ref<const std::string&>().empty());
}

/// Sets the project in a project's own state. Throws StateError for a state that names another: the
/// project was moved or copied.
void adopt_project(Json& state, const StateLocation& location) {
  const std::string folder = normal_folder(folder_of(location));
  const std::string kept = structure_ingest::parse_json(structure_ingest::json_text(Json(folder)));
  if (kept != folder) throw StateError(folder + ": a state can hold no path that is not UTF-8");
  Json& named = state["project_path"];
  if (is_missing(named)) {
    named = folder;
  } else if (!names_project(named, folder)) {
    throw StateError(folder + ": its state says that its \"project_path\" is " +
                     structure_ingest::json_text(named) +
                     "; if the project was moved here, set it to " +
                     structure_ingest::json_text(Json(folder)) + " in " + state_file_of(location));
  }
}

/// Reads the state; null where there is none.
Json read_state(const std::string& path) {
  Json state;
  try {
    state = read_json(path, nullptr);
  } catch (const structure_ingest::JsonError& error) {
    throw StateError(malformed(path, "the state is malformed: ", error));
  } catch (const std::system_error& error) {
    throw StateError(error.what());
  }
  std::error_code ignored;
  if (!state.is_object() && fs::exists(path, ignored)) {
    throw StateError(path + ": the state is not a JSON object");
  }
  return state;
}

void require_state_file(const StateLocation& location) {
  std::error_code ignored;
  if (!location.state.empty() && !fs::exists(location.state, ignored)) {
    throw StateError(location.state + ": no such file");
  }
}

}  // namespace

std::string state_file_of(const StateLocation& location) {
  if (!location.state.empty()) return location.state;
  return (fs::path(folder_of(location)) / PROJECT_STATE).string();
}

ProjectState read_project_state(const StateLocation& location) {
  require_state_file(location);
  ProjectState found{.project = folder_of(location), .file = state_file_of(location)};
  std::error_code ignored;
  if (location.state.empty() && !fs::is_directory(found.project, ignored)) {
    throw StateError(found.project + ": no such folder");
  }
  found.state = read_state(found.file);
  const Json named = found.state.is_object() && found.state.contains("project_path")
                         ? found.state["project_path"]
                         : Json();
  if (!location.state.empty()) {
    found.project = named.is_string() && !is_missing(named) ? named.get<std::string>() : ".";
  } else if (!is_missing(named) && !names_project(named, found.project)) {
    found.moved_from =
        named.is_string() ? named.get<std::string>() : structure_ingest::json_text(named);
  }
  found.project = normal_folder(found.project);
  return found;
}

bool is_project(const ProjectState& project) {
  std::error_code ignored;
  const auto has = [&](std::string_view name) {
    return fs::exists(fs::path(project.project) / name, ignored);
  };
  return !project.state.is_null() || has(structure_ingest::INGEST_MANIFEST_REL) ||
         has(structure_ingest::INGESTED_DIRNAME);
}

void require_project(const ProjectState& project) {
  if (is_project(project)) return;
  const auto owner = structure_ingest::owning_project_root(project.project);
  throw StateError(project.project + ": not a project: it has no " + PROJECT_STATE +
                   (owner ? "; it lies in the project " + *owner : ""));
}

void change_state(const StateLocation& location, const std::function<void(Json&)>& change) {
  require_state_file(location);
  const std::string path = state_file_of(location);
  std::optional<structure_ingest::internal::NewFolder> folder;
  if (location.state.empty()) folder.emplace(folder_of(location));
  bool was_read = false;
  try {
    update_json(path, Json::object(), [&](Json& state) {
      was_read = true;
      if (!state.is_object()) throw StateError(path + ": the state is not a JSON object");
      if (location.state.empty()) adopt_project(state, location);
      change(state);
    });
  } catch (const structure_ingest::JsonError& error) {
    throw StateError(malformed(path, "the state is malformed: ", error));
  } catch (const structure_ingest::internal::LockError&) {
    throw;  // the state could not have been written
  } catch (const std::system_error& error) {
    if (was_read) throw;
    throw StateError(error.what());
  }
}

Json state_to_try(const StateLocation& location) {
  require_state_file(location);
  Json state = read_state(state_file_of(location));
  if (state.is_null()) state = Json::object();
  std::error_code ignored;
  if (!location.state.empty()) return state;
  if (fs::is_directory(folder_of(location), ignored)) {
    adopt_project(state, location);
  } else {
    state["project_path"] = normal_folder(folder_of(location));
  }
  return state;
}

}  // namespace agent_modules
