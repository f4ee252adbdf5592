#include "structure_ingest/upkeep/entry_reading.hpp"

#include <charconv>
#include <string_view>
#include <system_error>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/upkeep/copies.hpp"

namespace structure_ingest::internal {
namespace {

std::string text_at(const Json& mapping, const char* key) {
  const Json& value = value_at(mapping, key);
  return value.is_string() ? value.get<std::string>() : std::string();
}

}  // namespace

ProjectStructure structure_of(const Json& entry, const std::string& project) {
  const Json& metadata = value_at(entry, "metadata");
  ProjectStructure structure{.path = text_at(entry, "path")};
  if (is_copy_path(structure.path)) structure.copy = structure.path;
  structure.source_file = text_at(metadata, "source_file");
  if (structure.source_file.empty()) structure.source_file = text_at(entry, "source_path");
  structure.discovery = text_at(entry, "discovery");
  structure.formula = text_at(entry, "formula");
  const Json& natoms = value_at(entry, "natoms");
  if (natoms.is_number_integer()) structure.natoms = natoms.get<std::int64_t>();
  structure.has_cell = value_at(entry, "has_cell") == true;
  structure.ok = value_at(entry, "ok") == true;
  structure.sha256 = text_at(entry, "sha256");
  const Json& warnings = value_at(entry, "warnings");
  if (warnings.is_array()) {
    for (const Json& warning : warnings) {
      if (warning.is_string()) structure.warnings.push_back(warning.get<std::string>());
    }
  }
  structure.copied_at = time_of_copy(project, structure.copy);
  return structure;
}

std::string file_stored_as(const std::string& stored) {
  constexpr std::string_view REPLACEMENT = "\uFFFD";
  if (is_regular_file(stored) || stored.find(REPLACEMENT) == std::string::npos) return stored;
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
  return is_regular_file(name) ? name : stored;
}

}  // namespace structure_ingest::internal
