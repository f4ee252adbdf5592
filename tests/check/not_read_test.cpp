// The explanations of why a file could not be read.

#include "structure_ingest/readers/dispatch.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

struct UnreadCase {
  std::string name;
  std::string content;
  std::string why;
};

TEST(NotRead, GivesTheReason) {
  const std::string cell = tests::cubic_cell("5");
  const std::string sites =
      "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
  const std::string vectors = "5 0 0\n0 5 0\n0 0 5\n";
  const UnreadCase cases[] = {
      // Other kinds of files.
      {"a.cif", "", "it is empty"},
      {"a.xyz", "", "it is empty"},
      {"POSCAR", " \n\n", "it holds nothing but blanks"},
      {"a.cif", "\x1F\x8B\x08 data", "it is compressed with gzip"},
      {"a.xyz", std::string("\0\1\2\3", 4), "it is binary"},
      {"a.cif", "\n<html><body>Not found</body></html>", "it is a web page"},
      {"a.cif", "<!DOCTYPE html>", "it is a web page"},
      {"a.cif", "404: Not Found", "it is a server's answer that the file was not found"},
      {"POSCAR", "version https://git-lfs.github.com/spec/v1\noid sha256:0\nsize 9\n",
       "it is a Git LFS pointer: the file itself was not downloaded"},
      {"a.xyz", "{\"atoms\": []}", "it is JSON"},
      {"a.xyz", "HEADER    HYDROLASE\n1\n2\n", "it is a PDB file"},
      // XYZ.
      {"a.xyz", "O 0 0 0\nH 0 0 1\nH 0 1 0\n",
       "it begins with an atom, 'O 0 0 0': the lines with the atom count and the comment are "
       "missing"},
      {"a.xyz", "\uFEFF1\n\nH 0 0 0\n", "a byte-order mark stands before the atom count of line 1"},
      {"a.xyz", "\n1\nH 0 0 0\n", "line 1, which is to give the atom count, is blank"},
      {"a.xyz", "atoms: 3\n\nH 0 0 0\n", "line 1 is to give the atom count, but is 'atoms: 3'"},
      {"a.xyz", "2\n\nH 0 0 0\n8 0 0 1\n",
       "line 4, '8 0 0 1', begins with a number where an element is expected"},
      {"a.xyz", "1\n\nOW 0 0 0\n", "line 3, 'OW 0 0 0', begins with a label of no element"},
      {"a.xyz", "2\n\nH 0 0 0\n\nH 0 0 1\n", "line 4 is blank where an atom is expected"},
      {"a.xyz", "1\n\nH 0,1 0 0\n",
       "line 3, 'H 0,1 0 0', has '0,1' for a coordinate: numbers are written with a point"},
      {"a.xyz", "2\n\nH 0 0 0\n", "Expected 2 atoms, found 1"},
      // CIF.
      {"a.cif", "nothing of the sort\n", "it has no data block (no line that begins with data_)"},
      {"a.cif", "data_a\n" + cell, "its data block has no atom sites"},
      {"a.cif", "data_a\n" + cell + "data_b\n_x 1\n", "none of its 2 data blocks has atom sites"},
      {"a.cif", "data_a\nloop_\n_refln_index_h\n_refln_index_k\n1 2\n",
       "its data block has no atom sites, only a list of reflections"},
      {"a.cif", "data_a\nloop_\n_atom_site.id\n_atom_site.Cartn_x\n1 2.5\n",
       "it is an mmCIF of a macromolecule, whose atom sites are named in another way"},
      {"a.cif", "data_a\nloop_\n_atom_site_label\nC1\n", "its atom sites have no coordinates"},
      {"a.cif", "data_a\n" + cell + sites + "C1 ? ? ?\n",
       "in the block 'a' the coordinates of all atom sites are unknown"},
      {"a.cif", "data_a\n" + cell + sites + "C1 0 0 0\nC2 0 0 near\n",
       "in the block 'a' _atom_site_fract_z of atom site 2 is 'near', which is no number"},
      {"a.cif", "data_a\n" + cell + sites + "C1 0 0 0\nC2 0 0\n",
       "a row of the loop of _atom_site_label is incomplete"},
      {"a.cif", "data_a\n" + cell + sites + "Wa1 0 0 0\n",
       "in the block 'a' the atom site 'Wa1' is of no element"},
      {"a.cif", "hello\ndata_a\n" + cell + sites + "C1 0 0 0\n",
       "the line 'hello' stands before its first data block"},
      {"a.cif",
       "data_a\n" + cell + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n" + sites + "C1 0 0 0\n",
       "in the block 'a' symmetry operations are listed without the name or number of a space "
       "group, which ASE needs with them"},
      {"a.cif", "data_a\n_symmetry_space_group_name_H-M 'P 7 8 9'\n" + cell + sites + "C1 0 0 0\n",
       "in the block 'a' ASE cannot use the space group 'P 7 8 9'"},
      // VASP.
      {"POSCAR", "a title\nno scale\n", "line 2 is 'no scale' where the scale factor is expected"},
      {"POSCAR", "a title\n", "it ends before line 2, which is to be the scale factor"},
      {"POSCAR", "a\n1.0\n5 0\n0 5 0\n0 0 5\n",
       "line 3 is '5 0' where a lattice vector of three numbers is expected"},
      {"POSCAR", "a\n1.0\n" + vectors + "Na\n2\nDirect\n0 0 0\n",
       "2 atoms are counted, but it ends before line 10, which is to be the position of atom "
       "2"},
      {"POSCAR", "a\n1.0\n" + vectors + "Na Cl\n9999999 1\nDirect\n0 0 0\n",
       "10000000 atoms are counted, but it ends before line 10, which is to be the position of "
       "atom 2"},
      {"POSCAR", "a\n1.0\n" + vectors + "Na_pv\n1\nDirect\n0 0 0\n",
       "line 6 names 'Na_pv', which is no element"},
      {"POSCAR", "a\n1.0\n" + vectors + "Na\n1 1\nDirect\n0 0 0\n0.5 0.5 0.5\n",
       "line 6 names 1 element and line 7 counts the atoms of 2"},
      {"POSCAR", "salt\n1.0\n" + vectors + "1 1\nDirect\n0 0 0\n0.5 0.5 0.5\n",
       "it has no line of element symbols before the counts of line 6, its title 'salt' does "
       "not name them, and no POTCAR beside it does"},
      {"poscar", "a\n1.0\n" + vectors + "Na\n1\nDirect\n0 0 0\n",
       "ASE knows POSCAR and CONTCAR in capital letters only: rename the file"},
  };
  std::vector<tests::FindingsCase> files;
  for (const auto& [name, content, why] : cases) {
    files.push_back({name, content, "error not_read", "The file gave no structure: " + why + "."});
  }
  tests::expect_findings(files);
}

TEST(NotRead, FallsBackToTheReadersMessage) {
  const tests::ScratchFolder folder;
  const auto message = [](const std::string& path) {
    return check_structure(parse_structure_file(path)).at(0).message;
  };
  EXPECT_EQ(message(folder / "missing.xyz"), "The file gave no structure: File does not exist.");
  EXPECT_EQ(message(folder.write("a.txt", "")),
            "The file gave no structure: its name is none of a structure file, such as *.xyz, "
            "*.extxyz, *.cif, *.vasp, *.poscar, POSCAR* and CONTCAR*.");
  EXPECT_EQ(message(folder.write("Cu_prim_Contcar.old", "")),
            "The file gave no structure: its name is none of a structure file; as "
            "'CONTCAR_Cu_prim.old' or 'Cu_prim.old.vasp' it would be read.");
  IngestedStructure record{.source_path = folder / "gone.cif", .format = "cif"};
  EXPECT_EQ(check_structure(record).at(0).message,
            "The file gave no structure: its reader does not say why.");
  record.warnings = {"ASE could not parse the file: "};
  EXPECT_EQ(check_structure(record).at(0).message,
            "The file gave no structure: ASE could not parse the file.");
}

}  // namespace
}  // namespace structure_ingest
