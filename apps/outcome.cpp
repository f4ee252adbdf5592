#include "apps/outcome.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "apps/findings_view.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"

namespace apps {

using structure_ingest::SourceEntry;

std::string malformed(const std::string& path, const std::string& what,
                      const structure_ingest::JsonError& error) {
  const std::string place =
      error.line == 0 ? "" : std::to_string(error.line) + ":" + std::to_string(error.column) + ":";
  return path + ":" + place + " " + what + error.reason;
}

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
  print_row("found", entry.discovery.empty() ? std::string(structure_ingest::DISCOVERY_ATTACHMENT)
                                             : entry.discovery);
  show_warnings(record.warnings, record.ok);
  show_cautions(record, entry.findings);
}

void hint_at_paths(const std::vector<std::string>& paths, std::span<const SourceEntry> entries) {
  std::error_code ignored;
  for (const std::string& path : paths) {
    if (!structure_ingest::is_structure_file(path)) {
      print_error(path + ": not the name of a structure file; skipped");
      continue;
    }
    if (!std::filesystem::path(path).is_relative() || !std::filesystem::exists(path, ignored)) {
      continue;
    }
    for (const SourceEntry& entry : entries) {
      const std::string& source = entry.record.source_path;
      if (source.ends_with("/" + path) && !std::filesystem::exists(source, ignored)) {
        const std::string here = std::filesystem::absolute(path).string();
        print_error(std::string(path)
                        .append(": taken as ")
                        .append(source)
                        .append("; for the one here give " + here));
      }
    }
  }
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
