#include <algorithm>

#include "apps/options.hpp"
#include "apps/output_file.hpp"
#include "apps/progress.hpp"
#include "apps/report/page.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/outcomes.hpp"

namespace apps {
namespace {

namespace internal = structure_ingest::internal;
using structure_ingest::ProjectListing;
using structure_ingest::ProjectStructure;

struct ReportArguments {
  PathArguments paths;
  StateArguments state;
  std::string title;
  std::string output;
  bool force = false;
};

structure_ingest::Quantities all_quantities_of(const structure_ingest::IngestedStructure& record) {
  return structure_ingest::quantities_of(record, {.space_group = true});
}

ReportedStructure from_file(structure_ingest::StructureParser& parser, const GivenPath& given) {
  structure_ingest::ParsedStructure parsed =
      parser.parse(given.path, {.fingerprint = true, .content = true});
  ReportedStructure structure{.source = given.path,
                              .fingerprint = parsed.record.sha256,
                              .findings = structure_ingest::check_structure(parsed)};
  structure.record = std::move(parsed.record);
  if (structure.record.ok) {
    structure.copy = structure_ingest::canonical_xyz_text(structure.record);
    structure.copy_name =
        internal::file_name(structure_ingest::canonical_xyz_rel(structure.record, structure.copy));
  } else if (!given.origin.empty()) {
    structure.more.emplace_back("Listed in", given.origin);
  }
  structure.quantities = all_quantities_of(structure.record);
  return structure;
}

/// What a project holds: its copy is what is shown and handed out, byte for byte.
ReportedStructure from_project(structure_ingest::StructureParser& parser,
                               const std::string& project, const ProjectStructure& held) {
  ReportedStructure structure{
      .source = held.source_file.empty() ? held.path : held.source_file,
      .fingerprint = held.sha256,
      .findings = held.findings.value_or(std::vector<structure_ingest::Finding>())};
  if (!held.copy.empty()) {
    const std::string path = internal::join_path(project, held.copy);
    structure.record = parser.parse(path);
    structure.copy_name = internal::file_name(held.copy);
    structure.more.emplace_back("Copy", held.copy);
    if (structure.record.ok) structure.copy = internal::read_file(path);
  }
  // The warnings are those of the source; the copy has none of its own but that it cannot be read.
  if (structure.record.ok || held.copy.empty()) structure.record.warnings = held.warnings;
  if (!held.discovery.empty()) {
    structure.more.emplace_back("Found", telling::found_text(held.discovery));
  }
  structure.quantities = all_quantities_of(structure.record);
  return structure;
}

std::vector<ReportedStructure> from_files(const ReportArguments& arguments) {
  std::vector<ReportedStructure> structures;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  require_replaceable(arguments.output, arguments.force, texts_of(paths));
  structure_ingest::StructureParser parser;
  Progress progress;
  std::string reason_told;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    progress(i, paths.size(), paths[i].path);
    structures.push_back(from_file(parser, paths[i]));
    if (const std::string& reason = parser.why_ase_is_unavailable(); reason != reason_told) {
      progress.clear();
      warn_why_no_ase(reason);
      reason_told = reason;
    }
  }
  return structures;
}

Report project_report(const ReportArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  std::vector<std::string> made_from = files_of_project(project.project);
  made_from.push_back(project.file);
  require_replaceable(arguments.output, arguments.force, made_from);
  const ProjectListing listing =
      structure_ingest::list_structures(project.project, project.state, {.check = true});
  Report report;
  report.title = "Structures of " + internal::file_name(internal::resolve_path(project.project));
  if (const std::size_t others = listing.other_copies.size(); others > 0) {
    report.remark = "Besides, the project has " + std::to_string(others) +
                    (others == 1 ? " copy" : " copies") + " that its state does not list.";
  }
  if (!listing.manifest_error.empty()) print_error(listing.manifest_error);
  structure_ingest::StructureParser parser;
  Progress progress;
  for (std::size_t i = 0; i < listing.structures.size(); ++i) {
    progress(i, listing.structures.size(), listing.structures[i].path);
    report.structures.push_back(from_project(parser, project.project, listing.structures[i]));
  }
  return report;
}

Status run(const ReportArguments& arguments) {
  const bool is_of_project = !arguments.state.project.empty() || !arguments.state.state.empty();
  if (!is_of_project) require_paths(arguments.paths);
  if (is_of_project && !arguments.paths.are_empty()) {
    throw WrongOptions("PATH excludes --project");
  }
  ending_of_output(arguments.output, {".html", ".htm"});
  Report report;
  if (is_of_project) {
    report = project_report(arguments);
  } else {
    report.title = "Structures";
    report.structures = from_files(arguments);
  }
  report.program = std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION;
  if (!arguments.title.empty()) report.title = arguments.title;
  internal::replace_file(arguments.output, report_page(report));
  const std::size_t read = static_cast<std::size_t>(
      std::count_if(report.structures.begin(), report.structures.end(),
                    [](const ReportedStructure& structure) { return structure.record.ok; }));
  const std::size_t unread = report.structures.size() - read;
  print_line(printable(arguments.output) + ": " + internal::counted(read, "structure") +
             (unread == 0 ? "" : ", " + std::to_string(unread) + " not parsed"));
  return unread == 0 ? ALL_WELL : SOME_FILE_UNPARSED;
}

}  // namespace

Command report_command() {
  auto arguments = std::make_shared<ReportArguments>();
  Command command{
      .name = "report",
      .about = "Write one HTML page with the structures in 3D, their numbers and findings",
      .examples = {"report *.cif -o report.html", "report --project my_project -o report.html"},
      .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state, "Report what this project holds, instead of files");
  command.add("--title TEXT", &arguments->title, "The heading of the page");
  command.add("-o,--output FILE", &arguments->output,
              "The page to write, or an older one to replace; its name ends with .html",
              {.required = true});
  command.add("--force", &arguments->force, "Replace any other file as well");
  add_path_options(command, arguments->paths, "Structure files");
  return command;
}

}  // namespace apps
