// Which files are structure files, and which reader takes each: decided by the file name alone.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// File-name endings of structure files, compared without regard to letter case.
inline constexpr std::array<std::string_view, 5> STRUCTURE_SUFFIXES = {".xyz", ".extxyz", ".cif",
                                                                       ".vasp", ".poscar"};

/// Whether the last component of `path` is the name of a structure file: one that ends with a
/// structure suffix or begins with "poscar" or "contcar". Nothing need exist at `path`.
bool is_structure_file(const std::string& path);

/// Reads one structure file (`path` is used as it is: no "~", no resolution). Always returns a
/// record; what is wrong with the file is a warning in it.
IngestedStructure parse_structure_file(const std::string& path);

namespace internal {

/// File-name beginnings of VASP structure files.
inline constexpr std::array<std::string_view, 2> STRUCTURE_BASENAMES = {"poscar", "contcar"};

/// The same, asking ASE through `ask_ase`, which can serve many files.
IngestedStructure parse_structure_file(const std::string& path, const AskAse& ask_ase);

}  // namespace internal
}  // namespace structure_ingest
