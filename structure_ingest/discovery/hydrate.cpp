#include "structure_ingest/discovery/hydrate.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/candidates.hpp"
#include "structure_ingest/discovery/hydrate_through.hpp"
#include "structure_ingest/discovery/json_state.hpp"
#include "structure_ingest/discovery/merge.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/discovery/state_door.hpp"
#include "structure_ingest/discovery/take_out.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest {
namespace {

using internal::StateDoor;
using Entries = std::vector<SourceEntry>;

/// The candidates of a call, and how each was found.
struct Found {
  std::string project;  // resolved
  internal::Offered offered;
  std::vector<SkippedFile> skipped;
};

Found find_candidates(const StateDoor& door, const HydrateOptions& options,
                      internal::PathResolver& resolver) {
  const Json& path = internal::value_of(door, "project_path");
  Found found{.project = resolver.resolve(internal::is_empty(path) ? "." : internal::text_of(path)),
              .offered = {},
              .skipped = {}};
  const bool sweep_allowed = internal::is_sweep_allowed(found.project, options.collaborators);
  found.offered =
      internal::offer_named(door, options.extra_paths, found.project, sweep_allowed, resolver);
  const internal::ScanRoots roots = internal::find_scan_roots(door, found.project);
  if (roots.learned) door.learn_root(*roots.learned);
  if (sweep_allowed) {
    internal::offer_scanned(found.offered, roots.folders, found.project, options.collaborators,
                            resolver);
  }
  found.skipped = internal::skip_other_files(found.offered.candidates, found.project);
  return found;
}

internal::Ingested ingest(const Found& found, const HydrateOptions& options,
                          internal::PathResolver& resolver) {
  const internal::BatchInput input = {
      .project = found.project,
      .candidates = found.offered.candidates,
      .limit = static_cast<std::size_t>(std::max(1, options.limit)),
      .discovery_of =
          [&kinds = found.offered.discovery](const std::string& identity) {
            const auto known = kinds.find(identity);
            return known == kinds.end() ? std::string() : known->second;
          },
      .progress = options.progress,
      .dry_run = options.dry_run,
      .check = options.check,
      .parser = options.parser,
      .may_read = options.may_read};
  return internal::ingested_entries(input, resolver);
}

void keep(Entries& entries, const std::vector<std::size_t>& places, const StateDoor& door) {
  door.keep(places);
  Entries kept;
  kept.reserve(places.size());
  for (const std::size_t place : places) kept.push_back(std::move(entries[place]));
  entries = std::move(kept);
}

/// Drops the entries whose source the state has already. Returns the keys of those that stay since
/// they are to take the place of old ones, and whether the old ones are ok.
std::map<std::string, bool> drop_known(Entries& entries,
                                       const std::map<std::string, internal::KnownEntry>& known,
                                       const StateDoor& door, bool refresh,
                                       HydrateOutcome& outcome) {
  std::vector<std::size_t> fresh;
  std::map<std::string, bool> renewed;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const IngestedStructure& record = entries[i].record;
    const std::string source = internal::source_text_of(door.entry(i));
    const std::string key = internal::source_key(source);
    const auto same = known.find(key);
    if (same == known.end()) {
      fresh.push_back(i);
      continue;
    }
    const bool is_same_name = same->second.source == source;
    const bool changed = is_same_name && internal::has_changed(same->second, record);
    if (refresh && changed && record.ok) {
      fresh.push_back(i);
      renewed.emplace(key, same->second.ok);
      continue;
    }
    outcome.known.push_back(
        {.path = record.source_path,
         .ok = same->second.ok,
         .changed = changed,
         .problem = record.ok || record.warnings.empty() ? "" : record.warnings.front(),
         .taken_for = is_same_name ? "" : same->second.source});
  }
  keep(entries, fresh, door);
  return renewed;
}

void drop_unrelated(Entries& entries, const StateDoor& door, const HydrateOptions& options,
                    HydrateOutcome& outcome) {
  internal::Filtered filtered =
      internal::drop_unrelated(door, entries.size(), options.collaborators.ROLE_UNRELATED);
  keep(entries, filtered.kept, door);
  outcome.dropped = std::move(filtered.dropped);
  outcome.report = std::move(filtered.report);
}

/// Has what was dropped of changed sources stay as the state knows it.
void keep_old_of_dropped(const std::map<std::string, bool>& renewed, HydrateOutcome& outcome) {
  std::erase_if(outcome.dropped, [&](const DroppedStructure& dropped) {
    const auto old = renewed.find(internal::source_key(dropped.source_file));
    if (old == renewed.end()) return false;
    outcome.known.push_back({.path = dropped.source_file,
                             .ok = old->second,
                             .changed = true,
                             .unrelated = internal::reason_of(dropped)});
    return true;
  });
}

/// Takes the old entries of the sources that are taken in anew out of the state; returns the notes
/// on that.
std::vector<std::string> replace_old(const Entries& entries,
                                     const std::map<std::string, bool>& renewed,
                                     const StateDoor& door, HydrateOutcome& outcome) {
  std::vector<std::string> notes;
  std::set<std::string> keys;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string source = internal::source_text_of(door.entry(i));
    const std::string key = internal::source_key(source);
    if (!renewed.contains(key) || !keys.insert(key).second) continue;
    const Json& sources = internal::value_of(door, "structure_sources");
    const auto old = std::find_if(sources.begin(), sources.end(), [&key](const Json& known) {
      return known.is_object() && internal::source_key(internal::source_text_of(known)) == key;
    });
    outcome.replaced.push_back(
        {.source_file = source,
         .formula = internal::text_or_empty(internal::value_at(*old, "formula")),
         .natoms = internal::value_at(*old, "natoms").is_number_integer()
                       ? internal::value_at(*old, "natoms").get<std::int64_t>()
                       : 0,
         .path = internal::text_or_empty(internal::value_at(*old, "path"))});
    notes.push_back(internal::note_on_replacement(door.entry(i), *old));
  }
  if (!keys.empty()) door.take_out(keys);
  return notes;
}

HydrateOutcome hydrate_unguarded(const StateDoor& door, const HydrateOptions& options) {
  internal::PathResolver resolver;
  HydrateOutcome outcome;
  Found found = find_candidates(door, options, resolver);
  outcome.skipped = std::move(found.skipped);
  if (found.offered.candidates.empty()) return outcome;

  const std::map<std::string, internal::KnownEntry> known = internal::known_sources(door);
  internal::Ingested ingested = ingest(found, options, resolver);
  std::move(ingested.skipped.begin(), ingested.skipped.end(), std::back_inserter(outcome.skipped));
  outcome.why_no_ase = std::move(ingested.why_no_ase);
  Entries entries = std::move(ingested.entries);
  outcome.manifest_error = door.write_manifest(found.project, entries);
  if (options.check && !options.dry_run) {
    internal::write_findings(found.project, entries, options.collaborators);
  }
  const std::map<std::string, bool> renewed =
      drop_known(entries, known, door, options.refresh, outcome);
  if (entries.empty()) return outcome;
  drop_unrelated(entries, door, options, outcome);
  keep_old_of_dropped(renewed, outcome);
  if (entries.empty() && outcome.dropped.empty()) return outcome;

  std::vector<std::string> notes;
  for (const DroppedStructure& dropped : outcome.dropped) {
    notes.push_back(internal::note_on(dropped));
  }
  for (std::string& note : replace_old(entries, renewed, door, outcome)) {
    notes.push_back(std::move(note));
  }
  door.put_sources();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    for (std::string& note : internal::notes_on(door.entry(i))) notes.push_back(std::move(note));
  }
  if (options.note_findings) {
    for (const SourceEntry& entry : entries) internal::append_findings_of(entry, notes);
  }
  door.add_notes(internal::new_notes(door, notes));
  outcome.taken = std::move(entries);
  return outcome;
}

}  // namespace

HydrateOutcome internal::hydrate_through(const StateDoor& door, const HydrateOptions& options) {
  try {
    return hydrate_unguarded(door, options);
  } catch (const Interruption&) {
    throw;
  } catch (...) {
    HydrateOutcome failed;
    failed.error = std::current_exception();
    if (options.dry_run) return failed;
    try {
      door.report(failed.error);
    } catch (const Interruption&) {
      throw;
    } catch (...) {
      // A failing reporter must not make us throw.
    }
    return failed;
  }
}

HydrateOutcome hydrate(Json& state, const HydrateOptions& options) {
  std::vector<Json> entries;
  if (!options.refresh && !options.dry_run) {
    return internal::hydrate_through(internal::door_to(state, entries, options.collaborators),
                                     options);
  }
  Collaborators collaborators = options.collaborators;
  if (options.dry_run) collaborators.atomic_write_json = [](const std::string&, const Json&) {};
  Json copy = state;  // a failure half-way must not cost the old entries
  HydrateOutcome outcome =
      internal::hydrate_through(internal::door_to(copy, entries, collaborators), options);
  if (!options.dry_run && !outcome.error) state = std::move(copy);
  return outcome;
}

NewEntries hydrate_user_structures(Json& state, const HydrateOptions& options) {
  const std::size_t taken = hydrate(state, options).taken.size();
  return {state, options.dry_run ? 0 : taken};
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
