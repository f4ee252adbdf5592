#include "apps/batch.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "apps/interruption.hpp"
#include "apps/terminal.hpp"
#include "telling/outcomes.hpp"

namespace apps {

using structure_ingest::SkippedFile;
using structure_ingest::SkipReason;
using structure_ingest::SourceEntry;

structure_ingest::BatchOptions batch_options(const BatchArguments& arguments,
                                             structure_ingest::StructureParser& parser,
                                             Progress& progress) {
  return {.progress = std::ref(progress),
          .dry_run = arguments.dry_run,
          .check = !arguments.no_check,
          .parser = &parser,
          .may_read = {},
          .stop = is_interrupted};
}

void print_array(std::span<const SourceEntry> entries) {
  std::string text;
  for (const SourceEntry& entry : entries) {
    text += (text.empty() ? "" : ", ") + structure_ingest::json_text(entry.to_json());
  }
  print_line("[" + text + "]");
  for (const SourceEntry& entry : entries) {
    if (entry.copy_restored) print_error(entry.source_file() + ": " + telling::COPY_RESTORED);
  }
}

void print_entry(const SourceEntry& entry, Detail detail, bool molecules) {
  const structure_ingest::IngestedStructure& record = entry.record;
  const bool in_full = detail == Detail::all;
  const bool has_copy = !record.canonical_xyz_rel.empty();
  const std::string head = !record.ok ? coloured("failed", RED) + "  "
                           : has_copy ? coloured("taken", GREEN) + "   "
                                      : coloured("no copy", RED) + "  ";
  print_line(head + printable(record.source_path) +
             (in_full || !record.ok ? "" : ": " + shown_composition(record)));
  if (record.ok && in_full) {
    print_row("formula", shown_composition(record));
    print_cell(record);
    if (has_copy) print_row("copy", record.canonical_xyz_rel);
  }
  if (entry.copy_restored) print_row("", telling::COPY_RESTORED);
  if (in_full) print_row("found", telling::found_text(entry.discovery));
  // Findings say in few words what the warnings of a record that is ok say.
  const std::vector<structure_ingest::Finding> findings =
      entry.findings.value_or(std::vector<structure_ingest::Finding>());
  if (in_full || !record.ok || !entry.findings) print_warnings(record, molecules);
  print_cautions(record, findings);
}

void print_skipped(std::span<const SkippedFile> skipped, int limit, Detail detail) {
  constexpr std::size_t MOST_NAMED = 5;
  const telling::SkippedSummary summary = telling::summary_of(skipped, limit);
  std::vector<std::pair<std::string, std::vector<std::string>>> paths_by_reason;
  for (const SkippedFile& file : summary.named) {
    const std::string reason = telling::skip_text(file, limit);
    auto place =
        std::ranges::find(paths_by_reason, reason, &decltype(paths_by_reason)::value_type::first);
    if (place == paths_by_reason.end()) place = paths_by_reason.insert(place, {reason, {}});
    place->second.push_back(file.path);
  }
  const std::string head = coloured("skipped", YELLOW) + "  ";
  for (const auto& [reason, paths] : paths_by_reason) {
    const bool all = detail == Detail::all || paths.size() <= MOST_NAMED + 1;
    const std::size_t named = all ? paths.size() : MOST_NAMED;
    for (std::size_t i = 0; i < named; ++i) print_line(head + printable(paths[i]));
    if (!all) print_line(head + std::to_string(paths.size() - named) + " files more");
    print_row("reason", reason);
  }
  for (const std::string& text : summary.scanned) print_line(head + printable(text));
}

void warn_skipped(std::span<const SkippedFile> skipped, int limit) {
  const telling::SkippedSummary summary = telling::summary_of(skipped, limit);
  for (const SkippedFile& file : summary.named) {
    print_error(file.path + ": skipped: " + telling::skip_text(file, limit));
  }
  for (const std::string& text : summary.scanned) print_error("skipped: " + text);
}

Status status_of(std::span<const SourceEntry> entries, const std::string& manifest_error,
                 const std::string& why_no_ase) {
  warn_why_no_ase(why_no_ase);
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
  return all_parsed ? ALL_WELL : NOT_ALL_WELL;
}

Status status_of(std::span<const SkippedFile> skipped, const std::vector<std::string>& paths) {
  Status status = ALL_WELL;
  std::size_t stopped = 0;
  for (const SkippedFile& file : skipped) {
    const bool is_named = std::ranges::find(paths, file.path) != paths.end();
    const bool is_from_scan = !is_named && !file.discovery.empty() &&
                              file.discovery != structure_ingest::DISCOVERY_ATTACHMENT;
    switch (file.reason) {
      case SkipReason::same_file:
      case SkipReason::canonical_copy:
        break;
      case SkipReason::stopped:
        ++stopped;
        break;
      case SkipReason::not_a_structure_file:
        if (is_named) status = NOT_ALL_WELL;
        break;
      default:
        if (!is_from_scan) status = NOT_ALL_WELL;
    }
  }
  if (stopped == 0) return status;
  print_error("interrupted: " + std::to_string(stopped) +
              " files were not read; what was read is taken in, and the same command goes on");
  return INTERRUPTED;
}

}  // namespace apps
