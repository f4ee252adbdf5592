#include "structure_ingest/record/chemistry.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>

#include "collaborators/material_reference_data.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t LETTERS = 26;

bool is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::size_t letter_index(char c) {
  return static_cast<std::size_t>((c | 0x20) - 'a');
}

/// Whether a symbol is known, by its first letter and its second (1 to 26) or none (0).
using KnownSymbols = std::array<std::array<bool, LETTERS + 1>, LETTERS>;

KnownSymbols known_symbols() {
  KnownSymbols known{};
  for (const std::string_view symbol : qelda_agent::KNOWN_ELEMENT_SYMBOLS) {
    const bool first = !symbol.empty() && symbol[0] >= 'A' && symbol[0] <= 'Z';
    const bool second = symbol.size() == 2 && symbol[1] >= 'a' && symbol[1] <= 'z';
    if (!first || (symbol.size() != 1 && !second)) continue;  // can match no canonical symbol
    known[letter_index(symbol[0])][second ? letter_index(symbol[1]) + 1 : 0] = true;
  }
  return known;
}

std::map<std::string_view, std::size_t> counts_of(const std::vector<std::string>& symbols) {
  std::map<std::string_view, std::size_t> counts;
  // Files often list the atoms of an element in a row: each run is looked up once.
  for (auto run = symbols.begin(); run != symbols.end();) {
    const auto end = std::find_if(run, symbols.end(), [&](const auto& s) { return s != *run; });
    counts[*run] += static_cast<std::size_t>(end - run);
    run = end;
  }
  return counts;
}

}  // namespace

std::string canonical_symbol(std::string_view token) {
  static const KnownSymbols known = known_symbols();
  std::string_view rest = token;
  const std::string_view label =
      is_letter(token.empty() ? ' ' : token[0]) ? token : next_token(rest);
  if (label.empty() || !is_letter(label[0])) return {};
  const std::size_t first = letter_index(label[0]);
  std::string symbol(1, static_cast<char>('A' + first));
  std::size_t second = 0;
  if (label.size() > 1 && is_letter(label[1])) {
    second = letter_index(label[1]) + 1;
    symbol += static_cast<char>('a' + second - 1);
  }
  return known[first][second] ? symbol : std::string();
}

std::vector<std::string> species_of(const std::vector<std::string>& symbols) {
  std::vector<std::string> species;
  for (const auto& [symbol, count] : counts_of(symbols)) species.emplace_back(symbol);
  return species;
}

std::string formula_from_symbols(const std::vector<std::string>& symbols) {
  std::string formula;
  for (const auto& [symbol, count] : counts_of(symbols)) {
    formula += symbol;
    if (count > 1) formula += std::to_string(count);
  }
  return formula;
}

}  // namespace structure_ingest::internal
