// The known chemical elements: the contract of the agent's material reference data.
#pragma once

#include <span>
#include <string_view>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

/// Every element symbol that structure files may contain, in canonical form (Fe, not FE). Declared
/// here and defined by whoever supplies the agent's modules; without a definition the library does
/// not link. It must be constant-initialised, so that it can be read at any time.
STRUCTURE_INGEST_API extern const std::span<const std::string_view> KNOWN_ELEMENT_SYMBOLS;

}  // namespace structure_ingest
