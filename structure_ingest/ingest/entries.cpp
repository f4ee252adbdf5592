#include "structure_ingest/ingest/entries.hpp"

#include <algorithm>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/check/findings_json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
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

constexpr const char* NO_COPY = "Could not write canonical XYZ copy: ";

/// Adds the copy of a good record to `copies`; `number` is that of its entry.
void add_copy(const BatchInput& input, FileReplacements& copies, IngestedStructure& record,
              std::size_t number) {
  if (!record.ok) return;
  try {
    record.canonical_xyz_rel = input.dry_run ? canonical_xyz_rel(record, canonical_xyz_text(record))
                                             : write_canonical_xyz(copies, record, number);
  } catch (const std::system_error& error) {
    record.warnings.push_back(std::string(NO_COPY) + error.what());
  } catch (const std::bad_alloc&) {
    record.warnings.push_back(std::string(NO_COPY) + "not enough memory");
  }
}

/// Has the copies take their names; the records of those that failed get a warning instead.
void finish_copies(FileReplacements& copies, const std::string& project,
                   std::vector<SourceEntry>& entries) {
  for (const FileReplacements::Failure& failure : copies.finish()) {
    IngestedStructure& record = entries[failure.number].record;
    const std::string path = join_path(project, record.canonical_xyz_rel);
    record.warnings.push_back(NO_COPY +
                              std::string(file_error(failure.what, path, failure.error).what()));
    record.canonical_xyz_rel.clear();
  }
}

/// A candidate that is to be read.
struct Accepted {
  std::size_t number;
  SourceFile source;
};

std::vector<std::string> paths_to_read_ahead(const std::vector<Accepted>& accepted) {
  std::vector<std::string> paths;
  for (const Accepted& each : accepted) {
    // This batch may write a copy anew, also one that is offered through a link.
    if (!is_canonical_copy(each.source.resolved)) paths.push_back(each.source.path);
  }
  return paths;
}

}  // namespace

Ingested ingested_entries(const BatchInput& input, PathResolver& resolver) {
  const std::size_t considered = std::min(input.limit, input.candidates.size());
  std::optional<StructureParser> own_parser;
  StructureParser& parser = input.parser != nullptr ? *input.parser : own_parser.emplace();
  FolderOwners owners(input.project);
  FileReplacements copies(input.project, std::string(INGESTED_DIRNAME));
  Ingested ingested;
  const auto skip = [&ingested](const Candidate& candidate, const std::string& path,
                                SkipReason reason, const std::string& other = "") {
    ingested.skipped.push_back(
        {.path = path, .reason = reason, .discovery = candidate.how, .other = other});
  };
  std::vector<Accepted> accepted;
  std::map<std::string, std::string> seen_sources;  // the first path of each by its identity
  std::exception_ptr failure;
  for (std::size_t i = 0; i < considered; ++i) {
    const Candidate& candidate = input.candidates[i];
    const std::string path = candidate_path(candidate.text, input.project);
    if (!is_structure_file(path)) {
      skip(candidate, path, SkipReason::not_a_structure_file);
      continue;
    }
    SourceFile source;
    try {
      source = candidate.source ? *candidate.source : source_file(path, resolver);
    } catch (const NulInPath&) {
      failure = std::current_exception();
      break;  // the candidates before it are copied all the same
    }
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
    if (input.may_read && !input.may_read(source.path)) {
      skip(candidate, source.path, SkipReason::not_allowed);
      continue;
    }
    accepted.push_back({.number = i, .source = std::move(source)});
  }
  parser.begin_batch(paths_to_read_ahead(accepted));
  for (auto& [number, source] : accepted) {
    if (input.progress) input.progress(number, considered, source.path);
    // A link to a copy that this batch makes must lead to the new one.
    if (is_canonical_copy(source.resolved)) finish_copies(copies, input.project, ingested.entries);
    SourceEntry& entry = ingested.entries.emplace_back(
        SourceEntry{.record = parser.parse_with_fingerprint(source.path),
                    .discovery = std::move(source.discovery)});
    add_copy(input, copies, entry.record, ingested.entries.size() - 1);
    if (ingested.why_no_ase.empty()) ingested.why_no_ase = parser.why_ase_is_unavailable();
    if (input.check) {
      entry.findings = check_structure(entry.record, {.reader_warnings = parser.reader_warnings()});
    }
  }
  finish_copies(copies, input.project, ingested.entries);
  if (failure) std::rethrow_exception(failure);
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

std::string write_manifest(const std::string& project, const std::vector<SourceEntry>& entries,
                           const Collaborators& collaborators) {
  const auto* const writer = collaborators.atomic_write_json.target<JsonFileWriter>();
  if (writer == nullptr) {
    std::vector<Json> json = json_entries(entries);
    return write_manifest(project, json, collaborators);
  }
  if (entries.empty()) return {};
  std::vector<JsonList> lists;
  Json manifest = {{"version", 1}, {"structures", Json::array()}};
  for (const SourceEntry& entry : entries) {
    manifest["structures"].push_back(entry_without_lists(entry, lists));
  }
  try {
    writer->write_text(join_path(project, INGEST_MANIFEST_REL), [&](const TextSink& take) {
      take_json_text(manifest, writer->indent, take, lists);
    });
  } catch (const std::system_error& failure) {
    return failure.what();
  }
  return {};
}

void write_findings(const std::string& project, const std::vector<SourceEntry>& entries,
                    const Collaborators& collaborators) {
  if (entries.empty()) return;
  std::vector<FileFindings> files;
  files.reserve(entries.size());
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
