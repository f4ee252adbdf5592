// The options that several subcommands have, and how their values are read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "collaborators/agent_modules/project_state.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/frames.hpp"

namespace apps {

// ---- Paths: arguments, and the lines of a list ----

struct PathArguments {
  std::vector<std::string> paths;
  std::string files_from;  // a file of paths, "-" for standard input; empty for none
  bool null_separated = false;
  bool relative_to_project = false;  // instead of to the current folder

  bool are_empty() const { return paths.empty() && files_from.empty(); }
};

struct GivenPath {
  std::string path;
  std::string origin;  // "paths.txt:3" for a path from a list, else empty
};

/// Declares PATH, --files-from and --null.
void add_path_options(Command& command, PathArguments& arguments, const std::string& about_paths);

/// Declares these, and --relative-to-project, for a command that takes files into a project.
void add_project_path_options(Command& command, PathArguments& arguments,
                              const std::string& about_paths);

/// Throws WrongOptions when there is neither a path nor a list of paths.
void require_paths(const PathArguments& arguments);

/// The paths in order, arguments first, each byte for byte as it was given; empty lines of a list
/// are skipped. A folder stands for the structure files below it. Throws WrongInput, with file and
/// line, for a list that cannot be read or used.
std::vector<GivenPath> given_paths(const PathArguments& arguments);

/// The paths without their origins.
std::vector<std::string> texts_of(const std::vector<GivenPath>& paths);

/// The same as the library takes them, to which a relative path is the project's: the user's are
/// made absolute, unless told otherwise. "." and ".." are gone, so that one file has one path.
std::vector<std::string> paths_into_project(const PathArguments& arguments);

// ---- The state that a command works on ----

using agent_modules::PROJECT_STATE;
using agent_modules::ProjectState;
using StateArguments = agent_modules::StateLocation;

/// Declares --state and --project, which exclude each other.
void add_state_options(Command& command, StateArguments& arguments,
                       const std::string& about_project);

/// Declares --verbose.
void add_verbose_option(Command& command, bool& verbose);

/// Declares --molecules.
void add_molecules_option(Command& command, bool& molecules);

// ---- How files are read ----

struct ReadingArguments {
  std::string jobs;  // empty for as many as there are cores
  bool no_cache = false;
};

/// Declares --jobs and --no-cache.
void add_reading_options(Command& command, ReadingArguments& arguments);

/// Declares --no-cache.
void add_cache_option(Command& command, bool& no_cache);

/// What these say of a parser. Throws WrongInput for a --jobs that is no number from 1 on.
structure_ingest::StructureParserOptions parser_options(const ReadingArguments& arguments);

// ---- Single values: each function throws WrongInput for a text that is none ----

/// A decimal number. A leading zero makes it no octal number, as the option parser would have it.
std::optional<int> whole_number(std::string_view text);

/// The value of --limit.
int read_limit(const std::string& text);

/// The value of --frame.
structure_ingest::FrameChoice read_frame_choice(const std::string& text);

}  // namespace apps
