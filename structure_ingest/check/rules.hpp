// The table of all findings: code, severity, meaning, and the function that looks for it.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/check/subject.hpp"

namespace structure_ingest::internal {

/// One result of a rule. Its severity is the rule's `worst` unless it has its own.
struct Seen {
  std::string message;
  std::vector<std::size_t> atoms{};
  std::optional<Severity> severity{};
};

struct Rule {
  const char* code;
  Severity worst;
  Severity least;        // mostly the same as `worst`
  const char* source;    // "geometry", "file", "second reader" or "reader"
  const char* looks_at;  // when it is found, in one clause
  const char* meaning;   // what it means for a calculation
  const char* advice;    // what to do
  std::vector<Seen> (*look)(const Subject& subject);
};

std::span<const Rule> rules();

/// What all rules see in a subject that was looked at, worst first.
std::vector<Finding> findings_on(const Subject& subject);

/// The rule of this code, or null.
const Rule* rule_of(std::string_view code);

/// The functions of the table, by source file.
// explanation.cpp
std::vector<Seen> see_not_read(const Subject& subject);
std::vector<Seen> see_reader_warning(const Subject& subject);
// geometry.cpp
std::vector<Seen> see_non_finite_coordinates(const Subject& subject);
std::vector<Seen> see_degenerate_cell(const Subject& subject);
std::vector<Seen> see_left_handed_cell(const Subject& subject);
std::vector<Seen> see_overlapping_atoms(const Subject& subject);
std::vector<Seen> see_coordinates_look_fractional(const Subject& subject);
std::vector<Seen> see_unusual_density(const Subject& subject);
std::vector<Seen> see_no_cell(const Subject& subject);
std::vector<Seen> see_found_symmetry(const Subject& subject);
// xyz_findings.cpp
std::vector<Seen> see_several_frames(const Subject& subject);
std::vector<Seen> see_trailing_content(const Subject& subject);
std::vector<Seen> see_columns_not_as_declared(const Subject& subject);
std::vector<Seen> see_columns_ignored(const Subject& subject);
std::vector<Seen> see_not_positions(const Subject& subject);
std::vector<Seen> see_not_angstrom(const Subject& subject);
std::vector<Seen> see_not_fully_periodic(const Subject& subject);
std::vector<Seen> see_cell_not_read(const Subject& subject);
std::vector<Seen> see_cell_from_companion(const Subject& subject);
// labels.cpp
std::vector<Seen> see_label_reinterpreted(const Subject& subject);
// cif_findings.cpp
std::vector<Seen> see_fractional_without_cell(const Subject& subject);
std::vector<Seen> see_partial_occupancy(const Subject& subject);
std::vector<Seen> see_mixed_site(const Subject& subject);
std::vector<Seen> see_disordered_sites(const Subject& subject);
std::vector<Seen> see_several_blocks(const Subject& subject);
std::vector<Seen> see_beyond_space_group(const Subject& subject);
std::vector<Seen> see_deuterium_as_hydrogen(const Subject& subject);
// cif_consistency.cpp
std::vector<Seen> see_formula_mismatch(const Subject& subject);
std::vector<Seen> see_volume_mismatch(const Subject& subject);
std::vector<Seen> see_density_mismatch(const Subject& subject);
std::vector<Seen> see_readers_disagree(const Subject& subject);
std::vector<Seen> see_symmetry_unclear(const Subject& subject);
std::vector<Seen> see_not_strict_cif(const Subject& subject);
// poscar_findings.cpp
std::vector<Seen> see_negative_scale(const Subject& subject);
std::vector<Seen> see_three_scales(const Subject& subject);
std::vector<Seen> see_coordinate_mode_unclear(const Subject& subject);
std::vector<Seen> see_species_counts_differ(const Subject& subject);
std::vector<Seen> see_site_labels_disagree(const Subject& subject);
std::vector<Seen> see_constraints_dropped(const Subject& subject);
std::vector<Seen> see_velocities_dropped(const Subject& subject);
// title.cpp
std::vector<Seen> see_elements_from_title(const Subject& subject);

}  // namespace structure_ingest::internal
