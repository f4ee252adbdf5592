#include <unistd.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/findings_view.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/check/check.hpp"

namespace apps {
namespace {

struct Arguments {
  bool json = false;
  bool no_check = false;
  PathArguments paths;
};

void show(const structure_ingest::IngestedStructure& record,
          std::span<const structure_ingest::Finding> findings, const std::string& origin) {
  print_line(printable(record.source_path) + ": " +
             (record.ok ? coloured(composition_of(record), GREEN) : coloured("not parsed", RED)));
  if (record.ok) show_cell(record);
  show_warnings(record.warnings, record.ok);
  show_cautions(record, findings);
  if (!record.ok && !origin.empty()) print_row("listed", origin);
}

Status run(const Arguments& arguments) {
  Status status = ALL_WELL;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  structure_ingest::StructureParser parser;
  Progress progress;
  std::string reason_told;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    progress.show(i, paths.size(), paths[i].path);
    const structure_ingest::IngestedStructure record = parser.parse(paths[i].path);
    if (!record.ok) status = SOME_FILE_UNPARSED;
    if (isatty(STDOUT_FILENO) != 0) progress.clear();
    if (arguments.json) {
      print_line(structure_ingest::json_text(record.as_dict()));
    } else {
      std::vector<structure_ingest::Finding> findings;
      if (!arguments.no_check) {
        findings = structure_ingest::check_structure(record,
                                                     {.reader_warnings = parser.reader_warnings()});
      }
      show(record, findings, paths[i].origin);
    }
    // The warning of a record without ASE is the same for all reasons.
    if (const std::string& reason = parser.why_ase_is_unavailable(); reason != reason_told) {
      if (!reason.empty()) print_error("ASE cannot be used: " + reason);
      reason_told = reason;
    }
    if (!can_print()) break;
  }
  return status;
}

}  // namespace

Command add_parse(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = program.add_subcommand("parse", "Parse structure files and show them");
  command->add_flag("--json", arguments->json, "One JSON document a line, one line a path");
  command->add_flag("--no-check", arguments->no_check,
                    "Leave out the cautions: what 'check' calls an error or a warning");
  add_path_options(*command, arguments->paths, "Structure files");
  command->callback([arguments] { require_paths(arguments->paths); });
  add_examples(*command,
               {"parse water.xyz crystal.cif POSCAR", "parse --json crystal.cif | jq .cell_ang",
                "parse --files-from list.txt"});
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
