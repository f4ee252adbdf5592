#include "structure_ingest/ingest/kept_findings.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/ingest/entries.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

// The file is rewritten whole: findings are short beside the structures that they are about. A lock
// in its folder keeps two batches from losing each other's findings.
namespace structure_ingest {
namespace {

using internal::string_at;

/// So many states of one source are kept, the latest ones: the file of a source that is edited all
/// the time must not grow for ever.
constexpr std::size_t MOST_STATES = 16;

/// Nothing for an object that is no finding.
std::optional<Finding> finding_in(const Json& json) {
  Finding finding{.code = string_at(json, "code"),
                  .message = string_at(json, "message"),
                  .source = string_at(json, "source")};
  constexpr std::array SEVERITIES = {Severity::note, Severity::warning, Severity::error};
  const auto* const severity = std::find_if(
      SEVERITIES.begin(), SEVERITIES.end(),
      [&json](Severity each) { return string_at(json, "severity") == severity_name(each); });
  const Json& atoms = internal::value_at(json, "atoms");
  if (severity == SEVERITIES.end() || finding.code.empty() || !atoms.is_array()) return {};
  finding.severity = *severity;
  for (const Json& atom : atoms) {
    if (!atom.is_number_unsigned()) return std::nullopt;
    finding.atoms.push_back(atom.get<std::size_t>());
  }
  return finding;
}

std::optional<FileFindings> file_in(const Json& json) {
  FileFindings file{.source_path = string_at(json, "source_path"),
                    .sha256 = string_at(json, "sha256")};
  const Json& findings = internal::value_at(json, "findings");
  if (file.source_path.empty() || !findings.is_array()) return std::nullopt;
  for (const Json& each : findings) {
    std::optional<Finding> finding = finding_in(each);
    if (!finding) return std::nullopt;
    file.findings.push_back(*std::move(finding));
  }
  return file;
}

Json json_of(const std::vector<FileFindings>& files) {
  Json structures = Json::array();
  for (const FileFindings& file : files) {
    structures.push_back({{"source_path", file.source_path},
                          {"sha256", file.sha256},
                          {"findings", findings_list(file.findings)}});
  }
  return {{"version", 1}, {"structures", std::move(structures)}};
}

/// Without a lock another program may take findings away again: better than keeping none.
std::optional<internal::FolderLock> lock_of(const std::string& folder) {
  try {
    return std::optional<internal::FolderLock>(std::in_place, folder, internal::LOCK_WAIT, false);
  } catch (const internal::LockError&) {
    return std::nullopt;
  }
}

/// Lets `change` work on the findings that the project keeps, and writes them when they are
/// different afterwards.
void change_findings(const std::string& project,
                     const std::function<void(std::vector<FileFindings>&)>& change) {
  try {
    const std::string path = internal::join_path(project, FINDINGS_REL);
    const std::string folder = internal::parent_folder(path);
    const auto lock = lock_of(folder);
    const std::vector<FileFindings> before = kept_findings(project);
    std::vector<FileFindings> files = before;
    change(files);
    if (files != before) internal::replace_file(path, json_text(json_of(files), 2) + "\n");
  } catch (const std::exception&) {
    // What is not kept is computed again when it is asked for.
  }
}

}  // namespace

Json findings_list(std::span<const Finding> findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"code", finding.code},
                    {"severity", severity_name(finding.severity)},
                    {"message", internal::utf8_text(finding.message)},
                    {"atoms", finding.atoms},
                    {"source", finding.source}});
  }
  return list;
}

std::vector<FileFindings> kept_findings(const std::string& project) {
  std::vector<FileFindings> files;
  try {
    const Json json = parse_json(internal::read_file(internal::join_path(project, FINDINGS_REL)));
    const Json& structures = internal::value_at(json, "structures");
    if (!structures.is_array()) return files;
    for (const Json& structure : structures) {
      if (std::optional<FileFindings> file = file_in(structure)) files.push_back(*std::move(file));
    }
  } catch (const std::exception&) {
    files.clear();
  }
  return files;
}

void forget_findings(const std::string& project, std::span<const std::string> sources) {
  if (!internal::is_regular_file(internal::join_path(project, FINDINGS_REL))) return;
  change_findings(project, [&](std::vector<FileFindings>& files) {
    const std::set<std::string> gone(sources.begin(), sources.end());
    std::erase_if(files, [&](const FileFindings& file) { return gone.contains(file.source_path); });
  });
}

void internal::keep_findings(const std::string& project, const std::vector<SourceEntry>& entries) {
  if (entries.empty()) return;
  try {
    create_folders(parent_folder(join_path(project, FINDINGS_REL)));
  } catch (const std::exception&) {
    return;
  }
  change_findings(project, [&entries](std::vector<FileFindings>& files) {
    std::vector<FileFindings> all;
    for (const SourceEntry& entry : entries) {
      if (!entry.findings) continue;
      all.push_back({.source_path = entry.source_file(),
                     .sha256 = entry.record.sha256,
                     .findings = *entry.findings});
    }
    std::move(files.begin(), files.end(), std::back_inserter(all));
    files.clear();
    std::map<std::string, std::set<std::string>> states;  // the fingerprints of each source
    for (FileFindings& file : all) {
      std::set<std::string>& known = states[file.source_path];
      if (known.size() == MOST_STATES || !known.insert(file.sha256).second) continue;
      files.push_back(std::move(file));
    }
  });
}

}  // namespace structure_ingest
