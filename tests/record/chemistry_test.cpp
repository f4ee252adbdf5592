#include "structure_ingest/record/chemistry.hpp"

#include <gtest/gtest.h>

#include "collaborators/material_reference_data.hpp"

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
  EXPECT_EQ(qelda_agent::KNOWN_ELEMENT_SYMBOLS.size(), 118U);
  for (const std::string_view symbol : qelda_agent::KNOWN_ELEMENT_SYMBOLS) {
    EXPECT_EQ(canonical_symbol(symbol), symbol);
  }
}

TEST(Chemistry, FormulaAndSpecies) {
  struct Case {
    std::vector<std::string> symbols;
    const char* formula;
    std::vector<std::string> species;
  };
  for (const auto& [symbols, formula, species] :
       {Case{{"O", "H", "H"}, "H2O", {"H", "O"}}, Case{{"H", "O", "H"}, "H2O", {"H", "O"}},
        Case{{"C", "H", "H", "H", "H"}, "CH4", {"C", "H"}},
        Case{{"Na", "Cl"}, "ClNa", {"Cl", "Na"}},
        Case{{"Cl", "C", "Ca"}, "CCaCl", {"C", "Ca", "Cl"}}, Case{{}, "", {}},
        Case{std::vector<std::string>(12, "C"), "C12", {"C"}}}) {
    EXPECT_EQ(formula_from_symbols(symbols), formula);
    EXPECT_EQ(species_of(symbols), species);
  }
}

}  // namespace
}  // namespace structure_ingest::internal
