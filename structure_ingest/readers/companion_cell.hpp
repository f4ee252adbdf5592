// The cell of a structure from the input file of the vorendal code beside it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// One bohr in ångström (CODATA 2018).
inline constexpr double BOHR_TO_ANGSTROM = 0.529177210903;

struct CompanionCell {
  std::optional<std::vector<Vector3>> cell_ang;  // three rows in ångström
  std::string provenance;                        // the companion's path, when there is a cell
};

/// The part of a companion that concerns structure files.
struct CompanionInput {
  std::optional<std::string> atom_file;          // the file it belongs to, in lower case
  std::optional<std::vector<Vector3>> cell_ang;  // three rows in ångström
};

/// Reads the text of a companion (UTF-8, LF line ends).
CompanionInput companion_input(std::string_view text);

/// The cell that a companion gives to a structure file of this name; nothing when the companion
/// names another file.
std::optional<std::vector<Vector3>> cell_for(const CompanionInput& companion,
                                             std::string_view structure_file_name);

/// Looks up the companions for the structure files of one batch. Remembers the companion of the
/// latest folder, so that it is read once for all files beside it.
class CompanionFiles {
 public:
  /// Looks for "scf.input" in the folder of the structure file `path` (in normal form) and returns
  /// its central-cell vectors, unless it names another structure file. A missing or malformed
  /// companion gives no cell; nothing is reported.
  CompanionCell vorendal_cell(const std::string& path);

 private:
  std::string latest_path_;
  CompanionInput latest_;
};

}  // namespace structure_ingest::internal
