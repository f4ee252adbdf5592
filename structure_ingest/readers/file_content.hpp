// What a reader saw of a file besides the record. Findings are made from it, so that they speak of
// the very bytes that were read, and no check opens the file again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace structure_ingest {

/// Of an XYZ file. The lines are those of the reader.
struct XyzContent {
  /// A sample of how the file writes its atoms, and of the labels of one element in capitals.
  static constexpr std::size_t MOST_FIRST_ATOMS = 16;
  static constexpr std::size_t MOST_CAPITAL_LABELS = 16;
  /// Lines are cut after this many bytes, and frames are counted in this much of a file.
  static constexpr std::size_t MOST_LINE = std::size_t{1} << 16;
  static constexpr std::uint64_t MOST_COUNTED = std::uint64_t{256} << 20;

  std::string comment{};
  std::vector<std::string> first_atoms{};  // the lines of the first atoms
  /// Atoms, counted from 0, with a label such as "CA" that was read as a symbol of two letters.
  std::vector<std::pair<std::size_t, std::string>> capital_labels{};
  std::size_t frames = 1;         // complete ones, the first included
  bool counted_all = true;        // false when the file is too long to count its frames
  std::size_t trailing_line = 0;  // the number of the first line outside all frames, else 0
  std::string trailing_text{};    // that line
  std::size_t stopped_line = 0;   // the number of the atom line that could not be read, else 0
  std::string stopped_text{};     // that line
};

struct FileContent {
  /// At most this much is kept of a CIF or VASP file; of an XYZ file that gave no structure, enough
  /// to recognise what it is.
  static constexpr std::size_t MOST_BYTES = std::size_t{64} << 20;
  static constexpr std::size_t MOST_HEAD = std::size_t{1} << 16;

  XyzContent xyz{};                            // of an XYZ file
  std::string bytes{};                         // of any other, and of an XYZ file without structure
  bool readable = true;                        // whether the bytes could be read
  std::vector<std::string> reader_warnings{};  // Python's while ASE read the file, each once
};

}  // namespace structure_ingest
