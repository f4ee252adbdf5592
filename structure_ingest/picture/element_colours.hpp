// The colours in which elements are drawn.
#pragma once

#include <cstdint>
#include <string_view>

namespace structure_ingest::internal {

/// The colour of an element by its symbol, as 0xRRGGBB: the scheme of the viewer Jmol, which most
/// programs of this field follow. Grey for any other text.
std::uint32_t element_colour(std::string_view symbol);

}  // namespace structure_ingest::internal
