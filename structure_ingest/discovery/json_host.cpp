#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/discovery/state_entries.hpp"
#include "structure_ingest/discovery/state_host.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest::internal {
namespace {

/// Takes the entries of these sources out of the state, and the notes on them.
void take_out_sources(Json& state, const std::set<std::string>& source_keys) {
  std::vector<std::size_t> places;
  std::size_t place = 0;
  for_each_element(value_at(state, "structure_sources"), [&](const Json& entry) {
    const bool is_meant =
        entry.is_object() && source_keys.contains(source_key(source_text_of(entry)));
    if (is_meant) places.push_back(place);
    ++place;
  });
  take_out(state, places);
}

/// The old entries are moved, not copied: they are most of a long state. Nothing is moved before
/// all memory is there, so that a failure loses none of them.
void put_sources(Json& state, std::vector<Json>& entries, const std::vector<std::size_t>& taken) {
  Json& sources = state["structure_sources"];
  Json merged = Json::array();
  auto& list = merged.get_ref<Json::array_t&>();
  list.reserve(taken.size() + sources.size());
  for (const std::size_t place : taken) list.push_back(std::move(entries[place]));
  if (sources.is_array()) {
    for (Json& entry : sources) {
      if (entry.is_object()) list.push_back(std::move(entry));
    }
  }
  sources.swap(merged);
}

void change_notes(Json& state, const StateChange& change) {
  Json::array_t list;
  std::vector<std::string> known;
  for_each_element(value_at(state, "structure_notes"), [&](const Json& note) {
    if (note.is_string()) {
      if (is_undone(change, note.get_ref<const std::string&>())) return;
      known.push_back(note.get<std::string>());
    }
    list.push_back(note);
  });
  const std::vector<std::string> added = new_notes(known, change.notes);
  list.insert(list.end(), added.begin(), added.end());
  state["structure_notes"] = Json(std::move(list));
}

void apply(const StateChange& change, Json& state, std::vector<Json>& entries) {
  if (!change.replaced.empty()) take_out_sources(state, change.replaced);
  put_sources(state, entries, change.taken);
  change_notes(state, change);
}

RelevanceReport assess(const Collaborators& collaborators, const std::vector<Json>& entries,
                       const std::vector<std::size_t>& places, const std::string& request,
                       const Json& state) {
  if (places.size() == entries.size()) {
    return collaborators.assess_structure_relevance(entries, request, state);
  }
  std::vector<Json> asked;
  asked.reserve(places.size());
  for (const std::size_t place : places) asked.push_back(entries[place]);
  return collaborators.assess_structure_relevance(asked, request, state);
}

const Json* value_in(const Json& state, std::string_view key) {
  if (!state.is_object()) throw std::invalid_argument("the agent state is not a mapping");
  const Json* value = &state;
  for (;;) {
    const auto found = value->find(std::string(key.substr(0, key.find('.'))));
    if (found == value->end()) return nullptr;  // a value that is no mapping finds nothing either
    if (key.find('.') == std::string_view::npos) return &*found;
    key.remove_prefix(key.find('.') + 1);
    value = &*found;
  }
}

}  // namespace

const Json& value_of(const StateHost& host, std::string_view key) {
  static const Json absent;
  const Json* const value = host.value(key);
  return value == nullptr ? absent : *value;
}

StateHost json_host(Json& state, std::vector<Json>& entries, const Collaborators& collaborators,
                    bool dry_run) {
  return {
      .value = [&state](std::string_view key) { return value_in(state, key); },
      .learn_root =
          [&state](const std::string& folder) {
            state["source_workspace_root"] = utf8_text(folder);
          },
      .take_batch =
          [&entries, &collaborators, dry_run](const std::string& project,
                                              const std::vector<SourceEntry>& all) {
            entries = json_entries(all);
            return dry_run ? std::string() : write_manifest(project, entries, collaborators);
          },
      .entry = [&entries](std::size_t place) -> const Json& { return entries[place]; },
      .assess =
          [&](const std::vector<std::size_t>& places, const std::string& request) {
            return [report = assess(collaborators, entries, places, request, state)] {
              return report;
            };
          },
      .apply = [&state, &entries](const StateChange& change) { apply(change, state, entries); },
      .report =
          [&state, &collaborators](const std::exception_ptr& error) {
            collaborators.record_suppressed_error(
                value_at(state, "project_path"),
                {"structure_ingest", "hydrate_user_structures", error});
          },
  };
}

}  // namespace structure_ingest::internal
