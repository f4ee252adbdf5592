#include "server/answers.hpp"

#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/outcomes.hpp"
#include "telling/structures.hpp"

namespace server {

namespace base = structure_ingest::internal;
using structure_ingest::Finding;

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

void add_uri(Json& object, const std::string& path) {
  if (base::printable_form(path) != path) object["uri"] = file_uri(path);
}

void add_structure(Answer& answer, const structure_ingest::ProjectStructure& structure,
                   const std::string& project, const std::string& heading) {
  answer.data["structures"].push_back(telling::structure_json(structure, project));
  answer.lines.push_back(heading + line_on(structure));
  const std::vector<Finding> findings = structure.findings.value_or(std::vector<Finding>());
  for (std::string& line : lines_below(structure.ok, structure.warnings, findings)) {
    answer.lines.push_back(std::move(line));
  }
  const std::string copy = telling::copy_path(structure, project);
  if (copy.empty()) return;
  answer.lines.push_back("  canonical copy: " + in_quotes(copy));
  answer.copies.push_back(copy);
}

void add_skipped(Answer& answer, std::span<const structure_ingest::SkippedFile> skipped,
                 int limit) {
  constexpr std::size_t MOST = 100;
  Json list = Json::array();
  for (const auto& file : skipped.first(std::min(MOST, skipped.size()))) {
    list.push_back(telling::skipped_json(file, limit));
    add_uri(list.back(), file.path);
    answer.lines.push_back("skipped: " + in_quotes(file.path) + ": " +
                           telling::skip_text(file, limit));
  }
  if (skipped.size() > MOST) {
    answer.lines.push_back("skipped: " + base::counted(skipped.size(), "file") + " in all");
  }
  answer.data["skipped"] = std::move(list);
}

std::string line_on(const structure_ingest::ProjectStructure& structure) {
  const std::string& source = structure.source_file;
  return in_quotes(source.empty() ? structure.path : source) + ": " + telling::in_short(structure);
}

std::string line_on(const structure_ingest::IngestedStructure& record) {
  return in_quotes(record.source_path) + ": " + telling::in_short(record);
}

std::vector<std::string> lines_below(bool ok, std::span<const std::string> warnings,
                                     std::span<const Finding> findings) {
  std::vector<std::string> lines;
  for (const std::string& warning : warnings) {
    lines.push_back((ok ? "  warning: " : "  error: ") + base::shortened(warning, 1000));
  }
  for (const Finding& finding : findings) {
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

Page page_of(const Json& arguments, std::size_t total) {
  return {.offset = arguments.at("offset"), .limit = arguments.at("limit"), .total = total};
}

void add_page(Json& data, const Page& page) {
  data["total"] = page.total;
  data["offset"] = page.offset;
  data["next_offset"] = page.next();
}

std::string way_to_next(const Page& page, const std::string& argument) {
  return "call again with " + argument + " " + std::to_string(page.end()) + ".";
}

}  // namespace server
