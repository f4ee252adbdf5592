// The cell of a structure from the input file of the vorendal code beside it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// One bohr in ångström (CODATA 2018).
inline constexpr double BOHR_TO_ANGSTROM = 0.529177210903;

struct CompanionCell {
  std::optional<std::vector<Vector3>> cell_ang;  // three rows in ångström
  std::string provenance;                        // the companion's path, when there is a cell
};

/// Looks in the folder of the structure file `path` (in normal form) for "scf.input" and returns
/// its central-cell vectors, unless it names another structure file. Whatever is missing or wrong
/// gives no cell; nothing is reported.
CompanionCell companion_vorendal_cell(const std::string& path);

/// The cell in the text of a companion (UTF-8, LF line ends) for a structure file of this name.
std::optional<std::vector<Vector3>> companion_cell_in_text(std::string_view text,
                                                           std::string_view structure_file_name);

}  // namespace structure_ingest::internal
