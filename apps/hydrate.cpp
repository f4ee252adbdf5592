#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/jobs.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/project_state.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"

namespace apps {
namespace {

using structure_ingest::HydrateOutcome;
using structure_ingest::Json;
using structure_ingest::KnownSource;
using structure_ingest::SourceEntry;

struct HydrateArguments {
  StateArguments state;
  std::string limit = std::to_string(structure_ingest::HydrateOptions{}.limit);
  bool refresh = false;
  bool dry_run = false;
  bool json = false;
  bool no_check = false;
  bool note_findings = false;
  std::string jobs;
  PathArguments paths;
};

std::string message_of(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown error";
  }
}

/// Why an entry was kept: the assessor's verdict on it, if it was asked.
std::string reason_kept(const SourceEntry& entry, const structure_ingest::RelevanceReport& report) {
  for (const structure_ingest::RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.source == entry.path()) {
      return verdict.role + (verdict.reason.empty() ? "" : ": " + verdict.reason);
    }
  }
  return "there is no request to judge it by";
}

std::string reason_dropped(const structure_ingest::DroppedStructure& dropped) {
  return dropped.reason.empty() ? "it does not match the requested material" : dropped.reason;
}

/// What to say of a file that the state knows, beside that; empty for nothing.
std::string remark_on(const KnownSource& known) {
  if (!known.taken_for.empty()) {
    return "taken for " + known.taken_for + ", which the state has: letter case is left aside";
  }
  const std::string stays =
      "The state keeps " + std::string(known.ok ? "the structure that it has" : "its entry") + ".";
  if (!known.problem.empty()) {
    const std::string now = known.ok ? "It cannot be read now: " : "It still cannot be read: ";
    return now + known.problem + " " + stays;
  }
  if (!known.changed) return {};
  const std::string change = known.ok ? "It is not what it was when it was taken in"
                                      : "It could not be read when it was taken in, and can be now";
  if (!known.unrelated.empty()) {
    return change + ", but the new structure is unrelated: " + known.unrelated + ". " + stays;
  }
  return change + ". " + stays + " To take in what the file gives now: hydrate --refresh.";
}

void show(const KnownSource& known) {
  print_line((known.changed ? coloured("changed", YELLOW) : "known  ") + "  " +
             printable(known.path));
  const std::string remark = remark_on(known);
  if (!remark.empty()) print_row("", remark);
}

void show(const HydrateOutcome& outcome) {
  for (const SourceEntry& entry : outcome.taken) {
    show_entry(entry);
    print_row("kept", reason_kept(entry, outcome.report));
    for (const structure_ingest::ReplacedStructure& old : outcome.replaced) {
      if (old.source_file != entry.source_file()) continue;
      print_row("replaces",
                old.formula + " (" + std::to_string(old.natoms) + " atoms), " + old.path);
    }
  }
  for (const structure_ingest::DroppedStructure& dropped : outcome.dropped) {
    print_line(coloured("dropped", YELLOW) + "  " +
               printable(dropped.source_file.empty() ? dropped.name : dropped.source_file));
    if (!dropped.formula.empty()) print_row("formula", dropped.formula);
    print_row("reason", reason_dropped(dropped));
  }
  for (const KnownSource& known : outcome.known) show(known);
}

/// What there is to say of files beside the entries, where standard output is for JSON.
void tell(const HydrateOutcome& outcome) {
  for (const structure_ingest::DroppedStructure& dropped : outcome.dropped) {
    print_error(dropped.source_file + ": dropped: " + reason_dropped(dropped));
  }
  for (const KnownSource& known : outcome.known) {
    const std::string remark = remark_on(known);
    if (!remark.empty()) print_error(known.path + ": " + remark);
  }
}

/// The agent's modules, of which one that cannot tell the trust is spoken of.
structure_ingest::Collaborators modules_that_tell() {
  structure_ingest::Collaborators modules = structure_ingest::agent_modules();
  modules.trust_state_for = [ask = modules.trust_state_for](const std::string& folder) {
    try {
      return ask(folder);
    } catch (const std::exception& error) {
      print_error(std::string("taken as trusted: ") + error.what());
      throw;
    }
  };
  return modules;
}

HydrateOutcome hydrate(Json& state, const HydrateArguments& arguments,
                       const std::vector<std::string>& paths) {
  structure_ingest::StructureParser parser({.processes = processes_for(arguments.jobs)});
  Progress progress;
  return structure_ingest::hydrate(
      state,
      {.extra_paths = paths,
       .collaborators = modules_that_tell(),
       .progress = [&progress](std::size_t done, std::size_t total,
                               const std::string& path) { progress.show(done, total, path); },
       .limit = read_limit(arguments.limit),
       .refresh = arguments.refresh,
       .dry_run = arguments.dry_run,
       .check = !arguments.no_check,
       .note_findings = arguments.note_findings,
       .parser = &parser});
}

Status run(const HydrateArguments& arguments) {
  const int limit = read_limit(arguments.limit);
  processes_for(arguments.jobs);  // refuses a wrong number before anything is done
  const std::vector<std::string> paths = paths_into_project(arguments.paths);
  HydrateOutcome outcome;
  if (arguments.dry_run) {
    Json state = state_to_try(arguments.state);
    outcome = hydrate(state, arguments, paths);
  } else {
    if (!arguments.state.project.empty()) {
      std::filesystem::create_directories(arguments.state.project);
    }
    change_state(arguments.state, [&](Json& state) { outcome = hydrate(state, arguments, paths); });
  }
  if (arguments.json) {
    print_array(outcome.taken);
    tell(outcome);
    tell_skipped(outcome.skipped, limit);
  } else if (!outcome.error) {
    if (arguments.dry_run) print_line(DRY_RUN);
    show(outcome);
    show_skipped(outcome.skipped, limit);
    const bool is_silent = outcome.taken.empty() && outcome.dropped.empty() &&
                           std::none_of(outcome.known.begin(), outcome.known.end(),
                                        [](const KnownSource& known) { return known.changed; });
    const bool saw_all =
        std::none_of(outcome.skipped.begin(), outcome.skipped.end(), [](const auto& skipped) {
          return skipped.reason == structure_ingest::SkipReason::past_limit;
        });
    if (is_silent && saw_all) print_line("Nothing new.");
  }
  if (outcome.error) {
    throw WrongInput(state_file_of(arguments.state) +
                     ": nothing was taken in: " + message_of(outcome.error));
  }
  tell_why_no_ase(outcome.why_no_ase);
  return status_of(outcome.taken, outcome.manifest_error);
}

}  // namespace

Command add_hydrate(CLI::App& program) {
  auto arguments = std::make_shared<HydrateArguments>();
  CLI::App* command = program.add_subcommand(
      "hydrate", "Take the structures that an agent state names into its project");
  add_state_options(*command, arguments->state,
                    std::string("A project whose own ") + PROJECT_STATE +
                        " is the state (instead of --state); created when missing");
  command
      ->add_option("--limit", arguments->limit,
                   "How many files are considered, those that the state names included")
      ->type_name("N")
      ->capture_default_str();
  command->add_flag("--refresh", arguments->refresh,
                    "Take in anew what has changed since it was taken in");
  command->add_flag("--dry-run", arguments->dry_run, "Write nothing; say what would be done");
  command->add_flag("--json", arguments->json, "One JSON array of the entries that were added");
  command->add_flag("--no-check", arguments->no_check, "Do not check the structures");
  command->add_flag("--note-findings", arguments->note_findings,
                    "Add a note to the state for each error and warning that the check finds");
  add_jobs_option(*command, arguments->jobs);
  add_project_path_options(*command, arguments->paths, "More structure files, as if attached");
  add_examples(*command, {"hydrate --project my_project ~/water.xyz ~/crystal.cif",
                          "hydrate --project my_project --refresh ~/water.xyz",
                          "hydrate --state state.json --json"});
  command->callback([arguments] {
    if (arguments->state.state.empty() && arguments->state.project.empty()) {
      throw CLI::RequiredError("--state or --project");
    }
  });
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
