#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/base/json.hpp"

#include <gtest/gtest.h>

namespace structure_ingest {
namespace {

// batch_test.cpp compares a whole entry; these cases cover the values that are rare there.
TEST(SourceEntry, ContainsTheRecord) {
  const IngestedStructure record{.source_path = "/d/quartz\xFF.cif",
                                 .format = "cif",
                                 .natoms = 3,
                                 .species = {"O", "Si"},
                                 .symbols = {"Si", "O", "O"},
                                 .positions_ang = {{0, 0, 0.5}},
                                 .cell_ang = std::vector<Vector3>(),
                                 .fractional = true,
                                 .formula = "O2Si",
                                 .sha256 = "0123456789abcdef",
                                 .cell_provenance = "/d/scf.input",
                                 .warnings = {"one", "tw\xFF"},
                                 .ok = true};
  const Json expected = Json::parse(R"({
      "path": "/d/quartz\uFFFDFF.cif", "discovery": "somehow", "format": "cif", "formula": "O2Si",
      "natoms": 3, "species": ["O", "Si"], "has_cell": false, "cell_ang": [],
      "symbols": ["Si", "O", "O"], "positions_ang": [[0.0, 0.0, 0.5]], "fractional": true,
      "source_path": "/d/quartz\uFFFDFF.cif", "sha256": "0123456789abcdef",
      "warnings": ["one", "tw\uFFFDFF"],
      "metadata": {"xyz_path": "", "provenance": "user_file", "discovery": "somehow",
          "source_file": "/d/quartz\uFFFDFF.cif", "cell_provenance": "/d/scf.input",
          "parser": "structure_ingest"}})");
  const Json entry = structure_source_entry(record, "somehow");
  for (const auto& [key, value] : expected.items()) EXPECT_EQ(entry[key], value) << key;
  EXPECT_EQ(structure_source_entry(record)["discovery"], "attachment");
  EXPECT_EQ(structure_source_entry({})["cell_ang"], Json());  // absent is not empty
}

}  // namespace
}  // namespace structure_ingest
