#include "structure_ingest/upkeep/project_structure.hpp"

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/copies.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest {
namespace {

using internal::string_at;
using internal::strings_at;
using internal::value_at;

/// Three numbers; null stands for one that is not finite.
std::optional<Vector3> vector_of(const Json& list) {
  if (!list.is_array() || list.size() != 3) return std::nullopt;
  Vector3 vector{};
  for (std::size_t i = 0; i < 3; ++i) {
    if (!list[i].is_number() && !list[i].is_null()) return std::nullopt;
    vector[i] =
        list[i].is_null() ? std::numeric_limits<double>::quiet_NaN() : list[i].get<double>();
  }
  return vector;
}

std::optional<std::vector<Vector3>> vectors_of(const Json& list) {
  if (!list.is_array()) return std::nullopt;
  std::vector<Vector3> vectors;
  for (const Json& each : list) {
    const std::optional<Vector3> vector = vector_of(each);
    if (!vector) return std::nullopt;
    vectors.push_back(*vector);
  }
  return vectors;
}

}  // namespace

IngestedStructure record_of(const Json& entry) {
  IngestedStructure record{.source_path = string_at(entry, "source_path"),
                           .format = string_at(entry, "format")};
  record.species = strings_at(entry, "species");
  record.symbols = strings_at(entry, "symbols");
  record.natoms = static_cast<std::int64_t>(record.symbols.size());
  record.formula = string_at(entry, "formula");
  record.sha256 = string_at(entry, "sha256");
  record.warnings = strings_at(entry, "warnings");
  record.cell_ang = vectors_of(value_at(entry, "cell_ang"));
  record.positions_ang =
      vectors_of(value_at(entry, "positions_ang")).value_or(std::vector<Vector3>());
  record.ok = value_at(entry, "ok") == true && !record.symbols.empty() &&
              record.positions_ang.size() == record.symbols.size();
  return record;
}

ProjectStructure project_structure(const Json& entry, const std::string& project) {
  const Json& metadata = value_at(entry, "metadata");
  ProjectStructure structure{.path = string_at(entry, "path")};
  if (is_copy_path(structure.path)) structure.copy = structure.path;
  structure.source_file = string_at(metadata, "source_file");
  if (structure.source_file.empty()) structure.source_file = string_at(entry, "source_path");
  structure.discovery = string_at(entry, "discovery");
  structure.formula = string_at(entry, "formula");
  const Json& natoms = value_at(entry, "natoms");
  if (natoms.is_number_integer()) structure.natoms = natoms.get<std::int64_t>();
  structure.has_cell = value_at(entry, "has_cell") == true;
  structure.ok = value_at(entry, "ok") == true;
  structure.sha256 = string_at(entry, "sha256");
  structure.warnings = strings_at(entry, "warnings");
  if (!project.empty()) structure.copied_at = internal::time_of_copy(project, structure.copy);
  return structure;
}

ProjectStructure project_structure(const SourceEntry& entry, const std::string& project) {
  const IngestedStructure& record = entry.record;
  ProjectStructure structure{
      .path = entry.path(),
      .copy = record.canonical_xyz_rel,
      .source_file = entry.source_file(),
      .discovery = std::string(entry.discovery.empty() ? DISCOVERY_ATTACHMENT : entry.discovery),
      .formula = record.formula,
      .natoms = record.natoms,
      .has_cell = record.cell_ang && !record.cell_ang->empty(),
      .ok = record.ok,
      .sha256 = record.sha256,
      .warnings = record.warnings,
      .findings = entry.findings};
  if (!project.empty()) structure.copied_at = internal::time_of_copy(project, structure.copy);
  return structure;
}

std::string file_stored_as(const std::string& stored) {
  constexpr std::string_view REPLACEMENT = "\uFFFD";
  if (internal::is_regular_file(stored) || stored.find(REPLACEMENT) == std::string::npos)
    return stored;
  std::string name;
  for (std::size_t at = 0; at < stored.size();) {
    const std::string_view rest = std::string_view(stored).substr(at);
    unsigned char byte = 0;
    const char* const digits = rest.data() + REPLACEMENT.size();
    if (rest.starts_with(REPLACEMENT) && rest.size() >= REPLACEMENT.size() + 2 &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      name += static_cast<char>(byte);
      at += REPLACEMENT.size() + 2;
    } else {
      name += stored[at++];
    }
  }
  return internal::is_regular_file(name) ? name : stored;
}

}  // namespace structure_ingest
