// What the ordinary words of a request tell about the materials around them.
#pragma once

#include <cstdint>
#include <string_view>

namespace agent_modules {

enum class WordKind : std::uint8_t {
  idiom,                 // holds an element name but means none: gold standard
  jargon,                // an abbreviation of methods and files, no formula: SCF
  negation,              // to the end of the clause
  short_negation,        // of the next few words: no solvent
  dismissal,             // of what stands before it in the clause: is excluded
  reference,             // what follows, or the whole clause, only serves as an example: as for
  type_marker,           // what stands before it names a structure type: -like, structure
  any_type_marker,       // the same for every material, not just for well-known types
  open,                  // an unnamed further material: the others
  open_unless_named,     // the same unless its name stands beside it: substrate
  open_unless_molecule,  // a molecule, unless one is named anywhere
  open_unless_solid,     // a solid, unless one is named anywhere
  open_unless_two,       // calls for two materials: interface
  open_unless_agent,     // calls for a second one beside it or after "with": doped
  owner,                 // my, this, all: points to an unnamed thing below
  thing,                 // structure, file, cell
  not_a_material,        // ordinary, though it ends like a chemical's name
  matter,                // follows a symbol that is meant as an element: atoms, vacancy
  part_after,            // the material before it is a part of another or a guest: oxygen vacancy
  unit_after,            // makes even a compound a part: TiO6 octahedra
  part_before,           // the same for the material that follows: insert lithium
  label_after,           // follows a letter that is no element: point, edge, value
  label_before,          // comes before one: phase I
  after_word_in,         // follows In, As, Be, He, I ... where they are words
  ordinary_after,        // makes an element name a proper name: the argon queue
  eponym,                // a capitalised word that makes no proper name of the one before it
  link,                  // may follow the symbol I or He without making it a pronoun
  irrep_after,           // follows Ag, Au, Eu as symmetries of modes
  not_of_it,             // makes of the next noun something else: input file, Fermi surface
  unsafe_symbol,         // symbols that are words, names or abbreviations more often
  word_like_symbol,      // symbols that are English words
  symbol_of_mode,        // symbols that name symmetries of modes too
  lower_case_symbol,     // symbols that are no words even without their capital
  capital_formula,       // formulas, though they look like abbreviations
  element_molecule,      // molecules and ions of one element
  two_letter_lattice,    // how the symbol of a space group may begin: Fm-3m
  path_point,            // letters on a path through the Brillouin zone
  proper_name,           // names of planets, products and people too
  chemical_ending,       // how names of chemicals end
  before_lead,           // makes "lead" the element
  before_symbol,         // comes before a symbol that is meant as an element
  before_lower_case,     // the same for a symbol without its capital: bulk si
  single_atom,           // follows a one-letter symbol that is meant as an element
  wish,                  // makes "like" a verb: would like
  namer,                 // stands between a material and its name: made of
  adding,                // introduces a further thing
  article,               // may follow those: and a slab
};

/// Whether a word or an idiom (words set apart by single blanks) is of a kind. Symbols, formulas
/// and points of a path are looked up as written, all else in lower case.
bool is_kind(std::string_view words, WordKind kind);

}  // namespace agent_modules
