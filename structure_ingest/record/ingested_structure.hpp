// The one record that every reader produces for a structure file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

/// One structure file as it was read. When `ok` is true, `symbols` and `positions_ang` have
/// `natoms` elements each, and `species` and `formula` describe `symbols`. When it is false, the
/// warnings give the reason, and the atom fields must not be used.
struct IngestedStructure {
  /// The file's path as passed to the reader, as the file system's bytes.
  std::string source_path;
  /// "xyz" (extended XYZ included), "cif", "vasp", or "unknown".
  std::string format;
  /// The number of atoms.
  std::int64_t natoms = 0;
  /// The distinct symbols in ascending character order.
  std::vector<std::string> species{};
  /// One canonical element symbol an atom, in file order.
  std::vector<std::string> symbols{};
  /// One Cartesian position an atom in ångström, in file order, at full precision.
  std::vector<Vector3> positions_ang{};
  /// The lattice vectors a, b and c as three rows in ångström; absent when no cell is known.
  std::optional<std::vector<Vector3>> cell_ang{};
  /// Whether the positions are fractional. No reader produces such positions.
  bool fractional = false;
  /// Each species followed by its count when above 1: "H2O".
  std::string formula{};
  /// The first 16 hexadecimal digits of the SHA-256 digest of the file's bytes. Ingestion fills it
  /// in; empty for a file that cannot be read.
  std::string sha256{};
  /// The canonical copy, relative to the project folder. Ingestion fills it in.
  std::string canonical_xyz_rel{};
  /// The companion file that gave the cell; empty for a cell from any other source.
  std::string cell_provenance{};
  /// Problems and remarks about the file, in the order in which they were found.
  std::vector<std::string> warnings{};
  /// Whether the file was read completely; a good record may still have warnings.
  bool ok = false;

  /// Whether all fields are equal. A NaN coordinate equals nothing.
  bool operator==(const IngestedStructure&) const = default;

  /// A new mapping of the 14 fields in the order above, which shares nothing with the record. An
  /// absent cell is null, and each byte that is not valid UTF-8 reads U+FFFD.
  STRUCTURE_INGEST_API Json as_dict() const;
};

}  // namespace structure_ingest
