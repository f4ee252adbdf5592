// What English names of elements and materials stand for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "collaborators/agent_modules/relevance/chemical_formula.hpp"

namespace agent_modules {

/// How much a name says.
enum class Naming : std::uint8_t {
  certain,   // nothing but this material
  possible,  // an ordinary word too (lead, lime), or only a part of the material (cobalt blue)
  anion,     // the rest of a compound's name (oxide), or its first word (ferric)
};

enum class Sort : std::uint8_t { solid, molecule };

struct NamedMaterial {
  Elements elements = {};
  Naming naming = Naming::certain;
  Sort sort = Sort::solid;
  bool prototype = false;  // names a structure type as well: rock salt, diamond
  bool capitals = false;   // an abbreviation: STO, but not "sto"
};

/// The longest names and idioms have this many words.
inline constexpr std::size_t LONGEST_NAME_IN_WORDS = 3;

/// The material of a name in lower-case ASCII, its words set apart by single blanks ("rock salt",
/// "h bn"), in the singular or the plural; null when it names none.
const NamedMaterial* material_named(std::string_view name);

/// Whether a well-known formula is written so in lower case without counts to tell it from a word:
/// nacl, gaas.
bool is_well_known_formula(std::string_view lower_case_text);

}  // namespace agent_modules
