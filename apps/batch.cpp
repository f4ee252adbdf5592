#include "apps/batch.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "telling/outcomes.hpp"

namespace apps {

using structure_ingest::SkippedFile;
using structure_ingest::SourceEntry;

structure_ingest::BatchOptions batch_options(const BatchArguments& arguments,
                                             structure_ingest::StructureParser& parser,
                                             Progress& progress) {
  return {.progress = std::ref(progress),
          .dry_run = arguments.dry_run,
          .check = !arguments.no_check,
          .parser = &parser};
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

void print_entry(const SourceEntry& entry) {
  const structure_ingest::IngestedStructure& record = entry.record;
  const std::string head = record.ok ? coloured("taken", GREEN) : coloured("failed", RED);
  print_line(head + (record.ok ? "   " : "  ") + printable(record.source_path));
  if (record.ok) {
    print_row("formula", shown_composition(record));
    print_cell(record);
    if (!record.canonical_xyz_rel.empty()) print_row("copy", record.canonical_xyz_rel);
    if (entry.copy_restored) print_row("", telling::COPY_RESTORED);
  }
  print_row("found", telling::found_text(entry.discovery));
  print_warnings(record.warnings, record.ok);
  if (entry.findings) print_cautions(record, *entry.findings);
}

void print_skipped(std::span<const SkippedFile> skipped, int limit) {
  const telling::SkippedSummary summary = telling::summary_of(skipped, limit);
  for (std::size_t i = 0; i < summary.named.size(); ++i) {
    const std::string reason = telling::skip_text(summary.named[i], limit);
    print_line(coloured("skipped", YELLOW) + "  " + printable(summary.named[i].path));
    // Many in a row have the same reason: say it once.
    if (i + 1 == summary.named.size() ||
        telling::skip_text(summary.named[i + 1], limit) != reason) {
      print_row("reason", reason);
    }
  }
  for (const std::string& text : summary.scanned) {
    print_line(coloured("skipped", YELLOW) + "  " + printable(text));
  }
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
  return all_parsed ? ALL_WELL : SOME_FILE_UNPARSED;
}

}  // namespace apps
