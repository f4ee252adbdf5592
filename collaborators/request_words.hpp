// What the ordinary words of a request tell about the materials around them.
#pragma once

#include <cstdint>
#include <string_view>

namespace qelda_agent {

enum class WordKind : std::uint32_t {
  idiom = 1U << 0,           // holds an element name but means none: gold standard
  jargon = 1U << 1,          // an abbreviation of methods and files, no formula: SCF
  negation = 1U << 2,        // to the end of the clause
  short_negation = 1U << 3,  // of the next few words: no solvent
  dismissal = 1U << 4,       // of what stands before it in the clause: is excluded
  reference = 1U << 5,       // what follows, or the whole clause, only serves as an example: as for
  type_marker = 1U << 6,     // what stands before it names a structure type: -like, structure
  any_type_marker = 1U << 7,        // the same for every material, not just for well-known types
  open = 1U << 8,                   // an unnamed further material: the others
  open_unless_named = 1U << 9,      // the same unless its name stands beside it: substrate
  open_unless_molecule = 1U << 10,  // a molecule, unless one is named anywhere
  open_unless_solid = 1U << 11,     // a solid, unless one is named anywhere
  open_unless_two = 1U << 12,       // calls for two materials: interface
  open_unless_agent = 1U << 13,     // calls for a second one beside it or after "with": doped
  owner = 1U << 14,                 // my, this, all: points to an unnamed thing below
  thing = 1U << 15,                 // structure, file, cell
  not_a_material = 1U << 16,        // ordinary, though it ends like a chemical's name
  matter = 1U << 17,                // follows a symbol that is meant as an element: atoms, vacancy
  label_after = 1U << 18,           // follows a letter that is no element: point, edge, value
  label_before = 1U << 19,          // comes before one: phase I
  after_word_in = 1U << 20,         // follows In, As, Be, He, I ... where they are words
  link = 1U << 21,                  // may follow the symbol I or He without making it a pronoun
  ordinary_after = 1U << 24,        // makes an element name a proper name: the argon queue
  eponym = 1U << 25,       // a capitalised word that makes no proper name of the one before it
  part_after = 1U << 26,   // the material before it is a part of another or a guest: oxygen vacancy
  part_before = 1U << 27,  // the same for the material that follows: insert lithium
  unit_after = 1U << 28,   // makes even a compound a part: TiO6 octahedra
  irrep_after = 1U << 22,  // follows Ag, Au, Eu as symmetries of modes
  not_of_it = 1U << 23,    // makes of the next noun something else: input file, Fermi surface
};

/// Whether a word or an idiom (lower case, words set apart by single blanks) is of a kind.
bool is_kind(std::string_view words, WordKind kind);

}  // namespace qelda_agent
