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

Command owner_command() {
  auto arguments = std::make_shared<OwnerArguments>();
  Command command{.name = "owner", .about = "Print the project folder that a path lies in, if any"};
  command.add_option("--stop-at", arguments->stop_at, "DIR", "Look only below this folder");
  command.add_argument("PATH", arguments->path, "A file or folder; need not exist");
  command.examples = {"owner calculations/water/water.xyz"};
  command.run = [arguments] {
    structure_ingest::OwnerOptions options;
    if (!arguments->stop_at.empty()) options.stop_at = arguments->stop_at;
    const std::optional<std::string> owner =
        structure_ingest::owning_project_root(arguments->path, options);
    if (owner) print_line(printable(*owner));
    return ALL_WELL;
  };
  return command;
}

Command belongs_command() {
  auto arguments = std::make_shared<OwnerArguments>();
  Command command{.name = "belongs",
                  .about = "Print whether a path belongs to a project other than the given one"};
  command.add_argument("PATH", arguments->path, "A file or folder; need not exist");
  command.add_argument("PROJECT", arguments->project, "A project folder");
  command.examples = {"belongs calculations/water/water.xyz my_project"};
  command.run = [arguments] {
    const bool other =
        structure_ingest::belongs_to_another_project(arguments->path, arguments->project);
    print_line(other ? "true" : "false");
    return ALL_WELL;
  };
  return command;
}

}  // namespace apps
