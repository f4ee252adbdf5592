// What is known of the elements: their weights, radii and colours.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

struct Element {
  std::string_view symbol;
  /// The standard atomic weight; 0 for an element without one, which has no stable isotope with a
  /// known share. Values: the abridged standard atomic weights of T. Prohaska et al., "Standard
  /// atomic weights of the elements 2021 (IUPAC Technical Report)", Pure Appl. Chem. 94 (2022)
  /// 573-600, as tabulated by the Commission on Isotopic Abundances and Atomic Weights (CIAAW): at
  /// most five digits.
  double weight;
  /// The covalent radius in picometres; 0 for an element heavier than curium, whose
  /// radius is not known. Values: B. Cordero et al., "Covalent radii revisited", Dalton Trans.
  /// (2008) 2832-2838, Table 2, sp3 for carbon and low spin for manganese, iron and cobalt.
  std::uint16_t covalent_radius_pm;
  /// 0xRRGGBB: the scheme of the viewer Jmol, which most programs of this field follow.
  std::uint32_t colour;
};

/// The element with this symbol ("Fe"); for any other text one that is grey and has no weight and
/// no radius. Takes the same short time for all: it is called for every atom of a structure.
const Element& element_of(std::string_view symbol);

/// Its covalent radius in ångström; 0 where none is known.
inline float covalent_radius_ang(std::string_view symbol) {
  return static_cast<float>(element_of(symbol).covalent_radius_pm) / 100;
}

/// That of each symbol, times `share`.
std::vector<float> scaled_radii(const std::vector<std::string>& symbols, float share);

}  // namespace structure_ingest::internal
