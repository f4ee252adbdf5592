#include "structure_ingest/record/ingested_structure.hpp"

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

TEST(IngestedStructure, SerialisesWhatItHoldsAsACopy) {
  IngestedStructure record{.source_path = "b\xFF.cif", .format = "cif"};
  record.ok = true;
  record.natoms = 1;
  record.symbols = record.species = {"Fe"};
  record.positions_ang = {{0.1, -2.0, 3.5}};
  record.cell_ang = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const IngestedStructure copy = record;
  Json dict = record.as_dict();
  EXPECT_EQ(dict["source_path"],
            "b\uFFFD"
            "FF.cif");
  EXPECT_EQ(dict["cell_ang"], (Json{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}));
  EXPECT_EQ(dict["positions_ang"], Json::parse("[[0.1, -2.0, 3.5]]"));
  dict["positions_ang"][0][0] = 9;
  EXPECT_EQ(record, copy);
  record.warnings.emplace_back("one more");
  EXPECT_NE(record, copy);
  record.cell_ang.emplace();
  EXPECT_EQ(record.as_dict()["cell_ang"], Json::array());  // empty is not absent
}

}  // namespace
}  // namespace structure_ingest
