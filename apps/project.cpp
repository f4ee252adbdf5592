// The commands that tell what a project holds: its structures, and whether they are as they were.
#include <algorithm>
#include <cstdint>
#include <optional>

#include "apps/options.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
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
using structure_ingest::Verification;
using structure_ingest::VerifiedStructure;
using structure_ingest::VerifyFinding;

struct ProjectArguments {
  StateArguments state;
  bool json = false;
  bool verbose = false;
  bool deep = false;
  bool failed = false;
  bool csv = false;
  ReadingArguments reading;
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

/// Why a file gave no structure; empty for one that did.
std::string why_failed(const ProjectStructure& structure) {
  structure_ingest::IngestedStructure record;
  record.ok = structure.ok;
  record.warnings = structure.warnings;
  return structure_ingest::why_not_read(record,
                                        structure.findings.value_or(std::vector<Finding>()));
}

/// A line each; `why` tells of each file that was not read why.
void print_listing(const std::vector<ProjectStructure>& structures, bool why) {
  std::vector<TableRow> rows = {
      {"FORMULA", "ATOMS", "CELL", "FOUND", "COPIED (UTC)", "FINDINGS", "SOURCE"}};
  for (const ProjectStructure& structure : structures) {
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
  if (why) {
    for (const ProjectStructure& structure : structures) {
      print_line(printable(structure.source_file));
      print_row("error", why_failed(structure));
    }
  } else if (rows.size() > 1) {
    print_table(rows, {1});
  }
}

void print_csv(const std::vector<ProjectStructure>& structures) {
  print_csv_row({"source", "copy", "ok", "formula", "atoms", "cell", "found", "copied", "errors",
                 "warnings", "notes", "error"});
  for (const ProjectStructure& structure : structures) {
    const auto count = [&structure](structure_ingest::Severity severity) {
      if (!structure.findings) return std::string();
      return std::to_string(std::ranges::count(*structure.findings, severity, &Finding::severity));
    };
    print_csv_row(
        {structure.source_file, structure.copy, structure.ok ? "yes" : "no", structure.formula,
         structure.ok ? std::to_string(structure.natoms) : "",
         !structure.ok        ? ""
         : structure.has_cell ? "yes"
                              : "no",
         structure.discovery, structure.copied_at ? telling::utc_time(*structure.copied_at) : "",
         count(structure_ingest::Severity::error), count(structure_ingest::Severity::warning),
         count(structure_ingest::Severity::note), why_failed(structure)});
  }
}

Status list(const ProjectArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  require_project(project);
  ProjectListing listing =
      structure_ingest::list_structures(project.project, project.state, {.check = true});
  if (arguments.failed) {
    std::erase_if(listing.structures, [](const ProjectStructure& each) { return each.ok; });
  }
  if (arguments.json) {
    Json structures = Json::array();
    for (const ProjectStructure& structure : listing.structures) {
      structures.push_back(telling::structure_json(structure, project.project));
    }
    print_line(structure_ingest::json_text(structures));
  } else if (arguments.csv) {
    print_csv(listing.structures);
  } else {
    print_listing(listing.structures, arguments.failed);
    if (listing.structures.empty()) {
      print_line(arguments.failed ? "No file that was not read." : "No structures.");
    }
    const std::size_t others = listing.other_copies.size();
    if (others > 0 && !arguments.failed) {
      print_line("Besides, " + std::to_string(others) + (others == 1 ? " copy" : " copies") +
                 " of structures that the state does not have (see verify and prune).");
    }
  }
  if (!listing.manifest_error.empty()) print_error(listing.manifest_error);
  return ALL_WELL;
}

std::string heading_of(const VerifiedStructure& verified) {
  if (!verified.is_as_it_was()) return coloured("not as it was", RED);
  return telling::is_without_entry(verified) ? coloured("no entry", YELLOW)
                                             : coloured("as it was", GREEN);
}

void print_verified(const VerifiedStructure& verified, Detail detail) {
  const std::string& source = verified.structure.source_file;
  print_line(heading_of(verified) + "  " +
             printable(source.empty() ? verified.structure.path : source));
  const bool is_shown = detail == Detail::all || !verified.is_as_it_was();
  if (is_shown && !source.empty() && !verified.structure.copy.empty()) {
    print_row("copy", verified.structure.copy);
  }
  for (const VerifyFinding& finding : verified.findings) {
    print_row(finding.is_problem ? "problem" : "note", finding.text);
  }
}

void print_verification(const Verification& verification, bool verbose) {
  const Detail detail = detail_of(verification.structures.size(), verbose);
  for (const VerifiedStructure& verified : verification.structures) {
    print_verified(verified, detail);
  }
  const telling::VerifiedCounts counts = telling::counts_of(verification);
  print_line(counts.structures + counts.never_read == 0
                 ? "No structures."
                 : "As taken in: " + telling::in_short(counts) + ".");
}

Status verify(const ProjectArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  require_project(project);
  ReadingArguments reading = arguments.reading;
  if (arguments.deep) reading.no_cache = true;
  structure_ingest::StructureParser parser(parser_options(reading));
  Progress progress;
  const Verification verification =
      structure_ingest::verify_project(project.project, project.state,
                                       {.moved_from = project.moved_from,
                                        .progress = std::ref(progress),
                                        .parser = &parser,
                                        .deep = arguments.deep});
  progress.clear();
  if (arguments.json) {
    Json structures = Json::array();
    for (const VerifiedStructure& verified : verification.structures) {
      structures.push_back(telling::verified_json(verified));
    }
    print_line(structure_ingest::json_text(structures));
  } else {
    print_verification(verification, arguments.verbose);
  }
  if (!project.moved_from.empty()) {
    print_error(project.file + ": it says that the project is " + project.moved_from +
                "; if it was moved here, set \"project_path\" to " + project.project);
  }
  if (!verification.manifest_error.empty()) print_error(verification.manifest_error);
  const bool well = verification.is_as_it_was() && project.moved_from.empty() &&
                    verification.manifest_error.empty();
  return well ? ALL_WELL : NOT_ALL_WELL;
}

}  // namespace

Command list_command() {
  auto arguments = std::make_shared<ProjectArguments>();
  Command command{
      .name = "list",
      .about = "List the structures that a project holds",
      .examples = {"list --project my_project", "list --failed", "list --json | jq '.[].formula'"},
      .run = [arguments] { return list(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add("--json", &arguments->json, "One JSON array of the structures");
  command.add("--csv", &arguments->csv, "The same as comma-separated values",
              {.excludes = {"--json"}});
  command.add("--failed", &arguments->failed, "Only the files that gave no structure, and why");
  return command;
}

Command verify_command() {
  auto arguments = std::make_shared<ProjectArguments>();
  Command command{.name = "verify",
                  .about =
                      "Check that a project's structures are still what was taken in; exit "
                      "status 1 if something is not as it was",
                  .examples = {"verify --project my_project",
                               "verify --json | jq '.[] | select(.as_it_was | not)'"},
                  .run = [arguments] { return verify(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add("--json", &arguments->json, "One JSON array of the structures and findings");
  command.add("--deep", &arguments->deep,
              "Read every source again, also one that has the same bytes as when it was taken in");
  add_verbose_option(command, arguments->verbose);
  add_reading_options(command, arguments->reading);
  return command;
}

}  // namespace apps
