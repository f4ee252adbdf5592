#include "structure_ingest/discovery/json_state.hpp"

#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/utf8.hpp"
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
  entries.clear();  // from now on they are those of the state
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

StateDoor door_to(Json& state, std::vector<Json>& entries, const Collaborators& collaborators) {
  return {
      .value = [&state](std::string_view key) { return value_in(state, key); },
      .learn_root =
          [&state](const std::string& folder) {
            state["source_workspace_root"] = utf8_text(folder);
          },
      .write_manifest =
          [&entries, &collaborators](const std::string& project,
                                     const std::vector<SourceEntry>& all) {
            entries = json_entries(all);
            return write_manifest(project, entries, collaborators);
          },
      .entry = [&state, &entries](std::size_t place) -> const Json& {
        return entries.empty() ? state["structure_sources"][place] : entries[place];
      },
      .keep = [&entries](const auto& places) { keep_places(entries, places); },
      .assess =
          [&state, &entries, &collaborators](const std::string& request) {
            return [report = collaborators.assess_structure_relevance(entries, request, state)] {
              return report;
            };
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
      .report =
          [&state, &collaborators](const std::exception_ptr& error) {
            collaborators.record_suppressed_error(
                value_at(state, "project_path"),
                {"structure_ingest", "hydrate_user_structures", error});
          },
  };
}

}  // namespace structure_ingest::internal
