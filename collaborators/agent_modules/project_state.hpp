// The state that an agent keeps in a file: one of its own, or that of a project.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "structure_ingest/base/json.hpp"

namespace agent_modules {

/// The state of a project, in its folder.
inline constexpr const char* PROJECT_STATE = ".strataquill_state.json";

/// Where a state is: in a file of its own, or in a project.
struct StateLocation {
  std::string state{};    // a file; empty for that of a project
  std::string project{};  // a folder; empty for the current one
};

/// A state that is missing or cannot be used; the message says which and why.
struct StateError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The file that holds the state.
std::string state_file_of(const StateLocation& location);

/// A state as it was read, and the project that it is of.
struct ProjectState {
  std::string project;             // the folder
  std::string file;                // of the state
  structure_ingest::Json state{};  // null when the project has none
  /// The folder that the state says the project is, when that is another one: the project was moved
  /// or copied. Empty otherwise.
  std::string moved_from{};
};

/// Reads a state and writes nothing. Throws StateError for a folder that is not there, and for a
/// state that cannot be read or, in a file of its own, is missing.
ProjectState read_project_state(const StateLocation& location);

/// Whether a folder is a project: it has a state, a manifest or copies of structures.
bool is_project(const ProjectState& project);

/// Throws StateError for a folder that is none. The message names the project that the folder lies
/// in, if any.
void require_project(const ProjectState& project);

/// Lets `change` work on the state and writes it back when it is different afterwards; the folder
/// of the state stays locked meanwhile. A project that has no state yet gets one, and a project
/// folder that is missing is created, unless nothing comes of it; the state of a project's own is
/// made to say that project, and one that says another is refused, as is one that cannot be read:
/// StateError. What cannot be written is std::system_error.
void change_state(const StateLocation& location,
                  const std::function<void(structure_ingest::Json&)>& change);

/// The state that `change_state` would hand over, of which nothing is written.
structure_ingest::Json state_to_try(const StateLocation& location);

}  // namespace agent_modules
