#include <memory>
#include <string>
#include <vector>

#include "apps/commands.hpp"
#include "apps/terminal.hpp"

namespace apps {
namespace {

using structure_ingest::Json;

struct Arguments {
  bool json = false;
  std::vector<std::string> paths;
};

void show(const Json& record) {
  const std::string path = printable(record["source_path"].get<std::string>());
  if (!record["ok"].get<bool>()) {
    print_line(path + ": " + coloured("not parsed", RED));
  } else {
    const std::string atoms = record["natoms"] == 1 ? " atom" : " atoms";
    print_line(path + ": " + coloured(record["formula"].get<std::string>(), GREEN) + ", " +
               record["natoms"].dump() + atoms);
    if (!record["cell_ang"].is_null()) print_line("  cell " + cell_summary(record["cell_ang"]));
    const std::string provenance = record["cell_provenance"].get<std::string>();
    if (!provenance.empty()) print_line("  cell from " + printable(provenance));
  }
  print_indented(record["warnings"]);
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
      show(record.as_dict());
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
