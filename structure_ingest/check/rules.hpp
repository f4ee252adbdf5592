// The table of all findings: what each is about, and the function that looks for it.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/check/input.hpp"

namespace structure_ingest::internal {

/// One result of a rule. Its severity is the `worst` of its kind unless it has its own.
struct Observation {
  std::string message;
  std::vector<std::size_t> atoms{};
  std::optional<Severity> severity{};
};

/// A kind of finding, and the function that looks for it.
struct Rule {
  FindingKind kind;
  std::vector<Observation> (*find)(const CheckInput& input);
};

std::span<const Rule> rules();

/// What all rules see in a input that is derived, worst first.
std::vector<Finding> findings_on(const CheckInput& input);

/// Why a file of a format gave no structure, by what its reader said; empty when nothing is found.
std::string problem_of_xyz(const FileContent& content, std::string_view warning);
std::string problem_of_cif(const CifFile& file, std::string_view message);
std::string problem_of_poscar(const PoscarFile& file, std::string_view name);

/// The functions of the table, by source file.
// not_read.cpp
std::vector<Observation> find_not_read(const CheckInput& input);
std::vector<Observation> find_reader_warning(const CheckInput& input);
// geometry.cpp
std::vector<Observation> find_non_finite_coordinates(const CheckInput& input);
std::vector<Observation> find_degenerate_cell(const CheckInput& input);
std::vector<Observation> find_left_handed_cell(const CheckInput& input);
std::vector<Observation> find_overlapping_atoms(const CheckInput& input);
std::vector<Observation> find_coordinates_look_fractional(const CheckInput& input);
std::vector<Observation> find_unusual_density(const CheckInput& input);
std::vector<Observation> find_no_cell(const CheckInput& input);
std::vector<Observation> find_found_symmetry(const CheckInput& input);
// xyz/findings.cpp
std::vector<Observation> find_several_frames(const CheckInput& input);
std::vector<Observation> find_trailing_content(const CheckInput& input);
std::vector<Observation> find_columns_not_as_declared(const CheckInput& input);
std::vector<Observation> find_columns_ignored(const CheckInput& input);
std::vector<Observation> find_not_positions(const CheckInput& input);
std::vector<Observation> find_not_angstrom(const CheckInput& input);
std::vector<Observation> find_not_fully_periodic(const CheckInput& input);
std::vector<Observation> find_cell_not_read(const CheckInput& input);
std::vector<Observation> find_cell_from_companion(const CheckInput& input);
// labels.cpp
std::vector<Observation> find_label_reinterpreted(const CheckInput& input);
// cif/sites.cpp
std::vector<Observation> find_fractional_without_cell(const CheckInput& input);
std::vector<Observation> find_partial_occupancy(const CheckInput& input);
std::vector<Observation> find_mixed_site(const CheckInput& input);
std::vector<Observation> find_disordered_sites(const CheckInput& input);
std::vector<Observation> find_several_blocks(const CheckInput& input);
std::vector<Observation> find_beyond_space_group(const CheckInput& input);
std::vector<Observation> find_deuterium_as_hydrogen(const CheckInput& input);
// cif/consistency.cpp
std::vector<Observation> find_formula_mismatch(const CheckInput& input);
std::vector<Observation> find_volume_mismatch(const CheckInput& input);
std::vector<Observation> find_density_mismatch(const CheckInput& input);
std::vector<Observation> find_readers_disagree(const CheckInput& input);
std::vector<Observation> find_symmetry_unclear(const CheckInput& input);
std::vector<Observation> find_not_strict_cif(const CheckInput& input);
// vasp/findings.cpp
std::vector<Observation> find_negative_scale(const CheckInput& input);
std::vector<Observation> find_three_scales(const CheckInput& input);
std::vector<Observation> find_coordinate_mode_unclear(const CheckInput& input);
std::vector<Observation> find_species_counts_differ(const CheckInput& input);
std::vector<Observation> find_site_labels_disagree(const CheckInput& input);
std::vector<Observation> find_constraints_dropped(const CheckInput& input);
std::vector<Observation> find_velocities_dropped(const CheckInput& input);
// vasp/title.cpp
std::vector<Observation> find_elements_from_title(const CheckInput& input);

}  // namespace structure_ingest::internal
