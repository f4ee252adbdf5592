#include <map>
#include <memory>
#include <optional>
#include <string>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/output_file.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/durable.hpp"

namespace apps {
namespace {

using structure_ingest::IngestedStructure;
using structure_ingest::PictureOptions;
using structure_ingest::View;

struct PictureArguments {
  std::string file;
  std::string frame = "1";
  std::string output;
  std::string along;
  std::string size = "480x400";
  bool transparent = false;
};

View read_view(const std::string& along) {
  static const std::map<std::string, View> views = {
      {"", View::angled}, {"a", View::along_a}, {"b", View::along_b}, {"c", View::along_c}};
  const auto found = views.find(along);
  if (found == views.end()) throw WrongInput("--along: give a, b or c, not '" + along + "'");
  return found->second;
}

/// Reads "480x400".
void read_size(const std::string& text, PictureOptions& options) {
  const auto number = [](std::string_view digits) -> std::optional<int> {
    if (digits.empty() || digits.size() > 4) return std::nullopt;
    int value = 0;
    for (const char c : digits) {
      if (c < '0' || c > '9') return std::nullopt;
      value = value * 10 + (c - '0');
    }
    return value >= 16 && value <= 4096 ? std::optional(value) : std::nullopt;
  };
  const std::size_t x = text.find('x');
  const auto width = number(std::string_view(text).substr(0, x));
  const auto height =
      x == std::string::npos ? std::nullopt : number(std::string_view(text).substr(x + 1));
  if (!width || !height) {
    throw WrongInput("--size: give two numbers from 16 to 4096, such as 480x400, not '" + text +
                     "'");
  }
  options.width_px = *width;
  options.height_px = *height;
}

Status run(const PictureArguments& arguments) {
  const structure_ingest::FrameChoice choice = read_frame_choice(arguments.frame);
  if (choice.all) throw WrongInput("--frame: a picture shows one frame: give a number, or last");
  const std::string ending = ending_of_output(arguments.output, {".svg", ".png"});
  PictureOptions options = {.view = read_view(arguments.along),
                            .transparent = arguments.transparent};
  read_size(arguments.size, options);
  structure_ingest::StructureParser parser;
  Status status = ALL_WELL;
  structure_ingest::visit_frames(
      parser, arguments.file, choice,
      [&](const IngestedStructure& record, const std::string& frame) {
        if (!record.ok) {
          print_error(record.source_path + ": " + record.warnings.front());
          status = SOME_FILE_UNPARSED;
          return;
        }
        const std::string picture = ending == ".png"
                                        ? structure_ingest::picture_png(record, options)
                                        : structure_ingest::picture_svg(record, options);
        structure_ingest::internal::replace_file(arguments.output, picture);
        print_line(printable(arguments.output) + ": " + shown_composition(record) + ", " +
                   (frame.empty() ? "" : frame + " of ") + printable(record.source_path));
      });
  warn_why_no_ase(parser.why_ase_is_unavailable());
  return status;
}

}  // namespace

Command picture_command() {
  auto arguments = std::make_shared<PictureArguments>();
  Command command{.name = "picture", .about = "Draw a structure as an SVG or PNG file"};
  command.add_option("--along", arguments->along, "AXIS",
                     "Look along a lattice vector: a, b or c (without a cell along x, y or z)");
  command.add_option("--size", arguments->size, "SIZE",
                     "Width and height in pixels, such as 800x600", {.show_default = true});
  command.add_flag("--transparent", arguments->transparent, "Paint a PNG on nothing, not on white");
  command.add_option("--frame", arguments->frame, "N", "Which frame: a number from 1, or last",
                     {.show_default = true});
  command.add_option("-o,--output", arguments->output, "FILE",
                     "The file to write or replace; its ending, .svg or .png, says as what",
                     {.required = true});
  command.add_argument("FILE", arguments->file, "A structure file");
  command.examples = {"picture crystal.cif -o crystal.svg",
                      "picture slab.extxyz --along b --size 800x600 -o slab.png"};
  command.run = [arguments] { return run(*arguments); };
  return command;
}

}  // namespace apps
