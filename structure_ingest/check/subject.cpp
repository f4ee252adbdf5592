#include "structure_ingest/check/subject.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/check/covalent_radii.hpp"

namespace structure_ingest::internal {
namespace {

/// Enough to recognise the kind of a file that could not be read.
constexpr std::size_t HEAD_OF_UNREAD = std::size_t{1} << 16;

/// A cell with less than this share of a * b * c as its volume is flat: the rest is the rounding of
/// numbers with four digits.
constexpr double FLAT_SHARE = 1e-3;

bool has_atoms(const CifBlock& block) {
  const bool fractional = block.values({"_atom_site_fract_x"}) != nullptr &&
                          block.values({"_atom_site_fract_y"}) != nullptr &&
                          block.values({"_atom_site_fract_z"}) != nullptr;
  const bool cartesian = block.values({"_atom_site_cartn_x"}) != nullptr &&
                         block.values({"_atom_site_cartn_y"}) != nullptr &&
                         block.values({"_atom_site_cartn_z"}) != nullptr;
  const auto* const labels = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  return (fractional || cartesian) && labels != nullptr && !labels->empty() &&
         std::none_of(labels->begin(), labels->end(),
                      [](std::string_view label) { return label == "?" || label == "."; });
}

void look_at_cif_blocks(Subject& subject) {
  subject.cif = look_at_cif(subject.head.bytes);
  for (const CifBlock& block : subject.cif->blocks) {
    if (!has_atoms(block)) continue;
    subject.block = &block;
    ++subject.blocks_with_atoms;
  }
  if (subject.block != nullptr && subject.record.ok) {
    subject.second = read_with_gemmi(subject.head.bytes, subject.block->name);
  }
}

void look_at_cell(const std::vector<Vector3>& cell, Subject& subject) {
  if (cell.size() != 3) return;
  const auto& [a, b, c] = std::array{cell[0], cell[1], cell[2]};
  const auto length = [](const Vector3& v) { return std::hypot(std::hypot(v[0], v[1]), v[2]); };
  const double product = length(a) * length(b) * length(c);
  const double volume = a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
                        a[2] * (b[0] * c[1] - b[1] * c[0]);
  if (!std::isnormal(product) || !std::isnormal(volume)) return;
  subject.signed_volume_ang3 = volume;
  subject.has_volume = std::abs(volume) > FLAT_SHARE * product;
}

void look_at_geometry(Subject& subject) {
  const IngestedStructure& record = subject.record;
  // The sum is finite if and only if all numbers are, except for numbers too large to be positions.
  double sum = 0;
  for (const Vector3& position : record.positions_ang) {
    sum += std::abs(position[0]) + std::abs(position[1]) + std::abs(position[2]);
  }
  subject.finite = std::isfinite(sum) && record.positions_ang.size() == record.symbols.size();
  if (record.cell_ang) look_at_cell(*record.cell_ang, subject);
  if (!subject.finite) return;
  std::vector<float> reach;
  reach.reserve(record.symbols.size());
  for (const std::string& symbol : record.symbols) {
    reach.push_back(SUSPECT_SHARE * covalent_radius_ang(symbol));
  }
  const std::span<const Vector3> cell =
      subject.has_volume ? std::span<const Vector3>(*record.cell_ang) : std::span<const Vector3>();
  subject.close = find_close_pairs(record.positions_ang, reach, cell, SAME_PLACE_ANG);
}

}  // namespace

void look_at(Subject& subject) {
  const IngestedStructure& record = subject.record;
  subject.file_name = file_name(record.source_path);
  if (record.ok && record.format == "xyz") {
    subject.xyz = look_at_xyz(record);
  } else if (record.format == "cif" || record.format == "vasp") {
    subject.head = file_head(record.source_path, MOST_BYTES_READ);
    if (record.format == "cif") look_at_cif_blocks(subject);
    if (record.format == "vasp") subject.poscar = look_at_poscar(subject.head.bytes);
  } else if (record.format == "xyz") {
    subject.head = file_head(record.source_path, HEAD_OF_UNREAD);
  }
  if (record.ok) look_at_geometry(subject);
  if (subject.search_symmetry && subject.finite && subject.has_volume &&
      subject.signed_volume_ang3 > 0 && subject.close.pairs.empty() && subject.close.complete) {
    subject.symmetry = find_symmetry(record);
  }
}

}  // namespace structure_ingest::internal
