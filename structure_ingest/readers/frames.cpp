#include "structure_ingest/readers/frames.hpp"

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/xyz.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {
namespace {

using internal::LineReader;

IngestedStructure failed(const std::string& path, std::string warning) {
  return {.source_path = path, .format = "xyz", .warnings = {std::move(warning)}};
}

/// The first line of the next frame; nothing at the end of the file. Empty lines are passed over,
/// but for the first line of the file.
std::optional<std::string_view> next_frame(LineReader& lines, bool is_first) {
  std::optional<std::string_view> line = lines.next();
  while (!is_first && line && internal::stripped(*line).empty()) line = lines.next();
  return line;
}

/// Passes over the frame that begins with `line`; returns the warning when it cannot.
std::optional<std::string> skip_frame(LineReader& lines, std::string_view line) {
  std::int64_t atoms = 0;
  if (auto warning = internal::read_atom_count(line, atoms)) return warning;
  for (std::int64_t i = 0; i < atoms + 1; ++i) {
    if (lines.next()) continue;
    return "Expected " + std::to_string(atoms) + " atoms, found " +
           std::to_string(i == 0 ? 0 : i - 1) + ".";
  }
  return std::nullopt;
}

std::string frame_named(std::size_t number) {
  return "Frame " + std::to_string(number) + ": ";
}

}  // namespace

std::size_t visit_xyz_frames(const std::string& path, std::size_t first, const VisitFrame& visit) {
  const std::string text = internal::path_text(path);
  if (!internal::is_regular_file(text)) {
    visit(1, failed(text, "File does not exist."));
    return 0;
  }
  internal::CompanionFiles companions;
  std::size_t number = 0;
  try {
    LineReader lines(text);
    for (;;) {
      std::optional<std::string_view> line = next_frame(lines, number == 0);
      if (!line && number > 0) return number;
      ++number;
      if (number < first && line) {
        const std::optional<std::string> warning = skip_frame(lines, *line);
        if (!warning) continue;
        visit(number, failed(text, frame_named(number) + *warning));
        return number;
      }
      IngestedStructure record = internal::parse_xyz_frame(text, lines, line, companions);
      const bool ok = record.ok;
      if (!ok) record.warnings.front().insert(0, frame_named(number));
      if (!visit(number, record) || !ok) return number;
    }
  } catch (const std::system_error& error) {
    visit(number, failed(text, std::string("Could not read file: ") + error.what()));
    return number;
  }
}

IngestedStructure parse_xyz_frame(const std::string& path, std::size_t number) {
  std::optional<IngestedStructure> found;
  const std::size_t frames =
      visit_xyz_frames(path, number, [&found](std::size_t, const IngestedStructure& record) {
        found = record;
        return false;
      });
  if (found) return *found;
  return failed(internal::path_text(path), "There is no frame " + std::to_string(number) +
                                               ": the last one is " + std::to_string(frames) + ".");
}

IngestedStructure parse_last_xyz_frame(const std::string& path) {
  std::optional<IngestedStructure> broken;
  const std::size_t frames =
      visit_xyz_frames(path, std::numeric_limits<std::size_t>::max(),
                       [&broken](std::size_t, const IngestedStructure& record) {
                         broken = record;
                         return false;
                       });
  return broken ? *broken : parse_xyz_frame(path, frames);
}

std::optional<FrameChoice> frame_choice(std::string_view text) {
  if (text == "last") return FrameChoice{.last = true};
  if (text == "all") return FrameChoice{.all = true};
  FrameChoice choice;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, choice.number);
  if (error != std::errc() || stop != end || choice.number == 0) return std::nullopt;
  return choice;
}

void visit_frames(StructureParser& parser, const std::string& path, const FrameChoice& choice,
                  const ShowFrame& show) {
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
    visit_xyz_frames(path, 1, [&show](std::size_t number, const IngestedStructure& record) {
      show(record, "frame " + std::to_string(number));
      return true;
    });
  } else if (choice.last) {
    show(parse_last_xyz_frame(path), "the last frame");
  } else if (choice.number == 1) {
    show(first, "frame 1");
  } else {
    show(parse_xyz_frame(path, choice.number), "frame " + std::to_string(choice.number));
  }
}

}  // namespace structure_ingest
