#include "apps/structure_row.hpp"

#include <array>
#include <cstdio>
#include <optional>
#include <tuple>
#include <vector>

#include "apps/shortest_distance.hpp"
#include "structure_ingest/check/subject.hpp"
#include "structure_ingest/record/cell_geometry.hpp"

namespace apps {
namespace {

namespace internal = structure_ingest::internal;

std::string number(const std::optional<double>& value, int digits) {
  if (!value) return {};
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.*g", digits, *value);
  return text.data();
}

/// The volume of a right-handed cell is positive.
bool is_right_handed(const std::vector<structure_ingest::Vector3>& cell) {
  const auto& [a, b, c] = std::tie(cell[0], cell[1], cell[2]);
  return a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
             a[2] * (b[0] * c[1] - b[1] * c[0]) >
         0;
}

}  // namespace

std::optional<internal::FoundSymmetry> space_group_of(
    const structure_ingest::IngestedStructure& record, const std::optional<double>& shortest_ang) {
  if (!shortest_ang || *shortest_ang < internal::SAME_PLACE_ANG) return std::nullopt;
  if (!record.cell_ang || !is_right_handed(*record.cell_ang)) return std::nullopt;
  return internal::find_symmetry(record);
}

TableRow structure_headings() {
  return {"file", "formula", "atoms",  "a",       "b",           "c",        "alpha",
          "beta", "gamma",   "volume", "density", "space group", "shortest", "error"};
}

TableRow structure_row(const std::string& name, const structure_ingest::IngestedStructure& record,
                       int digits) {
  TableRow row = {name};
  if (!record.ok) {
    row.resize(structure_headings().size() - 1);
    row.push_back(record.warnings.empty() ? "not parsed" : record.warnings.front());
    return row;
  }
  row.push_back(record.formula);
  row.push_back(std::to_string(record.natoms));
  std::optional<internal::CellGeometry> geometry;
  if (record.cell_ang) geometry = internal::geometry_of(*record.cell_ang);
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(geometry ? number(geometry->lengths_ang[i], digits) : "");
  }
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(geometry ? number(geometry->angles_deg[i], digits) : "");
  }
  const std::optional<double> volume = geometry ? geometry->volume_ang3 : std::nullopt;
  row.push_back(number(volume, digits));
  row.push_back(volume ? number(internal::density_g_cm3(record.symbols, *volume), digits) : "");
  const std::optional<double> shortest = shortest_distance_ang(record);
  const std::optional<internal::FoundSymmetry> group = space_group_of(record, shortest);
  row.push_back(group ? group->name : "");
  row.push_back(number(shortest, digits));
  row.emplace_back();
  return row;
}

}  // namespace apps
