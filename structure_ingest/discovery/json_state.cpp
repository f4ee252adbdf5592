#include "structure_ingest/discovery/json_state.hpp"

#include <iterator>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/discovery/merge.hpp"
#include "structure_ingest/discovery/take_out.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest::internal {
namespace {

void keep_places(std::vector<Json>& entries, const std::vector<std::size_t>& places) {
  if (places.size() == entries.size()) return;
  std::vector<Json> kept;
  kept.reserve(places.size());
  for (const std::size_t place : places) kept.push_back(std::move(entries[place]));
  entries = std::move(kept);
}

/// The old entries are moved, not copied: they are most of a long state. Nothing is moved before
/// all memory is there, so that a failure loses none of them.
void put_sources(Json& state, std::vector<Json>& entries) {
  Json& sources = state["structure_sources"];
  Json merged = Json::array();
  auto& list = merged.get_ref<Json::array_t&>();
  list.reserve(entries.size() + sources.size());
  for (Json& entry : entries) list.push_back(std::move(entry));
  if (sources.is_array()) {
    for (Json& entry : sources) {
      if (entry.is_object()) list.push_back(std::move(entry));
    }
  }
  sources.swap(merged);
}

void add_notes(Json& state, const std::vector<std::string>& notes) {
  Json::array_t list;
  for_each_element(value_at(state, "structure_notes"),
                   [&list](const Json& note) { list.push_back(note); });
  list.insert(list.end(), notes.begin(), notes.end());
  state["structure_notes"] = Json(std::move(list));
}

}  // namespace

StateDoor door_to(Json& state, std::vector<Json>& entries, const Collaborators& collaborators) {
  return {
      .view = [&state]() -> const Json& { return state; },
      .learn_root =
          [&state](const std::string& folder) { state["source_workspace_root"] = folder; },
      .write_manifest =
          [&entries, &collaborators](const std::string& project,
                                     const std::vector<SourceEntry>& all) {
            entries = json_entries(all);
            return write_manifest(project, entries, collaborators);
          },
      .keep = [&entries](const auto& places) { keep_places(entries, places); },
      .assess =
          [&state, &entries, &collaborators](const std::string& request) {
            return collaborators.assess_structure_relevance(entries, request, state);
          },
      .take_out =
          [&state](const auto& source_keys) {
            std::vector<std::size_t> places;
            std::size_t place = 0;
            for_each_element(value_at(state, "structure_sources"), [&](const Json& entry) {
              const bool is_meant =
                  entry.is_object() && source_keys.contains(source_key(source_text_of(entry)));
              if (is_meant) places.push_back(place);
              ++place;
            });
            take_out(state, places);
          },
      .put_sources = [&state, &entries] { put_sources(state, entries); },
      .add_notes = [&state](const auto& notes) { add_notes(state, notes); },
  };
}

}  // namespace structure_ingest::internal
