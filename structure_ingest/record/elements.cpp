#include "structure_ingest/record/elements.hpp"

#include <array>
#include <cstddef>

namespace structure_ingest::internal {
namespace {

// By atomic number. The first is unknown.
constexpr std::array<Element, 110> ELEMENTS = {{
    {"", 0, 0, 0xB0B0B0},          {"H", 1.0080, 31, 0xFFFFFF},   {"He", 4.0026, 28, 0xD9FFFF},
    {"Li", 6.94, 128, 0xCC80FF},   {"Be", 9.0122, 96, 0xC2FF00},  {"B", 10.81, 84, 0xFFB5B5},
    {"C", 12.011, 76, 0x909090},   {"N", 14.007, 71, 0x3050F8},   {"O", 15.999, 66, 0xFF0D0D},
    {"F", 18.998, 57, 0x90E050},   {"Ne", 20.180, 58, 0xB3E3F5},  {"Na", 22.990, 166, 0xAB5CF2},
    {"Mg", 24.305, 141, 0x8AFF00}, {"Al", 26.982, 121, 0xBFA6A6}, {"Si", 28.085, 111, 0xF0C8A0},
    {"P", 30.974, 107, 0xFF8000},  {"S", 32.06, 105, 0xFFFF30},   {"Cl", 35.45, 102, 0x1FF01F},
    {"Ar", 39.95, 106, 0x80D1E3},  {"K", 39.098, 203, 0x8F40D4},  {"Ca", 40.078, 176, 0x3DFF00},
    {"Sc", 44.956, 170, 0xE6E6E6}, {"Ti", 47.867, 160, 0xBFC2C7}, {"V", 50.942, 153, 0xA6A6AB},
    {"Cr", 51.996, 139, 0x8A99C7}, {"Mn", 54.938, 139, 0x9C7AC7}, {"Fe", 55.845, 132, 0xE06633},
    {"Co", 58.933, 126, 0xF090A0}, {"Ni", 58.693, 124, 0x50D050}, {"Cu", 63.546, 132, 0xC88033},
    {"Zn", 65.38, 122, 0x7D80B0},  {"Ga", 69.723, 122, 0xC28F8F}, {"Ge", 72.630, 120, 0x668F8F},
    {"As", 74.922, 119, 0xBD80E3}, {"Se", 78.971, 120, 0xFFA100}, {"Br", 79.904, 120, 0xA62929},
    {"Kr", 83.798, 116, 0x5CB8D1}, {"Rb", 85.468, 220, 0x702EB0}, {"Sr", 87.62, 195, 0x00FF00},
    {"Y", 88.906, 190, 0x94FFFF},  {"Zr", 91.224, 175, 0x94E0E0}, {"Nb", 92.906, 164, 0x73C2C9},
    {"Mo", 95.95, 154, 0x54B5B5},  {"Tc", 0, 147, 0x3B9E9E},      {"Ru", 101.07, 146, 0x248F8F},
    {"Rh", 102.91, 142, 0x0A7D8C}, {"Pd", 106.42, 139, 0x006985}, {"Ag", 107.87, 145, 0xC0C0C0},
    {"Cd", 112.41, 144, 0xFFD98F}, {"In", 114.82, 142, 0xA67573}, {"Sn", 118.71, 139, 0x668080},
    {"Sb", 121.76, 139, 0x9E63B5}, {"Te", 127.60, 138, 0xD47A00}, {"I", 126.90, 139, 0x940094},
    {"Xe", 131.29, 140, 0x429EB0}, {"Cs", 132.91, 244, 0x57178F}, {"Ba", 137.33, 215, 0x00C900},
    {"La", 138.91, 207, 0x70D4FF}, {"Ce", 140.12, 204, 0xFFFFC7}, {"Pr", 140.91, 203, 0xD9FFC7},
    {"Nd", 144.24, 201, 0xC7FFC7}, {"Pm", 0, 199, 0xA3FFC7},      {"Sm", 150.36, 198, 0x8FFFC7},
    {"Eu", 151.96, 198, 0x61FFC7}, {"Gd", 157.25, 196, 0x45FFC7}, {"Tb", 158.93, 194, 0x30FFC7},
    {"Dy", 162.50, 192, 0x1FFFC7}, {"Ho", 164.93, 192, 0x00FF9C}, {"Er", 167.26, 189, 0x00E675},
    {"Tm", 168.93, 190, 0x00D452}, {"Yb", 173.05, 187, 0x00BF38}, {"Lu", 174.97, 187, 0x00AB24},
    {"Hf", 178.49, 175, 0x4DC2FF}, {"Ta", 180.95, 170, 0x4DA6FF}, {"W", 183.84, 162, 0x2194D6},
    {"Re", 186.21, 151, 0x267DAB}, {"Os", 190.23, 144, 0x266696}, {"Ir", 192.22, 141, 0x175487},
    {"Pt", 195.08, 136, 0xD0D0E0}, {"Au", 196.97, 136, 0xFFD123}, {"Hg", 200.59, 132, 0xB8B8D0},
    {"Tl", 204.38, 145, 0xA6544D}, {"Pb", 207.2, 146, 0x575961},  {"Bi", 208.98, 148, 0x9E4FB5},
    {"Po", 0, 140, 0xAB5C00},      {"At", 0, 150, 0x754F45},      {"Rn", 0, 150, 0x428296},
    {"Fr", 0, 260, 0x420066},      {"Ra", 0, 221, 0x007D00},      {"Ac", 0, 215, 0x70ABFA},
    {"Th", 232.04, 206, 0x00BAFF}, {"Pa", 231.04, 200, 0x00A1FF}, {"U", 238.03, 196, 0x008FFF},
    {"Np", 0, 190, 0x0080FF},      {"Pu", 0, 187, 0x006BFF},      {"Am", 0, 180, 0x545CF2},
    {"Cm", 0, 169, 0x785CE3},      {"Bk", 0, 0, 0x8A4FE3},        {"Cf", 0, 0, 0xA136D4},
    {"Es", 0, 0, 0xB31FD4},        {"Fm", 0, 0, 0xB31FBA},        {"Md", 0, 0, 0xB30DA6},
    {"No", 0, 0, 0xBD0D87},        {"Lr", 0, 0, 0xC70066},        {"Rf", 0, 0, 0xCC0059},
    {"Db", 0, 0, 0xD1004F},        {"Sg", 0, 0, 0xD90045},        {"Bh", 0, 0, 0xE00038},
    {"Hs", 0, 0, 0xE6002E},        {"Mt", 0, 0, 0xEB0026},
}};

constexpr std::size_t CAPITALS = 26;

/// The index of a symbol of one or two letters in PLACES; not less than its size for other text.
constexpr std::size_t index_of(std::string_view symbol) {
  constexpr std::size_t none = CAPITALS * (CAPITALS + 1);
  if (symbol.empty() || symbol.size() > 2 || symbol[0] < 'A' || symbol[0] > 'Z') return none;
  const std::size_t row = static_cast<std::size_t>(symbol[0] - 'A') * (CAPITALS + 1);
  if (symbol.size() == 1) return row;
  return symbol[1] < 'a' || symbol[1] > 'z' ? none
                                            : row + 1 + static_cast<std::size_t>(symbol[1] - 'a');
}

/// Where the symbols stand in ELEMENTS; 0 for none.
constexpr std::array<std::uint8_t, CAPITALS*(CAPITALS + 1)> PLACES = [] {
  std::array<std::uint8_t, CAPITALS*(CAPITALS + 1)> places{};
  for (std::size_t i = 1; i < ELEMENTS.size(); ++i) {
    places[index_of(ELEMENTS[i].symbol)] = static_cast<std::uint8_t>(i);
  }
  return places;
}();

}  // namespace

const Element& element_of(std::string_view symbol) {
  const std::size_t index = index_of(symbol);
  return ELEMENTS[index < PLACES.size() ? PLACES[index] : 0];
}

std::vector<float> scaled_radii(const std::vector<std::string>& symbols, float share) {
  std::vector<float> radii;
  radii.reserve(symbols.size());
  for (const std::string& symbol : symbols) radii.push_back(share * covalent_radius_ang(symbol));
  return radii;
}

}  // namespace structure_ingest::internal
