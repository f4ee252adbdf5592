#include <cstdint>
#include <optional>

#include "apps/commands.hpp"
#include "apps/options.hpp"
#include "apps/table.hpp"
#include "apps/terminal.hpp"
#include "telling/structures.hpp"
#include "telling/words.hpp"

namespace apps {
namespace {

using structure_ingest::Finding;
using structure_ingest::Json;
using structure_ingest::ProjectListing;
using structure_ingest::ProjectStructure;

struct ListArguments {
  StateArguments state;
  bool json = false;
};

/// "2026-01-31 12:00"; "-" for none.
std::string copied_shortly(const std::optional<std::int64_t>& seconds) {
  if (!seconds) return "-";
  std::string text = telling::utc_time(*seconds).substr(0, 16);
  text[10] = ' ';
  return text;
}

/// How a source was found, in a word or two.
std::string found_shortly(const std::string& discovery) {
  if (discovery == structure_ingest::DISCOVERY_ATTACHMENT) return "named";
  if (discovery == structure_ingest::DISCOVERY_PROJECT_FOLDER) return "scan, project";
  if (discovery == structure_ingest::DISCOVERY_WORKSPACE_SCAN) return "scan, workspace";
  return discovery;
}

std::string or_dash(const std::string& text) {
  return text.empty() ? "-" : text;
}

void print_listing(const ProjectListing& listing) {
  std::vector<TableRow> rows = {
      {"FORMULA", "ATOMS", "CELL", "FOUND", "COPIED (UTC)", "FINDINGS", "SOURCE"}};
  for (const ProjectStructure& structure : listing.structures) {
    rows.push_back(
        {structure.ok ? structure.formula : "not parsed",
         structure.ok ? std::to_string(structure.natoms) : "-",
         !structure.ok        ? "-"
         : structure.has_cell ? "yes"
                              : "no",
         or_dash(found_shortly(structure.discovery)), copied_shortly(structure.copied_at),
         or_dash(telling::severity_counts(structure.findings.value_or(std::vector<Finding>()))),
         structure.source_file.empty() ? "(copy) " + structure.path : structure.source_file});
  }
  if (rows.size() > 1) {
    print_table(rows, {1});
  } else {
    print_line("No structures.");
  }
}

Status run(const ListArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  const ProjectListing listing =
      structure_ingest::list_structures(project.project, project.state, {.check = true});
  if (arguments.json) {
    Json list = Json::array();
    for (const ProjectStructure& structure : listing.structures) {
      list.push_back(telling::structure_json(structure, project.project));
    }
    print_line(structure_ingest::json_text(list));
  } else {
    print_listing(listing);
    const std::size_t others = listing.other_copies.size();
    if (others > 0) {
      print_line("Besides, " + std::to_string(others) + (others == 1 ? " copy" : " copies") +
                 " of structures that the state does not have (see verify).");
    }
  }
  if (!listing.manifest_error.empty()) print_error(listing.manifest_error);
  return ALL_WELL;
}

}  // namespace

Command list_command() {
  auto arguments = std::make_shared<ListArguments>();
  Command command{.name = "list",
                  .about = "List the structures that a project holds",
                  .examples = {"list --project my_project", "list --json | jq '.[].formula'"},
                  .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add("--json", &arguments->json, "One JSON array of the structures");
  return command;
}

}  // namespace apps
