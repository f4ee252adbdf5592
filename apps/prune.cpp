#include <algorithm>

#include "apps/options.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/words.hpp"

namespace apps {
namespace {

using structure_ingest::CopyFate;
using structure_ingest::Json;
using structure_ingest::PrunedCopy;

struct PruneArguments {
  StateArguments state;
  bool dry_run = false;
};

/// Prints what became of a copy, or would.
Status print_pruned(const PrunedCopy& pruned, bool dry_run) {
  const std::string copy = printable(pruned.copy);
  if (!pruned.problem.empty()) {
    print_error(pruned.problem);
    return CANNOT_WRITE;
  }
  if (pruned.fate == CopyFate::changed) {
    print_line("kept     " + copy);
    print_row("", "It was changed since it was written.");
  } else {
    print_line((dry_run ? "to go    " : "deleted  ") + copy);
  }
  return ALL_WELL;
}

Status run(const PruneArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  if (project.state.is_null()) {
    throw WrongInput(project.file + ": no such file: nothing tells which copies are needed");
  }
  std::vector<PrunedCopy> pruned;
  const auto prune = [&](const Json& state) {
    pruned = structure_ingest::prune_copies(project.project, state, arguments.dry_run);
  };
  if (arguments.dry_run) {
    prune(project.state);
  } else {
    change_state(arguments.state, prune);  // which stays as it is, and nobody takes files in
  }
  Status status = ALL_WELL;
  for (const PrunedCopy& each : pruned) {
    status = std::max(status, print_pruned(each, arguments.dry_run));
  }
  if (pruned.empty()) print_line("Every copy is named by an entry.");
  return status;
}

}  // namespace

Command prune_command() {
  auto arguments = std::make_shared<PruneArguments>();
  Command command{.name = "prune",
                  .about = "Remove the copies in a project that no entry names",
                  .examples = {"prune --project my_project --dry-run"},
                  .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add("--dry-run", &arguments->dry_run, "Remove nothing; say what would go");
  return command;
}

}  // namespace apps
