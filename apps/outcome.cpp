#include "apps/outcome.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

#include "apps/findings_view.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"

namespace apps {

using structure_ingest::SkippedFile;
using structure_ingest::SkipReason;
using structure_ingest::SourceEntry;

namespace {

std::string repeat_of(const SkippedFile& file) {
  if (file.other == file.path) return "given before";
  std::error_code error;
  if (std::filesystem::equivalent(file.path, file.other, error)) {
    return "the same file as " + file.other;
  }
  return "taken for " + file.other + ": links and letter case are left aside";
}

std::string reason_of(const SkippedFile& file, int limit) {
  switch (file.reason) {
    case SkipReason::not_a_structure_file:
      return "not the name of a structure file (*.xyz, *.extxyz, *.cif, *.vasp, *.poscar, POSCAR*, "
             "CONTCAR*)";
    case SkipReason::same_file:
      return repeat_of(file);
    case SkipReason::canonical_copy:
      return "the copy that a project holds of a structure";
    case SkipReason::other_project:
      return file.other.empty() ? "another project's" : "it belongs to the project " + file.other;
    case SkipReason::not_allowed:
      return "it may not be read here";
    case SkipReason::past_limit:
      break;
  }
  const int considered = std::max(1, limit);
  return "not looked at, since only the first " +
         (considered == 1 ? "file is" : std::to_string(considered) + " files are") +
         " (see --limit)";
}

/// Those that the user or the state named.
std::vector<SkippedFile> named_among(std::span<const SkippedFile> skipped) {
  std::vector<SkippedFile> named;
  for (const SkippedFile& file : skipped) {
    const bool is_named =
        file.discovery.empty() || file.discovery == structure_ingest::DISCOVERY_ATTACHMENT;
    if (is_named) named.push_back(file);
  }
  return named;
}

/// How many of those that only scans found there are of each reason. That a scan finds a file that
/// was named, or finds it twice, is nothing to speak of.
std::map<SkipReason, std::size_t> scanned_among(std::span<const SkippedFile> skipped) {
  std::map<SkipReason, std::size_t> counts;
  for (const SkippedFile& file : skipped) {
    const bool is_named =
        file.discovery.empty() || file.discovery == structure_ingest::DISCOVERY_ATTACHMENT;
    if (!is_named && file.reason != SkipReason::same_file) ++counts[file.reason];
  }
  return counts;
}

std::string files_found(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " file" : " files") + " that a scan found";
}

}  // namespace

void print_array(std::span<const SourceEntry> entries) {
  std::string text;
  for (const SourceEntry& entry : entries) {
    text += (text.empty() ? "" : ", ") + structure_ingest::json_text(entry.to_json());
  }
  print_line("[" + text + "]");
}

void show_entry(const SourceEntry& entry) {
  const structure_ingest::IngestedStructure& record = entry.record;
  const std::string head = record.ok ? coloured("taken", GREEN) : coloured("failed", RED);
  print_line(head + (record.ok ? "   " : "  ") + printable(record.source_path));
  if (record.ok) {
    print_row("formula", composition_of(record));
    show_cell(record);
    if (!record.canonical_xyz_rel.empty()) print_row("copy", record.canonical_xyz_rel);
  }
  print_row("found", found_in_words(entry.discovery));
  show_warnings(record.warnings, record.ok);
  show_cautions(record, entry.findings);
}

std::string found_in_words(const std::string& discovery) {
  if (discovery == structure_ingest::DISCOVERY_PROJECT_FOLDER) {
    return "by a scan of the project's folder or one above it";
  }
  if (discovery == structure_ingest::DISCOVERY_WORKSPACE_SCAN) return "by a scan of the workspace";
  if (discovery.empty() || discovery == structure_ingest::DISCOVERY_ATTACHMENT) {
    return "named or attached";
  }
  return discovery;
}

void show_skipped(std::span<const SkippedFile> skipped, int limit) {
  const std::vector<SkippedFile> named = named_among(skipped);
  for (std::size_t i = 0; i < named.size(); ++i) {
    const std::string reason = reason_of(named[i], limit);
    print_line(coloured("skipped", YELLOW) + "  " + printable(named[i].path));
    // Many in a row have the same reason: say it once.
    if (i + 1 == named.size() || reason_of(named[i + 1], limit) != reason) {
      print_row("reason", reason);
    }
  }
  for (const auto& [reason, count] : scanned_among(skipped)) {
    print_line(coloured("skipped", YELLOW) + "  " + files_found(count));
    print_row("reason", reason_of({.path = {}, .reason = reason}, limit));
  }
}

void tell_skipped(std::span<const SkippedFile> skipped, int limit) {
  for (const SkippedFile& file : named_among(skipped)) {
    print_error(file.path + ": skipped: " + reason_of(file, limit));
  }
  for (const auto& [reason, count] : scanned_among(skipped)) {
    print_error(files_found(count) +
                ": skipped: " + reason_of({.path = {}, .reason = reason}, limit));
  }
}

int read_limit(const std::string& text) {
  int limit = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, limit);
  if (error != std::errc() || stop != end) {
    throw WrongInput("--limit: " + text + " is not a number that can be used");
  }
  return limit;
}

void tell_why_no_ase(const std::string& reason) {
  if (!reason.empty()) print_error("ASE cannot be used: " + reason);
}

Status status_of(std::span<const SourceEntry> entries, const std::string& manifest_error) {
  bool cannot_write = !manifest_error.empty();
  if (cannot_write) print_error(manifest_error);
  for (const SourceEntry& entry : entries) {
    const structure_ingest::IngestedStructure& record = entry.record;
    if (!record.ok || !record.canonical_xyz_rel.empty()) continue;
    cannot_write = true;
    print_error(record.source_path + ": " + record.warnings.back());
  }
  if (cannot_write) return CANNOT_WRITE;
  const bool all_parsed = std::all_of(entries.begin(), entries.end(),
                                      [](const SourceEntry& entry) { return entry.record.ok; });
  return all_parsed ? ALL_WELL : SOME_FILE_UNPARSED;
}

}  // namespace apps
