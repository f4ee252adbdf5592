#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/durable.hpp"

namespace apps {
namespace {

struct ExtractArguments {
  std::string file;
  std::string frame = "1";
  std::string output;
  bool force = false;
};

Status run(const ExtractArguments& arguments) {
  const structure_ingest::FrameChoice choice = read_frame_choice(arguments.frame);
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
  structure_ingest::visit_frames(
      parser, arguments.file, choice,
      [&](const structure_ingest::IngestedStructure& record, const std::string& frame) {
        if (!record.ok) {
          print_error(record.source_path + ": " + record.warnings.front());
          status = SOME_FILE_UNPARSED;
          return;
        }
        structure_ingest::internal::replace_file(arguments.output,
                                                 structure_ingest::canonical_xyz_text(record));
        print_line(printable(arguments.output) + ": " + shown_composition(record) + ", " +
                   (frame.empty() ? "" : frame + " of ") + printable(record.source_path));
        print_warnings(record.warnings, true);
      });
  return status;
}

}  // namespace

Command extract_command() {
  auto arguments = std::make_shared<ExtractArguments>();
  Command command{
      .name = "extract",
      .about = "Write one frame of a file as exact extended XYZ, as a project would copy it"};
  command.add_option("--frame", arguments->frame, "N", "Which frame: a number from 1, or last",
                     {.show_default = true});
  command.add_option("-o,--output", arguments->output, "FILE", "The file to write",
                     {.required = true});
  command.add_flag("--force", arguments->force, "Replace the file if it exists");
  command.add_argument("FILE", arguments->file, "A structure file");
  command.examples = {"extract relaxation.xyz --frame last -o relaxed.xyz"};
  command.run = [arguments] { return run(*arguments); };
  return command;
}

}  // namespace apps
