#include "structure_ingest/ingest/entries.hpp"

#include <algorithm>
#include <new>
#include <set>
#include <system_error>
#include <utility>

#include "structure_ingest/check/check.hpp"
#include "structure_ingest/check/findings_json.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/project/folder_owners.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest::internal {
namespace {

bool is_canonical_copy(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::string copies = "/" + std::string(INGESTED_DIRNAME) + "/ingested_";
  return path.find(copies) != std::string::npos;
}

IngestedStructure ingest_file(StructureParser& parser, const std::string& project,
                              const std::string& path) {
  IngestedStructure record = parser.parse_with_fingerprint(path);
  if (!record.ok) return record;
  try {
    record.canonical_xyz_rel = write_canonical_xyz(project, record);
  } catch (const std::system_error& error) {
    record.warnings.push_back(std::string("Could not write canonical XYZ copy: ") + error.what());
  } catch (const std::bad_alloc&) {
    record.warnings.emplace_back("Could not write canonical XYZ copy: not enough memory");
  }
  return record;
}

}  // namespace

std::vector<SourceEntry> ingested_entries(const BatchInput& input, PathResolver& resolver) {
  const std::size_t considered = std::min(input.limit, input.candidates.size());
  StructureParser parser;
  FolderOwners owners(input.project);
  std::vector<SourceEntry> entries;
  std::set<std::string> seen_sources;
  for (std::size_t i = 0; i < considered; ++i) {
    const Candidate& candidate = input.candidates[i];
    const std::string path = candidate_path(candidate.text, input.project);
    if (!is_structure_file(path)) continue;
    SourceFile source = candidate.source ? *candidate.source : source_file(path, resolver);
    if (!seen_sources.insert(source.identity).second) continue;
    if (is_canonical_copy(source.path)) continue;
    source.discovery = input.discovery_of(source.identity);
    if (source.discovery != DISCOVERY_ATTACHMENT &&
        owners.is_foreign(source.resolved, input.project)) {
      continue;
    }
    if (input.progress) input.progress(i, considered, source.path);
    SourceEntry& entry =
        entries.emplace_back(SourceEntry{.record = ingest_file(parser, input.project, source.path),
                                         .discovery = std::move(source.discovery)});
    if (input.check) {
      entry.findings = check_structure(entry.record, {.reader_warnings = parser.reader_warnings()});
    }
  }
  return entries;
}

std::vector<Json> json_entries(const std::vector<SourceEntry>& entries) {
  std::vector<Json> list;
  list.reserve(entries.size());
  for (const SourceEntry& entry : entries) list.push_back(entry.to_json());
  return list;
}

std::string write_manifest(const std::string& project, std::vector<Json>& entries,
                           const Collaborators& collaborators) {
  if (entries.empty()) return {};
  Json manifest = {{"version", 1}, {"structures", nullptr}};
  manifest["structures"] = Json(std::move(entries));
  std::string error;
  try {
    collaborators.atomic_write_json(join_path(project, INGEST_MANIFEST_REL), manifest);
  } catch (const std::system_error& failure) {
    error = failure.what();
  }
  entries = std::move(manifest["structures"].get_ref<Json::array_t&>());
  return error;
}

void write_findings(const std::string& project, const std::vector<SourceEntry>& entries,
                    const Collaborators& collaborators) {
  if (entries.empty()) return;
  std::vector<FileFindings> files;
  for (const SourceEntry& entry : entries) {
    files.push_back({.source_path = entry.record.source_path,
                     .sha256 = entry.record.sha256,
                     .findings = entry.findings});
  }
  try {
    collaborators.atomic_write_json(join_path(project, FINDINGS_REL), findings_json(files));
  } catch (...) {
    // The entries have them, too.
  }
}

}  // namespace structure_ingest::internal
