#include "structure_ingest/upkeep/list.hpp"

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/ingest/batch.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/upkeep/copies.hpp"
#include "structure_ingest/upkeep/entry_reading.hpp"

namespace structure_ingest {
namespace {

/// The entries of the manifest; none when there is no manifest.
Json entries_of_manifest(const std::string& project, ProjectListing& listing) {
  const std::string path = internal::join_path(project, INGEST_MANIFEST_REL);
  if (!internal::is_regular_file(path)) return Json::array();
  try {
    const Json manifest = parse_json(internal::read_file(path));
    const Json& structures = internal::value_at(manifest, "structures");
    if (structures.is_array()) return structures;
    listing.manifest_error = path + ": it has no list of structures";
  } catch (const std::system_error& error) {
    listing.manifest_error = error.what();
  } catch (const JsonError& error) {
    listing.manifest_error = path + ": " + error.what();
  }
  return Json::array();
}

/// The findings on the structure of an entry. A source that has changed says nothing of it.
std::vector<Finding> findings_on(const Json& entry, const MayRead& may_read) {
  IngestedStructure record = internal::record_of(entry);
  if (!record.ok) return {};
  const std::string source = internal::file_stored_as(record.source_path);
  bool is_same = false;
  try {
    is_same = (!may_read || may_read(source)) &&
              internal::sha256_hex_of_file(source).substr(0, internal::FINGERPRINT_DIGITS) ==
                  record.sha256;
  } catch (const std::system_error&) {
    // It is gone.
  }
  record.source_path = is_same ? source : std::string();
  return check_structure(record);
}

ProjectStructure structure_in_copy(const std::string& project, const std::string& copy) {
  const IngestedStructure record = parse_structure_file(internal::join_path(project, copy));
  return {.path = copy,
          .copy = copy,
          .source_file = {},
          .discovery = {},
          .formula = record.formula,
          .natoms = record.natoms,
          .has_cell = record.cell_ang.has_value(),
          .ok = record.ok,
          .sha256 = {},
          .warnings = record.ok ? std::vector<std::string>() : record.warnings,
          .copied_at = internal::time_of_copy(project, copy)};
}

}  // namespace

ProjectListing list_structures(const std::string& project, const Json& state,
                               const ListOptions& options) {
  const std::string folder = internal::resolve_path(project);
  ProjectListing listing;
  const Json entries = state.is_object() ? internal::value_at(state, "structure_sources")
                                         : entries_of_manifest(folder, listing);
  std::set<std::string> known_copies;
  internal::for_each_element(entries, [&](const Json& entry) {
    if (!entry.is_object()) return;
    const std::size_t place = listing.structures.size();
    ProjectStructure& structure =
        listing.structures.emplace_back(internal::structure_of(entry, folder));
    known_copies.insert(structure.copy);
    if (!options.check || place < options.check_from) return;
    if (place - options.check_from >= options.check_count) return;
    if (options.progress) options.progress(place, entries.size(), structure.path);
    structure.findings = findings_on(entry, options.may_read);
  });
  for (std::string& copy : internal::copies_in(folder)) {
    if (known_copies.contains(copy)) continue;
    if (state.is_object()) {
      listing.other_copies.push_back(std::move(copy));
    } else {
      listing.structures.push_back(structure_in_copy(folder, copy));
    }
  }
  return listing;
}

}  // namespace structure_ingest
