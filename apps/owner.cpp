#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {
namespace {

struct OwnerArguments {
  std::string path;
  std::string stop_at;
  std::string project;
};

}  // namespace

Command add_owner(CLI::App& program) {
  auto arguments = std::make_shared<OwnerArguments>();
  CLI::App* command =
      program.add_subcommand("owner", "Print the project folder that a path lies in, if any");
  command->add_option("--stop-at", arguments->stop_at, "Look only below this folder")
      ->type_name("DIR");
  command->add_option("PATH", arguments->path, "A file or folder; need not exist")
      ->required()
      ->type_name("");
  add_examples(*command, {"owner calculations/water/water.xyz"});
  return [arguments] {
    structure_ingest::OwnerOptions options;
    if (!arguments->stop_at.empty()) options.stop_at = arguments->stop_at;
    const std::optional<std::string> owner =
        structure_ingest::owning_project_root(arguments->path, options);
    if (owner) print_line(printable(*owner));
    return ALL_WELL;
  };
}

Command add_belongs(CLI::App& program) {
  auto arguments = std::make_shared<OwnerArguments>();
  CLI::App* command = program.add_subcommand(
      "belongs", "Print whether a path belongs to a project other than the given one");
  command->add_option("PATH", arguments->path, "A file or folder; need not exist")
      ->required()
      ->type_name("");
  command->add_option("PROJECT", arguments->project, "A project folder")->required()->type_name("");
  add_examples(*command, {"belongs calculations/water/water.xyz my_project"});
  return [arguments] {
    const bool other =
        structure_ingest::belongs_to_another_project(arguments->path, arguments->project);
    print_line(other ? "true" : "false");
    return ALL_WELL;
  };
}

}  // namespace apps
