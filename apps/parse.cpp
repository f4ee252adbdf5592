#include <unistd.h>

#include <optional>

#include "apps/interruption.hpp"
#include "apps/options.hpp"
#include "apps/progress.hpp"
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
  bool verbose = false;
  bool molecules = false;
  ReadingArguments reading;
  PathArguments paths;
};

/// Shows the records in the way that was asked for.
class Output {
 public:
  Output(const ParseArguments& arguments, std::size_t files)
      : arguments_(arguments), detail_(detail_of(files, arguments.verbose)) {
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
      if (checks() && part.empty()) findings = structure_ingest::check_structure(parsed);
      print_heading(record, part, detail_);
      // Findings say in few words what the warnings of a record that is ok say.
      const bool is_told = detail_ == Detail::few && record.ok && checks() && part.empty();
      if (!is_told) print_warnings(record, arguments_.molecules);
      print_cautions(record, findings);
      if (!record.ok && !origin.empty()) print_row("listed", origin);
      summary_.add(record, findings);
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
  Detail detail_;
  std::vector<TableRow> rows_;
  Summary summary_;
};

Status run(const ParseArguments& arguments) {
  require_paths(arguments.paths);
  Status status = ALL_WELL;
  const std::vector<GivenPath> paths = given_paths(arguments.paths);
  std::optional<structure_ingest::FrameChoice> choice;
  if (!arguments.frame.empty()) choice = read_frame_choice(arguments.frame);
  structure_ingest::StructureParser parser(parser_options(arguments.reading));
  if (arguments.block.empty()) parser.begin_batch(texts_of(paths));
  end_in_order();
  Progress progress;
  Output output(arguments, paths.size());
  std::string reason_told;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (is_interrupted()) {
      progress.clear();
      output.end();
      warn_interrupted(i, paths.size(), "");
      return INTERRUPTED;
    }
    progress(i, paths.size(), paths[i].path);
    const auto add = [&](const structure_ingest::ParsedStructure& parsed, const std::string& part) {
      if (!parsed.record.ok) status = NOT_ALL_WELL;
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
  Command command{.name = "parse",
                  .about = "Parse structure files and show them",
                  .examples = {"parse water.xyz crystal.cif POSCAR",
                               "parse --json crystal.cif | jq .cell_ang", "parse --table *.cif",
                               "parse --frame last relaxation.xyz", "parse --files-from list.txt"},
                  .run = [arguments] { return run(*arguments); }};
  command.add("--json", &arguments->json, "One JSON document a line, one line a path");
  command.add("--table", &arguments->table, "One aligned line a file", {.excludes = {"--json"}});
  command.add("--csv", &arguments->csv, "The same as comma-separated values",
              {.excludes = {"--json", "--table"}});
  command.add("--frame N", &arguments->frame,
              "Of XYZ files another frame than the first: a number, last, or all");
  command.add("--block NAME", &arguments->block,
              "Of CIF files the data block of this name, as if it were alone",
              {.excludes = {"--frame"}});
  command.add("--no-check", &arguments->no_check,
              "Leave out the cautions: what 'check' calls an error or a warning");
  add_verbose_option(command, arguments->verbose);
  add_molecules_option(command, arguments->molecules);
  add_reading_options(command, arguments->reading);
  add_path_options(command, arguments->paths, "Structure files, or folders of them");
  return command;
}

}  // namespace apps
