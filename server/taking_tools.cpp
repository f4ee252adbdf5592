// The tools that take files into a project.
#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "collaborators/agent_modules/project_state.hpp"
#include "server/answers.hpp"
#include "server/call.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "telling/outcomes.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::HydrateOutcome;
using structure_ingest::KnownSource;
using structure_ingest::SourceEntry;

std::vector<std::string> located_paths(const Roots& roots, const Json& arguments) {
  std::vector<std::string> paths;
  for (const Json& path : arguments.at("paths")) {
    try {
      paths.push_back(roots.locate_structure(path.get<std::string>()));
    } catch (const ToolError& error) {
      throw ToolError(error.what() + std::string(" No file of this call was taken."));
    }
  }
  return paths;
}

/// Adds what both tools say of a batch at the end.
template <typename Outcome>
void add_ending(Answer& answer, const std::string& project, bool dry_run, const Outcome& outcome) {
  answer.data["manifest"] = base::join_path(project, structure_ingest::INGEST_MANIFEST_REL);
  answer.data["problems"] = {{"manifest", outcome.manifest_error}, {"ase", outcome.why_no_ase}};
  answer.changes_files = !dry_run;
}

/// Adds the structures that were read, and what there is to say of each.
void add_structures(Answer& answer, const std::vector<SourceEntry>& entries,
                    const std::string& project, bool dry_run) {
  answer.data["structures"] = Json::array();
  for (const SourceEntry& entry : entries) {
    const std::string heading = !entry.record.ok ? "failed: "
                                : dry_run        ? "would be taken: "
                                                 : "taken: ";
    add_structure(answer, structure_ingest::project_structure(entry, dry_run ? "" : project),
                  project, heading);
    if (entry.copy_restored)
      answer.lines.push_back(std::string("  note: ") + telling::COPY_RESTORED);
  }
}

bool has_severity(const std::vector<SourceEntry>& entries, structure_ingest::Severity severity) {
  return std::any_of(entries.begin(), entries.end(), [severity](const SourceEntry& entry) {
    return entry.findings &&
           std::any_of(entry.findings->begin(), entry.findings->end(),
                       [severity](const auto& finding) { return finding.severity == severity; });
  });
}

/// What to do next, by the worst that there is to say of the structures.
std::string next_after(const std::vector<SourceEntry>& entries, bool dry_run) {
  std::string next = dry_run ? "Nothing was written: call again without dry_run to do it. " : "";
  std::vector<const structure_ingest::IngestedStructure*> read;
  for (const SourceEntry& entry : entries) {
    if (entry.record.ok) read.push_back(&entry.record);
  }
  const bool all_read = read.size() == entries.size();
  if (std::any_of(read.begin(), read.end(),
                  [](const auto* record) { return record->canonical_xyz_rel.empty(); })) {
    next +=
        "A canonical copy could not be written: tell the user, whose disk or permissions are "
        "the reason, and do not calculate with that structure. ";
  }
  if (!all_read) {
    next +=
        "A file gave no structure: read its warnings to the user and ask for another file; do "
        "not build the structure from what you know. ";
  }
  const auto molecule =
      std::find_if(read.begin(), read.end(), [](const auto* record) { return !record->cell_ang; });
  if (molecule != read.end()) next += next_without_cell(**molecule);
  using structure_ingest::Severity;
  if (has_severity(entries, Severity::error) && all_read) {
    next +=
        "A structure has errors: tell the user, and do not calculate with it before a "
        "decision. ";
  } else if (has_severity(entries, Severity::warning)) {
    next += "Tell the user of the warnings: each needs a person's decision. ";
  }
  if (read.empty()) return next + "Call list_structures to see what the project holds.";
  return next + (next.empty() ? "To calculate" : "Once that is settled") +
         ", give the path of a structure's copy to the program; never retype coordinates.";
}

/// The agent's modules, which scan no folder outside the roots; `left_out` gets such folders.
structure_ingest::Collaborators modules_within(const Roots& roots, const Call& call,
                                               std::vector<std::string>& left_out) {
  structure_ingest::Collaborators modules = structure_ingest::agent_modules();
  modules.inventory_workspace = [&roots, &call, &left_out,
                                 list = modules.inventory_workspace](const std::string& folder) {
    call.check();
    if (roots.hold(folder)) return list(folder);
    left_out.push_back(folder);
    return structure_ingest::WorkspaceInventory{};
  };
  modules.record_suppressed_error = [report = modules.record_suppressed_error](
                                        const Json& project,
                                        const structure_ingest::SuppressedError& error) {
    try {
      std::rethrow_exception(error.exc);
    } catch (const Cancelled&) {
      return;  // as the client wished
    } catch (...) {
      report(project, error);
    }
  };
  return modules;
}

[[noreturn]] void refuse_hydration(const HydrateOutcome& outcome) {
  try {
    std::rethrow_exception(outcome.error);
  } catch (const Cancelled&) {
    throw;
  } catch (...) {
    throw ToolError(
        "Nothing was taken in: " + base::shortened(telling::message_of(outcome.error), 1000) +
        ". Tell the user, who has to mend it, and call again.");
  }
}

void add_outcome(Answer& answer, const HydrateOutcome& outcome, int limit) {
  for (const structure_ingest::DroppedStructure& each : outcome.dropped) {
    answer.lines.push_back("dropped: " + in_quotes(telling::dropped_file(each)) + ": " +
                           telling::dropped_text(each));
  }
  for (const KnownSource& each : outcome.known) {
    const std::string text = telling::known_text(each);
    answer.lines.push_back((each.changed ? "changed: " : "known: ") + in_quotes(each.path) +
                           (text.empty() ? "" : ": " + text));
  }
  for (const structure_ingest::ReplacedStructure& each : outcome.replaced) {
    answer.lines.push_back("replaced: " + telling::replaced_text(each));
  }
  Json told = telling::outcome_json(outcome, limit);
  for (const char* part : {"dropped", "known", "replaced"})
    answer.data[part] = std::move(told[part]);
}

std::string next_after(const HydrateOutcome& outcome, bool dry_run) {
  const bool any_changed = std::any_of(outcome.known.begin(), outcome.known.end(),
                                       [](const KnownSource& known) { return known.changed; });
  const bool past_limit =
      std::any_of(outcome.skipped.begin(), outcome.skipped.end(), [](const auto& skipped) {
        return skipped.reason == structure_ingest::SkipReason::past_limit;
      });
  std::string next;
  if (any_changed) {
    next +=
        "A file has changed since it was taken in: ask the user whether the new content is "
        "meant, and if so call again with refresh. ";
  }
  if (past_limit) next += "More files were found than considered: a larger limit takes them. ";
  if (!outcome.dropped.empty()) {
    next +=
        "Tell the user which structures were left out as unrelated, and why; to take one all the "
        "same, name its path in another call. ";
  }
  if (outcome.taken.empty()) {
    return next +
           (dry_run ? "Nothing was written, and nothing new would be. " : "Nothing is new. ") +
           "Call list_structures to see what the project holds.";
  }
  return next + next_after(outcome.taken, dry_run);
}

structure_ingest::BatchOptions batch_options(Workspace& workspace, const Call& call, bool dry_run) {
  return {.progress = call.progress(),
          .dry_run = dry_run,
          .parser = &workspace.parser(),
          .may_read = workspace.may_read()};
}

}  // namespace

Answer ingest_structures(Workspace& workspace, const Json& arguments, const Call& call) {
  const Roots& roots = workspace.roots();
  const std::string project = roots.locate_project(arguments.at("project"));
  const std::vector<std::string> paths = located_paths(roots, arguments);
  const bool dry_run = arguments.at("dry_run") == true;
  structure_ingest::IngestOptions options;
  options.limit = static_cast<int>(paths.size());
  options.batch = batch_options(workspace, call, dry_run);
  // The client names the files, so that they count as attached.
  for (const std::string& path : paths) {
    options.discovery_by_path[base::source_identity(base::resolve_path(path))] =
        structure_ingest::DISCOVERY_ATTACHMENT;
  }
  std::optional<base::NewFolder> folder;
  if (!dry_run) folder.emplace(project);
  const structure_ingest::IngestOutcome outcome =
      structure_ingest::ingest_batch(project, paths, options);
  Answer answer;
  answer.data = {{"project", project}, {"dry_run", dry_run}};
  add_structures(answer, outcome.entries, project, dry_run);
  add_skipped(answer, outcome.skipped, options.limit);
  add_ending(answer, project, dry_run, outcome);
  answer.next_step = next_after(outcome.entries, dry_run);
  return answer;
}

Answer hydrate_project(Workspace& workspace, const Json& arguments, const Call& call) {
  const Roots& roots = workspace.roots();
  const std::string project = roots.locate_project(arguments.at("project"));
  const std::vector<std::string> paths = located_paths(roots, arguments);
  const bool dry_run = arguments.at("dry_run") == true;
  const int limit = arguments.value(
      "limit", std::max(structure_ingest::DEFAULT_LIMIT, static_cast<int>(paths.size())));
  std::vector<std::string> not_scanned;
  HydrateOutcome outcome;
  const auto hydrate = [&](Json& state) {
    structure_ingest::HydrateOptions options;
    options.extra_paths = paths;
    options.collaborators = modules_within(roots, call, not_scanned);
    options.limit = limit;
    options.batch = batch_options(workspace, call, dry_run);
    options.refresh = arguments.at("refresh") == true;
    options.named_again = true;
    outcome = structure_ingest::hydrate(state, options);
    // A state that was changed by half must not be written.
    if (outcome.error) refuse_hydration(outcome);
  };
  const agent_modules::StateLocation location{.project = project};
  if (dry_run) {
    Json state = agent_modules::state_to_try(location);
    hydrate(state);
  } else {
    agent_modules::change_state(location, hydrate);
  }
  Answer answer;
  answer.data = {{"project", project}, {"dry_run", dry_run}};
  add_structures(answer, outcome.taken, project, dry_run);
  add_outcome(answer, outcome, limit);
  add_skipped(answer, outcome.skipped, limit);
  answer.data["not_scanned"] = not_scanned;
  answer.data["state"] = agent_modules::state_file_of(location);
  add_ending(answer, project, dry_run, outcome);
  if (answer.lines.empty()) answer.lines.emplace_back("Nothing new.");
  answer.next_step = next_after(outcome, dry_run);
  return answer;
}

}  // namespace server
