#include <unistd.h>

#include "apps/interruption.hpp"
#include "apps/options.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/summary.hpp"
#include "apps/terminal.hpp"
#include "telling/structures.hpp"
#include "telling/words.hpp"

namespace apps {
namespace {

using structure_ingest::Finding;
using structure_ingest::IngestedStructure;
using structure_ingest::Severity;

struct CheckArguments {
  bool json = false;
  bool verbose = false;
  std::string explain;
  ReadingArguments reading;
  PathArguments paths;
};

void print_checked(const IngestedStructure& record, const std::vector<Finding>& findings,
                   const std::string& origin, Detail detail) {
  print_heading(record, "", detail);
  for (const Finding& finding : findings) {
    if (detail == Detail::few && finding.severity == Severity::note) continue;
    print_row(structure_ingest::severity_name(finding.severity), telling::finding_text(finding));
  }
  if (findings.empty() && detail == Detail::all) print_row("", "nothing to remark");
  if (!record.ok && !origin.empty()) print_row("listed", origin);
}

Status check_files(const CheckArguments& arguments) {
  require_paths(arguments.paths);
  Status status = ALL_WELL;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  structure_ingest::StructureParser parser(parser_options(arguments.reading));
  parser.begin_batch(texts_of(paths));
  const Detail detail = detail_of(paths.size(), arguments.verbose);
  // The space group is a note, and takes longer to find than all else.
  const bool search_symmetry = arguments.json || detail == Detail::all;
  end_in_order();
  Progress progress;
  Summary summary;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (is_interrupted()) {
      progress.clear();
      summary.print();
      warn_interrupted(i, paths.size(), "");
      return INTERRUPTED;
    }
    progress(i, paths.size(), paths[i].path);
    const structure_ingest::ParsedStructure parsed =
        parser.parse(paths[i].path, {.fingerprint = true, .content = true});
    const IngestedStructure& record = parsed.record;
    const std::vector<Finding> findings =
        structure_ingest::check_structure(parsed, {.search_symmetry = search_symmetry});
    if (structure_ingest::worst_severity(findings) == Severity::error) status = NOT_ALL_WELL;
    if (isatty(STDOUT_FILENO) != 0) progress.clear();
    if (arguments.json) {
      print_line(structure_ingest::json_text(telling::record_json(record, findings)));
    } else {
      print_checked(record, findings, paths[i].origin, detail);
      summary.add(record, findings);
    }
    if (!can_print()) break;
  }
  progress.clear();
  summary.print();
  return status;
}

Status explain(const std::string& code) {
  const auto kind = structure_ingest::finding_kind(code);
  if (!kind) {
    throw WrongInput("there is no finding '" + code + "'; there are " + telling::known_codes());
  }
  print_line(std::string(kind->code) + ": " + telling::severity_text(*kind));
  print_row("found", kind->condition);
  print_row("means", kind->meaning);
  print_row("do", kind->advice);
  return ALL_WELL;
}

}  // namespace

Command check_command() {
  auto arguments = std::make_shared<CheckArguments>();
  Command command{.name = "check",
                  .about = "Tell what in structure files would mislead a calculation",
                  .examples = {"check POSCAR crystal.cif", "check --explain partial_occupancy",
                               "check --json *.cif | jq -r 'select(.findings != []) | .path'"},
                  .run = [arguments] {
                    return arguments->explain.empty() ? check_files(*arguments)
                                                      : explain(arguments->explain);
                  }};
  command.add("--json", &arguments->json, "One JSON document a line, one line a path");
  command.add("--explain CODE", &arguments->explain, "Say what the finding CODE means");
  add_verbose_option(command, arguments->verbose);
  add_reading_options(command, arguments->reading);
  add_path_options(command, arguments->paths, "Structure files, or folders of them");
  return command;
}

}  // namespace apps
