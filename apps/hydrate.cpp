#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/project_state.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "telling/outcomes.hpp"

namespace apps {
namespace {

using structure_ingest::HydrateOutcome;
using structure_ingest::Json;
using structure_ingest::KnownSource;
using structure_ingest::SourceEntry;

struct HydrateArguments {
  StateArguments state;
  std::string limit = std::to_string(structure_ingest::DEFAULT_LIMIT);
  bool refresh = false;
  bool dry_run = false;
  bool json = false;
  bool no_check = false;
  bool note_findings = false;
  std::string jobs;
  PathArguments paths;
};

/// Why an entry was kept: the assessor's verdict on it, if it was asked.
std::string reason_kept(const SourceEntry& entry, const structure_ingest::RelevanceReport& report) {
  for (const structure_ingest::RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.source == entry.path()) {
      return verdict.role + (verdict.reason.empty() ? "" : ": " + verdict.reason);
    }
  }
  return "there is no request to judge it by";
}

void print_known(const KnownSource& known) {
  print_line((known.changed ? coloured("changed", YELLOW) : "known  ") + "  " +
             printable(known.path));
  const std::string text = telling::known_text(known);
  if (!text.empty()) print_row("", text);
}

void print_outcome(const HydrateOutcome& outcome) {
  for (const SourceEntry& entry : outcome.taken) {
    print_entry(entry);
    print_row("kept", reason_kept(entry, outcome.report));
    for (const structure_ingest::ReplacedStructure& old : outcome.replaced) {
      if (old.source_file != entry.source_file()) continue;
      print_row("replaces", telling::replaced_text(old));
    }
  }
  for (const structure_ingest::DroppedStructure& dropped : outcome.dropped) {
    print_line(coloured("dropped", YELLOW) + "  " + printable(telling::dropped_file(dropped)));
    if (!dropped.formula.empty()) print_row("formula", dropped.formula);
    print_row("reason", telling::dropped_text(dropped));
  }
  for (const KnownSource& known : outcome.known) print_known(known);
}

/// What there is to say of files beside the entries, where standard output is for JSON.
void warn_outcome(const HydrateOutcome& outcome) {
  for (const structure_ingest::DroppedStructure& dropped : outcome.dropped) {
    print_error(telling::dropped_file(dropped) + ": dropped: " + telling::dropped_text(dropped));
  }
  for (const KnownSource& known : outcome.known) {
    const std::string text = telling::known_text(known);
    if (!text.empty()) print_error(known.path + ": " + text);
  }
}

/// The agent's modules, of which one that cannot tell the trust is spoken of.
structure_ingest::Collaborators modules_that_warn() {
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
       .collaborators = modules_that_warn(),
       .limit = read_limit(arguments.limit),
       .batch = {.progress = [&progress](
                                 std::size_t done, std::size_t total,
                                 const std::string& path) { progress.show(done, total, path); },
                 .dry_run = arguments.dry_run,
                 .check = !arguments.no_check,
                 .parser = &parser},
       .refresh = arguments.refresh,
       .note_findings = arguments.note_findings});
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
    warn_outcome(outcome);
    warn_skipped(outcome.skipped, limit);
  } else if (!outcome.error) {
    if (arguments.dry_run) print_line(DRY_RUN);
    print_outcome(outcome);
    print_skipped(outcome.skipped, limit);
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
                     ": nothing was taken in: " + telling::message_of(outcome.error));
  }
  warn_why_no_ase(outcome.why_no_ase);
  return status_of(outcome.taken, outcome.manifest_error);
}

}  // namespace

Command hydrate_command() {
  auto arguments = std::make_shared<HydrateArguments>();
  Command command{.name = "hydrate",
                  .about = "Take the structures that an agent state names into its project"};
  add_state_options(command, arguments->state,
                    std::string("A project whose own ") + PROJECT_STATE +
                        " is the state (instead of --state); created when missing");
  command.add_option("--limit", arguments->limit, "N",
                     "How many files are considered, those that the state names included",
                     {.show_default = true});
  command.add_flag("--refresh", arguments->refresh,
                   "Take in anew what has changed since it was taken in");
  command.add_flag("--dry-run", arguments->dry_run, "Write nothing; say what would be done");
  command.add_flag("--json", arguments->json, "One JSON array of the entries that were added");
  command.add_flag("--no-check", arguments->no_check, "Do not check the structures");
  command.add_flag("--note-findings", arguments->note_findings,
                   "Add a note to the state for each error and warning that the check finds");
  add_jobs_option(command, arguments->jobs);
  add_project_path_options(command, arguments->paths, "More structure files, as if attached");
  command.examples = {"hydrate --project my_project ~/water.xyz ~/crystal.cif",
                      "hydrate --project my_project --refresh ~/water.xyz",
                      "hydrate --state state.json --json"};
  command.check = [arguments] {
    if (arguments->state.state.empty() && arguments->state.project.empty()) {
      throw WrongOptions("--state or --project is required");
    }
  };
  command.run = [arguments] { return run(*arguments); };
  return command;
}

}  // namespace apps
