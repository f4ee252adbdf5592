#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/project/folder_owners.hpp"

namespace apps {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

struct ScanArguments {
  std::string directory;
  std::string project;
  bool json = false;
};

/// What a scan for a project makes of the files that it finds.
class ScannedFiles {
 public:
  ScannedFiles(std::string project, std::string_view kind)
      : project_(std::move(project)), kind_(kind) {}

  Json describe(const std::string& path) {
    const std::string resolved = resolver_.resolve(path);
    const std::optional<std::string> owner = owners_.owner_of(resolved);
    return {{"path", path},
            {"discovery", kind_},
            {"owner", owner ? Json(*owner) : Json()},
            {"taken", !owners_.is_foreign(resolved, project_)}};
  }

 private:
  std::string project_;
  std::string_view kind_;
  base::PathResolver resolver_;
  base::FolderOwners owners_{std::nullopt};
};

/// Says which folders were left out, and why.
void tell_of(const std::vector<std::string>& folders, const std::string& root, const char* why) {
  constexpr std::size_t MOST = 3;
  for (std::size_t i = 0; i < std::min(folders.size(), MOST); ++i) {
    print_error(base::join_path(root, folders[i]) + ": " + why + "; left out");
  }
  if (folders.size() > MOST) {
    print_error(std::to_string(folders.size() - MOST) + " folders more: " + why + "; left out");
  }
}

void show(const Json& file) {
  print_line(printable(file["path"].get<std::string>()));
  print_row("found", found_in_words(file["discovery"].get<std::string>()));
  const Json& owner = file["owner"];
  print_row("project", owner.is_null() ? "none" : owner.get<std::string>());
  if (!file["taken"].get<bool>()) print_row("", "another project's: left alone");
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
  ScannedFiles scanned(project, base::is_within(project, root)
                                    ? structure_ingest::DISCOVERY_PROJECT_FOLDER
                                    : structure_ingest::DISCOVERY_WORKSPACE_SCAN);
  Json files = Json::array();
  for (const std::string& file : tree.structure_files) {
    files.push_back(scanned.describe(base::join_path(root, file)));
  }
  if (arguments.json) {
    print_line(structure_ingest::json_text(files));
  } else {
    for (const Json& file : files) show(file);
    if (files.empty()) print_line("No structure files.");
  }
  tell_of(tree.unreadable_folders, root, "cannot be read");
  tell_of(tree.untrusted_folders, root, "listed as untrusted");
  return ALL_WELL;
}

}  // namespace

Command add_scan(CLI::App& program) {
  auto arguments = std::make_shared<ScanArguments>();
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
