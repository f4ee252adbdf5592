#include "apps/project_state.hpp"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/outcome.hpp"
#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/folder_lock.hpp"

namespace apps {
namespace {

namespace fs = std::filesystem;
using structure_ingest::Json;

std::string normal_folder(const std::string& folder) {
  std::string normal = fs::absolute(folder).lexically_normal().string();
  if (normal.size() > 1 && normal.ends_with('/')) normal.pop_back();
  return normal;
}

/// The folder of a project that is named by neither option is the current one.
std::string folder_of(const StateArguments& arguments) {
  return arguments.project.empty() ? "." : arguments.project;
}

/// Whether `named` names no project, or the folder `project`.
bool names_project(const Json& named, const std::string& project) {
  std::error_code error;
  return named.is_string() && fs::equivalent(named.get<std::string>(), project, error);
}

bool is_missing(const Json& named) {
  return named.is_null() || (named.is_string() && named.get_ref<const std::string&>().empty());
}

/// Has the state of a project's own say that project: one that says another was moved or copied.
void adopt_project(Json& state, const StateArguments& arguments) {
  const std::string folder = normal_folder(folder_of(arguments));
  const std::string kept = structure_ingest::parse_json(structure_ingest::json_text(Json(folder)));
  if (kept != folder) throw WrongInput(folder + ": a state can hold no path that is not UTF-8");
  Json& named = state["project_path"];
  if (is_missing(named)) {
    named = folder;
  } else if (!names_project(named, folder)) {
    throw WrongInput(folder + ": its state says that its \"project_path\" is " +
                     structure_ingest::json_text(named) +
                     "; if the project was moved here, set it to " +
                     structure_ingest::json_text(Json(folder)) + " in " + state_file_of(arguments));
  }
}

/// Reads the state; null where there is none.
Json read_state(const std::string& path) {
  Json state;
  try {
    state = agent_modules::read_json(path, nullptr);
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(malformed(path, "the state is malformed: ", error));
  } catch (const std::system_error& error) {
    throw WrongInput(error.what());
  }
  std::error_code ignored;
  if (!state.is_object() && fs::exists(path, ignored)) {
    throw WrongInput(path + ": the state is not a JSON object");
  }
  return state;
}

void require_state_file(const StateArguments& arguments) {
  std::error_code ignored;
  if (!arguments.state.empty() && !fs::exists(arguments.state, ignored)) {
    throw WrongInput(arguments.state + ": no such file");
  }
}

}  // namespace

void add_state_options(CLI::App& command, StateArguments& arguments,
                       const std::string& about_project) {
  CLI::Option* const state =
      command.add_option("--state", arguments.state, "The agent state, a JSON file")
          ->type_name("FILE");
  CLI::Option* const project =
      command.add_option("--project", arguments.project, about_project)->type_name("DIR");
  state->excludes(project);
}

std::string state_file_of(const StateArguments& arguments) {
  if (!arguments.state.empty()) return arguments.state;
  return (fs::path(folder_of(arguments)) / PROJECT_STATE).string();
}

ProjectState read_project_state(const StateArguments& arguments) {
  require_state_file(arguments);
  ProjectState found{.project = folder_of(arguments), .file = state_file_of(arguments)};
  std::error_code ignored;
  if (arguments.state.empty() && !fs::is_directory(found.project, ignored)) {
    throw WrongInput(found.project + ": no such folder");
  }
  found.state = read_state(found.file);
  const Json named = found.state.is_object() && found.state.contains("project_path")
                         ? found.state["project_path"]
                         : Json();
  if (!arguments.state.empty()) {
    found.project = named.is_string() && !is_missing(named) ? named.get<std::string>() : ".";
  } else if (!is_missing(named) && !names_project(named, found.project)) {
    found.moved_from =
        named.is_string() ? named.get<std::string>() : structure_ingest::json_text(named);
  }
  found.project = normal_folder(found.project);
  return found;
}

void change_state(const StateArguments& arguments, const std::function<void(Json&)>& change) {
  require_state_file(arguments);
  const std::string path = state_file_of(arguments);
  bool was_read = false;
  try {
    agent_modules::update_json(path, Json::object(), [&](Json& state) {
      was_read = true;
      if (!state.is_object()) throw WrongInput(path + ": the state is not a JSON object");
      if (arguments.state.empty()) adopt_project(state, arguments);
      change(state);
    });
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(malformed(path, "the state is malformed: ", error));
  } catch (const structure_ingest::internal::LockError&) {
    throw;  // the state could not have been written
  } catch (const std::system_error& error) {
    if (was_read) throw;
    throw WrongInput(error.what());
  }
}

Json state_to_try(const StateArguments& arguments) {
  require_state_file(arguments);
  Json state = read_state(state_file_of(arguments));
  if (state.is_null()) state = Json::object();
  std::error_code ignored;
  const bool can_adopt = arguments.state.empty() && fs::is_directory(folder_of(arguments), ignored);
  if (can_adopt) adopt_project(state, arguments);
  if (arguments.state.empty() && !can_adopt) {
    state["project_path"] = normal_folder(folder_of(arguments));
  }
  return state;
}

}  // namespace apps
