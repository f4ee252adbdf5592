#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/base/json.hpp"

#include <gtest/gtest.h>

namespace structure_ingest {
namespace {

TEST(IngestedStructure, SerialisesItsDefaults) {
  const IngestedStructure record{.source_path = "a.xyz", .format = "xyz"};
  EXPECT_EQ(json_text(record.as_dict()),
            R"({"source_path": "a.xyz", "format": "xyz", "natoms": 0, "species": [], )"
            R"("symbols": [], "positions_ang": [], "cell_ang": null, "fractional": false, )"
            R"("formula": "", "sha256": "", "canonical_xyz_rel": "", "cell_provenance": "", )"
            R"("warnings": [], "ok": false})");
}

TEST(IngestedStructure, SerialisesItsFieldsAsACopy) {
  IngestedStructure record{.source_path = "b\xFF.cif",
                           .format = "cif",
                           .natoms = 2,
                           .species = {"Fe"},
                           .symbols = {"Fe", "Fe"},
                           .positions_ang = {{0.1, -2.0, 3.5}, {1, 1, 1}},
                           .cell_ang = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
                           .fractional = true,
                           .formula = "Fe2",
                           .sha256 = "0123456789abcdef",
                           .canonical_xyz_rel = "c/b.xyz",
                           .cell_provenance = "scf.input",
                           .warnings = {"one", "tw\xFF"},
                           .ok = true};
  const IngestedStructure copy = record;
  Json dict = record.as_dict();
  EXPECT_EQ(json_text(dict),
            "{\"source_path\": \"b\uFFFD"
            "FF.cif\", "
            R"("format": "cif", "natoms": 2, "species": ["Fe"], )"
            R"("symbols": ["Fe", "Fe"], "positions_ang": [[0.1, -2.0, 3.5], [1.0, 1.0, 1.0]], )"
            R"("cell_ang": [[1.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 1.0]], )"
            R"("fractional": true, "formula": "Fe2", "sha256": "0123456789abcdef", )"
            R"("canonical_xyz_rel": "c/b.xyz", "cell_provenance": "scf.input", )"
            "\"warnings\": [\"one\", \"tw\uFFFD"
            "FF\"], \"ok\": true}");
  dict["positions_ang"][0][0] = 9;
  EXPECT_EQ(record, copy);
  record.warnings.emplace_back("one more");
  EXPECT_NE(record, copy);
  record.cell_ang.emplace();
  EXPECT_EQ(record.as_dict()["cell_ang"], Json::array());  // empty is not absent
}

}  // namespace
}  // namespace structure_ingest
