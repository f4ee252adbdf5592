#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/file_content.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

using tests::codes_of;
using tests::findings_in;
using tests::message_of;

const std::string WATER = "O 0 0 0.119\nH 0 0.763 -0.477\nH 0 -0.763 -0.477\n";
const std::string BOX = "Lattice=\"9 0 0 0 9 0 0 0 9\"";

TEST(XyzFindings, AreTheseForEachKindOfFile) {
  const std::string frame = "3\n\n" + WATER;
  const std::string in_box = "3\n" + BOX;
  tests::expect_findings({
      // Good files have only notes.
      {"water.xyz", frame, "note no_cell"},
      {"water.xyz", frame + "\n \n\n", "note no_cell"},
      {"box.xyz", in_box + "\n" + WATER, ""},
      {"box.extxyz", in_box + " Properties=species:S:1:pos:R:3 pbc=\"T T T\"\n" + WATER, ""},
      {"hydrogen.xyz", "2\n\nH 0 0 0\nH 0 0 0.7414\n", "note no_cell"},
      {"hydrogen_fluoride.xyz", "2\n\nH 0 0 0\nF 0 0 0.917\n", "note no_cell"},
      {"one.xyz", "1\n\nAr 0.5 0.5 0.5\n", "note no_cell"},
      {"atom_in_box.xyz", "1\n" + BOX + "\nCs 0 0 0\n", ""},
      // Geometry.
      {"close.xyz", "2\n" + BOX + "\nC 0 0 0\nC 0 0 0.9\n", "warning overlapping_atoms"},
      {"quintuple_bond.xyz", "2\n" + BOX + "\nCr 0 0 0\nCr 0 0 1.68\n", ""},
      {"same.xyz", "2\n" + BOX + "\nC 4 0 0\nC 4 0 0.4\n", "error overlapping_atoms"},
      {"pair.xyz", "3\n" + BOX + "\nH 0 0 0\nC 0.1 0 0\nO 5 0 0\n", "error overlapping_atoms",
       "1 pair of atoms is closer than 0.5 \u00C5 or 0.6 of the sum of their covalent radii; the "
       "closest: atom 0 (H) and atom 1 (C), 0.1 \u00C5."},
      {"pairs.xyz", "3\n" + BOX + "\nC 0 0 0\nC 0 0 0.75\nC 0.7 0 0\n",
       "error coordinates_look_fractional, warning overlapping_atoms",
       "2 pairs of atoms are closer than 0.6 of the sum of their covalent radii; the closest: "
       "atom 0 (C) and atom 2 (C), 0.7 \u00C5."},
      {"image.xyz", "2\n" + BOX + "\nC 0.1 0 0\nC 8.8 0 9\n", "error overlapping_atoms"},
      {"own_image.xyz", "1\nLattice=\"0.4 0 0 0 9 0 0 0 9\"\nH 0 0 0\n", "error overlapping_atoms",
       "1 pair of atoms is closer than 0.5 \u00C5 or 0.6 of the sum of their covalent radii; the "
       "closest: atom 0 (H) and its own image, 0.4 \u00C5."},
      {"nan.xyz", "2\n" + BOX + "\nC 4 0 nan\nC inf 0 0.4\n", "error non_finite_coordinates"},
      {"one_nan.xyz", "2\n" + BOX + "\nC nan 0 0\nC 0 0 2\n", "error non_finite_coordinates",
       "1 atom of 2 has a coordinate that is no finite number, the first atom 0 (C)."},
      {"flat.xyz", "1\nLattice=\"9 0 0 0 9 0 9 9 0\"\nC 0 0 0\n", "error degenerate_cell"},
      {"nan_cell.xyz", "1\nLattice=\"9 0 0 0 nan 0 0 0 9\"\nC 0 0 0\n", "error degenerate_cell"},
      {"zero.xyz", "1\nLattice=\"9 0 0 0 9 0 0 0 0\"\nC 0 0 0\n", "error degenerate_cell"},
      {"left.xyz", "1\nLattice=\"0 9 0 9 0 0 0 0 9\"\nC 0 0 0\n", "warning left_handed_cell"},
      {"silicon.xyz", "2\nLattice=\"0 2.7 2.7 2.7 0 2.7 2.7 2.7 0\"\nSi 0 0 0\nSi 0.25 0.25 0.25\n",
       "error coordinates_look_fractional, error overlapping_atoms"},
      {"lithium_hydride.xyz", "2\n\nLi 0 0 0\nH 0.5 0.5 0.5\n",
       "error coordinates_look_fractional, warning overlapping_atoms, note no_cell"},
      {"dense.xyz", "1\nLattice=\"2 0 0 0 2 0 0 0 2\"\nU 0 0 0\n",
       "warning overlapping_atoms, warning unusual_density",
       "The cell has a density of 49.41 g/cm\u00B3; the densest solid, osmium, has 22.6."},
      {"lithium_dense.xyz", "2\nLattice=\"1.9 0 0 0 1.9 0 0 0 1.9\"\nHe 0 0 0\nHe 0.95 0.95 0.95\n",
       "warning unusual_density"},
      {"nanometre.xyz", "2\nLattice=\"0 27 27 27 0 27 27 27 0\"\nSi 0 0 0\nSi 13.5 13.5 13.5\n",
       "warning unusual_density"},
      // Further frames and other text after the first.
      {"two.xyz", frame + frame, "warning several_frames, note no_cell"},
      {"three.xyz", frame + "1\n\nH 0 0 0\n\n" + frame, "warning several_frames, note no_cell"},
      {"more_atoms.xyz", frame + "H 5 5 5\n", "warning trailing_content, note no_cell"},
      {"cut.xyz", frame + frame + "3\n\nO 0 0 0\n",
       "warning several_frames, warning trailing_content, note no_cell"},
      {"notes.xyz", frame + "energy -76.4\n", "warning trailing_content, note no_cell"},
      {"line.xyz", "1\n" + BOX + "\nH 0 0 0\n7 lines of notes\n", "warning trailing_content",
       "Line 4, '7 lines of notes', and what follows it are no whole frame and were not read."},
      {"line_after_frames.xyz", "1\n" + BOX + "\nH 0 0 0\n1\n\nH 0 0 1\n\nnotes\n",
       "warning several_frames, warning trailing_content",
       "Line 8, 'notes', and what follows it are no whole frame and were not read."},
      {"count.xyz", "1\n\nH 0 0 0\n1\n\nH 0 0 1\n", "warning several_frames, note no_cell",
       "The file has 2 frames; the record holds the first."},
      {"mac.xyz", "1\r\rH 0 0 0\r1\r\rH 0 0 0\r", "warning several_frames, note no_cell"},
      // Columns.
      {"forces_first.xyz",
       "1\n" + BOX + " Properties=species:S:1:forces:R:3:pos:R:3\nH 1 2 3 4 5 6\n",
       "error columns_not_as_declared, note columns_ignored"},
      {"number_first.xyz", "1\n" + BOX + " Properties=species:S:1:Z:I:1:pos:R:3\nH 1 2 3 4\n",
       "error columns_not_as_declared",
       "Properties puts the positions in columns 3 to 5, but the coordinates were read from "
       "columns "
       "2 to 4."},
      {"text_first.xyz", "1\n" + BOX + " Properties=species:S:1:tag:S:1:pos:R:3\nH up 2 3 4\n",
       "note columns_ignored"},
      {"no_positions.xyz", "1\n" + BOX + " Properties=species:S:1:forces:R:3\nH 1 2 3\n",
       "error columns_not_as_declared, note columns_ignored"},
      {"charges.xyz", "1\n" + BOX + " properties=\"species:S:1:pos:R:3:charge:R:1\"\nH 1 2 3 0.5\n",
       "note columns_ignored"},
      {"broken_properties.xyz", "1\n" + BOX + " Properties=species:S\nH 1 2 3\n", ""},
      // Names and comment lines.
      {"water-frc-1.xyz", frame, "warning not_positions, note no_cell"},
      {"forces.xyz", "1\n" + BOX + " Properties=species:S:1:pos:R:3\nH 1 2 3\n", ""},
      {"enforced.xyz", frame, "note no_cell"},
      {"a.xyz", "3\nlargest force 0.01 eV/A\n" + WATER, "note no_cell"},
      {"b.xyz", "2\nforces, step 7\nC 0.001 0 0\nC -0.001 0.002 0\n",
       "error overlapping_atoms, warning not_positions, note no_cell"},
      {"c.xyz", "3\ncoordinates in Bohr\n" + WATER, "warning not_angstrom, note no_cell"},
      {"d.xyz", "3\nunits=bohr\n" + WATER, "warning not_angstrom, note no_cell"},
      {"e.xyz", "3\nforces in hartree/bohr\n" + WATER, "note no_cell"},
      {"f.xyz", "3\ncell: 9.0 9.0 9.0\n" + WATER, "warning cell_not_read, note no_cell"},
      {"g.xyz", "3\n# CELL(abcABC): 9 9 9 90 90 90 Step: 0\n" + WATER,
       "warning cell_not_read, note no_cell",
       "The comment line gives a cell, 'CELL(abcABC): 9 9 9 90 90 90 Step: 0', in a form that is "
       "not read; it names no unit, and programs that write this form mean bohr then."},
      {"unit.xyz", "3\n# CELL(abcABC): 9 9 9 90 90 90 cell{angstrom}\n" + WATER,
       "warning cell_not_read, note no_cell",
       "The comment line gives a cell, 'CELL(abcABC): 9 9 9 90 90 90 cell{angstrom}', in a form "
       "that is not read."},
      {"abc.xyz", "3\nABC 20.000 5.222 6.031\n" + WATER, "warning cell_not_read, note no_cell"},
      {"abcd.xyz", "3\nabcd 20.000 5.222 6.031\n" + WATER, "note no_cell"},
      {"h.xyz", "3\nLattice=\"9 9 9\"\n" + WATER, "warning cell_not_read, note no_cell"},
      {"cell.xyz", "1\nH cell 1 2 3\nH 0 0 0\n", "warning cell_not_read, note no_cell",
       "The comment line gives a cell, 'cell 1 2 3', in a form that is not read."},
      {"i.xyz", "3\nlattice energy -3.5 eV\n" + WATER, "note no_cell"},
      {"slab.xyz", in_box + " pbc=\"T T F\"\n" + WATER, "warning not_fully_periodic"},
      // Labels.
      {"words.xyz", "2\n" + BOX + "\nCarbon 0 0 0\nO 0 0 3\n", "warning label_reinterpreted"},
      {"sites.xyz", "2\n" + BOX + "\nFe_up 0 0 0\nFe_dn 0 0 3\n", ""},
      {"peptide.xyz", "4\n" + BOX + "\nN 0 0 0\nCA 1.46 0 0\nC 2 1.42 0\nO 1.3 2.4 0\n",
       "warning overlapping_atoms, warning label_reinterpreted",
       "Labels were read as elements that they probably do not mean: 'CA' as Ca."},
      {"calcite.xyz", "2\n" + BOX + "\nCA 0 0 0\nO 2.36 0 0\n", ""},
  });
}

TEST(XyzFindings, NameTheAtoms) {
  const tests::ScratchFolder folder;
  std::string content = "60\n\n";
  for (int i = 0; i < 30; ++i) {
    content += "C " + std::to_string(3 * i) + " 0 0\nC " + std::to_string(3 * i) + " 0 0.1\n";
  }
  const std::vector<Finding> findings = findings_in(folder, "a.xyz", content);
  ASSERT_EQ(codes_of(findings), "error overlapping_atoms, note no_cell");
  EXPECT_EQ(findings[0].atoms.size(), MOST_ATOMS_NAMED);
  EXPECT_EQ(findings[0].atoms[0], 0U);
  EXPECT_EQ(findings[0].atoms[3], 3U);
  EXPECT_EQ(findings[0].source, "geometry");
}

// The end of a long file is not read line by line, but text after the frame is still found.
TEST(XyzFindings, CountFramesOfLongFiles) {
  const tests::ScratchFolder folder;
  std::string atoms;
  for (int i = 0; i < 5000; ++i) {
    atoms += "Ar " + std::to_string(4 * (i % 20)) + " " + std::to_string(4 * (i / 20 % 20)) + " " +
             std::to_string(4 * (i / 400)) + ".000\n";
  }
  const std::string frame = "5000\n\n" + atoms;
  EXPECT_EQ(codes_of(findings_in(folder, "one.xyz", frame)), "note no_cell");
  // The second frame ends with the same atom as the first.
  const auto two = findings_in(folder, "two.xyz", frame + frame);
  EXPECT_EQ(message_of(two, "several_frames"),
            "The file has 2 frames; the record holds the first.");
  EXPECT_EQ(
      message_of(findings_in(folder, "more.xyz", frame + "Ar 99 99 99\n"), "trailing_content"),
      "Line 5003, 'Ar 99 99 99', and what follows it are no whole frame and were not read.");
  EXPECT_EQ(codes_of(findings_in(folder, "cut.xyz", frame + frame.substr(0, 60000))),
            "warning trailing_content, note no_cell");
}

TEST(XyzFindings, ReportTheCompanion) {
  const tests::ScratchFolder folder;
  const std::string vectors = "system.centralCellVectors = 9 0 0 0 9 0 0 0 9\n";
  const std::string from =
      "The cell is not from the file itself but from " + (folder / "scf.input") + " beside it, ";
  const std::pair<std::string, std::string> cases[] = {
      {"", "which names no unit: its numbers were taken as \u00E5ngstr\u00F6m."},
      {" Calculation.Control.LengthUnit = 'Bohr' % atomic units\n", "whose unit is 'Bohr'."}};
  for (const auto& [unit, message] : cases) {
    folder.write("scf.input", vectors + unit);
    EXPECT_EQ(message_of(findings_in(folder, "a.xyz", "3\n\n" + WATER), "cell_from_companion"),
              from + message);
  }
}

// A record whose file was changed or removed is checked by itself.
TEST(XyzFindings, NeedNoFile) {
  const tests::ScratchFolder folder;
  IngestedStructure record =
      parse_structure_file(folder.write("a.xyz", "2\n" + BOX + "\nC 0 0 0\nC 0 0 0.1\n"));
  folder.write("a.xyz", "");
  EXPECT_EQ(codes_of(check_structure(record)), "error overlapping_atoms");
  record.source_path = folder / "gone.xyz";
  EXPECT_EQ(codes_of(check_structure(record)), "error overlapping_atoms");
  auto content = std::make_shared<FileContent>();
  content->reader_warnings = {"first",   "scaled_positions 0 and 1 are equivalent.",
                              " first ", "second\xFF",
                              "",        "scaled_positions 0 and 2 are equivalent"};
  const ParsedStructure parsed{.record = record, .content = content};
  EXPECT_EQ(message_of(check_structure(parsed), "reader_warning"), "ASE warned: first.");
  EXPECT_EQ(codes_of(check_structure(parsed)),
            "error overlapping_atoms, warning reader_warning, warning reader_warning, warning "
            "reader_warning");
  EXPECT_EQ(check_structure(parsed).back().message,
            "ASE kept one of two sites that share a place, 2 times, first: scaled_positions 0 and "
            "1 are equivalent.");
  for (int i = 0; i < 30; ++i) content->reader_warnings.push_back(std::to_string(i));
  const auto many = check_structure(parsed);
  ASSERT_EQ(many.size(), 23);
  EXPECT_EQ(many.at(21).message, "ASE warned of more: 12 further remarks are not shown.");
}

}  // namespace
}  // namespace structure_ingest
