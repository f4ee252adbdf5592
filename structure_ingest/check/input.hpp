// The input of all checks of one structure: its record, what the reader saw of its file, and
// quantities derived from them. Below it, the checks.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/check/cif/second_reader.hpp"
#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/check/quantities.hpp"
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
  ClosePairs close{};                    // below SUSPECT_SHARE, or 0.5 Å
  std::optional<SpaceGroup> symmetry{};  // of a right-handed cell without close pairs
};

/// Sets everything derived from the record and the content. Do not move the input afterwards: its
/// parts refer to each other. Throws only what the standard library throws when memory runs out.
void derive(CheckInput& input);

/// Atoms closer than this overlap: the shortest bond of all, that of hydrogen, is 0.741 Å (K. P.
/// Huber, G. Herzberg, "Constants of diatomic molecules", 1979).
inline constexpr double SAME_PLACE_ANG = 0.5;
/// Atoms closer than this share of the sum of their covalent radii are suspect: even the quintuple
/// bond of Cr2, 1.68 Å, is 0.604 of the sum.
inline constexpr float SUSPECT_SHARE = 0.6F;

/// What a check says about one structure.
struct Observation {
  std::string_view code;  // of its kind of finding
  std::string message;    // empty when there is nothing to find
  std::vector<std::size_t> atoms{};
  std::optional<Severity> severity{};  // the worst of its kind unless it is set
};

/// The checks, in any order. Those of a format see nothing in a structure of another.
std::vector<Observation> check_readable(const CheckInput& input);
std::vector<Observation> check_geometry(const CheckInput& input);
std::vector<Observation> check_xyz(const CheckInput& input);
std::vector<Observation> check_cif(const CheckInput& input);
std::vector<Observation> check_poscar(const CheckInput& input);

/// Why a file of a format gave no structure, by what its reader said; empty when nothing is found.
std::string problem_of_xyz(const FileContent& content, std::string_view warning);
std::string problem_of_cif(const CifFile& file, std::string_view message);
std::string problem_of_poscar(const PoscarFile& file, std::string_view name);

/// The space group of a periodic structure with a right-handed cell and no overlapping atoms;
/// nothing when spglib finds none, and for more than MOST_ATOMS_FOR_SYMMETRY atoms.
std::optional<SpaceGroup> find_symmetry(const IngestedStructure& record);

/// Parts of these checks that stand in files of their own, or are needed by another.
std::string not_positions(const CheckInput& input);
std::vector<Observation> reader_remarks(const CheckInput& input);
Observation labels_of_xyz(const CheckInput& input);
std::vector<Observation> contradictions_in_cif(const CheckInput& input, bool has_full_sites);

/// Whether a second reader expands a CIF to the same atoms as the record.
bool is_confirmed(const CheckInput& input);

/// The observation on labels that were taken for other elements: `texts` such as "'CL' as C".
Observation label_observation(const std::vector<std::string>& texts, std::vector<std::size_t> atoms,
                              Severity severity);

}  // namespace structure_ingest::internal
