#include <unistd.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/structure_row.hpp"
#include "apps/structure_view.hpp"
#include "apps/summary.hpp"
#include "apps/table.hpp"
#include "apps/terminal.hpp"

namespace apps {
namespace {

struct ParseArguments {
  bool json = false;
  bool table = false;
  bool csv = false;
  std::string frame;
  std::string block;
  bool no_check = false;
  std::string jobs;
  PathArguments paths;
};

void print_record(const structure_ingest::IngestedStructure& record,
                  const std::vector<structure_ingest::Finding>& findings, const std::string& part,
                  const std::string& origin) {
  print_line(
      printable(record.source_path) + (part.empty() ? "" : ", " + part) + ": " +
      (record.ok ? coloured(shown_composition(record), GREEN) : coloured("not parsed", RED)));
  if (record.ok) print_cell(record);
  print_warnings(record.warnings, record.ok);
  print_cautions(record, findings);
  if (!record.ok && !origin.empty()) print_row("listed", origin);
}

/// Shows the records in the way that was asked for.
class Output {
 public:
  explicit Output(const ParseArguments& arguments) : arguments_(arguments) {
    if (arguments_.table) rows_.push_back(structure_headings());
    if (arguments_.csv) print_csv_row(structure_headings());
  }

  /// `part` is what of the file the record is of; empty for what the reader takes by itself.
  void add(const structure_ingest::ParsedStructure& parsed, const std::string& part,
           const std::string& origin) {
    const structure_ingest::IngestedStructure& record = parsed.record;
    const std::string name = record.source_path + (part.empty() ? "" : ", " + part);
    if (arguments_.json) {
      print_line(structure_ingest::json_text(record.as_dict()));
    } else if (arguments_.csv) {
      print_csv_row(structure_row(name, record, 10));
    } else if (arguments_.table) {
      rows_.push_back(structure_row(name, record, 6));
      summary_.add(record);
    } else {
      // A check looks into the file, too, and there at what is read by itself.
      std::vector<structure_ingest::Finding> findings;
      if (!arguments_.no_check && part.empty()) {
        findings = structure_ingest::check_structure(parsed);
      }
      print_record(record, findings, part, origin);
      summary_.add(record);
      summary_.add(findings);
    }
  }

  /// Whether findings are shown.
  bool checks() const {
    return !arguments_.no_check && !arguments_.json && !arguments_.csv && !arguments_.table;
  }

  void end() const {
    if (arguments_.table) print_table(rows_, {2, 3, 4, 5, 6, 7, 8, 9, 10, 12});
    summary_.print();
  }

 private:
  const ParseArguments& arguments_;
  std::vector<TableRow> rows_;
  Summary summary_;
};

Status run(const ParseArguments& arguments) {
  Status status = ALL_WELL;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  std::optional<structure_ingest::FrameChoice> choice;
  if (!arguments.frame.empty()) choice = read_frame_choice(arguments.frame);
  structure_ingest::StructureParser parser({.processes = processes_for(arguments.jobs)});
  if (arguments.block.empty()) parser.begin_batch(texts_of(paths));
  Progress progress;
  Output output(arguments);
  std::string reason_told;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    progress.show(i, paths.size(), paths[i].path);
    const auto add = [&](const structure_ingest::ParsedStructure& parsed, const std::string& part) {
      if (!parsed.record.ok) status = SOME_FILE_UNPARSED;
      if (isatty(STDOUT_FILENO) != 0) progress.clear();
      output.add(parsed, part, paths[i].origin);
    };
    if (!arguments.block.empty()) {
      add({.record = structure_ingest::parse_cif_block(parser, paths[i].path, arguments.block)},
          "block " + arguments.block);
    } else if (choice) {
      structure_ingest::visit_frames(
          parser, paths[i].path, *choice,
          [&add](const structure_ingest::IngestedStructure& record, const std::string& frame) {
            add({.record = record}, frame);
          });
    } else {
      add(parser.parse(paths[i].path, {.content = output.checks()}), "");
    }
    if (const std::string& reason = parser.why_ase_is_unavailable(); reason != reason_told) {
      warn_why_no_ase(reason);
      reason_told = reason;
    }
    if (!can_print()) break;
  }
  progress.clear();
  output.end();
  return status;
}

}  // namespace

Command parse_command() {
  auto arguments = std::make_shared<ParseArguments>();
  Command command{.name = "parse", .about = "Parse structure files and show them"};
  command.add_flag("--json", arguments->json, "One JSON document a line, one line a path");
  command.add_flag("--table", arguments->table, "One aligned line a file",
                   {.excludes = {"--json"}});
  command.add_flag("--csv", arguments->csv, "The same as comma-separated values",
                   {.excludes = {"--json", "--table"}});
  command.add_option("--frame", arguments->frame, "N",
                     "Of XYZ files another frame than the first: a number, last, or all");
  command.add_option("--block", arguments->block, "NAME",
                     "Of CIF files the data block of this name, as if it were alone",
                     {.excludes = {"--frame"}});
  command.add_flag("--no-check", arguments->no_check,
                   "Leave out the cautions: what 'check' calls an error or a warning");
  add_jobs_option(command, arguments->jobs);
  add_path_options(command, arguments->paths, "Structure files");
  command.check = [arguments] { require_paths(arguments->paths); };
  command.examples = {"parse water.xyz crystal.cif POSCAR",
                      "parse --json crystal.cif | jq .cell_ang", "parse --table *.cif",
                      "parse --frame last relaxation.xyz", "parse --files-from list.txt"};
  command.run = [arguments] { return run(*arguments); };
  return command;
}

}  // namespace apps
