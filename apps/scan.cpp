#include <algorithm>
#include <filesystem>
#include <system_error>

#include "apps/folder_files.hpp"
#include "apps/options.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/outcomes.hpp"
#include "telling/structures.hpp"

namespace apps {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

struct ScanArguments {
  std::string directory;
  std::string project;
  bool json = false;
  bool verbose = false;
  bool paths = false;
  bool null_separated = false;
};

void print_file(const structure_ingest::ScannedFile& file, Detail detail) {
  print_line(printable(file.path));
  if (detail == Detail::all) {
    print_row("found", telling::found_text(std::string(file.discovery)));
    print_row("project", file.owner.value_or("none"));
  }
  if (!file.taken) print_row("", "another project's: left alone");
}

Status run(const ScanArguments& arguments) {
  if (arguments.directory.empty()) throw WrongInput("DIR: the name is empty");
  const std::string root = base::resolve_path(arguments.directory);
  const std::string project =
      arguments.project.empty() ? root : base::resolve_path(arguments.project);
  if (!base::is_directory(root)) throw WrongInput(arguments.directory + ": not a directory");
  std::error_code error;
  const std::filesystem::directory_iterator first(root, error);
  if (error) throw WrongInput(std::system_error(error, arguments.directory).what());
  const agent_modules::FolderTree tree = agent_modules::list_folder_tree(root);
  structure_ingest::ScannedFiles scanned(root, project);
  const Detail detail = detail_of(tree.structure_files.size(), arguments.verbose);
  Json files = Json::array();
  for (const std::string& relative : tree.structure_files) {
    const structure_ingest::ScannedFile file = scanned.describe(base::join_path(root, relative));
    if (arguments.paths) {
      if (file.taken) print_text(file.path + (arguments.null_separated ? '\0' : '\n'));
    } else if (arguments.json) {
      files.push_back(telling::scanned_json(file));
    } else {
      print_file(file, detail);
    }
  }
  if (arguments.paths) {
    // Others read them.
  } else if (arguments.json) {
    print_line(structure_ingest::json_text(files));
  } else if (tree.structure_files.empty()) {
    print_line("No structure files.");
  } else if (detail == Detail::few) {
    print_line(base::counted(tree.structure_files.size(), "structure file"));
  }
  warn_left_out(tree, root);
  return ALL_WELL;
}

}  // namespace

Command scan_command() {
  auto arguments = std::make_shared<ScanArguments>();
  Command command{
      .name = "scan",
      .about = "List the structure files under a directory, with their kind and project",
      .examples = {"scan ~/calculations", "scan ~/calculations --project my_project",
                   "scan --paths ~/data | structure-ingest check --files-from -"},
      .run = [arguments] { return run(*arguments); }};
  command.add("--project DIR", &arguments->project, "The project that scans (default: DIR itself)");
  command.add("--json", &arguments->json, "One JSON array of the files");
  command.add("--paths", &arguments->paths,
              "Only the paths, one a line, as --files-from takes them", {.excludes = {"--json"}});
  command.add("-0,--null", &arguments->null_separated,
              "With a NUL character after each path instead of a line feed",
              {.needs = {"--paths"}});
  add_verbose_option(command, arguments->verbose);
  command.add("DIR", &arguments->directory, "The directory", {.required = true});
  return command;
}

}  // namespace apps
