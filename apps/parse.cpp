#include <memory>
#include <string>
#include <vector>

#include "apps/commands.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"

namespace apps {
namespace {

struct Arguments {
  bool json = false;
  std::vector<std::string> paths;
};

void show(const structure_ingest::IngestedStructure& record) {
  print_line(printable(record.source_path) + ": " +
             (record.ok ? coloured(composition_of(record), GREEN) : coloured("not parsed", RED)));
  if (record.ok) show_cell(record);
  show_warnings(record.warnings, record.ok);
}

Status run(const Arguments& arguments) {
  Status status = ALL_WELL;
  structure_ingest::StructureParser parser;
  for (const std::string& path : arguments.paths) {
    const structure_ingest::IngestedStructure record = parser.parse(path);
    if (!record.ok) status = SOME_FILE_UNPARSED;
    if (arguments.json) {
      print_line(structure_ingest::json_text(record.as_dict()));
    } else {
      show(record);
    }
  }
  return status;
}

}  // namespace

Command add_parse(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = program.add_subcommand("parse", "Parse structure files and show them");
  command->add_flag("--json", arguments->json, "One JSON document a line, one line a path");
  command->add_option("PATH", arguments->paths, "Structure files")->required();
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
