#include <gtest/gtest.h>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

TEST(Chemistry, CanonicalSymbols) {
  const std::pair<const char*, const char*> cases[] = {
      {"Fe", "Fe"},       {"FE", "Fe"}, {"fe3+", "Fe"}, {"C1", "C"},   {" h\t", "H"},
      {"CA", "Ca"},       {"HO", "Ho"}, {"CO", "Co"},   {"Fee", "Fe"}, {"o\u00E9", "O"},
      {"\u00A0U_2", "U"}, {"Cx", ""},   {"OW", ""},     {"1H", ""},    {"*C", ""},
      {"", ""},           {" ", ""},    {"X", ""},      {"D", ""},     {"\u00C9r", ""}};
  for (const auto& [label, symbol] : cases) {
    EXPECT_EQ(canonical_symbol(label), symbol) << label;
  }
}

TEST(Chemistry, KnowsAllElements) {
  EXPECT_EQ(structure_ingest::KNOWN_ELEMENT_SYMBOLS.size(), 118U);
  for (const std::string_view symbol : structure_ingest::KNOWN_ELEMENT_SYMBOLS) {
    EXPECT_EQ(canonical_symbol(symbol), symbol);
  }
}

TEST(Chemistry, AHostMayReplaceTheKnownSymbols) {
  const KnownSymbols& before = known_symbols();
  const std::vector<std::string_view> own = {"Xx", "O", "toolong", "o"};
  replace_known_symbols(own);
  EXPECT_EQ(canonical_symbol("xx1"), "Xx");
  EXPECT_EQ(canonical_symbol("O"), "O");
  EXPECT_EQ(canonical_symbol("Fe"), "");
  EXPECT_EQ(before.length('F', 'e'), 2U);  // for who reads meanwhile
  const KnownSymbols* const table = &known_symbols();
  replace_known_symbols(structure_ingest::KNOWN_ELEMENT_SYMBOLS);
  EXPECT_EQ(canonical_symbol("Fe"), "Fe");
  replace_known_symbols(own);
  EXPECT_EQ(&known_symbols(), table);
  replace_known_symbols(structure_ingest::KNOWN_ELEMENT_SYMBOLS);
}

TEST(Chemistry, FormulaAndSpecies) {
  const std::tuple<std::vector<std::string>, std::string, std::vector<std::string>> cases[] = {
      {{"O", "H", "H"}, "H2O", {"H", "O"}},
      {{"H", "O", "H"}, "H2O", {"H", "O"}},
      {{"C", "H", "H", "H", "H"}, "CH4", {"C", "H"}},
      {{"Na", "Cl"}, "ClNa", {"Cl", "Na"}},
      {{"Cl", "C", "Ca"}, "CCaCl", {"C", "Ca", "Cl"}},
      {std::vector<std::string>(), "", {}},
      {std::vector<std::string>(12, "C"), "C12", {"C"}},
      // Any text is counted as a symbol.
      {{"C", "cl", "", "Uue", "Cl", "cl", "C\xFF", "D{", std::string("C\0", 2)},
       std::string("CC", 2) + std::string("\0", 1) + "ClC\xFF" + "D{Uuecl2",
       {"", "C", std::string("C\0", 2), "Cl", "C\xFF", "D{", "Uue", "cl"}}};
  for (const auto& [symbols, formula, species] : cases) {
    EXPECT_EQ(formula_from_symbols(symbols), formula);
    EXPECT_EQ(species_of(symbol_counts(symbols)), species);
  }
}

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
            "{\"source_path\": \"b\uFFFDFF.cif\", "
            R"("format": "cif", "natoms": 2, "species": ["Fe"], )"
            R"("symbols": ["Fe", "Fe"], "positions_ang": [[0.1, -2.0, 3.5], [1.0, 1.0, 1.0]], )"
            R"("cell_ang": [[1.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 1.0]], )"
            R"("fractional": true, "formula": "Fe2", "sha256": "0123456789abcdef", )"
            R"("canonical_xyz_rel": "c/b.xyz", "cell_provenance": "scf.input", )"
            "\"warnings\": [\"one\", \"tw\uFFFDFF\"], \"ok\": true}");
  dict["positions_ang"][0][0] = 9;
  EXPECT_EQ(record, copy);
  record.warnings.emplace_back("one more");
  EXPECT_NE(record, copy);
  record.cell_ang.emplace();
  EXPECT_EQ(record.as_dict()["cell_ang"], Json::array());  // empty is not absent
}

}  // namespace
}  // namespace structure_ingest::internal
