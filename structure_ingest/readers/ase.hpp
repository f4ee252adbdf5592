// The library-backed reader: CIF and VASP files become records through ASE.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// What ASE gave for one file, as far as it came: the seam behind which ASE runs.
struct AseAnswer {
  enum class Failure {
    none,
    unavailable,  // ASE cannot be loaded
    read,         // `ase.io.read` failed on the file
    extraction,   // what it returned could not be taken apart; the fields before the failure stand
  };
  Failure failure = Failure::none;
  std::string message{};                                // of the Python error, bounded in size
  std::optional<std::vector<std::string>> labels{};     // one an atom, as ASE gives them
  std::optional<std::vector<Vector3>> positions_ang{};  // Cartesian, one an atom
  std::optional<std::vector<Vector3>> cell_ang{};       // rows a, b, c, when the cell has rank 3
  std::vector<std::string> warnings{};  // of Python about the file, each once, bounded; no part of
                                        // the record
};

/// Asks ASE for the file at a path (its text is handed over unchanged).
using AskAse = std::function<AseAnswer(const std::string& path)>;

/// Makes the record of a CIF or VASP file; `format` is "cif" or "vasp". Every failure is one
/// warning on a record with `ok` false.
IngestedStructure parse_with_ase(const std::string& path, const std::string& format,
                                 const AskAse& ask_ase);

}  // namespace structure_ingest::internal
