// What the findings of one structure are made from: its record, its file, and what follows from
// them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "structure_ingest/check/cif_file.hpp"
#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/file_head.hpp"
#include "structure_ingest/check/poscar_file.hpp"
#include "structure_ingest/check/second_reader.hpp"
#include "structure_ingest/check/xyz_file.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

struct Subject {
  // Given:
  const IngestedStructure& record;
  std::span<const std::string> reader_warnings{};
  bool search_symmetry = false;

  // Filled in:
  std::string file_name{};
  /// The file, where the record is of a CIF or VASP file; the beginning of any that was not read.
  FileHead head{};
  std::optional<XyzFile> xyz{};        // of a good XYZ record
  std::optional<PoscarFile> poscar{};  // of a VASP record, good or not
  std::optional<CifFile> cif{};        // of a CIF record, good or not
  const CifBlock* block = nullptr;     // the one that the record is from
  std::size_t blocks_with_atoms = 0;
  SecondReading second{};  // of that block

  /// Of a good record. The geometry is looked at only when all positions are finite; the cell
  /// counts only when its numbers are finite and it has a volume.
  bool finite = false;
  bool has_volume = false;
  double signed_volume_ang3 = 0;  // negative for a left-handed cell
  ClosePairs close{};             // below half the sum of the covalent radii, or 0.5 Å
};

/// Fills in what follows from the record and its file; parts of the subject refer to others, so
/// that it stays where it is. Throws only what the standard library does when memory runs out.
void look_at(Subject& subject);

/// Atoms closer than this cannot be two atoms: the shortest bond there is, that of hydrogen, is
/// 0.741 Å (K. P. Huber, G. Herzberg, "Constants of diatomic molecules", 1979).
inline constexpr double SAME_PLACE_ANG = 0.5;
/// Atoms closer than this share of the sum of their covalent radii are suspect: even the quintuple
/// bond of Cr2, 1.68 Å, is 0.60 of it.
inline constexpr float SUSPECT_SHARE = 0.5F;

}  // namespace structure_ingest::internal
