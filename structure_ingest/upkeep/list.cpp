#include "structure_ingest/upkeep/list.hpp"

#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/copies.hpp"
#include "structure_ingest/ingest/kept_findings.hpp"
#include "structure_ingest/readers/dispatch.hpp"

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

/// The findings on the structure of an entry that the project kept none of. A source that has
/// changed since says nothing of it.
std::vector<Finding> findings_on(const Json& entry, const MayRead& may_read) {
  IngestedStructure record = record_of(entry);
  const std::string source = file_stored_as(record.source_path);
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

std::string digest_of_record(const Json& entry) {
  const IngestedStructure record = record_of(entry);
  return record.ok ? copy_digest(canonical_xyz_text(record)) : std::string();
}

ProjectStructure structure_in_copy(const std::string& project, const std::string& copy,
                                   bool check) {
  const IngestedStructure record = parse_structure_file(internal::join_path(project, copy));
  return {.path = copy,
          .copy = copy,
          .formula = record.formula,
          .natoms = record.natoms,
          .has_cell = record.cell_ang.has_value(),
          .ok = record.ok,
          .warnings = record.ok ? std::vector<std::string>() : record.warnings,
          .findings = check ? std::optional(check_structure(record)) : std::nullopt,
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
  std::map<std::pair<std::string, std::string>, std::vector<Finding>> kept;  // by source and bytes
  if (options.check) {
    for (FileFindings& file : kept_findings(folder)) {
      kept.emplace(std::pair(file.source_path, file.sha256), std::move(file.findings));
    }
  }
  internal::for_each_element(entries, [&](const Json& entry) {
    if (!entry.is_object()) return;
    const std::size_t place = listing.structures.size();
    ProjectStructure& structure = listing.structures.emplace_back(project_structure(entry, folder));
    known_copies.insert(structure.copy);
    if (options.record_digests) structure.record_digest = digest_of_record(entry);
    if (!options.check || place < options.check_from) return;
    if (place - options.check_from >= options.check_count) return;
    if (options.progress) options.progress(place, entries.size(), structure.path);
    const auto found = kept.find({structure.source_file, structure.sha256});
    structure.findings = found != kept.end() ? found->second : findings_on(entry, options.may_read);
  });
  for (std::string& copy : copies_in(folder)) {
    if (known_copies.contains(copy)) continue;
    if (state.is_object()) {
      listing.other_copies.push_back(std::move(copy));
    } else {
      listing.structures.push_back(structure_in_copy(folder, copy, options.check));
    }
  }
  return listing;
}

}  // namespace structure_ingest
