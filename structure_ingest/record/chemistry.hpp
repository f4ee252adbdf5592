// Element symbols and chemical formulas.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// The set of known symbols, indexed by first and second letter.
class KnownSymbols {
 public:
  /// Symbols that are not in canonical form are left out: no label can match them.
  explicit KnownSymbols(std::span<const std::string_view> symbols);

  bool operator==(const KnownSymbols&) const = default;

  /// The length, 1 or 2, of the symbol at the front of a label with these first two characters; 0
  /// when there is none.
  std::size_t length(char first, char second) const {
    const auto row = letter(first), column = letter(second);
    return row < LETTERS ? lengths_[row][column < LETTERS ? column + 1 : 0] : 0;
  }

 private:
  static constexpr std::size_t LETTERS = 26;
  static std::size_t letter(char c) { return static_cast<unsigned char>((c | 0x20) - 'a'); }

  std::array<std::array<std::uint8_t, LETTERS + 1>, LETTERS> lengths_{};
};

/// The table of the agent's known symbols.
const KnownSymbols& known_symbols();

/// Puts these symbols in the place of KNOWN_ELEMENT_SYMBOLS, for a host that is given them at run
/// time. Safe while other threads read: the tables before stay valid, and equal ones are kept once.
void replace_known_symbols(std::span<const std::string_view> symbols);

/// The canonical element symbol that an atom label begins with (Fe for fe3+, Ca for CA), or the
/// empty string. Two leading letters are always read as one symbol, never the first alone: OW gives
/// the empty string, not oxygen.
std::string canonical_symbol(std::string_view token);

/// How often each symbol occurs, in ascending character order.
using SymbolCounts = std::map<std::string, std::size_t>;
SymbolCounts symbol_counts(const std::vector<std::string>& symbols);

/// The distinct symbols in ascending character order.
std::vector<std::string> species_of(const SymbolCounts& counts);

/// Each distinct symbol in ascending character order, followed by its count when above 1.
std::string formula_of(const SymbolCounts& counts);
std::string formula_from_symbols(const std::vector<std::string>& symbols);

}  // namespace structure_ingest::internal
