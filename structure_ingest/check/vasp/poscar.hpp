// A reader for VASP structure files, line by line as the format is defined.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// Views into the text that was examined.
struct PoscarFile {
  std::string_view title;
  std::vector<double> scales;             // the numbers at the front of line 2
  std::array<Vector3, 3> vectors{};       // before scaling
  std::vector<std::string_view> symbols;  // of line 6; empty where there is no such line
  std::vector<std::size_t> counts;        // atoms of each species
  std::size_t natoms = 0;                 // their sum
  bool selective = false;
  std::size_t mode_line = 0;            // the number of the line "Direct" or "Cartesian"
  std::string_view mode;                // that line
  std::vector<std::string_view> atoms;  // the lines of atoms that exist
  std::size_t more_atoms = 0;           // lines of three numbers directly after them
  bool velocities = false;              // whether there are some that are not zero
  /// The problem: "line 3 is no lattice vector of three numbers"; empty when there is none.
  std::string problem;
};

PoscarFile poscar_lines(std::string_view text);

}  // namespace structure_ingest::internal
