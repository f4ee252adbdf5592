#include "structure_ingest/readers/cif_blocks.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

using tests::cubic_cell;
using tests::message_of;

const std::string SITES =
    "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
    "_atom_site_fract_z\n";
const std::string WITH_OCCUPANCY = SITES + "_atom_site_occupancy\n";
const std::string ROCK_SALT = "_symmetry_space_group_name_H-M 'F m -3 m'\n" + cubic_cell("5.64(2)");
const std::string SALT = SITES + "Na1 Na 0 0 0\nCl1 Cl 0.5 0.5 0.5\n";

TEST(CifFindings, AreTheseForEachKindOfFile) {
  struct Case {
    std::string content;
    std::string codes;
    std::string message = {};
  };
  const std::string mixed =
      ROCK_SALT + WITH_OCCUPANCY + "Na1 Na 0 0 0 0.6\nK1 K 0 0 0 0.4\nCl1 Cl .5 .5 .5 1\n";
  const Case cases[] = {
      {ROCK_SALT + SALT, ""},
      {ROCK_SALT +
           "_chemical_formula_sum 'Cl Na'\n_cell_formula_units_Z 4\n"
           "_cell_volume 179.4(2)\n_exptl_crystal_density_diffrn 2.16\n" +
           SALT,
       ""},
      // Some programs write the formula of the whole cell and still state Z.
      {ROCK_SALT + "_chemical_formula_sum 'Cl4 Na4'\n_cell_formula_units_Z 4\n" + SALT, ""},
      {cubic_cell("5") + WITH_OCCUPANCY + "Na1 Na 0 0 0 1.0\nCl1 Cl 0.5 0.5 0.5 0.998(4)\n", ""},
      // Content that a record of whole atoms cannot hold.
      {cubic_cell("5") + WITH_OCCUPANCY + "Na1 Na 0 0 0 1\nCl1 Cl 0.5 0.5 0.5 0.75(2)\n",
       "warning partial_occupancy"},
      {cubic_cell("5") + WITH_OCCUPANCY + "Na1 Na 0 0 0 0.5\nK1 K 0 0 0 0.5\nCl1 Cl .5 .5 .5 1\n",
       "warning partial_occupancy, warning mixed_site"},
      {mixed, "warning partial_occupancy, warning mixed_site",
       "2 sites of 3 are not fully occupied, 'Na1' (0.6) and 'K1' (0.4), but became full "
       "atoms: the file means Cl4K1.6Na2.4 a cell, the record holds Cl4Na4."},
      {mixed, "warning partial_occupancy, warning mixed_site",
       "1 place holds several species, 'Na1' and 'K1', of which the record has one: the file "
       "means Cl4K1.6Na2.4 a cell, the record holds Cl4Na4."},
      {cubic_cell("5") + SITES + "Na1 Na 0 0 0\nK1 K 1 0 0\nCl1 Cl 0.5 0.5 0.5\n",
       "warning mixed_site, note reader_warning",
       "ASE kept one of two sites that share a place: scaled_positions 0 and 1 are equivalent."},
      {ROCK_SALT + "_symmetry_cell_setting cubic\n" + SALT, ""},
      {ROCK_SALT + SALT + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nNa 1 x y\n",
       "note reader_warning",
       "ASE warned: Wrong number 4 of tokens, expected 2: ['Na', '1', 'x', 'y']."},
      {cubic_cell("5") + SITES + "_atom_site_charge\nNa1 Na 0 0 0 0.5(1)\nCl1 Cl .5 .5 .5 0\n",
       "note charges_dropped", "The file gives charges of 1 site, which the record does not hold."},
      {cubic_cell("5") + SITES + "_atom_site_charge\nNa1 Na 0 0 0 0\nCl1 Cl .5 .5 .5 ?\n", ""},
      {cubic_cell("9") + SITES + "_atom_site_disorder_group\n" +
           "C1 C 0 0 0 .\nC2 C 0.2 0 0 1\nC3 C 0.4 0.4 0 2\n",
       "warning disordered_sites"},
      {SALT, "error fractional_without_cell, warning overlapping_atoms, note no_cell"},
      {"_cell_length_a 5\n" + SALT,
       "error fractional_without_cell, warning overlapping_atoms, note no_cell",
       "The block 'first' lacks _cell_length_b, _cell_length_c, _cell_angle_alpha, "
       "_cell_angle_beta and _cell_angle_gamma, and its fractional coordinates were taken as "
       "\u00E5ngstr\u00F6m."},
      {ROCK_SALT + SALT + "data_second\n" + cubic_cell("5") + SITES + "Ar1 Ar 0 0 0\n",
       "warning several_blocks"},
      {ROCK_SALT + SALT + "data_notes\n_audit_creation_method none\n", ""},
      {cubic_cell("5") + SITES +
           "Fe1 Fe 0 0 0\nO1 O .5 .5 .5\n"
           "loop_\n_atom_site_moment_label\n_atom_site_moment_crystalaxis_x\nFe1 3.2\n",
       "warning beyond_space_group"},
      {cubic_cell("5") + SITES + "D1 D 0 0 0\nO1 O 0 0 .2\nD2 D 0.17 0 .25\n",
       "note deuterium_as_hydrogen"},
      // Contradictions.
      {ROCK_SALT + "_chemical_formula_sum 'Cl2 Na'\n" + SALT, "warning formula_mismatch"},
      {ROCK_SALT + "_chemical_formula_sum 'Cl Na'\n_cell_formula_units_Z 2\n" + SALT,
       "warning formula_mismatch",
       "The file states Z = 2 units of 'Cl Na' in the cell, but the record holds 4 (Cl4Na4)."},
      {ROCK_SALT + "_chemical_formula_sum 'Cl Na H2'\n" + SALT, "warning formula_mismatch",
       "The file's formula is 'Cl Na H2', but it gives no positions of hydrogen: the record, "
       "Cl4Na4, has none."},
      {ROCK_SALT + "_cell_volume 186\n" + SALT, "warning volume_mismatch"},
      {ROCK_SALT + "_exptl_crystal_density_diffrn 1.08\n" + SALT, "warning density_mismatch"},
      {cubic_cell("5") +
           "_symmetry_Int_Tables_number 225\n"
           "loop_\n_symmetry_equiv_pos_as_xyz\n'x,y,z'\n" +
           SALT,
       "warning symmetry_unclear"},
      {cubic_cell("5.43") + "_symmetry_space_group_name_H-M 'F d -3 m'\n" + SITES +
           "Si1 Si 0 0 0\n",
       "warning symmetry_unclear"},
      {cubic_cell("5") + "_chemical_formula_sum 'Na Cl'\n_cell_formula_units_Z 4\n" + SALT,
       "warning symmetry_unclear"},
      // ASE reads CL as C.
      {ROCK_SALT + SITES + "NA1 NA 0 0 0\nCL1 CL 0.5 0.5 0.5\n",
       "error label_reinterpreted, warning readers_disagree",
       "A second reader, gemmi, expands the block 'first' from the name F m -3 m to 8 atoms, "
       "Cl4Na4; the record holds 8, C4N4."},
      {ROCK_SALT + SITES + "NA1 NA 0 0 0\nCL1 CL 0.5 0.5 0.5\n" +
           "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nNa 1 x y\n",
       "error label_reinterpreted, warning readers_disagree, warning reader_warning"},
      // A text that is not strictly a CIF is still read.
      {ROCK_SALT + "_audit_creation_method a\n_audit_creation_method b\n" + SALT,
       "note not_strict_cif"},
  };
  std::vector<tests::FindingsCase> files;
  for (const auto& [content, codes, message] : cases) {
    files.push_back({"a.cif", "data_first\n" + content, codes, message});
  }
  tests::expect_findings(files);
}

TEST(CifFindings, FindTheSymmetryWhenAsked) {
  const tests::ScratchFolder folder;
  const auto message = [&](const std::string& content) {
    return message_of(check_structure_file(folder.write("a.cif", content)).findings,
                      "found_symmetry");
  };
  EXPECT_EQ(
      message("data_a\n" + ROCK_SALT + SALT),
      "Space group Fm-3m (225) within 0.01 \u00C5; the cell, with 8 atoms, is the size of the "
      "conventional cell (the primitive one has 2 atoms).");
  EXPECT_EQ(message("data_a\n" + cubic_cell("3.35") + SITES + "Po1 Po 0 0 0\n"),
            "Space group Pm-3m (221) within 0.01 \u00C5; the cell, with 1 atom, is the size of the "
            "primitive cell.");
}

// Tokens at the limits of the CIF grammar.
TEST(CifFile, ReadsTolerantly) {
  using internal::cif_blocks;
  using internal::CifFile;
  const std::tuple<std::string_view, const char*, std::vector<std::string_view>> cases[] = {
      {"data_a _x 'it''s' # no\n", "_x", {"it''s"}},
      {"data_a _x 'a dog's life'\n", "_x", {"a dog's life"}},
      {"data_a _x \"open\n_y 1", "_x", {"\"open"}},
      {"data_a _x P 21/c\n_y 1", "_x", {"P 21/c"}},
      {"data_a _X\n;first\nsecond\n;\n_y 1", "_x", {"first\nsecond"}},
      {"data_a _x\n;never closed", "_x", {"never closed"}},
      {"data_a loop_ _x _y 1 2\n3 4", "_y", {"2", "4"}},
      {"data_a loop_ _x _y 1 2\n3", "_x", {"1", "3"}},
      {"data_a _x 1 _x 2", "_x", {"2"}},
      {"data_a loop_ data_b _x 1", "_x", {"1"}},
      {"\uFEFFdata_a\r\n_x\r\n1\r\n", "_x", {"1"}},
  };
  for (const auto& [text, name, values] : cases) {
    const CifFile file = cif_blocks(text);
    ASSERT_FALSE(file.blocks.empty()) << text;
    const auto* const found = file.blocks.back().values({name});
    ASSERT_NE(found, nullptr) << text;
    EXPECT_EQ(*found, values) << text;
  }
}

}  // namespace
}  // namespace structure_ingest
