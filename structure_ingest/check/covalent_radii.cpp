#include "structure_ingest/check/covalent_radii.hpp"

#include <array>
#include <cstddef>
#include <utility>

namespace structure_ingest::internal {
namespace {

constexpr std::array<std::pair<std::string_view, float>, 96> RADII_ANG = {{
    {"H", 0.31F},  {"He", 0.28F}, {"Li", 1.28F}, {"Be", 0.96F}, {"B", 0.84F},  {"C", 0.76F},
    {"N", 0.71F},  {"O", 0.66F},  {"F", 0.57F},  {"Ne", 0.58F}, {"Na", 1.66F}, {"Mg", 1.41F},
    {"Al", 1.21F}, {"Si", 1.11F}, {"P", 1.07F},  {"S", 1.05F},  {"Cl", 1.02F}, {"Ar", 1.06F},
    {"K", 2.03F},  {"Ca", 1.76F}, {"Sc", 1.70F}, {"Ti", 1.60F}, {"V", 1.53F},  {"Cr", 1.39F},
    {"Mn", 1.39F}, {"Fe", 1.32F}, {"Co", 1.26F}, {"Ni", 1.24F}, {"Cu", 1.32F}, {"Zn", 1.22F},
    {"Ga", 1.22F}, {"Ge", 1.20F}, {"As", 1.19F}, {"Se", 1.20F}, {"Br", 1.20F}, {"Kr", 1.16F},
    {"Rb", 2.20F}, {"Sr", 1.95F}, {"Y", 1.90F},  {"Zr", 1.75F}, {"Nb", 1.64F}, {"Mo", 1.54F},
    {"Tc", 1.47F}, {"Ru", 1.46F}, {"Rh", 1.42F}, {"Pd", 1.39F}, {"Ag", 1.45F}, {"Cd", 1.44F},
    {"In", 1.42F}, {"Sn", 1.39F}, {"Sb", 1.39F}, {"Te", 1.38F}, {"I", 1.39F},  {"Xe", 1.40F},
    {"Cs", 2.44F}, {"Ba", 2.15F}, {"La", 2.07F}, {"Ce", 2.04F}, {"Pr", 2.03F}, {"Nd", 2.01F},
    {"Pm", 1.99F}, {"Sm", 1.98F}, {"Eu", 1.98F}, {"Gd", 1.96F}, {"Tb", 1.94F}, {"Dy", 1.92F},
    {"Ho", 1.92F}, {"Er", 1.89F}, {"Tm", 1.90F}, {"Yb", 1.87F}, {"Lu", 1.87F}, {"Hf", 1.75F},
    {"Ta", 1.70F}, {"W", 1.62F},  {"Re", 1.51F}, {"Os", 1.44F}, {"Ir", 1.41F}, {"Pt", 1.36F},
    {"Au", 1.36F}, {"Hg", 1.32F}, {"Tl", 1.45F}, {"Pb", 1.46F}, {"Bi", 1.48F}, {"Po", 1.40F},
    {"At", 1.50F}, {"Rn", 1.50F}, {"Fr", 2.60F}, {"Ra", 2.21F}, {"Ac", 2.15F}, {"Th", 2.06F},
    {"Pa", 2.00F}, {"U", 1.96F},  {"Np", 1.90F}, {"Pu", 1.87F}, {"Am", 1.80F}, {"Cm", 1.69F},
}};

constexpr std::size_t LETTERS = 26;
constexpr std::size_t NO_SYMBOL = LETTERS * (LETTERS + 1);

/// The place of a symbol in the table, by its letters; NO_SYMBOL for any other text.
constexpr std::size_t place_of(std::string_view symbol) {
  if (symbol.empty() || symbol.size() > 2) return NO_SYMBOL;
  const std::size_t first = static_cast<unsigned char>(symbol[0] - 'A');
  const std::size_t second =
      symbol.size() == 1 ? 0 : static_cast<unsigned char>(symbol[1] - 'a') + 1;
  return first < LETTERS && second <= LETTERS ? first * (LETTERS + 1) + second : NO_SYMBOL;
}

/// One lookup without a search: this is called for every atom of a structure.
constexpr std::array<float, NO_SYMBOL + 1> TABLE = [] {
  std::array<float, NO_SYMBOL + 1> table{};
  for (const auto& [symbol, radius] : RADII_ANG) table[place_of(symbol)] = radius;
  return table;
}();

}  // namespace

float covalent_radius_ang(std::string_view symbol) {
  return TABLE[place_of(symbol)];
}

std::vector<float> scaled_radii(const std::vector<std::string>& symbols, float share) {
  std::vector<float> radii;
  radii.reserve(symbols.size());
  for (const std::string& symbol : symbols) radii.push_back(share * covalent_radius_ang(symbol));
  return radii;
}

}  // namespace structure_ingest::internal
