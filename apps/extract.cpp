#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/frames.hpp"
#include "apps/outcome.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"

namespace apps {
namespace {

struct ExtractArguments {
  std::string file;
  std::string frame = "1";
  std::string output;
  bool force = false;
};

Status run(const ExtractArguments& arguments) {
  const FrameChoice choice = read_frame_choice(arguments.frame);
  if (choice.all) throw WrongInput("--frame: extract writes one frame: give a number, or last");
  if (arguments.output.empty()) throw WrongInput("-o: the name is empty");
  std::error_code error;
  const std::filesystem::file_status there =
      std::filesystem::symlink_status(arguments.output, error);
  if (std::filesystem::exists(there) && !arguments.force) {
    throw WrongInput(arguments.output + ": it exists already; --force replaces it");
  }
  structure_ingest::StructureParser parser;
  Status status = ALL_WELL;
  visit_frames(parser, arguments.file, choice,
               [&](const structure_ingest::IngestedStructure& record, const std::string& frame) {
                 if (!record.ok) {
                   print_error(record.source_path + ": " + record.warnings.front());
                   status = SOME_FILE_UNPARSED;
                   return;
                 }
                 structure_ingest::internal::replace_file(
                     arguments.output, structure_ingest::internal::canonical_xyz_text(record));
                 print_line(printable(arguments.output) + ": " + composition_of(record) + ", " +
                            (frame.empty() ? "" : frame + " of ") + printable(record.source_path));
                 show_warnings(record.warnings, true);
               });
  return status;
}

}  // namespace

Command add_extract(CLI::App& program) {
  auto arguments = std::make_shared<ExtractArguments>();
  CLI::App* command = program.add_subcommand(
      "extract", "Write one frame of a file as exact extended XYZ, as a project would copy it");
  command->add_option("--frame", arguments->frame, "Which frame: a number from 1, or last")
      ->type_name("N")
      ->capture_default_str();
  command->add_option("-o,--output", arguments->output, "The file to write")
      ->required()
      ->type_name("FILE");
  command->add_flag("--force", arguments->force, "Replace the file if it exists");
  command->add_option("FILE", arguments->file, "A structure file")->required()->type_name("");
  add_examples(*command, {"extract relaxation.xyz --frame last -o relaxed.xyz"});
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
