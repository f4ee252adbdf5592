// The commands that write one frame of a file: as a copy, and as a picture.
#include <algorithm>
#include <map>

#include "apps/options.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "outputs/output_file.hpp"
#include "structure_ingest/base/durable.hpp"

namespace apps {
namespace {

using structure_ingest::IngestedStructure;
using structure_ingest::PictureOptions;
using structure_ingest::View;

struct FrameArguments {
  std::string file;
  std::string frame = "1";
  std::string output;
  bool force = false;
  ReadingArguments reading;
};

/// Declares --frame, --output, --force, --no-cache and FILE.
void add_frame_options(Command& command, FrameArguments& arguments,
                       const std::string& about_output) {
  command.add("--frame N", &arguments.frame, "Which frame: a number from 1, or last",
              {.show_default = true});
  command.add("-o,--output FILE", &arguments.output, about_output, {.required = true});
  command.add("--force", &arguments.force, "Replace the file if it exists");
  add_cache_option(command, arguments.reading.no_cache);
  command.add("FILE", &arguments.file, "A structure file", {.required = true});
}

/// The value of --frame. Refuses "all", with what the command does as the reason.
structure_ingest::FrameChoice read_one_frame(const std::string& frame, const std::string& reason) {
  const structure_ingest::FrameChoice choice = read_frame_choice(frame);
  if (choice.all) throw WrongInput("--frame: " + reason + " one frame: give a number, or last");
  return choice;
}

/// Reads the frame, writes what `content_of` makes of it, and prints what was written. Throws
/// RefusedOutput for an output that may not be replaced.
Status write_frame(const FrameArguments& arguments, const structure_ingest::FrameChoice& choice,
                   structure_ingest::StructureParser& parser,
                   const std::function<std::string(const IngestedStructure&)>& content_of) {
  outputs::require_replaceable(arguments.output, arguments.force, {arguments.file});
  Status status = ALL_WELL;
  structure_ingest::visit_frames(
      parser, arguments.file, choice,
      [&](const IngestedStructure& record, const std::string& frame) {
        if (!record.ok) {
          print_error(record.source_path + ": " + structure_ingest::why_not_read(record));
          status = NOT_ALL_WELL;
          return;
        }
        structure_ingest::internal::replace_file(arguments.output, content_of(record));
        print_line(printable(arguments.output) + ": " + shown_composition(record) + ", " +
                   (frame.empty() ? "" : frame + " of ") + printable(record.source_path));
      });
  return status;
}

constexpr const char* STANDARD_OUTPUT = "-";

Status extract_to_standard_output(const FrameArguments& arguments,
                                  const structure_ingest::FrameChoice& choice) {
  structure_ingest::StructureParser parser(parser_options(arguments.reading));
  Status status = ALL_WELL;
  structure_ingest::visit_frames(
      parser, arguments.file, choice, [&](const IngestedStructure& record, const std::string&) {
        if (!record.ok) {
          print_error(record.source_path + ": " + structure_ingest::why_not_read(record));
          status = NOT_ALL_WELL;
          return;
        }
        for (const std::string& warning : record.warnings) {
          print_error(record.source_path + ": " + warning);
        }
        print_text(structure_ingest::canonical_xyz_text(record));
      });
  warn_why_no_ase(parser.why_ase_is_unavailable());
  return status;
}

Status extract(const FrameArguments& arguments) {
  const auto choice = read_one_frame(arguments.frame, "extract writes");
  if (arguments.output == STANDARD_OUTPUT) return extract_to_standard_output(arguments, choice);
  outputs::require_xyz_name(arguments.output);
  structure_ingest::StructureParser parser(parser_options(arguments.reading));
  IngestedStructure written;
  const Status status =
      write_frame(arguments, choice, parser, [&written](const IngestedStructure& record) {
        written.ok = record.ok;
        written.warnings = record.warnings;
        return structure_ingest::canonical_xyz_text(record);
      });
  print_warnings(written);
  return status;
}

struct PictureArguments {
  FrameArguments frame;
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
  const auto pixels = [](std::string_view digits) {
    return digits.size() <= 4 ? whole_number(digits).value_or(0) : 0;
  };
  const std::size_t x = std::min(text.find('x'), text.size());
  options.width_px = pixels(std::string_view(text).substr(0, x));
  options.height_px = pixels(std::string_view(text).substr(std::min(x + 1, text.size())));
  for (const int size : {options.width_px, options.height_px}) {
    if (size >= 16 && size <= 4096) continue;
    throw WrongInput("--size: give two numbers from 16 to 4096, such as 480x400, not '" + text +
                     "'");
  }
}

Status draw(const PictureArguments& arguments) {
  const auto choice = read_one_frame(arguments.frame.frame, "a picture shows");
  const std::string ending = outputs::ending_of_output(arguments.frame.output, {".svg", ".png"});
  PictureOptions options = {.view = read_view(arguments.along),
                            .transparent = arguments.transparent};
  read_size(arguments.size, options);
  structure_ingest::StructureParser parser(parser_options(arguments.frame.reading));
  const Status status =
      write_frame(arguments.frame, choice, parser, [&](const IngestedStructure& record) {
        return ending == ".png" ? structure_ingest::picture_png(record, options)
                                : structure_ingest::picture_svg(record, options);
      });
  warn_why_no_ase(parser.why_ase_is_unavailable());
  return status;
}

}  // namespace

Command extract_command() {
  auto arguments = std::make_shared<FrameArguments>();
  Command command{
      .name = "extract",
      .about = "Write one frame of a file as exact extended XYZ, as a project would copy it",
      .examples = {"extract relaxation.xyz --frame last -o relaxed.xyz",
                   "extract crystal.cif -o - | head -2"},
      .run = [arguments] { return extract(*arguments); }};
  add_frame_options(command, *arguments,
                    "The file to write, *.xyz or *.extxyz; '-' for standard output");
  return command;
}

Command picture_command() {
  auto arguments = std::make_shared<PictureArguments>();
  Command command{.name = "picture",
                  .about = "Draw a structure as an SVG or PNG file",
                  .examples = {"picture crystal.cif -o crystal.svg",
                               "picture slab.extxyz --along b --size 800x600 -o slab.png"},
                  .run = [arguments] { return draw(*arguments); }};
  command.add("--along AXIS", &arguments->along,
              "Look along a lattice vector: a, b or c (without a cell along x, y or z)");
  command.add("--size SIZE", &arguments->size, "Width and height in pixels, such as 800x600",
              {.show_default = true});
  command.add("--transparent", &arguments->transparent, "Paint a PNG on nothing, not on white");
  add_frame_options(command, arguments->frame,
                    "The file to write; its ending, .svg or .png, says as what");
  return command;
}

}  // namespace apps
