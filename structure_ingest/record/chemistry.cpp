#include "structure_ingest/record/chemistry.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/contracts/collaborators.hpp"

// Both tables are indexed by letters instead of searched, because every atom of every file is
// looked up. KnownSymbols maps the first two letters of a label to the length of its symbol.
// Counting maps a canonical symbol to one index, its first letter times COLUMNS plus the five
// lowest bits of its second letter, such that ascending indices are ascending symbols; any other
// text is counted in the map itself.
namespace structure_ingest::internal {
namespace {

constexpr std::size_t LETTERS = 26;

/// The second letters of symbols, each at the index of its five lowest bits; NUL for no second
/// letter.
constexpr std::string_view SECOND_LETTERS("\0abcdefghijklmnopqrstuvwxyz\0\0\0\0\0", 32);
constexpr std::size_t COLUMNS = SECOND_LETTERS.size();
constexpr std::size_t SYMBOLS = LETTERS * COLUMNS;

/// What stands in the place of KNOWN_ELEMENT_SYMBOLS; null for nothing.
std::atomic<const KnownSymbols*> replaced_symbols = nullptr;

/// The letters of a symbol as one index in ascending character order; SYMBOLS for text that is not
/// a canonical symbol. Symbols are unpredictable: do not branch on their length.
std::size_t symbol_index(const std::string& symbol) {
  if (symbol.empty()) return SYMBOLS;
  const auto first = static_cast<std::size_t>(symbol[0] - 'A');
  const std::size_t column = static_cast<unsigned char>(symbol[1]) % COLUMNS;
  const bool canonical = first < LETTERS && symbol[1] == SECOND_LETTERS[column] &&
                         symbol.size() - 1 == static_cast<std::size_t>(column != 0);
  return canonical ? first * COLUMNS + column : SYMBOLS;
}

}  // namespace

KnownSymbols::KnownSymbols(std::span<const std::string_view> symbols) {
  for (const std::string_view symbol : symbols) {
    const bool first = !symbol.empty() && is_capital(symbol[0]);
    const bool second = symbol.size() == 2 && is_small_letter(symbol[1]);
    if (!first || (symbol.size() != 1 && !second)) continue;  // not canonical: never found
    lengths_[letter(symbol[0])][second ? letter(symbol[1]) + 1 : 0] = second ? 2 : 1;
  }
}

const KnownSymbols& known_symbols() {
  static const KnownSymbols known(KNOWN_ELEMENT_SYMBOLS);
  const KnownSymbols* const replaced = replaced_symbols.load(std::memory_order_acquire);
  return replaced == nullptr ? known : *replaced;
}

void replace_known_symbols(std::span<const std::string_view> symbols) {
  static std::mutex mutex;
  static std::deque<KnownSymbols> tables;  // never shrinks: a reader may hold any of them
  const KnownSymbols wanted(symbols);
  const std::lock_guard lock(mutex);
  auto table = std::find(tables.begin(), tables.end(), wanted);
  if (table == tables.end()) table = tables.insert(tables.end(), wanted);
  replaced_symbols.store(&*table, std::memory_order_release);
}

std::string canonical_symbol(std::string_view token) {
  std::string_view rest = token;
  const std::string_view label =
      is_letter(token.empty() ? ' ' : token[0]) ? token : next_token(rest);
  if (label.empty()) return {};
  const char second = label.size() > 1 ? label[1] : ' ';
  const std::array<char, 2> letters = {static_cast<char>(label[0] & ~0x20),
                                       static_cast<char>(second | 0x20)};
  return {letters.data(), known_symbols().length(label[0], second)};
}

SymbolCounts symbol_counts(const std::vector<std::string>& symbols) {
  SymbolCounts counts;
  std::array<std::size_t, SYMBOLS> canonical{};
  for (const std::string& symbol : symbols) {
    if (const std::size_t index = symbol_index(symbol); index < SYMBOLS) {
      ++canonical[index];
    } else {
      ++counts[symbol];
    }
  }
  for (std::size_t index = 0; index < SYMBOLS; ++index) {
    if (canonical[index] == 0) continue;
    std::string symbol(1, static_cast<char>('A' + index / COLUMNS));
    if (index % COLUMNS > 0) symbol += SECOND_LETTERS[index % COLUMNS];
    counts[symbol] = canonical[index];
  }
  return counts;
}

std::vector<std::string> species_of(const SymbolCounts& counts) {
  std::vector<std::string> species;
  for (const auto& [symbol, count] : counts) species.push_back(symbol);
  return species;
}

std::string formula_of(const SymbolCounts& counts) {
  std::string formula;
  for (const auto& [symbol, count] : counts) {
    formula += symbol;
    if (count > 1) formula += std::to_string(count);
  }
  return formula;
}

std::string formula_from_symbols(const std::vector<std::string>& symbols) {
  return formula_of(symbol_counts(symbols));
}

}  // namespace structure_ingest::internal
