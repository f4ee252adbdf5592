#include "apps/frames.hpp"

#include <charconv>
#include <system_error>

#include "apps/outcome.hpp"

namespace apps {

using structure_ingest::IngestedStructure;

FrameChoice read_frame_choice(const std::string& text) {
  if (text == "last") return {.last = true};
  if (text == "all") return {.all = true};
  FrameChoice choice;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, choice.number);
  if (error != std::errc() || stop != end || choice.number == 0) {
    throw WrongInput("--frame: " + text + " is neither a number from 1 on, nor last, nor all");
  }
  return choice;
}

void visit_frames(structure_ingest::StructureParser& parser, const std::string& path,
                  const FrameChoice& choice, const ShowFrame& show) {
  // The parser knows which reader a file is for; the first frame is what it reads of any.
  const IngestedStructure first = parser.parse(path);
  if (first.format != "xyz") {
    if (choice.number == 1 || !first.ok) {
      show(first, "");
    } else {
      IngestedStructure none{.source_path = first.source_path, .format = first.format};
      none.warnings.push_back("There is no frame " + std::to_string(choice.number) +
                              ": of this format one structure is read.");
      show(none, "");
    }
    return;
  }
  if (choice.all) {
    structure_ingest::visit_xyz_frames(
        path, 1, [&show](std::size_t number, const IngestedStructure& record) {
          show(record, "frame " + std::to_string(number));
          return true;
        });
  } else if (choice.last) {
    show(structure_ingest::parse_last_xyz_frame(path), "the last frame");
  } else if (choice.number == 1) {
    show(first, "frame 1");
  } else {
    show(structure_ingest::parse_xyz_frame(path, choice.number),
         "frame " + std::to_string(choice.number));
  }
}

}  // namespace apps
