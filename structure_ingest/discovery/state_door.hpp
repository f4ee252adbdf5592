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

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest::internal {

/// All that a hydration does with a state. What is decided is decided on `value` and `entry`; the
/// other functions only carry it out, in the order in which they stand here. The entries that they
/// are about are the same objects from the manifest to the state.
struct StateDoor {
  /// The value under a key as JSON; null when the state has no such key. "project_resolution.
  /// requested_path" is a key in the mapping under a key, and null when there is no such mapping.
  /// Only what docs/schema/state.schema.json describes is read, each value at the moment when it is
  /// needed. Valid until the value is changed or asked for again.
  std::function<const Json*(std::string_view key)> value;

  /// Sets "source_workspace_root".
  std::function<void(const std::string& folder)> learn_root;

  /// Makes the entries in the host's form, and hands them to the manifest's writer. Returns why the
  /// manifest could not be written, if it could not.
  std::function<std::string(const std::string& project, const std::vector<SourceEntry>& entries)>
      write_manifest;

  /// The entry at a place among those that are left, as JSON. Valid until the next call.
  std::function<const Json&(std::size_t place)> entry;

  /// Drops all entries but those at these places, which ascend.
  std::function<void(const std::vector<std::size_t>& places)> keep;

  /// Asks the relevance assessor about the entries that are left. Returns what reads its report: a
  /// failure of the assessor means that nothing is dropped, but one of reading what it reported is
  /// like any other.
  std::function<std::function<RelevanceReport()>(const std::string& request)> assess;

  /// Takes the entries of these sources, given by their keys, out of "structure_sources", and the
  /// notes on them. Only a refreshing hydration asks for it.
  std::function<void(const std::set<std::string>& source_keys)> take_out;

  /// Puts the entries that are left in front of those that "structure_sources" has, of which only
  /// mappings stay.
  std::function<void()> put_sources;

  /// Replaces "structure_notes" by a list of its elements and `notes`.
  std::function<void(const std::vector<std::string>& notes)> add_notes;

  /// Hands the error that ended the hydration to the agent's diagnostics.
  std::function<void(const std::exception_ptr& error)> report;
};

/// The value under a key; a null value when the state has no such key.
inline const Json& value_of(const StateDoor& door, std::string_view key) {
  static const Json absent;
  const Json* const value = door.value(key);
  return value == nullptr ? absent : *value;
}

}  // namespace structure_ingest::internal
