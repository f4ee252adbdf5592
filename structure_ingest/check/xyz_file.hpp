// The content of an XYZ file besides the atoms of the record: its comment line, the columns of an
// atom line, and the text after the first frame.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// A sample of how the file writes its atoms.
inline constexpr std::size_t MOST_FIRST_ATOMS = 16;

struct XyzFile {
  std::string comment;                   // cut after 64 KiB
  std::vector<std::string> first_atoms;  // the lines of the first MOST_FIRST_ATOMS atoms
  bool more_lines = false;               // whether a non-blank line follows the frame
  std::size_t frames = 1;                // complete ones, the first included
  bool counted_all = true;               // false when the file is too long to count its frames
  std::size_t trailing_line = 0;         // the number of the first line outside all frames, else 0
  std::string trailing_text;             // that line
};

/// Examines the file of a good record; nothing when it cannot be read any more. When the file ends
/// with the last atom of the record, as most do, reads only its beginning and end.
std::optional<XyzFile> look_at_xyz(const IngestedStructure& record);

/// One entry of `Properties=species:S:1:pos:R:3`.
struct XyzColumn {
  std::string name;       // lower case
  std::size_t begin = 0;  // its first column, counted from 0
  std::size_t count = 0;
};

/// The columns that a comment line declares; nothing when it declares none or is malformed.
std::optional<std::vector<XyzColumn>> declared_columns(std::string_view comment);

/// The value of `key=value` or `key="a value"` in a comment line, the key in any letter case.
std::optional<std::string_view> comment_value(std::string_view comment, std::string_view key);

}  // namespace structure_ingest::internal
