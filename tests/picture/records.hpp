// Records made by hand.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace tests {

using Cell = std::optional<std::vector<structure_ingest::Vector3>>;

inline Cell cubic(double a) {
  return Cell({{a, 0, 0}, {0, a, 0}, {0, 0, a}});
}

inline structure_ingest::IngestedStructure record_of(
    const std::vector<std::pair<std::string, structure_ingest::Vector3>>& atoms,
    const Cell& cell = std::nullopt) {
  structure_ingest::IngestedStructure record;
  for (const auto& [symbol, at] : atoms) {
    record.symbols.push_back(symbol);
    record.positions_ang.push_back(at);
  }
  record.natoms = static_cast<std::int64_t>(atoms.size());
  record.formula = structure_ingest::internal::formula_from_symbols(record.symbols);
  record.cell_ang = cell;
  record.ok = true;
  return record;
}

/// Rock salt with `a` = 5.64 Å, repeated.
inline structure_ingest::IngestedStructure rock_salt(int repeated = 1) {
  std::vector<std::pair<std::string, structure_ingest::Vector3>> atoms;
  for (int x = 0; x < 2 * repeated; ++x) {
    for (int y = 0; y < 2 * repeated; ++y) {
      for (int z = 0; z < 2 * repeated; ++z) {
        atoms.push_back({(x + y + z) % 2 == 0 ? "Na" : "Cl", {2.82 * x, 2.82 * y, 2.82 * z}});
      }
    }
  }
  return record_of(atoms, cubic(5.64 * repeated));
}

}  // namespace tests
