// The input of all checks of one structure: its record, what the reader saw of its file, and
// quantities derived from them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/check/cif/second_reader.hpp"
#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/symmetry.hpp"
#include "structure_ingest/check/vasp/poscar.hpp"
#include "structure_ingest/readers/cif_blocks.hpp"
#include "structure_ingest/readers/file_content.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

struct CheckInput {
  // Set by the caller:
  const IngestedStructure& record;
  const FileContent& content;
  bool search_symmetry = false;

  // Set by derive():
  std::string file_name{};
  const XyzContent* xyz = nullptr;     // of a good XYZ record
  std::optional<PoscarFile> poscar{};  // of a VASP record, good or not
  std::optional<CifFile> cif{};        // of a CIF record, good or not
  const CifBlock* block = nullptr;     // the block that the record is from
  std::size_t blocks_with_atoms = 0;
  SecondReading second{};  // of that block

  /// For a good record. Checks use the geometry only when all positions are finite, and the cell
  /// only when its numbers are finite and it has a volume.
  bool finite = false;
  bool has_volume = false;
  double signed_volume_ang3 = 0;         // negative for a left-handed cell
  ClosePairs close{};                    // below half the sum of the covalent radii, or 0.5 Å
  std::optional<SpaceGroup> symmetry{};  // of a right-handed cell without close pairs
};

/// Sets everything derived from the record and the content. Do not move the input afterwards: its
/// parts refer to each other. Throws only what the standard library throws when memory runs out.
void derive(CheckInput& input);

/// Atoms closer than this overlap: the shortest bond of all, that of hydrogen, is 0.741 Å (K. P.
/// Huber, G. Herzberg, "Constants of diatomic molecules", 1979).
inline constexpr double SAME_PLACE_ANG = 0.5;
/// Atoms closer than this share of the sum of their covalent radii are suspect: even the quintuple
/// bond of Cr2, 1.68 Å, is 0.60 of the sum.
inline constexpr float SUSPECT_SHARE = 0.5F;

}  // namespace structure_ingest::internal
