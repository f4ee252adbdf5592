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
  std::string source_path;  // as the reader received it, in the bytes of the file system
  std::string format;       // "xyz", "cif", "vasp", or "unknown"
  std::int64_t natoms = 0;
  std::vector<std::string> species{};              // distinct symbols in ascending character order
  std::vector<std::string> symbols{};              // one canonical symbol an atom, in file order
  std::vector<Vector3> positions_ang{};            // Cartesian, in file order, at full precision
  std::optional<std::vector<Vector3>> cell_ang{};  // lattice vectors a, b, c as rows, when known
  bool fractional = false;
  std::string formula{};
  std::string sha256{};             // first 16 digits of the digest of the file's bytes
  std::string canonical_xyz_rel{};  // project-relative path of the canonical copy
  std::string cell_provenance{};    // the companion file that the cell came from
  std::vector<std::string> warnings{};
  bool ok = false;

  bool operator==(const IngestedStructure&) const = default;

  /// A mapping of the 14 fields in the order above; an absent cell is null, and text that is not
  /// valid UTF-8 reads U+FFFD for each such byte.
  STRUCTURE_INGEST_API Json as_dict() const;
};

namespace internal {

/// A list of strings, or of vectors with each as a list of three floats, as JSON.
Json json_list(const std::vector<std::string>& texts);
Json json_list(const std::vector<Vector3>& vectors);

/// The same of the cell, null when it is absent.
Json json_cell(const std::optional<std::vector<Vector3>>& cell_ang);

}  // namespace internal
}  // namespace structure_ingest
