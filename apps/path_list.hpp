// The paths that a subcommand works on: arguments, and the lines of a list.
#pragma once

#include <string>
#include <vector>

#include "apps/command_line.hpp"

namespace apps {

struct PathArguments {
  std::vector<std::string> paths;
  std::string files_from;  // a file of paths, "-" for standard input; empty for none
  bool null_separated = false;
  bool relative_to_project = false;  // instead of to the current folder
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
/// are skipped. Throws WrongInput, with file and line, for a list that cannot be read or used.
std::vector<GivenPath> given_paths(const PathArguments& arguments);

/// The paths without their origins.
std::vector<std::string> texts_of(const std::vector<GivenPath>& paths);

/// The same as the library takes them, to which a relative path is the project's: the user's are
/// made absolute, unless told otherwise. "." and ".." are gone, so that one file has one path.
std::vector<std::string> paths_into_project(const PathArguments& arguments);

}  // namespace apps
