// The standard atomic weights of the elements.
#pragma once

#include <optional>
#include <string_view>

namespace structure_ingest::internal {

/// The standard atomic weight of an element by its symbol ("Fe"); nothing for an element without
/// one (it has no stable isotope with a known share), and for any other text. Values: the abridged
/// standard atomic weights of T. Prohaska et al., "Standard atomic weights of the elements 2021
/// (IUPAC Technical Report)", Pure Appl. Chem. 94 (2022) 573-600, as tabulated by the Commission on
/// Isotopic Abundances and Atomic Weights (CIAAW): at most five digits.
std::optional<double> standard_atomic_weight(std::string_view symbol);

}  // namespace structure_ingest::internal
