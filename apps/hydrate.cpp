#include <algorithm>
#include <exception>
#include <new>

#include "apps/batch.hpp"
#include "apps/interruption.hpp"
#include "apps/summary.hpp"
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
  bool refresh = false;
  bool note_findings = false;
  BatchArguments batch;
};

/// Why an entry was kept: the assessor's verdict on it, if it was asked.
std::string reason_kept(const SourceEntry& entry, const HydrateOutcome& outcome) {
  for (const structure_ingest::DroppedStructure& undone : outcome.undone) {
    if (undone.source_file == entry.source_file()) return "named again after it had been dropped";
  }
  for (const structure_ingest::RelevanceVerdict& verdict : outcome.report.verdicts) {
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

void print_outcome(const HydrateOutcome& outcome, int limit, Detail detail, bool molecules) {
  Summary summary;
  for (const SourceEntry& entry : outcome.taken) {
    print_entry(entry, detail, molecules);
    if (detail == Detail::all) print_row("kept", reason_kept(entry, outcome));
    summary.add(entry.record, entry.findings.value_or(std::vector<structure_ingest::Finding>()));
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
  print_skipped(outcome.skipped, limit, detail);
  summary.print();
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
  const BatchArguments& batch = arguments.batch;
  structure_ingest::StructureParser parser(parser_options(batch.reading));
  end_in_order();
  Progress progress;
  return structure_ingest::hydrate(state, {.extra_paths = paths,
                                           .collaborators = modules_that_warn(),
                                           .limit = read_limit(batch.limit),
                                           .batch = batch_options(batch, parser, progress),
                                           .refresh = arguments.refresh,
                                           .named_again = true,
                                           .note_findings = arguments.note_findings});
}

/// Whether there is nothing to print of a hydration that looked at all files.
bool found_nothing_new(const HydrateOutcome& outcome) {
  return outcome.taken.empty() && outcome.dropped.empty() &&
         std::none_of(
             outcome.known.begin(), outcome.known.end(),
             [](const KnownSource& known) { return known.changed || known.copy_restored; }) &&
         std::none_of(outcome.skipped.begin(), outcome.skipped.end(), [](const auto& skipped) {
           return skipped.reason == structure_ingest::SkipReason::past_limit;
         });
}

/// Not all is well where the state keeps something else than a file gives now, or where a file that
/// the user named still gives nothing.
Status status_of_known(const HydrateOutcome& outcome, const std::vector<std::string>& paths) {
  const auto is_ill = [&paths](const KnownSource& known) {
    return known.changed || (!known.problem.empty() &&
                             (known.ok || std::ranges::find(paths, known.path) != paths.end()));
  };
  return std::ranges::any_of(outcome.known, is_ill) ? NOT_ALL_WELL : ALL_WELL;
}

/// Throws a lack of memory on, by which a state may be changed by half.
void require_memory(const HydrateOutcome& outcome) {
  if (!outcome.error) return;
  try {
    std::rethrow_exception(outcome.error);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {  // NOLINT(bugprone-empty-catch): told later
  }
}

Status run(const HydrateArguments& arguments) {
  const BatchArguments& batch = arguments.batch;
  if (arguments.state.state.empty() && arguments.state.project.empty()) {
    throw WrongOptions("--state or --project is required");
  }
  // Refuse wrong numbers before anything is done.
  const int limit = read_limit(batch.limit);
  parser_options(batch.reading);
  const std::vector<std::string> paths = paths_into_project(batch.paths);
  HydrateOutcome outcome;
  if (batch.dry_run) {
    Json state = state_to_try(arguments.state);
    outcome = hydrate(state, arguments, paths);
    require_memory(outcome);
  } else {
    change_state(arguments.state, [&](Json& state) {
      outcome = hydrate(state, arguments, paths);
      require_memory(outcome);
    });
  }
  if (batch.json) {
    print_array(outcome.taken);
    warn_outcome(outcome);
    warn_skipped(outcome.skipped, limit);
  } else if (!outcome.error) {
    if (batch.dry_run) print_line(DRY_RUN);
    const std::size_t files = outcome.taken.size() + outcome.dropped.size() + outcome.known.size() +
                              outcome.skipped.size();
    print_outcome(outcome, limit, detail_of(files, batch.verbose), batch.molecules);
    if (found_nothing_new(outcome)) print_line("Nothing new.");
  }
  if (outcome.error) {
    throw WrongInput(state_file_of(arguments.state) +
                     ": nothing was taken in: " + telling::message_of(outcome.error));
  }
  const Status status = status_of(outcome.taken, outcome.manifest_error, outcome.why_no_ase);
  return std::max({status, status_of(outcome.skipped, paths), status_of_known(outcome, paths)});
}

}  // namespace

Command hydrate_command() {
  auto arguments = std::make_shared<HydrateArguments>();
  BatchArguments& batch = arguments->batch;
  Command command{.name = "hydrate",
                  .about = "Take the structures that an agent state names into its project",
                  .examples = {"hydrate --project my_project ~/water.xyz ~/crystal.cif",
                               "hydrate --project my_project --refresh ~/water.xyz",
                               "hydrate --state state.json --json"},
                  .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state,
                    std::string("A project whose own ") + PROJECT_STATE +
                        " is the state (instead of --state); created when missing");
  command.add("--limit N", &batch.limit,
              "How many files are considered, those that the state names included",
              {.show_default = true});
  command.add("--refresh", &arguments->refresh,
              "Take in anew what has changed since it was taken in");
  command.add("--dry-run", &batch.dry_run, "Write nothing; say what would be done");
  command.add("--json", &batch.json, "One JSON array of the entries that were added");
  command.add("--no-check", &batch.no_check, "Do not check the structures");
  command.add("--note-findings", &arguments->note_findings,
              "Add a note to the state for each error and warning that the check finds");
  add_verbose_option(command, batch.verbose);
  add_molecules_option(command, batch.molecules);
  add_reading_options(command, batch.reading);
  add_project_path_options(command, batch.paths,
                           "More structure files, or folders of them, as if attached");
  return command;
}

}  // namespace apps
