#include "structure_ingest/record/chemistry.hpp"

#include <gtest/gtest.h>

#include "structure_ingest/contracts/collaborators.hpp"

namespace structure_ingest::internal {
namespace {

TEST(Chemistry, CanonicalSymbols) {
  struct Case {
    const char* label;
    const char* symbol;
  };
  for (const auto& [label, symbol] :
       {Case{"Fe", "Fe"},  Case{"FE", "Fe"},     Case{"fe3+", "Fe"},     Case{"C1", "C"},
        Case{" h\t", "H"}, Case{"CA", "Ca"},     Case{"HO", "Ho"},       Case{"CO", "Co"},
        Case{"Fee", "Fe"}, Case{"o\u00E9", "O"}, Case{"\u00A0U_2", "U"}, Case{"Cx", ""},
        Case{"OW", ""},    Case{"1H", ""},       Case{"*C", ""},         Case{"", ""},
        Case{" ", ""},     Case{"X", ""},        Case{"D", ""},          Case{"\u00C9r", ""}}) {
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
  struct Case {
    std::vector<std::string> symbols;
    std::string formula;
    std::vector<std::string> species;
  };
  for (const auto& [symbols, formula, species] :
       {Case{{"O", "H", "H"}, "H2O", {"H", "O"}}, Case{{"H", "O", "H"}, "H2O", {"H", "O"}},
        Case{{"C", "H", "H", "H", "H"}, "CH4", {"C", "H"}},
        Case{{"Na", "Cl"}, "ClNa", {"Cl", "Na"}},
        Case{{"Cl", "C", "Ca"}, "CCaCl", {"C", "Ca", "Cl"}}, Case{{}, "", {}},
        Case{std::vector<std::string>(12, "C"), "C12", {"C"}},
        // Any text is counted as a symbol.
        Case{{"C", "cl", "", "Uue", "Cl", "cl", "C\xFF", "D{", std::string("C\0", 2)},
             std::string("CC", 2) + std::string("\0", 1) + "ClC\xFF" + "D{Uuecl2",
             {"", "C", std::string("C\0", 2), "Cl", "C\xFF", "D{", "Uue", "cl"}}}) {
    EXPECT_EQ(formula_from_symbols(symbols), formula);
    EXPECT_EQ(species_of(symbol_counts(symbols)), species);
  }
}

}  // namespace
}  // namespace structure_ingest::internal
