// Element symbols and chemical formulas.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// The canonical element symbol that an atom label begins with (Fe for fe3+, Ca for CA), or the
/// empty string. Two leading letters are always read as one symbol: there is no second try with
/// the first alone, so that OW is nothing rather than oxygen.
std::string canonical_symbol(std::string_view token);

/// The distinct symbols in ascending character order.
std::vector<std::string> species_of(const std::vector<std::string>& symbols);

/// Each distinct symbol in ascending character order, followed by its count when above 1.
std::string formula_from_symbols(const std::vector<std::string>& symbols);

}  // namespace structure_ingest::internal
