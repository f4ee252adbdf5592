// The built-in reader for XYZ and extended-XYZ files, with or without an orbital column.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/file_content.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// The largest accepted number of atoms.
inline constexpr std::int64_t MAX_ATOMS = 20000;

/// What parse_xyz() is to do besides making the record.
struct XyzExtras {
  /// Whether the record's `sha256` is filled in, from exactly the bytes that were parsed; it stays
  /// empty when the file cannot be read to its end.
  bool fingerprint = false;
  /// Gets what the reader saw besides the record; may be null.
  FileContent* content = nullptr;
};

/// Reads the first frame of an XYZ file. `path` names an existing regular file, in normal form. A
/// bad file gives a record with `ok` false and one warning for the first problem met, which ends
/// the parse. A file without a cell gets that of a companion input file, or a warning that there is
/// none.
IngestedStructure parse_xyz(const std::string& path, CompanionFiles& companions,
                            const XyzExtras& extras = {});

/// Reads the frame whose first line is `first_line` (nothing at the end of the file); `lines` is at
/// the line behind it. The same in all else, but for errors of the file system, which are thrown.
IngestedStructure parse_xyz_frame(const std::string& path, LineReader& lines,
                                  std::optional<std::string_view> first_line,
                                  CompanionFiles& companions);

/// The atom count in the first line of a frame, or the warning when it is none that is supported.
std::optional<std::string> read_atom_count(std::string_view line, std::int64_t& count);

}  // namespace structure_ingest::internal
