#include "structure_ingest/ingest/entries.hpp"

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/copies.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/project/folder_owners.hpp"
#include "structure_ingest/readers/dispatch.hpp"

// A batch of candidates becomes entries in this order:
//
// 1. Select. Names and folders alone decide which candidates are read. All are selected before the
//    first is read, so that the parser's processes can read ahead of the batch.
// 2. Read. Each selected file becomes a record with its findings, in the order of the candidates.
// 3. Copy. The copy of a good record is written at once under a temporary name; all copies are
//    forced to the disk together and renamed at the end, since each alone would wait for the disk.
//    A candidate may be a link to a copy that this batch writes: such a file is not read ahead, and
//    the copies are renamed before it is read. Otherwise its entry would hold the old copy.
// 4. Record. The caller writes the manifest and the findings after that. A copy that could not be
//    renamed has no path in its record by then; a manifest written earlier would name it.
//
// A path with a NUL character ends the batch, but only after the candidates before it have been
// read and copied: that they were selected first must make no difference.
namespace structure_ingest::internal {
namespace {

constexpr const char* NO_COPY = "Could not write canonical XYZ copy: ";

bool is_canonical_copy(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::string copies = "/" + std::string(INGESTED_DIRNAME) + "/ingested_";
  return path.find(copies) != std::string::npos;
}

/// A candidate that is to be read, and its number among all of them.
struct SelectedFile {
  std::size_t number;
  SourceFile source;
};

/// The candidates that are to be read.
struct Selection {
  std::vector<SelectedFile> files;
  std::exception_ptr failure{};  // of a path that ends the batch
};

/// Decides on the candidates one by one, in their order.
class Selector {
 public:
  Selector(const BatchInput& input, PathResolver& resolver, std::vector<SkippedFile>& skipped)
      : input_(input), resolver_(resolver), skipped_(skipped), owners_(input.project) {}

  /// The file of a candidate that is to be read; nothing for one that is skipped. Throws NulInPath.
  std::optional<SourceFile> select(const Candidate& candidate) {
    const std::string path = candidate_path(candidate.text, input_.project);
    if (!is_structure_file(path)) {
      return skip(candidate, path, SkipReason::not_a_structure_file);
    }
    SourceFile source = candidate.source ? *candidate.source : source_file(path, resolver_);
    const auto [seen, is_new] = seen_sources_.try_emplace(source.identity, source.path);
    if (!is_new) return skip(candidate, source.path, SkipReason::same_file, seen->second);
    if (is_canonical_copy(source.path)) {
      return skip(candidate, source.path, SkipReason::canonical_copy);
    }
    source.discovery = input_.discovery_of(source.identity);
    if (source.discovery != DISCOVERY_ATTACHMENT &&
        owners_.is_foreign(source.resolved, input_.project)) {
      return skip(candidate, source.path, SkipReason::other_project,
                  owners_.owner_of(source.resolved).value_or(""));
    }
    if (input_.options.may_read && !input_.options.may_read(source.path)) {
      return skip(candidate, source.path, SkipReason::not_allowed);
    }
    return source;
  }

 private:
  std::optional<SourceFile> skip(const Candidate& candidate, const std::string& path,
                                 SkipReason reason, const std::string& other = "") {
    skipped_.push_back(
        {.path = path, .reason = reason, .discovery = candidate.how, .other = other});
    return std::nullopt;
  }

  const BatchInput& input_;
  PathResolver& resolver_;
  std::vector<SkippedFile>& skipped_;
  FolderOwners owners_;
  std::map<std::string, std::string> seen_sources_;  // the first path of each by its identity
};

/// Selects among the first `considered` candidates.
Selection select_files(const BatchInput& input, std::size_t considered, PathResolver& resolver,
                       std::vector<SkippedFile>& skipped) {
  Selection selection;
  Selector selector(input, resolver, skipped);
  try {
    for (std::size_t i = 0; i < considered; ++i) {
      std::optional<SourceFile> source = selector.select(input.candidates[i]);
      if (source) selection.files.push_back({.number = i, .source = *std::move(source)});
    }
  } catch (const NulInPath&) {
    selection.failure = std::current_exception();
  }
  return selection;
}

std::vector<std::string> paths_to_read_ahead(const std::vector<SelectedFile>& files) {
  std::vector<std::string> paths;
  for (const SelectedFile& file : files) {
    // This batch may write a copy anew, also one that is offered through a link.
    if (!is_canonical_copy(file.source.resolved)) paths.push_back(file.source.path);
  }
  return paths;
}

/// Writes the copy of a good record under a temporary name; `number` is that of its entry. A
/// failure is a warning: the record can be used all the same.
void add_copy(bool dry_run, FileReplacements& copies, SourceEntry& entry, std::size_t number) {
  IngestedStructure& record = entry.record;
  if (!record.ok) return;
  try {
    WrittenCopy copy = write_canonical_xyz(copies, record, number, dry_run);
    record.canonical_xyz_rel = std::move(copy.rel);
    entry.copy_restored = copy.restored;
  } catch (const std::system_error& error) {
    record.warnings.push_back(std::string(NO_COPY) + error.what());
  } catch (const std::bad_alloc&) {
    record.warnings.push_back(std::string(NO_COPY) + "not enough memory");
  }
}

/// Renames the temporary copies into place; the records of those that failed get a warning instead.
void finish_copies(FileReplacements& copies, const std::string& project,
                   std::vector<SourceEntry>& entries) {
  for (const FileReplacements::Failure& failure : copies.finish()) {
    IngestedStructure& record = entries[failure.number].record;
    const std::string path = join_path(project, record.canonical_xyz_rel);
    record.warnings.push_back(NO_COPY +
                              std::string(FileError(failure.what, path, failure.error).what()));
    record.canonical_xyz_rel.clear();
    entries[failure.number].copy_restored = false;
  }
}

/// Reads the selected files, and adds their entries and copies.
void read_files(const BatchInput& input, std::size_t considered, std::vector<SelectedFile>& files,
                IngestOutcome& outcome) {
  const BatchOptions& options = input.options;
  std::optional<StructureParser> own_parser;
  StructureParser& parser = options.parser != nullptr ? *options.parser : own_parser.emplace();
  FileReplacements copies(input.project, std::string(INGESTED_DIRNAME));
  parser.begin_batch(paths_to_read_ahead(files));
  for (auto& [number, source] : files) {
    if (options.stop && options.stop()) {
      outcome.skipped.push_back({.path = source.path,
                                 .reason = SkipReason::stopped,
                                 .discovery = input.candidates[number].how});
      continue;
    }
    if (options.progress) options.progress(number, considered, source.path);
    if (is_canonical_copy(source.resolved)) finish_copies(copies, input.project, outcome.entries);
    ParsedStructure parsed =
        parser.parse(source.path, {.fingerprint = true, .content = options.check});
    if (outcome.why_no_ase.empty()) outcome.why_no_ase = parser.why_ase_is_unavailable();
    SourceEntry entry{.record = {}, .discovery = std::move(source.discovery)};
    if (options.check) entry.findings = check_structure(parsed);
    entry.record = std::move(parsed.record);
    add_copy(options.dry_run, copies, entry, outcome.entries.size());
    outcome.entries.push_back(std::move(entry));
  }
  finish_copies(copies, input.project, outcome.entries);
}

}  // namespace

std::function<std::string(const std::string&)> kinds_in(
    const std::map<std::string, std::string>& kinds) {
  return [&kinds](const std::string& identity) {
    const auto known = kinds.find(identity);
    return known == kinds.end() ? std::string() : known->second;
  };
}

IngestOutcome ingested_entries(const BatchInput& input, PathResolver& resolver) {
  const auto limit = static_cast<std::size_t>(std::max(1, input.limit));
  const std::size_t considered = std::min(limit, input.candidates.size());
  IngestOutcome outcome;
  Selection selection = select_files(input, considered, resolver, outcome.skipped);
  read_files(input, considered, selection.files, outcome);
  if (selection.failure) std::rethrow_exception(selection.failure);
  for (std::size_t i = considered; i < input.candidates.size(); ++i) {
    const Candidate& candidate = input.candidates[i];
    outcome.skipped.push_back({.path = shown_path(candidate.text, input.project),
                               .reason = SkipReason::past_limit,
                               .discovery = candidate.how});
  }
  return outcome;
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

}  // namespace structure_ingest::internal
