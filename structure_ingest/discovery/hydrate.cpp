#include "structure_ingest/discovery/hydrate.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/discovery/candidates.hpp"
#include "structure_ingest/discovery/json_state.hpp"
#include "structure_ingest/discovery/merge.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/discovery/state_door.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest {
namespace {

using internal::StateDoor;
using Entries = std::vector<SourceEntry>;

/// The candidates of a call, and how each was found.
struct Found {
  std::string project;  // resolved
  internal::Offered offered;
};

Found find_candidates(const StateDoor& door, const HydrateOptions& options,
                      internal::PathResolver& resolver) {
  const Json& path = internal::value_at(door.view(), "project_path");
  Found found{.project = resolver.resolve(internal::is_empty(path) ? "." : internal::text_of(path)),
              .offered = {}};
  const bool sweep_allowed = internal::is_sweep_allowed(found.project, options.collaborators);
  found.offered = internal::offer_named(door.view(), options.extra_paths, found.project,
                                        sweep_allowed, resolver);
  const internal::ScanRoots roots = internal::find_scan_roots(door.view(), found.project);
  if (roots.learned) door.learn_root(*roots.learned);
  if (sweep_allowed) {
    internal::offer_scanned(found.offered, roots.folders, found.project, options.collaborators,
                            resolver);
  }
  found.offered.candidates = internal::structure_files_among(std::move(found.offered.candidates));
  return found;
}

Entries ingest(const Found& found, const HydrateOptions& options,
               internal::PathResolver& resolver) {
  const internal::BatchInput input = {
      .project = found.project,
      .candidates = found.offered.candidates,
      .limit = static_cast<std::size_t>(IngestOptions{}.limit),
      .discovery_of =
          [&kinds = found.offered.discovery](const std::string& identity) {
            const auto known = kinds.find(identity);
            return known == kinds.end() ? std::string() : known->second;
          },
      .progress = options.progress,
      .check = options.check};
  return internal::ingested_entries(input, resolver);
}

void keep(Entries& entries, const std::vector<std::size_t>& places, const StateDoor& door) {
  door.keep(places);
  Entries kept;
  kept.reserve(places.size());
  for (const std::size_t place : places) kept.push_back(std::move(entries[place]));
  entries = std::move(kept);
}

/// Drops the entries whose source the state has already.
void drop_known(Entries& entries, const std::map<std::string, std::string>& known,
                const StateDoor& door, HydrateOutcome& outcome) {
  std::vector<std::size_t> fresh;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto same = known.find(internal::source_key(entries[i]));
    if (same == known.end()) {
      fresh.push_back(i);
      continue;
    }
    const IngestedStructure& record = entries[i].record;
    const bool can_compare = !same->second.empty() && !record.sha256.empty();
    outcome.known.push_back(
        {.path = record.source_path, .changed = can_compare && same->second != record.sha256});
  }
  keep(entries, fresh, door);
}

void drop_unrelated(Entries& entries, const StateDoor& door, const HydrateOptions& options,
                    HydrateOutcome& outcome) {
  std::vector<internal::EntryNames> names;
  for (const SourceEntry& entry : entries) {
    const std::string source = entry.source_file();
    names.push_back({.file_name = internal::file_name(source.empty() ? entry.path() : source),
                     .path = entry.path(),
                     .formula = entry.record.formula});
  }
  const std::string request = internal::request_in(door.view());
  internal::Filtered filtered = internal::drop_unrelated(
      names, request, options.collaborators.ROLE_UNRELATED, [&] { return door.assess(request); });
  keep(entries, filtered.kept, door);
  outcome.dropped = std::move(filtered.dropped);
  outcome.report = std::move(filtered.report);
}

HydrateOutcome hydrate_through(const StateDoor& door, const HydrateOptions& options) {
  if (!door.view().is_object()) throw std::invalid_argument("the agent state is not a mapping");
  internal::PathResolver resolver;
  HydrateOutcome outcome;
  const Found found = find_candidates(door, options, resolver);
  if (found.offered.candidates.empty()) return outcome;

  const std::map<std::string, std::string> known = internal::known_sources(door.view());
  Entries entries = ingest(found, options, resolver);
  outcome.manifest_error = door.write_manifest(found.project, entries);
  if (options.check) internal::write_findings(found.project, entries, options.collaborators);
  drop_known(entries, known, door, outcome);
  if (entries.empty()) return outcome;
  drop_unrelated(entries, door, options, outcome);

  door.put_sources();
  std::vector<std::string> notes;
  for (const DroppedStructure& dropped : outcome.dropped) {
    notes.push_back(internal::note_on(dropped));
  }
  for (const SourceEntry& entry : entries) internal::append_notes_on(entry, notes);
  if (options.note_findings) {
    for (const SourceEntry& entry : entries) internal::append_findings_of(entry, notes);
  }
  door.add_notes(internal::new_notes(door.view(), notes));
  outcome.taken = std::move(entries);
  return outcome;
}

}  // namespace

HydrateOutcome hydrate(Json& state, const HydrateOptions& options) {
  const Collaborators& collaborators = options.collaborators;
  try {
    std::vector<Json> entries;
    return hydrate_through(internal::door_to(state, entries, collaborators), options);
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    try {
      collaborators.record_suppressed_error(internal::value_at(state, "project_path"),
                                            {"structure_ingest", "hydrate_user_structures", error});
    } catch (...) {
      // A failing reporter must not make us throw.
    }
    HydrateOutcome failed;
    failed.error = error;
    return failed;
  }
}

NewEntries hydrate_user_structures(Json& state, const HydrateOptions& options) {
  return {state, hydrate(state, options).taken.size()};
}

std::size_t NewEntries::size() const {
  const Json& sources = internal::value_at(*state_, "structure_sources");
  return sources.is_array() ? std::min(count_, sources.size()) : 0;
}

Json* NewEntries::begin() const {
  if (count_ == 0 || !state_->is_object()) return nullptr;
  const auto sources = state_->find("structure_sources");
  if (sources == state_->end() || !sources->is_array()) return nullptr;
  return sources->get_ref<Json::array_t&>().data();
}

}  // namespace structure_ingest
