#include "structure_ingest/discovery/hydrate.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/discovery/candidates.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/discovery/state_entries.hpp"
#include "structure_ingest/discovery/state_host.hpp"
#include "structure_ingest/ingest/entries.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/project/source_file.hpp"

namespace structure_ingest {
namespace {

using internal::StateHost;
using Entries = std::vector<SourceEntry>;
using Places = std::vector<std::size_t>;

/// The candidates of a call.
struct CandidateSearch {
  std::string project;  // resolved
  internal::CandidateList list{};
  std::vector<SkippedFile> skipped{};
};

CandidateSearch find_candidates(const StateHost& host, const HydrateOptions& options,
                                internal::PathResolver& resolver) {
  const Collaborators& collaborators = options.collaborators;
  const Json& path = internal::value_of(host, "project_path");
  CandidateSearch search{
      .project = resolver.resolve(internal::is_empty(path) ? "." : internal::text_of(path))};
  const bool sweep_allowed = internal::is_sweep_allowed(search.project, collaborators);
  search.list =
      internal::offer_named(host, options.extra_paths, search.project, sweep_allowed, resolver);
  const internal::ScanRoots roots = internal::find_scan_roots(host, search.project);
  if (roots.learned && !options.batch.dry_run) host.learn_root(*roots.learned);
  if (sweep_allowed) {
    internal::offer_scanned(search.list, roots.folders, search.project, collaborators, resolver);
  }
  search.skipped = internal::skip_other_files(search.list.candidates, search.project);
  return search;
}

/// The sources that are taken in anew, by their keys, and what the state has of them.
using RenewedSources = std::map<std::string, internal::KnownEntry>;

/// The places of the entries that are new to the state, and of those that are to take the place of
/// old ones; what there is to say of the others goes to the outcome.
Places places_of_new(const Entries& entries,
                     const std::map<std::string, internal::KnownEntry>& known,
                     const StateHost& host, const HydrateOptions& options, RenewedSources& renewed,
                     HydrateOutcome& outcome) {
  Places fresh;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const IngestedStructure& record = entries[i].record;
    const std::string source = internal::source_text_of(host.entry(i));
    const std::string key = internal::source_key(source);
    const auto found = known.find(key);
    if (found == known.end()) {
      fresh.push_back(i);
      continue;
    }
    const internal::KnownEntry& old = found->second;
    const bool changed = old.source == source && internal::has_changed(old, record);
    const bool is_renewed = options.refresh || (options.named_again && old.was_missing);
    if (is_renewed && changed && record.ok) {
      fresh.push_back(i);
      renewed.emplace(key, old);
      continue;
    }
    outcome.known.push_back({.path = record.source_path,
                             .ok = old.ok,
                             .changed = changed,
                             .problem = why_not_read(record),
                             .taken_for = old.source == source ? "" : old.source,
                             .copy_restored = entries[i].copy_restored});
  }
  return fresh;
}

/// What was dropped of changed sources stays as the state knows it.
void keep_old_of_dropped(const RenewedSources& renewed, HydrateOutcome& outcome) {
  std::erase_if(outcome.dropped, [&](const DroppedStructure& dropped) {
    const auto old = renewed.find(internal::source_key(dropped.source_file));
    if (old == renewed.end()) return false;
    outcome.known.push_back({.path = dropped.source_file,
                             .ok = old->second.ok,
                             .changed = true,
                             .unrelated = internal::reason_of(dropped)});
    return true;
  });
}

/// Adds the replacement of the old entries of the renewed sources to the change.
void replace_old(const RenewedSources& renewed, const StateHost& host,
                 internal::StateChange& change, HydrateOutcome& outcome) {
  for (const std::size_t i : change.taken) {
    const std::string source = internal::source_text_of(host.entry(i));
    const std::string key = internal::source_key(source);
    const auto before = renewed.find(key);
    if (before == renewed.end() || !change.replaced.insert(key).second) continue;
    if (before->second.was_missing) continue;  // there was no structure
    const Json& sources = internal::value_of(host, "structure_sources");
    const auto old = std::find_if(sources.begin(), sources.end(), [&key](const Json& known) {
      return known.is_object() && internal::source_key(internal::source_text_of(known)) == key;
    });
    const Json& natoms = internal::value_at(*old, "natoms");
    outcome.replaced.push_back(
        {.source_file = source,
         .formula = internal::text_or_empty(internal::value_at(*old, "formula")),
         .natoms = natoms.is_number_integer() ? natoms.get<std::int64_t>() : 0,
         .path = internal::text_or_empty(internal::value_at(*old, "path"))});
    change.notes.push_back(internal::note_on_replacement(host.entry(i), *old));
  }
}

/// Adds the notes on the entries that are taken.
void note_taken(const Entries& entries, const StateHost& host, bool note_findings,
                internal::StateChange& change) {
  for (const std::size_t i : change.taken) {
    for (std::string& note : internal::notes_on(host.entry(i))) {
      change.notes.push_back(std::move(note));
    }
  }
  if (!note_findings) return;
  for (const std::size_t i : change.taken) {
    internal::append_findings_of(entries[i], change.notes);
  }
}

/// Whether a note of the state begins so.
bool is_noted(const StateHost& host, const std::string& beginning) {
  const Json& notes = internal::value_of(host, "structure_notes");
  return notes.is_array() && std::any_of(notes.begin(), notes.end(), [&](const Json& note) {
           return note.is_string() && note.get_ref<const std::string&>().starts_with(beginning);
         });
}

/// The notes that tell that these entries were ignored, by their beginnings, and their sources.
std::vector<std::pair<std::string, std::string>> notes_as_ignored(const StateHost& host,
                                                                  const Places& places) {
  std::vector<std::pair<std::string, std::string>> notes;
  for (const std::size_t i : places) {
    internal::EntryNames names = internal::names_of(host.entry(i));
    std::string beginning = internal::beginning_of_note(names.file_name, names.formula);
    if (!is_noted(host, beginning)) continue;
    notes.emplace_back(std::move(beginning), std::move(names.source_file));
  }
  return notes;
}

/// The source files that were named again after they had been ignored.
std::set<std::string> ignored_before(const StateHost& host, const HydrateOptions& options,
                                     const std::string& project, const Places& fresh) {
  std::set<std::string> named;
  for (const std::string& path : options.extra_paths) {
    named.insert(internal::candidate_path(std::string(internal::stripped(path)), project));
  }
  std::set<std::string> sources;
  for (const auto& [beginning, source] : notes_as_ignored(host, fresh)) {
    if (named.contains(source)) sources.insert(source);
  }
  return sources;
}

HydrateOutcome hydrate_unguarded(const StateHost& host, const HydrateOptions& options) {
  const BatchOptions& batch = options.batch;
  internal::PathResolver resolver;
  HydrateOutcome outcome;
  CandidateSearch search = find_candidates(host, options, resolver);
  outcome.skipped = std::move(search.skipped);
  if (search.list.candidates.empty()) return outcome;

  // Read what the state knows before the batch: sources that are no list end the call before any
  // copy is written.
  const std::map<std::string, internal::KnownEntry> known = internal::known_sources(host);
  IngestOutcome ingested =
      internal::ingested_entries({.project = search.project,
                                  .candidates = std::move(search.list.candidates),
                                  .limit = options.limit,
                                  .discovery_of = internal::kinds_in(search.list.kinds),
                                  .options = batch},
                                 resolver);
  std::move(ingested.skipped.begin(), ingested.skipped.end(), std::back_inserter(outcome.skipped));
  outcome.why_no_ase = std::move(ingested.why_no_ase);
  Entries& entries = ingested.entries;
  // The manifest tells of the whole batch, also of entries that the state has already or that turn
  // out to be unrelated.
  outcome.manifest_error = host.take_batch(search.project, entries);
  if (batch.check && !batch.dry_run) internal::keep_findings(search.project, entries);

  RenewedSources renewed;
  const Places fresh = places_of_new(entries, known, host, options, renewed, outcome);
  if (fresh.empty()) return outcome;
  internal::RelevanceResult relevant = internal::drop_unrelated(
      host, fresh, options.collaborators.ROLE_UNRELATED,
      options.named_again ? ignored_before(host, options, search.project, fresh)
                          : std::set<std::string>());
  outcome.undone = std::move(relevant.undone);
  outcome.dropped = std::move(relevant.dropped);
  outcome.report = std::move(relevant.report);
  keep_old_of_dropped(renewed, outcome);
  if (relevant.kept.empty() && outcome.dropped.empty()) return outcome;

  internal::StateChange change{.taken = std::move(relevant.kept)};
  for (const DroppedStructure& dropped : outcome.dropped) {
    change.notes.push_back(internal::note_on(dropped));
  }
  replace_old(renewed, host, change, outcome);
  note_taken(entries, host, options.note_findings, change);
  if (options.named_again) {
    for (auto& [beginning, source] : notes_as_ignored(host, change.taken)) {
      change.undone.insert(beginning);
    }
  }
  // Find notes that are no list before anything is changed, where a failure half-way would cost old
  // entries, and where nothing is changed at all.
  if (options.refresh || batch.dry_run || !change.replaced.empty()) {
    internal::for_each_element(internal::value_of(host, "structure_notes"), [](const Json&) {});
  }
  if (!batch.dry_run) host.apply(change);
  for (const std::size_t place : change.taken) outcome.taken.push_back(std::move(entries[place]));
  return outcome;
}

}  // namespace

HydrateOutcome internal::hydrate_state(const StateHost& host, const HydrateOptions& options) {
  try {
    return hydrate_unguarded(host, options);
  } catch (const Interruption&) {
    throw;
  } catch (...) {
    HydrateOutcome failed;
    failed.error = std::current_exception();
    if (options.batch.dry_run) return failed;
    try {
      host.report(failed.error);
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
  return internal::hydrate_state(
      internal::json_host(state, entries, options.collaborators, options.batch.dry_run), options);
}

NewEntries hydrate_user_structures(Json& state, const HydrateOptions& options) {
  const std::size_t taken = hydrate(state, options).taken.size();
  return {state, options.batch.dry_run ? 0 : taken};
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

Json* NewEntries::end() const {
  return begin() + size();
}

Json& NewEntries::operator[](std::size_t place) const {
  return begin()[place];
}

}  // namespace structure_ingest
