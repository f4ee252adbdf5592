#include "collaborators/agent_modules/relevance/structure_relevance.hpp"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "collaborators/agent_modules/relevance/mentioned_names.hpp"
#include "collaborators/agent_modules/relevance/request_text.hpp"
#include "collaborators/agent_modules/relevance/requested_material.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

using structure_ingest::Json;
using structure_ingest::RelevanceReport;
using structure_ingest::RelevanceVerdict;
using structure_ingest::internal::file_name;
using structure_ingest::internal::text_or_empty;
using structure_ingest::internal::value_at;

constexpr double SURE = 0.9;
constexpr double UNSURE = 0.5;

/// What the assessor reads of a source entry.
struct Structure {
  std::string path;
  std::set<std::string> file_names;
  std::set<std::string> names;  // file names and their stems
  Elements elements;            // empty when they are not fully known
};

Elements elements_of_entry(const Json& entry) {
  Elements elements;
  const Json& species = value_at(entry, "species");
  if (species.is_array() && !species.empty()) {
    for (const Json& symbol : species) {
      if (!symbol.is_string() || !is_element(symbol.get_ref<const std::string&>())) return {};
      elements.insert(symbol.get<std::string>());
    }
    return elements;
  }
  const Json& formula = value_at(entry, "formula");
  if (!formula.is_string()) return {};
  const auto read = read_formula(formula.get_ref<const std::string&>());
  return read ? read->elements : Elements();
}

/// A stem that is a short word ("in", "no") names no file by itself.
bool is_telling(std::string_view stem) {
  constexpr std::size_t SHORTEST = 3;
  return stem.size() >= SHORTEST || stem.find_first_of("0123456789") != std::string_view::npos;
}

Structure structure_of(const Json& entry) {
  Structure structure;
  structure.path = text_or_empty(value_at(entry, "path"));
  structure.elements = elements_of_entry(entry);
  for (const std::string& path :
       {text_or_empty(value_at(value_at(entry, "metadata"), "source_file")),
        text_or_empty(value_at(entry, "source_path")), structure.path}) {
    const std::string name = path.empty() ? std::string() : file_name(path);
    if (name.empty()) continue;
    if (structure.path.empty()) structure.path = name;
    structure.file_names.insert(name);
    structure.names.insert(name);
    if (const std::string_view stem = file_stem(name); is_telling(stem))
      structure.names.emplace(stem);
  }
  return structure;
}

/// Whether the elements are those of one requested material, or of several together.
bool is_made_of(const Elements& elements, const std::vector<RequestedMaterial>& materials) {
  Elements covered;
  for (const RequestedMaterial& material : materials)
    if (std::includes(elements.begin(), elements.end(), material.elements.begin(),
                      material.elements.end()))
      covered.insert(material.elements.begin(), material.elements.end());
  return !elements.empty() && covered == elements;
}

std::string list_of(const Elements& elements) {
  std::string list;
  for (const std::string& element : elements) list += (list.empty() ? "" : ", ") + element;
  return list;
}

/// "TiO2 (O, Ti)", "MoS2 and WSe2 (Mo, S, Se, W)".
std::string what_is_named(const std::vector<RequestedMaterial>& materials) {
  constexpr std::size_t MOST_NAMES = 3;
  constexpr std::size_t LONGEST_NAME = 60;
  Elements elements;
  std::string names;
  for (std::size_t i = 0; i < materials.size(); ++i) {
    const auto& [name, material] = materials[i];
    elements.insert(material.begin(), material.end());
    if (i > MOST_NAMES) continue;
    if (i > 0) names += i + 1 == materials.size() || i == MOST_NAMES ? " and " : ", ";
    names += i == MOST_NAMES ? "others" : name.size() > LONGEST_NAME ? "a long formula" : name;
  }
  return names + " (" + list_of(elements) + ")";
}

RelevanceVerdict verdict_on(const Structure& structure, const RequestedMaterials& requested,
                            const std::set<std::string>& mentioned) {
  const auto decide = [&](std::string_view role, double confidence, std::string reason) {
    return RelevanceVerdict{structure.path, std::string(role), confidence, std::move(reason)};
  };
  for (const std::string& name : structure.names)
    if (mentioned.contains(name))
      return decide(ROLE_REQUESTED, SURE, "the request mentions the file name '" + name + "'");
  if (structure.elements.empty()) return decide(ROLE_UNKNOWN, UNSURE, "its elements are not known");
  const std::string named =
      requested.certain.empty() ? std::string() : what_is_named(requested.certain);
  if (is_made_of(structure.elements, requested.certain))
    return decide(ROLE_REQUESTED, SURE, "the request names " + named);
  Elements shared;
  std::set_intersection(structure.elements.begin(), structure.elements.end(),
                        requested.elements.begin(), requested.elements.end(),
                        std::inserter(shared, shared.end()));
  if (!shared.empty())
    return decide(ROLE_RELATED, requested.certain.empty() ? UNSURE : SURE,
                  "the request may mean something with " + list_of(shared));
  if (requested.certain.empty())
    return decide(ROLE_UNKNOWN, UNSURE, "the request names no material with certainty");
  if (!requested.unnamed.empty())
    return decide(ROLE_UNRELATED, UNSURE,
                  "the request names " + named + ", but '" + requested.unnamed +
                      "' may stand for a further material");
  if (requested.only_parts)
    return decide(ROLE_UNRELATED, UNSURE,
                  "the request names " + named + ", but maybe only as a part of something else");
  return decide(ROLE_UNRELATED, SURE,
                "the request names " + named + ", and this structure holds none of these elements");
}

}  // namespace

RelevanceReport assess_structure_relevance(const std::vector<Json>& entries,
                                           const std::string& request, const Json&) {
  std::vector<Structure> structures;
  std::set<std::string> names;
  for (const Json& entry : entries) {
    structures.push_back(structure_of(entry));
    names.insert(structures.back().names.begin(), structures.back().names.end());
  }
  const RequestedMaterials requested = requested_materials(request);
  const std::set<std::string> mentioned = mentioned_names(request, names);
  RelevanceReport report;
  std::set<std::string> sources_to_keep;
  for (const Structure& structure : structures) {
    RelevanceVerdict verdict = verdict_on(structure, requested, mentioned);
    if (verdict.role != ROLE_UNRELATED || verdict.confidence < SURE) {
      sources_to_keep.insert(structure.path);
      sources_to_keep.insert(structure.file_names.begin(), structure.file_names.end());
    }
    report.verdicts.push_back(std::move(verdict));
  }
  // A source that could also be read as a kept structure's must not drop that one.
  for (RelevanceVerdict& verdict : report.verdicts)
    if (verdict.role == ROLE_UNRELATED && sources_to_keep.contains(verdict.source))
      verdict.confidence = UNSURE;
  return report;
}

}  // namespace agent_modules
