// The agent state as a hydration reaches it, whatever holds it: a JSON value here, a mapping of its
// own in a host that is written in another language.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/hydrate.hpp"

namespace structure_ingest {
struct SourceEntry;
}

namespace structure_ingest::internal {

/// What a hydration decided. Entries are given by their places in the batch.
struct StateChange {
  std::vector<std::size_t> taken{};  // go to the head of "structure_sources", ascending
  /// The keys of sources whose old entries, and the notes on them, are taken out before that. Only
  /// a refreshing hydration has some.
  std::set<std::string> replaced{};
  std::set<std::string> undone{};    // the beginnings of notes that are taken out
  std::vector<std::string> notes{};  // proposed ones: each is added unless it is there
};

/// What a hydration needs of whoever holds the state. It reads values, decides on them and on the
/// entries of its batch, and has the host carry out the whole decision at the end.
struct StateHost {
  /// The value under a key as JSON; null when the state has no such key. A key with dots leads
  /// through mappings. Only what docs/schema/state.schema.json describes is read, each value at the
  /// moment when it is needed: a state that cannot be read must not cost what was done before.
  /// Valid until the same key is asked for again, or the state is changed.
  std::function<const Json*(std::string_view key)> value;

  /// Sets "source_workspace_root".
  std::function<void(const std::string& folder)> learn_root;

  /// Takes the entries of the batch over in the host's own form, in which they go to the manifest,
  /// to the assessor and into the state: the same objects everywhere. Hands them to the manifest's
  /// writer, and returns why the manifest could not be written, if it could not.
  std::function<std::string(const std::string& project, const std::vector<SourceEntry>& entries)>
      take_batch;

  /// The entry at a place of the batch, as JSON: the agent's modules may have changed it. Valid
  /// until the next call.
  std::function<const Json&(std::size_t place)> entry;

  /// Asks the relevance assessor about the entries at these places. Returns what reads its report:
  /// a failure of the assessor means that nothing is dropped, but one of reading what it reported
  /// is like any other.
  std::function<std::function<RelevanceReport()>(const std::vector<std::size_t>& places,
                                                 const std::string& request)>
      assess;

  /// Changes "structure_sources", of which only mappings stay, and then "structure_notes". What is
  /// no list of notes is found only then, and leaves the sources changed.
  std::function<void(const StateChange& change)> apply;

  /// Hands the error that ended the hydration to the agent's diagnostics.
  std::function<void(const std::exception_ptr& error)> report;
};

/// The value under a key; a null value when the state has no such key.
const Json& value_of(const StateHost& host, std::string_view key);

/// The host of a JSON value. `entries` is where the batch stands; with `dry_run` no manifest is
/// written. Everything must outlive the host.
StateHost json_host(Json& state, std::vector<Json>& entries, const Collaborators& collaborators,
                    bool dry_run);

/// As `hydrate`, with a state that any host holds. Throws nothing but an Interruption.
HydrateOutcome hydrate_state(const StateHost& host, const HydrateOptions& options);

}  // namespace structure_ingest::internal
