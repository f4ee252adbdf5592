// The paths that a subcommand works on: arguments, and the lines of a list.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace apps {

struct PathArguments {
  std::vector<std::string> paths;
  std::string files_from;  // a file of paths, "-" for standard input; empty for none
  bool null_separated = false;
};

struct GivenPath {
  std::string path;
  std::string origin;  // "paths.txt:3" for a path from a list, else empty
};

/// Declares PATH, --files-from and --null.
void add_path_options(CLI::App& command, PathArguments& arguments, const std::string& about_paths);

/// Refuses, as the option parser does, that there is neither a path nor a list of paths.
void require_paths(const PathArguments& arguments);

/// The paths in order, arguments first, each byte for byte as it was given; empty lines of a list
/// are skipped. Throws WrongInput, with file and line, for a list that cannot be read or used.
std::vector<GivenPath> given_paths(const PathArguments& arguments);

}  // namespace apps
