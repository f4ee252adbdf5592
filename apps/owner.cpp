#include <optional>

#include "apps/command_line.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {
namespace {

struct OwnerArguments {
  std::string path;
  std::string stop_at;
  std::string project;
};

Status print_owner(const OwnerArguments& arguments) {
  structure_ingest::OwnerOptions options;
  if (!arguments.stop_at.empty()) options.stop_at = arguments.stop_at;
  const std::optional<std::string> owner =
      structure_ingest::owning_project_root(arguments.path, options);
  if (owner) print_line(printable(*owner));
  return ALL_WELL;
}

Status print_whether_it_belongs(const OwnerArguments& arguments) {
  const bool other =
      structure_ingest::belongs_to_another_project(arguments.path, arguments.project);
  print_line(other ? "true" : "false");
  return ALL_WELL;
}

}  // namespace

Command owner_command() {
  auto arguments = std::make_shared<OwnerArguments>();
  Command command{.name = "owner",
                  .about = "Print the project folder that a path lies in, if any",
                  .examples = {"owner calculations/water/water.xyz"},
                  .run = [arguments] { return print_owner(*arguments); }};
  command.add("--stop-at DIR", &arguments->stop_at, "Look only below this folder");
  command.add("PATH", &arguments->path, "A file or folder; need not exist", {.required = true});
  return command;
}

Command belongs_command() {
  auto arguments = std::make_shared<OwnerArguments>();
  Command command{.name = "belongs",
                  .about = "Print whether a path belongs to a project other than the given one",
                  .examples = {"belongs calculations/water/water.xyz my_project"},
                  .run = [arguments] { return print_whether_it_belongs(*arguments); }};
  command.add("PATH", &arguments->path, "A file or folder; need not exist", {.required = true});
  command.add("PROJECT", &arguments->project, "A project folder", {.required = true});
  return command;
}

}  // namespace apps
