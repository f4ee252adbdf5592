#include "apps/outcome.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"

namespace apps {

using structure_ingest::Json;

namespace {

/// The fields of a source entry that are shown, as the record that they came from.
structure_ingest::IngestedStructure shown_record(const Json& entry) {
  structure_ingest::IngestedStructure record;
  record.source_path = entry["source_path"].get<std::string>();
  record.natoms = entry["natoms"].get<std::int64_t>();
  record.formula = entry["formula"].get<std::string>();
  record.symbols = entry["symbols"].get<std::vector<std::string>>();
  if (entry["has_cell"].get<bool>()) {
    record.cell_ang = entry["cell_ang"].get<std::vector<structure_ingest::Vector3>>();
  }
  record.cell_provenance = entry["metadata"]["cell_provenance"].get<std::string>();
  record.warnings = entry["warnings"].get<std::vector<std::string>>();
  record.ok = entry["ok"].get<bool>();
  return record;
}

}  // namespace

std::string malformed(const std::string& path, const std::string& what,
                      const structure_ingest::JsonError& error) {
  const std::string text = error.what();
  std::size_t line = 0;
  std::size_t column = 0;
  int begin = 0;  // of what follows the place
  // NOLINTNEXTLINE(cert-err34-c): the text is the parser's own
  if (std::sscanf(text.c_str(), "parse error at line %zu, column %zu: %n", &line, &column, &begin) <
          2 ||
      begin == 0) {
    return path + ": " + what + text;
  }
  return path + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + what +
         text.substr(static_cast<std::size_t>(begin));
}

void WriteFailures::watch(structure_ingest::Collaborators& collaborators) {
  collaborators.atomic_write_json = [this, write = collaborators.atomic_write_json](
                                        const std::string& path, const Json& value) {
    try {
      write(path, value);
    } catch (const std::system_error& error) {
      messages.emplace_back(error.what());
      throw;
    }
  };
}

void print_array(std::span<const Json> entries) {
  std::string text;
  for (const Json& entry : entries) {
    text += (text.empty() ? "" : ", ") + structure_ingest::json_text(entry);
  }
  print_line("[" + text + "]");
}

void show_entry(const Json& entry) {
  const structure_ingest::IngestedStructure record = shown_record(entry);
  const std::string head = record.ok ? coloured("taken", GREEN) : coloured("failed", RED);
  print_line(head + (record.ok ? "   " : "  ") + printable(record.source_path));
  if (record.ok) {
    print_row("formula", composition_of(record));
    show_cell(record);
    const std::string copy = entry["metadata"]["xyz_path"].get<std::string>();
    if (!copy.empty()) print_row("copy", copy);
  }
  print_row("found", entry["discovery"].get<std::string>());
  show_warnings(record.warnings, record.ok);
}

void hint_at_paths(const std::vector<std::string>& paths, std::span<const Json> entries) {
  std::error_code ignored;
  for (const std::string& path : paths) {
    if (!structure_ingest::is_structure_file(path)) {
      print_error(path + ": not the name of a structure file; skipped");
      continue;
    }
    if (!std::filesystem::path(path).is_relative() || !std::filesystem::exists(path, ignored)) {
      continue;
    }
    for (const Json& entry : entries) {
      const std::string source = entry["source_path"].get<std::string>();
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

Status status_of(std::span<const Json> entries, const WriteFailures& failures) {
  const auto copy_failed = [](const Json& entry) {
    return entry["ok"].get<bool>() && entry["metadata"]["xyz_path"].get<std::string>().empty();
  };
  bool cannot_write = !failures.messages.empty();
  for (const std::string& message : failures.messages) print_error(message);
  for (const Json& entry : entries) {
    if (!copy_failed(entry)) continue;
    cannot_write = true;
    print_error(entry["source_path"].get<std::string>() + ": " +
                entry["warnings"].back().get<std::string>());
  }
  if (cannot_write) return CANNOT_WRITE;
  const bool all_parsed = std::all_of(entries.begin(), entries.end(),
                                      [](const Json& entry) { return entry["ok"].get<bool>(); });
  return all_parsed ? ALL_WELL : SOME_FILE_UNPARSED;
}

}  // namespace apps
