#include "structure_ingest/readers/frames.hpp"

#include <stdlib.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/temporary_file.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/cif_blocks.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/readers/xyz.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {
namespace {

namespace base = internal;
using base::LineReader;

IngestedStructure failed(const std::string& path, std::string warning,
                         const std::string& format = "xyz") {
  return {.source_path = path, .format = format, .warnings = {std::move(warning)}};
}

/// Passes over the frame that begins with `line`; returns the warning when it cannot.
std::optional<std::string> skip_frame(LineReader& lines, std::string_view line) {
  std::int64_t atoms = 0;
  if (auto warning = base::read_atom_count(line, atoms)) return warning;
  for (std::int64_t i = 0; i < atoms + 1; ++i) {
    if (lines.next()) continue;
    return "Expected " + std::to_string(atoms) + " atoms, found " +
           std::to_string(i == 0 ? 0 : i - 1) + ".";
  }
  return std::nullopt;
}

/// What visit_xyz_frames() returns, and the first frame that it visits, if any.
std::pair<std::size_t, std::optional<IngestedStructure>> first_visited(const std::string& path,
                                                                       std::size_t first) {
  std::optional<IngestedStructure> visited;
  const std::size_t frames = visit_xyz_frames(path, first, [&](std::size_t, const auto& record) {
    visited = record;
    return false;
  });
  return {frames, std::move(visited)};
}

/// A folder for one file that others read, removed at its end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "structure-ingest-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) {
      internal::throw_file_error(internal::CANNOT_WRITE, path_);
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Where the word before the name of a block begins.
std::size_t begin_of(const base::CifBlock& block, std::string_view text) {
  constexpr std::size_t WORD = std::string_view("data_").size();
  return static_cast<std::size_t>(block.name.data() - text.data()) - WORD;
}

/// The text of a block; empty when the file has none of this name, and then `names` holds those
/// that it has.
std::string_view text_of_block(std::string_view text, const std::string& name, std::string& names) {
  const base::CifFile file = base::cif_blocks(text);
  const std::vector<base::CifBlock>& blocks = file.blocks;
  const std::string wanted = base::ascii_lower_cased(name);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (base::ascii_lower_cased(blocks[i].name) != wanted) {
      names.append(names.empty() ? "" : ", ").append(blocks[i].name);
      continue;
    }
    const std::size_t begin = begin_of(blocks[i], text);
    const std::size_t end = i + 1 < blocks.size() ? begin_of(blocks[i + 1], text) : text.size();
    return text.substr(begin, end - begin);
  }
  return {};
}

}  // namespace

std::size_t visit_xyz_frames(const std::string& path, std::size_t first, const VisitFrame& visit) {
  const std::string text = base::path_text(path);
  if (!base::is_regular_file(text)) {
    visit(1, failed(text, internal::NO_SUCH_FILE));
    return 0;
  }
  base::CompanionFiles companions;
  std::size_t number = 0;
  try {
    LineReader lines(text);
    for (;;) {
      std::optional<std::string_view> line = lines.next();
      // Empty lines are passed over, but for the first line of the file.
      while (number > 0 && line && base::stripped(*line).empty()) line = lines.next();
      if (number > 0 && !line) return number;
      ++number;
      IngestedStructure record;
      if (number < first && line) {
        const std::optional<std::string> warning = skip_frame(lines, *line);
        if (!warning) continue;
        record = failed(text, *warning);
      } else {
        record = base::parse_xyz_frame(text, lines, line, companions);
      }
      const bool ok = record.ok;
      if (!ok) record.warnings.front().insert(0, "Frame " + std::to_string(number) + ": ");
      if (!visit(number, record) || !ok) return number;
    }
  } catch (const std::system_error& error) {
    visit(number, failed(text, std::string("Could not read file: ") + error.what()));
    return number;
  }
}

IngestedStructure parse_xyz_frame(const std::string& path, std::size_t number) {
  const auto [frames, found] = first_visited(path, number);
  if (found) return *found;
  return failed(base::path_text(path), "There is no frame " + std::to_string(number) +
                                           ": the last one is " + std::to_string(frames) + ".");
}

IngestedStructure parse_last_xyz_frame(const std::string& path) {
  // Where the last frame begins is known only when all have been passed over.
  const auto [frames, broken] = first_visited(path, std::numeric_limits<std::size_t>::max());
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
  const bool is_xyz = base::is_xyz_file(base::path_text(path));
  const std::string number = std::to_string(choice.number);
  // Parsing a whole frame only to learn the format would read a trajectory twice.
  if (is_xyz && choice.all) {
    visit_xyz_frames(path, 1, [&show](std::size_t each, const IngestedStructure& record) {
      show(record, "frame " + std::to_string(each));
      return true;
    });
  } else if (is_xyz && choice.last) {
    show(parse_last_xyz_frame(path), "the last frame");
  } else if (is_xyz && choice.number != 1) {
    show(parse_xyz_frame(path, choice.number), "frame " + number);
  } else {
    IngestedStructure record = parser.parse(path);
    if (!is_xyz && record.ok && choice.number != 1) {
      record = failed(record.source_path,
                      "There is no frame " + number + ": of this format one structure is read.",
                      record.format);
    }
    show(record, is_xyz ? "frame 1" : "");
  }
}

IngestedStructure parse_cif_block(StructureParser& parser, const std::string& path,
                                  const std::string& name) {
  IngestedStructure record = parser.parse(path);
  const auto fail = [&record](std::string warning) {
    return failed(record.source_path, std::move(warning), record.format);
  };
  if (record.format == "unknown") return record;
  if (record.format != "cif") return fail("Only CIF files have data blocks.");
  try {
    const std::string text = base::read_file(path);
    std::string names;
    const std::string_view block = text_of_block(text, name, names);
    if (block.empty()) {
      return fail("There is no data block " + base::quoted_form(name) + ": the file has " +
                  (names.empty() ? "none" : names) + ".");
    }
    const TemporaryFolder folder;
    const std::string alone = folder.path() + "/block.cif";
    base::replace_file(alone, block);
    IngestedStructure found = parser.parse(alone);
    found.source_path = record.source_path;
    return found;
  } catch (const std::system_error& error) {
    return fail(std::string("Could not read file: ") + error.what());
  }
}

}  // namespace structure_ingest
