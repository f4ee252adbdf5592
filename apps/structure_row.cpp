#include "apps/structure_row.hpp"

#include <array>
#include <cstdio>
#include <optional>

#include "apps/cell_geometry.hpp"

namespace apps {
namespace {

std::string number(const std::optional<double>& value, int digits) {
  if (!value) return {};
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.*g", digits, *value);
  return text.data();
}

}  // namespace

TableRow structure_headings() {
  return {"file",  "formula", "atoms", "a",      "b",       "c",
          "alpha", "beta",    "gamma", "volume", "density", "error"};
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
  std::optional<CellGeometry> geometry;
  if (record.cell_ang) geometry = geometry_of(*record.cell_ang);
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(geometry ? number(geometry->lengths_ang[i], digits) : "");
  }
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(geometry ? number(geometry->angles_deg[i], digits) : "");
  }
  const std::optional<double> volume = geometry ? geometry->volume_ang3 : std::nullopt;
  row.push_back(number(volume, digits));
  row.push_back(volume ? number(density_g_cm3(record.symbols, *volume), digits) : "");
  row.emplace_back();
  return row;
}

}  // namespace apps
