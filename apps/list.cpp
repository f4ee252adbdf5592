#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/project_state.hpp"
#include "apps/table.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/check/findings_json.hpp"

namespace apps {
namespace {

using structure_ingest::Json;
using structure_ingest::ProjectListing;
using structure_ingest::ProjectStructure;

struct ListArguments {
  StateArguments state;
  bool json = false;
};

/// "2026-01-31 12:00" or, for programs, "2026-01-31T12:00:00Z"; both UTC.
std::string time_text(std::int64_t seconds, const char* format) {
  const std::time_t time = seconds;
  std::tm parts{};
  std::array<char, 32> text{};
  gmtime_r(&time, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

/// How a source was found, in a word or two.
std::string found_shortly(const std::string& discovery) {
  if (discovery == structure_ingest::DISCOVERY_ATTACHMENT) return "named";
  if (discovery == structure_ingest::DISCOVERY_PROJECT_FOLDER) return "scan, project";
  if (discovery == structure_ingest::DISCOVERY_WORKSPACE_SCAN) return "scan, workspace";
  return discovery.empty() ? "-" : discovery;
}

/// "1 error, 2 notes"; "-" for none.
std::string findings_by_severity(const std::vector<structure_ingest::Finding>& findings) {
  using structure_ingest::Severity;
  std::string text;
  for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
    const auto count = std::count_if(findings.begin(), findings.end(), [&](const auto& finding) {
      return finding.severity == severity;
    });
    if (count == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " +
            structure_ingest::severity_name(severity) + (count == 1 ? "" : "s");
  }
  return text.empty() ? "-" : text;
}

Json json_of(const ProjectStructure& structure) {
  return {
      {"path", structure.path},
      {"copy", structure.copy},
      {"source_file", structure.source_file},
      {"discovery", structure.discovery},
      {"formula", structure.formula},
      {"natoms", structure.natoms},
      {"has_cell", structure.has_cell},
      {"ok", structure.ok},
      {"sha256", structure.sha256},
      {"warnings", structure.warnings},
      {"findings", structure_ingest::findings_list(structure.findings)},
      {"copied_at",
       structure.copied_at ? Json(time_text(*structure.copied_at, "%Y-%m-%dT%H:%M:%SZ")) : Json()}};
}

void show(const ProjectListing& listing) {
  std::vector<TableRow> rows = {
      {"FORMULA", "ATOMS", "CELL", "FOUND", "COPIED (UTC)", "FINDINGS", "SOURCE"}};
  for (const ProjectStructure& structure : listing.structures) {
    rows.push_back(
        {structure.ok ? structure.formula : "not parsed",
         structure.ok ? std::to_string(structure.natoms) : "-",
         !structure.ok        ? "-"
         : structure.has_cell ? "yes"
                              : "no",
         found_shortly(structure.discovery),
         structure.copied_at ? time_text(*structure.copied_at, "%Y-%m-%d %H:%M") : "-",
         findings_by_severity(structure.findings),
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
      list.push_back(json_of(structure));
    }
    print_line(structure_ingest::json_text(list));
  } else {
    show(listing);
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

Command add_list(CLI::App& program) {
  auto arguments = std::make_shared<ListArguments>();
  CLI::App* command = program.add_subcommand("list", "List the structures that a project holds");
  add_state_options(*command, arguments->state, "The project folder (default: the current one)");
  command->add_flag("--json", arguments->json, "One JSON array of the structures");
  add_examples(*command, {"list --project my_project", "list --json | jq '.[].formula'"});
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
