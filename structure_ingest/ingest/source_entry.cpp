#include "structure_ingest/ingest/source_entry.hpp"

#include <cstddef>
#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest {

namespace {

/// The entry of a record with these two of its values, and each text but those of lists in `form`.
Json entry_with(Json symbols, Json positions_ang, const IngestedStructure& record,
                std::string_view discovery, internal::TextForm form) {
  const std::string kind = form(discovery.empty() ? DISCOVERY_ATTACHMENT : discovery);
  const std::string source_path = form(record.source_path);
  const std::string xyz_path = form(record.canonical_xyz_rel);
  const std::string formula = form(record.formula);

  Json metadata = Json::object();
  metadata["xyz_path"] = xyz_path;
  metadata["provenance"] = "user_file";
  metadata["discovery"] = kind;
  metadata["source_file"] = source_path;
  metadata["cell_provenance"] = form(record.cell_provenance);
  metadata["parser"] = "structure_ingest";

  Json entry = Json::object();
  // With "ok", which a batch adds. Without this the mapping copies its values each time it grows.
  entry.get_ref<Json::object_t&>().reserve(20);
  entry["path"] = xyz_path.empty() ? source_path : xyz_path;
  entry["kind"] = "structure_file";
  entry["origin"] = "user_file";
  entry["discovery"] = kind;
  entry["format"] = form(record.format);
  entry["formula"] = formula;
  entry["natoms"] = record.natoms;
  entry["species"] = internal::json_list(record.species);
  entry["has_cell"] = record.cell_ang && !record.cell_ang->empty();
  entry["cell_ang"] = record.cell_ang ? internal::json_list(*record.cell_ang) : Json();
  entry["symbols"] = std::move(symbols);
  entry["positions_ang"] = std::move(positions_ang);
  entry["fractional"] = record.fractional;
  entry["source_path"] = source_path;
  entry["sha256"] = form(record.sha256);
  entry["warnings"] = internal::json_list(record.warnings);
  entry["related_steps"] = Json::array({"SCF", "RELAXATION"});
  entry["metadata"] = std::move(metadata);
  entry["description"] =
      "User-provided structure (" + formula + ", " + std::to_string(record.natoms) +
      " atoms) parsed deterministically from " + internal::file_name(source_path) +
      ". Coordinates in the canonical XYZ copy are exact; do NOT re-type or invent coordinates.";
  return entry;
}

}  // namespace

Json internal::source_entry(const IngestedStructure& record, std::string_view discovery,
                            TextForm form) {
  return entry_with(json_list(record.symbols), json_list(record.positions_ang), record, discovery,
                    form);
}

Json structure_source_entry(const IngestedStructure& record, std::string_view discovery) {
  return internal::source_entry(record, discovery, internal::utf8_text);
}

Json internal::entry_without_lists(const SourceEntry& entry, std::vector<JsonList>& lists) {
  const std::size_t first = lists.size();
  lists.emplace_back(entry.record.symbols);
  lists.emplace_back(entry.record.positions_ang);
  Json json = entry_with(list_placeholder(first), list_placeholder(first + 1), entry.record,
                         entry.discovery, utf8_text);
  json["ok"] = entry.record.ok;
  return json;
}

std::string SourceEntry::path() const {
  return internal::utf8_text(record.canonical_xyz_rel.empty() ? record.source_path
                                                              : record.canonical_xyz_rel);
}

std::string SourceEntry::source_file() const {
  return internal::utf8_text(record.source_path);
}

Json SourceEntry::to_json() const {
  Json entry = structure_source_entry(record, discovery);
  entry["ok"] = record.ok;
  return entry;
}

}  // namespace structure_ingest
