#include "server/answers.hpp"

#include <array>
#include <charconv>
#include <optional>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/findings_json.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/cell_geometry.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::SkippedFile;
using structure_ingest::SkipReason;

Json rounded(const std::optional<double>& value) {
  constexpr int DIGITS = 6;
  if (!value) return nullptr;
  std::array<char, 40> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), *value,
                                          std::chars_format::general, DIGITS);
  double number = *value;
  if (error == std::errc()) std::from_chars(text.data(), end, number);
  return number;
}

const char* name_of(SkipReason reason) {
  switch (reason) {
    case SkipReason::not_a_structure_file:
      return "not_a_structure_file";
    case SkipReason::same_file:
      return "same_file";
    case SkipReason::canonical_copy:
      return "canonical_copy";
    case SkipReason::other_project:
      return "other_project";
    case SkipReason::past_limit:
      return "past_limit";
    case SkipReason::not_allowed:
      return "not_allowed";
  }
  return "";
}

std::string explanation_of(const SkippedFile& file) {
  const std::string other = file.other.empty() ? "" : " (" + in_quotes(file.other) + ")";
  switch (file.reason) {
    case SkipReason::not_a_structure_file:
      return "Its name is none of a structure file: *.xyz, *.extxyz, *.cif, *.vasp, *.poscar, "
             "POSCAR*, CONTCAR*.";
    case SkipReason::same_file:
      return "It is the same file as one before it" + other + ".";
    case SkipReason::canonical_copy:
      return "It is the copy that a project holds of a structure.";
    case SkipReason::other_project:
      return "It belongs to another project" + other + ".";
    case SkipReason::past_limit:
      return "It comes after as many files as the call considers.";
    case SkipReason::not_allowed:
      return "It, or a link beside it, leads outside the server's roots.";
  }
  return {};
}

}  // namespace

std::string file_to_read(const Workspace& workspace, const Json& arguments) {
  const auto given = arguments.at("path").get<std::string>();
  std::string path = workspace.roots().locate_structure(given);
  if (base::is_directory(path)) {
    throw ToolError("There is a folder " + in_quotes(path) +
                    ", where a file is wanted. Call scan_workspace with this directory to see "
                    "which structure files it holds.");
  }
  if (!base::is_regular_file(path)) {
    throw ToolError("There is no file " + in_quotes(path) +
                    ". Call scan_workspace to see which structure files there are.");
  }
  if (!structure_ingest::is_structure_file(path)) {
    throw ToolError("The file " + in_quotes(path) +
                    " is not read: its name is none of a structure file (*.xyz, *.extxyz, *.cif, "
                    "*.vasp, *.poscar, POSCAR*, CONTCAR*). Name another one, or ask the user.");
  }
  return path;
}

Json file_json(const std::string& path) {
  return {{"path", base::printable_form(path)}, {"uri", file_uri(path)}};
}

Json copy_json(const std::string& project, const std::string& copy) {
  return copy.empty() ? Json() : file_json(base::join_path(project, copy));
}

Json cell_json(const structure_ingest::IngestedStructure& record) {
  if (!record.cell_ang) return nullptr;
  const std::optional<base::CellGeometry> geometry = base::geometry_of(*record.cell_ang);
  if (!geometry) return nullptr;
  Json lengths = Json::array();
  for (const double length : geometry->lengths_ang) lengths.push_back(rounded(length));
  Json angles = Json::array();
  for (const std::optional<double>& angle : geometry->angles_deg) angles.push_back(rounded(angle));
  const std::optional<double>& volume = geometry->volume_ang3;
  return {
      {"lengths_ang", lengths},
      {"angles_deg", angles},
      {"volume_ang3", rounded(volume)},
      {"density_g_cm3", volume ? rounded(base::density_g_cm3(record.symbols, *volume)) : Json()},
      {"source", base::printable_form(record.cell_provenance)}};
}

Json structure_json(const structure_ingest::SourceEntry& entry, const std::string& project) {
  const structure_ingest::IngestedStructure& record = entry.record;
  return {{"source", file_json(record.source_path)},
          {"ok", record.ok},
          {"format", record.format},
          {"formula", record.formula},
          {"natoms", record.ok ? record.natoms : 0},
          {"cell", cell_json(record)},
          {"copy", copy_json(project, record.canonical_xyz_rel)},
          {"warnings", record.warnings},
          {"findings", structure_ingest::findings_list(entry.findings)}};
}

Json skipped_json(std::span<const SkippedFile> skipped) {
  constexpr std::size_t MOST = 100;
  Json list = Json::array();
  for (const SkippedFile& file : skipped.first(std::min(MOST, skipped.size()))) {
    list.push_back({{"file", file_json(file.path)},
                    {"reason", name_of(file.reason)},
                    {"explanation", explanation_of(file)}});
  }
  return list;
}

std::string line_on(const structure_ingest::IngestedStructure& record) {
  const std::string file = in_quotes(record.source_path) + ": ";
  if (!record.ok) return file + "could not be read";
  return file + record.formula + ", " + counted(record.symbols.size(), "atom") +
         (record.cell_ang ? ", with a cell" : ", no cell");
}

std::vector<std::string> lines_below(bool ok, std::span<const std::string> warnings,
                                     std::span<const structure_ingest::Finding> findings) {
  std::vector<std::string> lines;
  for (const std::string& warning : warnings) {
    lines.push_back((ok ? "  warning: " : "  error: ") + base::shortened(warning, 1000));
  }
  for (const structure_ingest::Finding& finding : findings) {
    if (finding.severity == structure_ingest::Severity::note) continue;
    lines.push_back(std::string("  ") + structure_ingest::severity_name(finding.severity) + " " +
                    finding.code + ": " + base::shortened(finding.message, 1000));
  }
  return lines;
}

std::string next_without_cell(const structure_ingest::IngestedStructure& record) {
  if (!record.ok || record.cell_ang) return {};
  return "A structure without a cell: confirm the cell with the user, or treat the structure as a "
         "molecule in a box; do not make a cell up. ";
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

Page page_of(const Json& arguments) {
  return {.offset = arguments.at("offset").get<std::size_t>(),
          .limit = arguments.at("limit").get<std::size_t>()};
}

void add_page(Json& data, const Page& page, std::size_t total) {
  data["total"] = total;
  data["offset"] = page.offset;
  data["next_offset"] = page.is_last(total) ? Json() : Json(page.end(total));
}

std::string way_to_next(const Page& page, std::size_t total, const std::string& argument) {
  return "call again with " + argument + " " + std::to_string(page.end(total)) + ".";
}

}  // namespace server
