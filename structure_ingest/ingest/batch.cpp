#include "structure_ingest/ingest/batch.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/project/ownership.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest {
namespace {

constexpr std::size_t FINGERPRINT_DIGITS = 16;

std::string absolute_candidate(const std::string& project, const std::string& text) {
  std::string path = text;
  if (path.starts_with('~')) {
    try {
      path = internal::expand_home(path);
    } catch (const std::exception&) {
      // No such home directory: then it is a folder of that name in the project.
    }
  }
  return internal::join_path(project, path);
}

bool is_canonical_copy(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::string copies = "/" + std::string(INGESTED_DIRNAME) + "/ingested_";
  return path.find(copies) != std::string::npos;
}

Json ingest_file(StructureParser& parser, const std::string& project, const std::string& path,
                 const std::string& discovery) {
  IngestedStructure record = parser.parse(path);
  try {
    record.sha256 = internal::sha256_hex_of_file(path).substr(0, FINGERPRINT_DIGITS);
  } catch (const std::system_error&) {
    // A file that cannot be read has no fingerprint; the record already says what is wrong.
  }
  if (record.ok) {
    try {
      record.canonical_xyz_rel = internal::write_canonical_xyz(project, record);
    } catch (const std::system_error& error) {
      record.warnings.push_back(std::string("Could not write canonical XYZ copy: ") + error.what());
    }
  }
  Json entry = structure_source_entry(record, discovery);
  entry["ok"] = record.ok;  // for which it has room
  return entry;
}

/// Records the batch; the entries come back as they were.
void write_manifest(const std::string& project, std::vector<Json>& entries,
                    const Collaborators& collaborators) {
  Json manifest = Json::object();
  const internal::TakenApart manifest_at_end(manifest);
  internal::make_room(manifest, 2);
  manifest["version"] = 1;
  manifest["structures"] = Json(std::move(entries));
  try {
    collaborators.atomic_write_json(internal::join_path(project, INGEST_MANIFEST_REL), manifest);
  } catch (const std::system_error&) {
    // The manifest is a service; the entries are what counts.
  }
  entries = std::move(manifest["structures"].get_ref<Json::array_t&>());
}

}  // namespace

std::vector<Json> ingest_structure_files(const std::string& project_path,
                                         const std::vector<std::string>& candidate_paths,
                                         const IngestOptions& options) {
  const std::string project = internal::resolve_path(project_path);
  const std::size_t budget = static_cast<std::size_t>(std::max(1, options.limit));
  const std::size_t considered = std::min(budget, candidate_paths.size());
  StructureParser parser;
  std::vector<Json> entries;
  const internal::TakenApart entries_on_error(entries, internal::On::ERROR);
  entries.reserve(considered);
  std::set<std::string> seen_sources;
  for (std::size_t i = 0; i < considered; ++i) {
    const std::string path = absolute_candidate(project, candidate_paths[i]);
    if (!is_structure_file(path)) continue;
    const std::string identity = internal::source_identity(path);
    if (!seen_sources.insert(identity).second) continue;
    if (is_canonical_copy(path)) continue;
    const auto known = options.discovery_by_path.find(identity);
    const std::string discovery = known == options.discovery_by_path.end() ? "" : known->second;
    if (discovery != DISCOVERY_ATTACHMENT && belongs_to_another_project(path, project)) continue;
    if (options.progress) options.progress(i, considered, path);
    entries.push_back(ingest_file(parser, project, path, discovery));
  }
  if (!entries.empty()) write_manifest(project, entries, options.collaborators);
  return entries;
}

}  // namespace structure_ingest
