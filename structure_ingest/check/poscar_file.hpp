// A VASP structure file, line by line, as its format is defined.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// Views are into the text that was looked at.
struct PoscarFile {
  std::string_view title;
  std::vector<double> scales;             // the numbers that line 2 begins with
  std::array<Vector3, 3> vectors{};       // before scaling
  std::vector<std::string_view> symbols;  // of line 6; empty where there is no such line
  std::vector<std::size_t> counts;        // atoms of each species
  std::size_t natoms = 0;                 // their sum
  bool selective = false;
  std::size_t mode_line = 0;            // number of the line that says direct or Cartesian
  std::string_view mode;                // that line
  std::vector<std::string_view> atoms;  // the lines of the atoms that are there
  std::size_t more_atoms = 0;           // lines of three numbers directly behind them
  bool velocities = false;
  /// What is wrong with it: "line 3 is no lattice vector of three numbers"; empty when it is whole.
  std::string problem;
};

PoscarFile look_at_poscar(std::string_view text);

}  // namespace structure_ingest::internal
