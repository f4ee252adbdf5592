// The covalent radii of the elements.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// The covalent radius in ångström of an element by its symbol ("Fe"); 0 for an element heavier
/// than curium, whose radius is not known, and for any other text. Values: B. Cordero et al.,
/// "Covalent radii revisited", Dalton Trans. (2008) 2832-2838, Table 2, sp3 for carbon and low spin
/// for manganese, iron and cobalt.
float covalent_radius_ang(std::string_view symbol);

/// That of each symbol, times `share`.
std::vector<float> scaled_radii(const std::vector<std::string>& symbols, float share);

}  // namespace structure_ingest::internal
