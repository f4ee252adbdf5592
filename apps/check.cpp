#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/findings_view.hpp"
#include "apps/jobs.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/summary.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/check/findings_json.hpp"
#include "structure_ingest/check/rules.hpp"

namespace apps {
namespace {

using structure_ingest::Finding;
using structure_ingest::IngestedStructure;
using structure_ingest::Json;
using structure_ingest::Severity;

struct CheckArguments {
  bool json = false;
  std::string explain;
  std::string jobs;
  PathArguments paths;
};

Json as_json(const IngestedStructure& record, const std::vector<Finding>& findings) {
  return {{"path", record.source_path},
          {"ok", record.ok},
          {"formula", record.formula},
          {"natoms", record.natoms},
          {"findings", structure_ingest::findings_list(findings)}};
}

void show(const IngestedStructure& record, const std::vector<Finding>& findings,
          const std::string& origin) {
  print_line(printable(record.source_path) + ": " +
             (record.ok ? coloured(composition_of(record), GREEN) : coloured("not parsed", RED)));
  if (record.ok) show_cell(record);
  for (const Finding& finding : findings) {
    print_row(structure_ingest::severity_name(finding.severity), text_of(finding));
  }
  if (findings.empty()) print_row("", "nothing to remark");
  if (!record.ok && !origin.empty()) print_row("listed", origin);
}

Status check_files(const CheckArguments& arguments) {
  Status status = ALL_WELL;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  structure_ingest::StructureParser parser({.processes = processes_for(arguments.jobs)});
  parser.begin_batch(texts_of(paths));
  Progress progress;
  Summary summary;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    progress.show(i, paths.size(), paths[i].path);
    const IngestedStructure record = parser.parse(paths[i].path);
    const std::vector<Finding> findings = structure_ingest::check_structure(
        record, {.reader_warnings = parser.reader_warnings(), .search_symmetry = true});
    if (structure_ingest::worst_severity(findings) == Severity::error) status = SOME_FILE_UNPARSED;
    if (isatty(STDOUT_FILENO) != 0) progress.clear();
    if (arguments.json) {
      print_line(structure_ingest::json_text(as_json(record, findings)));
    } else {
      show(record, findings, paths[i].origin);
      summary.add(record);
      summary.add(findings);
    }
    if (!can_print()) break;
  }
  progress.clear();
  summary.print();
  return status;
}

Status explain(const std::string& code) {
  const structure_ingest::internal::Rule* const rule = structure_ingest::internal::rule_of(code);
  if (rule == nullptr) {
    std::string known;
    for (const auto& each : structure_ingest::internal::rules()) {
      known += (known.empty() ? "" : ", ") + std::string(each.code);
    }
    throw WrongInput("there is no finding '" + code + "'; there are " + known);
  }
  print_line(std::string(rule->code) + ": " + severity_text(*rule));
  print_row("found", rule->looks_at);
  print_row("means", rule->meaning);
  print_row("do", rule->advice);
  return ALL_WELL;
}

}  // namespace

Command add_check(CLI::App& program) {
  auto arguments = std::make_shared<CheckArguments>();
  CLI::App* command =
      program.add_subcommand("check", "Tell what in structure files would mislead a calculation");
  command->add_flag(
      "--json", arguments->json,
      "One JSON document a line, one line a path: path, ok, formula, natoms, findings");
  command->add_option("--explain", arguments->explain, "Say what the finding CODE means")
      ->type_name("CODE");
  add_jobs_option(*command, arguments->jobs);
  add_path_options(*command, arguments->paths, "Structure files");
  command->callback([arguments] {
    if (arguments->explain.empty()) require_paths(arguments->paths);
  });
  add_examples(*command, {"check POSCAR crystal.cif", "check --explain partial_occupancy",
                          "check --json *.cif | jq -r 'select(.findings != []) | .path'"});
  return [arguments] {
    return arguments->explain.empty() ? check_files(*arguments) : explain(arguments->explain);
  };
}

}  // namespace apps
