// The one record that every reader produces for a structure file.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"

namespace structure_ingest {

/// Three numbers: a position or a lattice vector, in ångström.
using Vector3 = std::array<double, 3>;

/// One structure file as it was read. When `ok` is true, `symbols` and `positions_ang` have
/// `natoms` elements each and `species` and `formula` describe `symbols`; when it is false the
/// warnings say why, and the atom fields are not to be relied on.
struct IngestedStructure {
  /// The file's path as the reader received it, in the bytes of the file system.
  std::string source_path;
  /// "xyz" (also of extended XYZ), "cif", "vasp", or "unknown".
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
  /// Whether the positions are fractional: no reader gives such ones.
  bool fractional = false;
  /// Each of the species with its count when above 1: "H2O".
  std::string formula{};
  /// The first 16 hexadecimal digits of the SHA-256 digest of the file's bytes. Ingestion fills it
  /// in; empty for a file that cannot be read.
  std::string sha256{};
  /// The canonical copy, relative to the project folder. Ingestion fills it in.
  std::string canonical_xyz_rel{};
  /// The companion file that the cell came from; empty for a cell from anywhere else.
  std::string cell_provenance{};
  /// What is wrong with the file or worth knowing about it, in the order in which it was met.
  std::vector<std::string> warnings{};
  /// Whether the file was read to a good end; it may have warnings all the same.
  bool ok = false;

  /// Whether all fields are equal; a coordinate that is not a number equals nothing.
  bool operator==(const IngestedStructure&) const = default;

  /// A new mapping of the 14 fields in the order above, which shares nothing with the record; an
  /// absent cell is null, and text that is not valid UTF-8 reads U+FFFD for each such byte.
  STRUCTURE_INGEST_API Json as_dict() const;
};

}  // namespace structure_ingest
