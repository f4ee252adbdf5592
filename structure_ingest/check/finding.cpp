#include "structure_ingest/check/finding.hpp"

#include <algorithm>
#include <array>

namespace structure_ingest {
namespace {

constexpr Severity NOTE = Severity::note;
constexpr Severity WARNING = Severity::warning;
constexpr Severity ERROR = Severity::error;

constexpr const char* FILE_ = "file";
constexpr const char* GEOMETRY = "geometry";
constexpr const char* SECOND = "second reader";
constexpr const char* READER = "reader";

// The columns: code; severity, at worst and at least; source; when it is found; what it means; what
// to do.
constexpr auto KINDS = std::to_array<FindingKind>({
    {"not_read", ERROR, ERROR, FILE_, "The file gave no structure.",
     "There is nothing to compute with. The message says what the file is or which line stopped "
     "the reader.",
     "Mend the line that is named, or get the file in another format."},
    {"fractional_without_cell", ERROR, ERROR, FILE_,
     "A CIF gives fractional coordinates but no complete cell.",
     "The fractions were taken as ångström, so that all atoms lie within a cube of 1 Å.",
     "Add the six cell parameters from the publication or database."},
    {"coordinates_look_fractional", ERROR, ERROR, GEOMETRY,
     "All atoms lie within a cube of 1 Å, closer than any bond, and there is no cell or one that "
     "is far larger.",
     "Fractional coordinates were most probably taken as ångström.",
     "Multiply the coordinates by the lattice vectors, or use a format that says that they are "
     "fractional."},
    {"columns_not_as_declared", ERROR, ERROR, FILE_,
     "`Properties` of an extended XYZ file puts the positions or elements elsewhere than where "
     "they were read, or has no positions.",
     "Forces, numbers or something else were read as positions.",
     "Write the file again with `Properties=species:S:1:pos:R:3` and what else there is behind."},
    {"elements_from_title", ERROR, NOTE, FILE_,
     "A VASP file has no line of element symbols: a warning where its title is nothing but "
     "symbols, an error where they were made of other words, a note where a POTCAR beside it "
     "confirms them.",
     "The elements were guessed from the first line of the file: POSCAR becomes phosphorus, "
     "oxygen, sulphur and carbon.",
     "Write the symbols of the elements in a line of their own above the counts."},
    {"negative_scale", ERROR, ERROR, FILE_, "The scale factor of a VASP file is negative.",
     "A negative factor is the volume of the cell in Å³, but was taken as a multiplier: cell and "
     "positions are wrong.",
     "Write a positive factor, the cube root of the wanted volume over that of the vectors."},
    {"three_scales", ERROR, ERROR, FILE_, "A VASP file has three scale factors that differ.",
     "Only the first was used, for all three directions.",
     "Multiply the vectors and Cartesian positions by the factors, and write the factor 1.0."},
    {"coordinate_mode_unclear", ERROR, WARNING, FILE_,
     "The line of a VASP file that is to say direct or Cartesian begins with neither; an error "
     "where it says Cartesian behind a blank.",
     "The coordinates were taken as direct, which VASP itself does with such a line.",
     "Write `Direct` or `Cartesian` at the very beginning of the line."},
    {"species_counts_differ", ERROR, ERROR, FILE_,
     "A VASP file names another number of species than it counts.",
     "Elements and counts may be assigned to each other wrongly, or atoms are missing.",
     "Make lines 6 and 7 agree."},
    {"non_finite_coordinates", ERROR, ERROR, GEOMETRY, "A coordinate is nan or infinite.",
     "The calculation that wrote the file had failed, most probably.",
     "Take an earlier step of that calculation."},
    {"degenerate_cell", ERROR, ERROR, GEOMETRY,
     "A lattice vector is zero or not finite, or the vectors lie in one plane.",
     "No periodic calculation can use such a cell.", "Correct the lattice vectors."},
    {"overlapping_atoms", ERROR, WARNING, GEOMETRY,
     "Two atoms, periodic images included, are closer than 0.6 of the sum of their covalent radii; "
     "an error below 0.5 Å.",
     "Alternatives of a disordered structure that were all kept, copies on the border of a cell, a "
     "wrong unit or wrong symmetry.",
     "Look at the atoms that are named, and remove the ones that do not belong."},
    {"label_reinterpreted", ERROR, WARNING, FILE_,
     "A label was read as an element that it probably does not mean: CA among the atoms of a "
     "protein as calcium, Carbon as calcium; an error where the type of a CIF's site is in "
     "capitals, of which the reader takes the first letter.",
     "Some atoms are of the wrong element.",
     "Write element symbols as such: Cl, not CL; C, not CA."},
    {"not_positions", WARNING, WARNING, FILE_,
     "The name or the comment line of an XYZ file tells of forces, velocities or the like.",
     "What was read as positions may be something else.",
     "Take the file of positions of the same calculation."},
    {"not_angstrom", WARNING, WARNING, FILE_,
     "The comment line of an XYZ file names the unit bohr.",
     "Coordinates are taken as ångström: all distances may be too long by 1.89.",
     "Convert the coordinates to ångström."},
    {"several_frames", WARNING, WARNING, FILE_, "An XYZ file has more than one frame.",
     "The record holds the first, which is often the start of an optimisation and not its result.",
     "Write the frame that is meant into a file of its own."},
    {"several_blocks", WARNING, WARNING, FILE_, "A CIF has several data blocks with atoms.",
     "The record holds the last, whatever the others are.",
     "Write the block that is meant into a file of its own."},
    {"partial_occupancy", WARNING, WARNING, FILE_,
     "Sites of a CIF are occupied by less than one atom.",
     "They became full atoms: composition and density are not those of the crystal.",
     "Build an ordered model of the composition that is meant, such as a supercell."},
    {"mixed_site", WARNING, WARNING, FILE_, "Several species share one place in a CIF.",
     "The record has one of them there: the others are lost.",
     "Build an ordered model of the composition that is meant, such as a supercell."},
    {"disordered_sites", WARNING, WARNING, FILE_, "Sites of a CIF belong to disorder groups.",
     "The groups are alternatives of each other, and the record holds the atoms of all.",
     "Keep one group of each assembly."},
    {"readers_disagree", WARNING, WARNING, SECOND,
     "A second reader, gemmi, expands the same block of a CIF to other atoms.",
     "One of the readers misunderstands the symmetry or the labels, or sites lie so near to a "
     "symmetry element that rounding decides.",
     "Compare both with the formula, and check the space group and its setting."},
    {"formula_mismatch", WARNING, WARNING, FILE_,
     "The record is not `_chemical_formula_sum` times Z of its CIF.",
     "Atoms are missing, often hydrogen, or symmetry was misunderstood.",
     "Add the atoms that are missing, or check the symmetry."},
    {"volume_mismatch", WARNING, WARNING, FILE_,
     "The cell of a CIF has another volume than its `_cell_volume`, by more than 1 %.",
     "A cell parameter is wrong, or the volume is another cell's.",
     "Compare the six cell parameters with the publication."},
    {"density_mismatch", WARNING, WARNING, FILE_,
     "The record has another density than its CIF states, by more than 5 %.",
     "Atoms are missing or too many.", "Compare the record with the formula and Z."},
    {"symmetry_unclear", WARNING, WARNING, SECOND,
     "A CIF declares another space group than its operations form, or one with several settings "
     "and no operations, or no symmetry at all though its sites are few for the formula.",
     "The atoms of the cell depend on which of them is right.",
     "Add the operations of the setting that is meant."},
    {"beyond_space_group", WARNING, WARNING, FILE_,
     "A CIF describes a modulated or a magnetic structure.",
     "The record holds atoms only: modulations, moments and magnetic symmetry are lost.",
     "Set the moments in the calculation, or use a commensurate approximant."},
    {"site_labels_disagree", WARNING, WARNING, FILE_,
     "Labels behind the coordinates of a VASP file name other elements than the record.",
     "Either the labels or the line of symbols is out of date.", "Make them agree."},
    {"left_handed_cell", WARNING, WARNING, GEOMETRY,
     "The determinant of the lattice vectors is negative.",
     "Some programs refuse such a cell, and others exchange axes in silence.",
     "Exchange two vectors, or turn one around, and the fractional coordinates with them."},
    {"unusual_density", WARNING, WARNING, GEOMETRY,
     "The cell is denser than any solid, or nearly empty without being a slab, a wire or a "
     "molecule in a box.",
     "The cell has a wrong unit or scale, or atoms are missing.",
     "Check the lattice vectors and the number of atoms."},
    {"cell_not_read", WARNING, WARNING, FILE_,
     "The comment line of an XYZ file gives a cell in a form that is not read.",
     "The record has no cell though the file has one.",
     "Write it as `Lattice=\"ax ay az bx by bz cx cy cz\"` in ångström."},
    {"not_fully_periodic", WARNING, WARNING, FILE_,
     "`pbc` of an extended XYZ file has an F, and there is a cell.",
     "The canonical copy says \"T T T\": a slab or molecule becomes periodic.",
     "Make sure that the vacuum is wide enough."},
    {"trailing_content", WARNING, WARNING, FILE_,
     "Lines behind the last atom are no frame, or are more atoms than were counted.",
     "The count may be wrong, and atoms missing.", "Correct the count, or remove the lines."},
    {"reader_warning", WARNING, NOTE, READER,
     "ASE warned of something as it read the file. A note where a second reader has the same "
     "atoms.",
     "The message has ASE's own words.", "Check what it names."},
    {"no_cell", NOTE, NOTE, GEOMETRY, "The record has no cell.",
     "Right for a molecule; a crystal lacks its lattice.",
     "For a crystal add the lattice vectors."},
    {"cell_from_companion", NOTE, NOTE, FILE_, "The cell is that of the `scf.input` beside it.",
     "The file itself has no cell.", "Make sure that the two belong together."},
    {"columns_ignored", NOTE, NOTE, FILE_,
     "`Properties` of an extended XYZ file declares columns that the record does not hold.",
     "Charges, moments, forces or fixed atoms are in the file only.",
     "Set what the calculation needs of them."},
    {"constraints_dropped", NOTE, NOTE, FILE_, "A VASP file fixes atoms.",
     "The record does not say which.", "Set the constraints in the calculation."},
    {"velocities_dropped", NOTE, NOTE, FILE_, "A VASP file gives velocities that are not zero.",
     "The record does not hold them.", "Take them from the file to go on with the dynamics."},
    {"charges_dropped", NOTE, NOTE, FILE_, "A CIF gives charges of its sites.",
     "The record does not hold them.", "Set the charges where the calculation needs them."},
    {"deuterium_as_hydrogen", NOTE, NOTE, FILE_, "A CIF has sites of deuterium.",
     "They are hydrogen in the record.", "Set the mass in the calculation, where it matters."},
    {"not_strict_cif", NOTE, NOTE, SECOND, "gemmi does not take the file for a CIF.",
     "ASE is more tolerant; there was no second reading to compare with.",
     "Mend the line that the message names."},
    {"found_symmetry", NOTE, NOTE, SECOND,
     "spglib finds this space group, within 0.01 Å; not for more than 400 atoms.",
     "A lower symmetry than expected shows distorted or rounded positions; a conventional cell may "
     "cost more than a primitive one.",
     "Compare with what is expected."},
});

}  // namespace

const char* severity_name(Severity severity) {
  if (severity == Severity::error) return "error";
  return severity == Severity::warning ? "warning" : "note";
}

std::vector<FindingKind> finding_kinds() {
  return {KINDS.begin(), KINDS.end()};
}

std::optional<FindingKind> finding_kind(std::string_view code) {
  const auto* const found = std::find_if(
      KINDS.begin(), KINDS.end(), [&](const FindingKind& kind) { return kind.code == code; });
  return found == KINDS.end() ? std::nullopt : std::optional(*found);
}

}  // namespace structure_ingest
