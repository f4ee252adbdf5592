// The tools that look at files.
#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "collaborators/agent_modules/directory_trust.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "server/answers.hpp"
#include "server/call.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/structures.hpp"
#include "telling/words.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Finding;
using structure_ingest::IngestedStructure;
using structure_ingest::Severity;

/// The paths of the copies that projects hold of this very structure.
std::vector<std::string> copies_of(const IngestedStructure& record, Workspace& workspace,
                                   const Call& call) {
  std::vector<std::string> copies;
  if (!record.ok) return copies;
  const std::string text = structure_ingest::canonical_xyz_text(record);
  const std::string copy = structure_ingest::canonical_xyz_rel(record, text);
  for (const std::string& project : workspace.projects(call)) {
    std::string path = base::join_path(project, copy);
    // A copy that somebody has changed is not named.
    if (workspace.roots().hold(path) && structure_ingest::is_copy_of(text, project, copy)) {
      copies.push_back(std::move(path));
    }
  }
  return copies;
}

Page atoms_asked_for(const IngestedStructure& record, const Json& arguments) {
  const std::size_t total = record.symbols.size();
  const Page page{
      .offset = arguments.at("first_atom"), .limit = arguments.at("max_atoms"), .total = total};
  if (page.offset >= total) {
    throw ToolError("There is no atom " + std::to_string(page.offset) + ": the file has " +
                    std::to_string(total) +
                    ", counted from 0. Call again with a smaller first_atom.");
  }
  return page;
}

Json coordinates_of(const IngestedStructure& record, const Page& page) {
  const auto on_page = [&page](const auto& list) {
    const auto part = std::span(list).subspan(page.begin(), page.end() - page.begin());
    return std::vector(part.begin(), part.end());
  };
  return {{"first_atom", page.offset},
          {"next_atom", page.next()},
          {"symbols", on_page(record.symbols)},
          {"positions_ang", on_page(record.positions_ang)},
          {"cell_ang", record.cell_ang ? Json(*record.cell_ang) : Json()}};
}

/// The same as text, for a client that shows nothing else to its model.
void add_coordinates(const Json& coordinates, std::vector<std::string>& lines) {
  lines.emplace_back("  exact coordinates in \u00E5ngstr\u00F6m, for looking at:");
  std::size_t number = coordinates["first_atom"].get<std::size_t>();
  for (std::size_t i = 0; i < coordinates["symbols"].size(); ++i) {
    lines.push_back("  atom " + std::to_string(number++) + ": " +
                    coordinates["symbols"][i].get<std::string>() + " " +
                    structure_ingest::json_text(coordinates["positions_ang"][i]));
  }
  if (!coordinates["cell_ang"].is_null()) {
    lines.push_back("  cell: " + structure_ingest::json_text(coordinates["cell_ang"]));
  }
}

bool is_note(const Finding& finding) {
  return finding.severity == Severity::note;
}

/// Findings come worst first.
bool has_error(const std::vector<Finding>& findings) {
  return !findings.empty() && findings.front().severity == Severity::error;
}

std::string next_after(const std::vector<Finding>& findings) {
  if (has_error(findings)) {
    return "Do not calculate with this structure: tell the user of the errors and what would mend "
           "them, and wait for a decision. Do not mend or write a structure file yourself.";
  }
  if (!findings.empty() && !is_note(findings.front())) {
    return "Tell the user of the warnings before you go on: each needs a person's decision. Do not "
           "mend or write a structure file yourself.";
  }
  return {};
}

Json first_names(const std::vector<std::string>& folders, const std::string& root) {
  constexpr std::size_t MOST = 20;
  Json list = Json::array();
  for (std::size_t i = 0; i < std::min(MOST, folders.size()); ++i) {
    list.push_back(base::path_text(base::join_path(root, folders[i])));
  }
  return list;
}

}  // namespace

Answer parse_structure(Workspace& workspace, const Json& arguments, const Call& call) {
  const std::string path = file_to_read(workspace, arguments);
  structure_ingest::StructureParser& parser = workspace.parser();
  const structure_ingest::ParsedStructure parsed =
      parser.parse(path, {.fingerprint = true, .content = true});
  const IngestedStructure& record = parsed.record;
  std::vector<Finding> findings = structure_ingest::check_structure(parsed);
  std::erase_if(findings, is_note);
  call.check();
  Answer answer;
  answer.copies = copies_of(record, workspace, call);
  answer.lines = {line_on(record)};
  const std::vector<std::string> below = lines_below(record.ok, record.warnings, findings);
  answer.lines.insert(answer.lines.end(), below.begin(), below.end());
  if (const std::string& reason = parser.why_ase_is_unavailable(); !reason.empty()) {
    answer.lines.push_back("  ASE cannot be used: " + reason);
  }
  for (const std::string& copy : answer.copies) {
    answer.lines.push_back("  canonical copy: " + in_quotes(copy));
  }
  const std::string careful = next_after(findings);
  if (!record.ok) {
    answer.next_step = NOT_READ;
  } else if (has_error(findings)) {
    answer.next_step = careful;
  } else {
    answer.next_step = careful + (careful.empty() ? "" : " ") + next_without_cell(record) +
                       (answer.copies.empty()
                            ? "No project holds a copy yet: call hydrate_project with this file, "
                              "and calculate with the canonical copy that it names."
                            : "Calculate with a canonical copy of this answer: give its path to "
                              "the program, and never retype coordinates.");
  }
  answer.data = telling::record_json(record, findings);
  add_uri(answer.data, path);
  answer.data["copies"] = answer.copies;
  answer.data["coordinates"] = nullptr;
  if (arguments.at("include_coordinates") == true && record.ok) {
    const Page page = atoms_asked_for(record, arguments);
    answer.data["coordinates"] = coordinates_of(record, page);
    add_coordinates(answer.data["coordinates"], answer.lines);
    if (!page.is_last()) {
      answer.next_step = "More atoms: " + way_to_next(page, "first_atom") + " " + answer.next_step;
    }
  }
  return answer;
}

Answer check_structure(Workspace& workspace, const Json& arguments, const Call& call) {
  const std::string path = file_to_read(workspace, arguments);
  const structure_ingest::ParsedStructure parsed =
      workspace.parser().parse(path, {.fingerprint = true, .content = true});
  const IngestedStructure& record = parsed.record;
  call.check();
  const std::vector<Finding> findings = structure_ingest::check_structure(
      parsed, {.search_symmetry = arguments.at("search_symmetry") == true});
  Answer answer;
  answer.lines = {line_on(record)};
  Json explanations = Json::array();
  std::set<std::string> explained;
  for (const Finding& finding : findings) {
    answer.lines.push_back(std::string("  ") + structure_ingest::severity_name(finding.severity) +
                           " " + finding.code + ": " + finding.message);
    const auto kind = structure_ingest::finding_kind(finding.code);
    if (is_note(finding) || !kind || !explained.insert(finding.code).second) continue;
    explanations.push_back(
        {{"code", finding.code}, {"meaning", kind->meaning}, {"advice", kind->advice}});
    answer.lines.push_back(std::string("    means: ") + kind->meaning);
    answer.lines.push_back(std::string("    do: ") + kind->advice);
  }
  if (findings.empty()) answer.lines.emplace_back("  nothing to remark");
  answer.data = telling::record_json(record, findings);
  add_uri(answer.data, path);
  answer.data["worst"] =
      findings.empty() ? "none" : structure_ingest::severity_name(findings.front().severity);
  answer.data["explanations"] = std::move(explanations);
  const std::string careful = next_after(findings);
  answer.next_step = !record.ok        ? NOT_READ
                     : careful.empty() ? "Nothing speaks against this structure: call "
                                         "hydrate_project to take it into a project."
                                       : careful;
  return answer;
}

Answer scan_workspace(Workspace& workspace, const Json& arguments, const Call& call) {
  const Roots& roots = workspace.roots();
  const std::string root = arguments.contains("directory")
                               ? base::resolve_path(roots.locate(arguments["directory"]))
                               : roots.folders().front();
  const std::string project =
      arguments.contains("project") ? roots.locate_project(arguments["project"]) : root;
  if (!base::is_directory(root)) {
    throw ToolError("There is no folder " + in_quotes(root) +
                    ": call scan_workspace without a directory to see the first root.");
  }
  if (agent_modules::is_untrusted(root)) {
    throw ToolError("The folder " + in_quotes(root) +
                    " is not scanned: the user lists it as untrusted. Only the user can change "
                    "that, with 'structure-ingest trust'. Files that the user names can be read "
                    "one by one.");
  }
  const agent_modules::FolderTree tree = agent_modules::list_folder_tree(root);
  call.check();
  const Page page = page_of(arguments, tree.structure_files.size());
  structure_ingest::ScannedFiles scanned(root, project);
  Answer answer;
  answer.lines.push_back(in_quotes(root) + ": " + base::counted(page.total, "structure file"));
  Json files = Json::array();
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    call.check();
    structure_ingest::ScannedFile file =
        scanned.describe(base::join_path(root, tree.structure_files[i]));
    file.taken = file.taken && roots.hold(file.path);
    files.push_back(telling::scanned_json(file));
    add_uri(files.back(), file.path);
    answer.lines.push_back("  " + in_quotes(file.path) +
                           (file.taken ? "" : " (would not be taken)"));
  }
  answer.data = {{"directory", root}, {"files", std::move(files)}};
  add_page(answer.data, page);
  answer.data["untrusted"] = first_names(tree.untrusted_folders, root);
  answer.data["unreadable"] = first_names(tree.unreadable_folders, root);
  answer.next_step =
      !page.is_last()             ? "There are more files: " + way_to_next(page, "offset")
      : page.total == 0           ? "Ask the user where the structure files are; they must lie "
                                    "below a root."
      : page.offset >= page.total ? "There are no more files: call again with a smaller offset."
                                  : "Call check_structure on the files that matter, then "
                                    "hydrate_project to take them into a project.";
  return answer;
}

Answer explain_finding(Workspace& /*workspace*/, const Json& arguments, const Call& /*call*/) {
  const auto code = arguments.at("code").get<std::string>();
  const auto kind = structure_ingest::finding_kind(code);
  if (!kind) {
    throw ToolError("There is no finding " + in_quotes(code) + ". The findings are " +
                    telling::known_codes() + ": call again with one of them.");
  }
  const std::string severity = telling::severity_text(*kind);
  Answer answer;
  answer.data = {{"code", kind->code},
                 {"severity", severity},
                 {"found", kind->condition},
                 {"meaning", kind->meaning},
                 {"advice", kind->advice}};
  answer.lines = {std::string(kind->code) + " (" + severity + ")",
                  std::string("  found: ") + kind->condition,
                  std::string("  means: ") + kind->meaning, std::string("  do: ") + kind->advice};
  answer.next_step = "Call check_structure on a file to see whether it has this finding.";
  return answer;
}

}  // namespace server
