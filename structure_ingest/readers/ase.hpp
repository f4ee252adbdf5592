// Makes records from CIF and VASP files, which ASE reads.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// ASE's answer for one file, complete up to the failure. Tests replace ASE with a function that
/// returns one.
struct AseAnswer {
  enum class Failure {
    none,
    unavailable,  // ASE cannot be loaded
    read,         // `ase.io.read` failed on the file
    extraction,   // its result could not be converted; the fields before the failure are set
  };
  Failure failure = Failure::none;
  std::string message{};                                // the Python error's, bounded in size
  std::optional<std::vector<std::string>> labels{};     // one an atom, as in ASE
  std::optional<std::vector<Vector3>> positions_ang{};  // Cartesian, one an atom
  std::optional<std::vector<Vector3>> cell_ang{};       // rows a, b, c, when the cell has rank 3
  std::vector<std::string> warnings{};  // Python's about the file, each once, bounded; not part of
                                        // the record
};

/// Asks ASE for the file at a path, which is passed on unchanged.
using AskAse = std::function<AseAnswer(const std::string& path)>;

/// Reads a CIF or VASP file into a record; `format` is "cif" or "vasp". Every failure is one
/// warning on a record with `ok` false. `reader_warnings`, which may be null, gets those of ASE.
IngestedStructure parse_with_ase(const std::string& path, const std::string& format,
                                 const AskAse& ask_ase,
                                 std::vector<std::string>* reader_warnings = nullptr);

}  // namespace structure_ingest::internal
