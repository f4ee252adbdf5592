#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "structure_ingest/base/path.hpp"

namespace apps {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

struct Arguments {
  std::string directory;
  std::string project;
  bool json = false;
};

/// What a scan of `root` would make of one of its files.
Json scanned_file(const std::string& path, std::string_view kind, const std::string& project) {
  const std::optional<std::string> owner = structure_ingest::owning_project_root(path);
  return {{"path", path},
          {"discovery", kind},
          {"owner", owner ? Json(*owner) : Json()},
          {"taken", !structure_ingest::belongs_to_another_project(path, project)}};
}

Status run(const Arguments& arguments) {
  if (arguments.directory.empty()) throw WrongInput("DIR: the name is empty");
  const std::string root = base::resolve_path(arguments.directory);
  const std::string project =
      arguments.project.empty() ? root : base::resolve_path(arguments.project);
  std::error_code error;
  if (!base::is_directory(root)) {
    throw WrongInput(arguments.directory + ": not a directory");
  }
  // The inventory leaves out folders that cannot be read; that none may be is said.
  std::filesystem::directory_iterator(root, error);
  if (error) throw WrongInput(arguments.directory + ": " + error.message());
  const std::string_view kind = base::is_within(project, root)
                                    ? structure_ingest::DISCOVERY_PROJECT_FOLDER
                                    : structure_ingest::DISCOVERY_WORKSPACE_SCAN;
  Json files = Json::array();
  for (const std::string& file : agent_modules::inventory_workspace(root).structure_files) {
    files.push_back(scanned_file(base::join_path(root, file), kind, project));
  }
  if (arguments.json) {
    print_line(structure_ingest::json_text(files));
    return ALL_WELL;
  }
  for (const Json& file : files) {
    print_line(printable(file["path"].get<std::string>()));
    print_row("found", std::string(kind));
    const Json& owner = file["owner"];
    print_row("project", owner.is_null() ? "none" : owner.get<std::string>());
    if (!file["taken"].get<bool>()) print_row("", "another project's: left alone");
  }
  if (files.empty()) print_line("No structure files.");
  return ALL_WELL;
}

}  // namespace

Command add_scan(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = program.add_subcommand(
      "scan", "List the structure files under a directory, with their kind and project");
  command
      ->add_option("--project", arguments->project, "The project that scans (default: DIR itself)")
      ->type_name("DIR");
  command->add_flag("--json", arguments->json, "One JSON array of the files");
  command->add_option("DIR", arguments->directory, "The directory")->required()->type_name("");
  add_examples(*command, {"scan ~/calculations", "scan ~/calculations --project my_project"});
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
