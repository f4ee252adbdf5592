#include "structure_ingest/ingest/entries.hpp"

#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "structure_ingest/base/interruption.hpp"
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

IngestedStructure ingest_file(StructureParser& parser, const BatchInput& input,
                              const std::string& path) {
  IngestedStructure record = parser.parse_with_fingerprint(path);
  if (!record.ok) return record;
  try {
    record.canonical_xyz_rel = input.dry_run ? canonical_xyz_rel(record, canonical_xyz_text(record))
                                             : write_canonical_xyz(input.project, record);
  } catch (const std::system_error& error) {
    record.warnings.push_back(std::string("Could not write canonical XYZ copy: ") + error.what());
  } catch (const std::bad_alloc&) {
    record.warnings.emplace_back("Could not write canonical XYZ copy: not enough memory");
  }
  return record;
}

}  // namespace

Ingested ingested_entries(const BatchInput& input, PathResolver& resolver) {
  const std::size_t considered = std::min(input.limit, input.candidates.size());
  std::optional<StructureParser> own_parser;
  StructureParser& parser = input.parser != nullptr ? *input.parser : own_parser.emplace();
  parser.begin_batch();
  FolderOwners owners(input.project);
  Ingested ingested;
  const auto skip = [&ingested](const Candidate& candidate, const std::string& path,
                                SkipReason reason, const std::string& other = "") {
    ingested.skipped.push_back(
        {.path = path, .reason = reason, .discovery = candidate.how, .other = other});
  };
  std::map<std::string, std::string> seen_sources;  // the first path of each by its identity
  for (std::size_t i = 0; i < considered; ++i) {
    const Candidate& candidate = input.candidates[i];
    const std::string path = candidate_path(candidate.text, input.project);
    if (!is_structure_file(path)) {
      skip(candidate, path, SkipReason::not_a_structure_file);
      continue;
    }
    SourceFile source = candidate.source ? *candidate.source : source_file(path, resolver);
    if (const auto [seen, is_new] = seen_sources.try_emplace(source.identity, source.path);
        !is_new) {
      skip(candidate, source.path, SkipReason::same_file, seen->second);
      continue;
    }
    if (is_canonical_copy(source.path)) {
      skip(candidate, source.path, SkipReason::canonical_copy);
      continue;
    }
    source.discovery = input.discovery_of(source.identity);
    if (source.discovery != DISCOVERY_ATTACHMENT &&
        owners.is_foreign(source.resolved, input.project)) {
      skip(candidate, source.path, SkipReason::other_project,
           owners.owner_of(source.resolved).value_or(""));
      continue;
    }
    if (input.progress) input.progress(i, considered, source.path);
    SourceEntry& entry =
        ingested.entries.emplace_back(SourceEntry{.record = ingest_file(parser, input, source.path),
                                                  .discovery = std::move(source.discovery)});
    if (ingested.why_no_ase.empty()) ingested.why_no_ase = parser.why_ase_is_unavailable();
    if (input.check) {
      entry.findings = check_structure(entry.record, {.reader_warnings = parser.reader_warnings()});
    }
  }
  for (std::size_t i = considered; i < input.candidates.size(); ++i) {
    const Candidate& candidate = input.candidates[i];
    skip(candidate, shown_path(candidate.text, input.project), SkipReason::past_limit);
  }
  return ingested;
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
  } catch (const Interruption&) {
    throw;
  } catch (...) {
    // The entries have them, too.
  }
}

}  // namespace structure_ingest::internal
