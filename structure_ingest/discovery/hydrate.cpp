#include "structure_ingest/discovery/hydrate.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <set>
#include <stdexcept>
#include <utility>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/discovery/candidates.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/ingest/batch.hpp"

namespace structure_ingest {
namespace {

using internal::is_empty;
using internal::member_of;
using internal::text_of;
using internal::text_or_empty;
using internal::value_at;

/// The text that names the file an entry came from.
std::string source_text(const Json& entry) {
  const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
  return text_or_empty(is_empty(source_file) ? value_at(entry, "source_path") : source_file);
}

/// What two entries of the same source share, whatever the case and the slashes of the path.
std::string source_key(std::string text) {
  std::replace(text.begin(), text.end(), '\\', '/');
  return internal::case_folded(text);
}

/// The source keys of the state's entries; `sources` is its "structure_sources" value.
std::set<std::string> existing_source_keys(const Json& sources) {
  std::set<std::string> keys;
  internal::for_each_element(sources, [&keys](const Json& entry) {
    if (!entry.is_object()) return;
    std::string text = source_text(entry);
    if (!internal::stripped(text).empty()) keys.insert(source_key(std::move(text)));
  });
  return keys;
}

std::string note_on(const Json& entry) {
  if (!is_empty(value_at(entry, "ok"))) {
    return "User structure ingested deterministically: " + text_of(value_at(entry, "formula")) +
           " (" + text_of(value_at(entry, "natoms")) + " atoms) -> " +
           text_of(value_at(entry, "path")) + ".";
  }
  const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
  const Json& source = is_empty(source_file) ? value_at(entry, "path") : source_file;
  std::string warnings;
  for (const Json& warning : value_at(entry, "warnings")) {
    if (!warnings.empty()) warnings += "; ";
    warnings += text_of(warning);
  }
  return "Structure file could not be parsed: " + internal::file_name(text_or_empty(source)) +
         " (" + warnings + ")";
}

void add_note(Json::array_t& notes, const std::string& note) {
  if (std::find(notes.begin(), notes.end(), Json(note)) == notes.end()) notes.emplace_back(note);
}

void add_notes_on(const Json& entry, Json::array_t& notes) {
  add_note(notes, note_on(entry));
  for (const Json& warning : value_at(entry, "warnings")) {
    const std::string text = text_of(warning);
    if (text.find("No cell/lattice information") != std::string::npos) add_note(notes, text);
  }
}

/// Puts the entries before those that the state has. The old entries move over, once nothing can
/// fail any more.
void prepend_sources(Json& state, std::vector<Json>&& entries) {
  internal::make_room(state, 2);
  Json merged(std::move(entries));
  const internal::TakenApart merged_at_end(merged);
  merged.get_ref<Json::array_t&>().reserve(merged.size() +
                                           value_at(state, "structure_sources").size());
  Json& sources = state["structure_sources"];
  if (sources.is_array()) {
    for (Json& entry : sources) {
      if (entry.is_object()) merged.push_back(std::move(entry));
    }
  }
  sources.swap(merged);
}

std::span<Json> hydrate(Json& state, const HydrateOptions& options) {
  if (!state.is_object()) throw std::invalid_argument("the agent state is not a mapping");
  internal::Candidates candidates =
      internal::discover_candidates(state, options.extra_paths, options.collaborators);
  if (candidates.paths.empty()) return {};

  const std::set<std::string> known = existing_source_keys(value_at(state, "structure_sources"));
  std::vector<Json> entries =
      ingest_structure_files(candidates.project_path, candidates.paths,
                             {.discovery_by_path = std::move(candidates.discovery),
                              .collaborators = options.collaborators,
                              .progress = options.progress});
  const internal::TakenApart entries_at_end(entries);
  std::erase_if(entries,
                [&](const Json& entry) { return known.contains(source_key(source_text(entry))); });
  if (entries.empty()) return {};

  internal::FilteredEntries filtered =
      internal::drop_unrelated_structures(std::move(entries), state, options.collaborators);
  const internal::TakenApart kept_at_end(filtered.kept);
  const std::size_t added = filtered.kept.size();
  prepend_sources(state, std::move(filtered.kept));
  const std::span<Json> result(state["structure_sources"].get_ref<Json::array_t&>().data(), added);

  Json::array_t notes;
  const internal::TakenApart notes_at_end(notes);
  internal::for_each_element(value_at(state, "structure_notes"),
                             [&notes](const Json& note) { notes.push_back(note); });
  for (const std::string& note : filtered.notes) add_note(notes, note);
  for (const Json& entry : result) add_notes_on(entry, notes);
  state["structure_notes"] = std::move(notes);
  return result;
}

}  // namespace

std::span<Json> hydrate_user_structures(Json& state, const HydrateOptions& options) {
  try {
    return hydrate(state, options);
  } catch (const abi::__forced_unwind&) {
    throw;  // the end of the thread is no error
  } catch (...) {
    try {
      options.collaborators.record_suppressed_error(
          value_at(state, "project_path"),
          {"structure_ingest", "hydrate_user_structures", std::current_exception()});
    } catch (const abi::__forced_unwind&) {
      throw;  // the end of the thread is no error
    } catch (...) {
      // Who cannot even be told of a failure must not be failed by it.
    }
    return {};
  }
}

}  // namespace structure_ingest
