#include "apps/structure_row.hpp"

#include <optional>
#include <vector>

#include "structure_ingest/base/numbers.hpp"

namespace apps {
namespace {

std::string number_or_nothing(const std::optional<double>& value, int digits) {
  return value ? structure_ingest::internal::number_text(*value, digits) : std::string();
}

}  // namespace

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
  const structure_ingest::Quantities quantities =
      structure_ingest::quantities_of(record, {.space_group = true});
  const auto& cell = quantities.cell;
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(cell ? number_or_nothing(cell->lengths_ang[i], digits) : "");
  }
  for (std::size_t i = 0; i < 3; ++i) {
    row.push_back(cell ? number_or_nothing(cell->angles_deg[i], digits) : "");
  }
  row.push_back(cell ? number_or_nothing(cell->volume_ang3, digits) : "");
  row.push_back(number_or_nothing(quantities.density_g_cm3, digits));
  row.push_back(quantities.space_group ? quantities.space_group->name : "");
  row.push_back(number_or_nothing(quantities.shortest_distance_ang, digits));
  row.emplace_back();
  return row;
}

}  // namespace apps
