#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "apps/options.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "telling/words.hpp"

namespace apps {
namespace {

using structure_ingest::CopyFate;
using structure_ingest::ForgetOutcome;
using structure_ingest::Json;
using structure_ingest::ProjectStructure;
using structure_ingest::UnclearName;

struct ForgetArguments {
  StateArguments state;
  std::vector<std::string> names;
  bool delete_copy = false;
  bool dry_run = false;
};

std::string label_of(const ProjectStructure& structure) {
  return structure.source_file.empty() ? structure.path : structure.source_file;
}

/// Refuses names that do not tell one structure; each is said on standard error, but for the last.
void require_clear_names(const ForgetOutcome& outcome, const std::string& file) {
  for (std::size_t i = 0; i < outcome.unclear.size(); ++i) {
    const UnclearName& unclear = outcome.unclear[i];
    std::string message = unclear.name + ": ";
    if (unclear.fits.empty()) {
      message += "no structure of that name in " + file;
    } else {
      message += "fits " + std::to_string(unclear.fits.size()) + " structures:";
      for (const ProjectStructure& structure : unclear.fits) {
        message += " " + label_of(structure) + " (" + structure.path + "),";
      }
      message += " give the path of the one that is meant";
    }
    message += "; nothing was forgotten";
    if (i + 1 == outcome.unclear.size()) throw WrongInput(message);
    print_error(message);
  }
}

/// Prints what was forgotten, and what became of the copies, or would become after a dry run.
void print_forgotten(const ForgetOutcome& outcome, const std::map<std::string, CopyFate>& fates,
                     bool dry_run) {
  for (const ProjectStructure& structure : outcome.forgotten) {
    print_line("forgotten  " + printable(label_of(structure)));
    if (structure.ok) {
      print_row("formula", telling::composition(structure.formula, structure.natoms));
    }
    if (structure.copy.empty()) continue;
    const bool is_needed = std::find(outcome.copies.begin(), outcome.copies.end(),
                                     structure.copy) == outcome.copies.end();
    const auto fate = fates.find(structure.copy);
    const bool goes = fate != fates.end() && fate->second != CopyFate::changed;
    print_row("copy", (!goes     ? "kept: "
                       : dry_run ? "to be deleted: "
                                 : "deleted: ") +
                          structure.copy +
                          (is_needed                      ? " (another structure has it)"
                           : fate != fates.end() && !goes ? " (it was changed)"
                                                          : ""));
  }
  for (const std::string& note : outcome.notes) print_row("note", "taken out: " + note);
}

Status run(const ForgetArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  if (project.state.is_null()) throw WrongInput(project.file + ": no such file");
  const structure_ingest::ForgetOptions options{.folder = std::filesystem::current_path().string(),
                                                .dry_run = arguments.dry_run};
  ForgetOutcome outcome;
  const auto forget = [&](Json& state) {
    outcome = structure_ingest::forget_structures(state, arguments.names, options);
    require_clear_names(outcome, project.file);
  };
  if (arguments.dry_run) {
    Json state = project.state;
    forget(state);
    print_line("Dry run: nothing is written. What would be forgotten:");
  } else {
    change_state(arguments.state, forget);
  }
  Status status = ALL_WELL;
  std::map<std::string, CopyFate> fates;
  // Delete copies only now: that of a structure that the state still has must not go.
  for (const std::string& copy :
       arguments.delete_copy ? outcome.copies : std::vector<std::string>()) {
    try {
      fates[copy] = structure_ingest::delete_copy(project.project, copy, arguments.dry_run);
    } catch (const std::system_error& error) {
      print_error(error.what());
      status = CANNOT_WRITE;
    }
  }
  if (!arguments.dry_run) structure_ingest::forget_findings(project.project, outcome.sources);
  print_forgotten(outcome, fates, arguments.dry_run);
  return status;
}

}  // namespace

Command forget_command() {
  auto arguments = std::make_shared<ForgetArguments>();
  Command command{.name = "forget",
                  .about = "Take structures out of a project's state, with the notes on them",
                  .examples = {"forget --project my_project water.xyz",
                               "forget --delete-copy ingested_water_e78b2589.xyz"},
                  .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add(
      "--delete-copy", &arguments->delete_copy,
      "Delete the canonical copy as well, unless another structure has it or it was changed");
  command.add("--dry-run", &arguments->dry_run, "Write nothing; say what would be done");
  command.add("NAME", &arguments->names,
              "A structure: the path or the file name of its source or of its copy",
              {.required = true});
  return command;
}

}  // namespace apps
