#include "structure_ingest/check/input.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/record/elements.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

/// A cell with less than this share of a * b * c as its volume is flat: the rest is the rounding of
/// numbers with four digits.
constexpr double FLAT_SHARE = 1e-3;

bool has_atoms(const CifBlock& block) {
  const auto has_all = [&](const std::array<const char*, 3>& names) {
    return std::all_of(names.begin(), names.end(),
                       [&](const char* name) { return block.values({name}) != nullptr; });
  };
  const auto* const labels = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  return (has_all(CIF_FRACTION_NAMES) || has_all(CIF_POSITION_NAMES)) && labels != nullptr &&
         !labels->empty() && std::none_of(labels->begin(), labels->end(), is_unknown);
}

void read_cif(CheckInput& input) {
  input.cif = cif_blocks(input.content.bytes);
  for (const CifBlock& block : input.cif->blocks) {
    if (!has_atoms(block)) continue;
    input.block = &block;
    ++input.blocks_with_atoms;
  }
  if (input.block != nullptr && input.record.ok) {
    input.second = read_with_gemmi(input.content.bytes, input.block->name);
  }
}

void measure_cell(const std::vector<Vector3>& cell, CheckInput& input) {
  if (cell.size() != 3) return;
  const Vector3 &a = cell[0], &b = cell[1], &c = cell[2];
  const auto length = [](const Vector3& v) { return std::hypot(std::hypot(v[0], v[1]), v[2]); };
  const double product = length(a) * length(b) * length(c);
  const double volume = dot(a, cross(b, c));
  if (!std::isnormal(product) || !std::isnormal(volume)) return;
  input.signed_volume_ang3 = volume;
  input.has_volume = std::abs(volume) > FLAT_SHARE * product;
}

void measure_geometry(CheckInput& input) {
  const IngestedStructure& record = input.record;
  // The sum is finite if and only if all numbers are, except for numbers too large to be positions.
  double sum = 0;
  for (const Vector3& position : record.positions_ang) {
    sum += std::abs(position[0]) + std::abs(position[1]) + std::abs(position[2]);
  }
  input.finite = std::isfinite(sum) && record.positions_ang.size() == record.symbols.size();
  if (record.cell_ang) measure_cell(*record.cell_ang, input);
  if (!input.finite) return;
  const std::span<const Vector3> cell =
      input.has_volume ? std::span<const Vector3>(*record.cell_ang) : std::span<const Vector3>();
  input.close = find_close_pairs(record.positions_ang, scaled_radii(record.symbols, SUSPECT_SHARE),
                                 cell, SAME_PLACE_ANG);
}

}  // namespace

void derive(CheckInput& input) {
  const IngestedStructure& record = input.record;
  input.file_name = file_name(record.source_path);
  if (record.ok && record.format == "xyz" && input.content.readable) {
    input.xyz = &input.content.xyz;
  }
  if (record.format == "cif") read_cif(input);
  if (record.format == "vasp") input.poscar = poscar_lines(input.content.bytes);
  if (record.ok) measure_geometry(input);
  if (input.search_symmetry && input.finite && input.has_volume && input.signed_volume_ang3 > 0 &&
      input.close.pairs.empty() && input.close.complete) {
    input.symmetry = find_symmetry(record);
  }
}

}  // namespace structure_ingest::internal
