#include "apps/outcome.hpp"

#include <algorithm>
#include <system_error>

#include "apps/terminal.hpp"

namespace apps {

using structure_ingest::Json;

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

void show_entry(const Json& entry) {
  const std::string source = printable(entry["source_path"].get<std::string>());
  if (!entry["ok"].get<bool>()) {
    print_line(coloured("failed", RED) + "  " + source);
  } else {
    print_line(coloured("taken", GREEN) + "   " + source);
    print_line("  " + entry["formula"].get<std::string>() + ", " + entry["natoms"].dump() +
               " atoms, " + printable(entry["discovery"].get<std::string>()));
    if (entry["has_cell"].get<bool>()) print_line("  cell " + cell_summary(entry["cell_ang"]));
    print_line("  -> " + printable(entry["path"].get<std::string>()));
  }
  print_indented(entry["warnings"]);
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
