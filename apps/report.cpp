#include <algorithm>
#include <functional>
#include <utility>

#include "apps/options.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "outputs/output_file.hpp"
#include "outputs/reported.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/words.hpp"

namespace apps {
namespace {

namespace internal = structure_ingest::internal;
using outputs::Report;

struct ReportArguments {
  PathArguments paths;
  StateArguments state;
  std::string title;
  std::string output;
  bool force = false;
  ReadingArguments reading;
};

Report report_on_files(const ReportArguments& arguments) {
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  outputs::require_replaceable(arguments.output, arguments.force, texts_of(paths));
  Report report{.title = "Structures"};
  structure_ingest::StructureParser parser(parser_options(arguments.reading));
  Progress progress;
  std::string reason_told;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    progress(i, paths.size(), paths[i].path);
    report.structures.push_back(outputs::reported_file(parser, paths[i].path, paths[i].origin));
    if (const std::string& reason = parser.why_ase_is_unavailable(); reason != reason_told) {
      progress.clear();
      warn_why_no_ase(reason);
      reason_told = reason;
    }
  }
  return report;
}

Report report_on_project(const ReportArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  require_project(project);
  std::vector<std::string> made_from = outputs::files_of_project(project.project);
  made_from.push_back(project.file);
  outputs::require_replaceable(arguments.output, arguments.force, made_from);
  Progress progress;
  outputs::ProjectReport made =
      outputs::report_on_project(project.project, project.state, std::ref(progress));
  progress.clear();
  if (!made.manifest_error.empty()) print_error(made.manifest_error);
  return std::move(made.report);
}

Status run(const ReportArguments& arguments) {
  const bool is_of_project = !arguments.state.project.empty() || !arguments.state.state.empty();
  if (!is_of_project) require_paths(arguments.paths);
  if (is_of_project && !arguments.paths.are_empty()) {
    throw WrongOptions("PATH excludes --project");
  }
  outputs::ending_of_output(arguments.output, {".html", ".htm"});
  Report report = is_of_project ? report_on_project(arguments) : report_on_files(arguments);
  report.program = std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION;
  if (!arguments.title.empty()) report.title = arguments.title;
  internal::replace_file(arguments.output, outputs::report_page(report));
  const std::size_t read = static_cast<std::size_t>(std::count_if(
      report.structures.begin(), report.structures.end(),
      [](const outputs::ReportedStructure& structure) { return structure.record.ok; }));
  const std::size_t unread = report.structures.size() - read;
  print_line(printable(arguments.output) + ": " + internal::counted(read, "structure") +
             (unread == 0 ? "" : ", " + std::to_string(unread) + " not parsed"));
  return unread == 0 ? ALL_WELL : NOT_ALL_WELL;
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
  add_reading_options(command, arguments->reading);
  add_path_options(command, arguments->paths, "Structure files, or folders of them");
  return command;
}

}  // namespace apps
