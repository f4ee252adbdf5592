#include <sys/stat.h>

#include <random>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "tests/readers/companion_patterns.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

using Cell = std::vector<Vector3>;

const Cell NINE = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
const std::string VECTORS = "system.centralCellVectors = 1 2 3 4 5 6 7 8 9\n";

Cell scaled(Cell cell, double factor) {
  for (Vector3& row : cell) {
    for (double& value : row) value *= factor;
  }
  return cell;
}

TEST(CompanionCell, FollowsTheRules) {
  const Cell bohr = scaled(NINE, 0.529177210903);
  const std::pair<std::string, std::optional<Cell>> cases[] = {
      {"", {}},
      {VECTORS, NINE},
      {" \n\t SYSTEM.CENTRALCELLVECTORS\n=\n[[1,2,3],\n [4,5,6],\n [7;8;9]]", NINE},
      {"system.centralCellVectors =\n1 2 3\n4 5 6\n7 8 9\nother.key_1 = 10\n", NINE},
      {"x " + VECTORS, {}},  // not at the start of a line
      {"# " + VECTORS + VECTORS, NINE},
      {"system.centralCellVectors2 = 1\n" + VECTORS, NINE},
      {"system-centralCellVectors = 1\n" + VECTORS, NINE},
      {"system.centralCellVectors = 1 2 3\nsystem.other = 4\n" + VECTORS, {}},
      {"system.centralCellVectors = 1 2 3 4 5 6 7 8\n", {}},
      {VECTORS + "10\n", {}},
      {VECTORS + "! 3 layers\n", {}},
      {VECTORS + "a b = 10", {}},  // no key: part of the block
      {VECTORS + " a1.B_c \n = 10", NINE},
      {"system.centralCellVectors = 1e0 +2.0 3. .4e1 50E-1x6 -7.0e+0 8 9",
       scaled({{1, 2, 3}, {4, 5, 6}, {-7, 8, 9}}, 1)},
      {"system.centralCellVectors = 1.2.3 4 5 6 7 8 9 10",
       Cell{{1.2, .3, 4}, {5, 6, 7}, {8, 9, 10}}},
      {"system.centralCellVectors = \u0661 2 3 4 5 6 7 8 9", NINE},
      {VECTORS + "calculation.control.lengthUnit = Bohr", bohr},
      {VECTORS + "calculation.control.lengthUnit = AU", bohr},
      {VECTORS + "calculation.control.lengthUnit = atomicUnit", bohr},
      {"calculation.control.lengthUnit='A.U.' % x\n" + VECTORS, bohr},
      {"calculation.control.lengthUnit = \"AtomicUnits\n" + VECTORS, bohr},
      {"calculation.control.lengthUnit = # bohr\n" + VECTORS, NINE},
      {"calculation.control.lengthUnit = %\n" + VECTORS + "calculation.control.lengthUnit = au",
       bohr},
      {"calculation.control.lengthUnit = nm\ncalculation.control.lengthUnit = au\n" + VECTORS,
       NINE},
      {"system.atomFile = /some/where/\u00C4.XYZ/ # it\n" + VECTORS, NINE},
      {"system.atomFile = '\u00E4.xyz'\n" + VECTORS, NINE},
      {"system.atomFile = other.xyz\n" + VECTORS, {}},
      {"system.atomFile = ''\u00E4.xyz\n" + VECTORS, NINE},  // an empty value
      {"system.atomFile = '\"other.xyz\n" + VECTORS, NINE},
      {"system.atomFile = %\nsystem.atomFile = other.xyz\n" + VECTORS, {}},
      {"\u017Fy\u017Ftem.atomFile = other.xyz\n" + VECTORS, {}},  // long s is an s
  };
  for (const auto& [text, cell] : cases) {
    EXPECT_EQ(cell_for(companion_input(text), "\u00E4.xyz"), cell) << text;
  }
}

TEST(CompanionCell, IsLookedForBesideTheStructureFile) {
  const tests::ScratchFolder folder;
  const std::string structure = folder.write("run/a.xyz", "");
  EXPECT_FALSE(CompanionFiles().vorendal_cell(structure).cell_ang);
  const std::string companion =
      folder.write("run/scf.input", "\xFFsystem.atomFile = A\xC3.xyz\r\r\n" + VECTORS);
  CompanionFiles files;
  const CompanionCell found = files.vorendal_cell(structure);
  EXPECT_EQ(found.cell_ang, NINE);
  EXPECT_EQ(found.provenance, companion);
  EXPECT_FALSE(files.vorendal_cell(folder / "a.xyz").cell_ang);  // in another folder
  EXPECT_EQ(CompanionFiles().vorendal_cell(folder / "run/b.xyz").provenance, "");
  const tests::CurrentFolder current(folder / "run");
  EXPECT_EQ(CompanionFiles().vorendal_cell("a.xyz").provenance, "scf.input");
  EXPECT_EQ(CompanionFiles().vorendal_cell("../run/a.xyz").provenance, "../run/scf.input");

  folder.make_folder("folder/scf.input");
  folder.link("zero/scf.input", "/dev/zero");
  folder.link("made_up/scf.input", "/proc/self/maps");
  folder.link("loop/scf.input", "scf.input");
  folder.make_folder("fifo");
  ASSERT_EQ(mkfifo((folder / "fifo/scf.input").c_str(), 0600), 0);
  for (const std::string name :
       {"folder/a.xyz", "zero/a.xyz", "fifo/a.xyz", "made_up/a.xyz", "loop/a.xyz"}) {
    EXPECT_FALSE(CompanionFiles().vorendal_cell(folder / name).cell_ang) << name;
  }
}

TEST(CompanionCell, AgreesWithThePatterns) {
  const std::vector<std::string> pieces = tests::split(
      "system.atomFile|SYSTEM.CENTRALCELLVECTORS|system.centralCellVectors|"
      "calculation.control.lengthUnit|sYstem.atomfil|other.key_2|=| = |= |\n|\n\n| "
      "|\t|\u00A0|\u0085|"
      "\x1C|\u2028|'|\"|%|#|a.xyz|dir/A.XYZ|b.xyz|bohr|AU|nm|1 2 3 4 5 6 7 8 9|"
      "1 2 3\n4 5 6\n7 8 9\n|-1.5e3|.5|5.|+|e|1e|\u0661|\u212A|\u017F|[|,|\u00E9|_|.",
      '|');
  std::mt19937 random(7);
  int cells = 0;
  for (int i = 0; i < 30000; ++i) {
    std::string text;
    for (std::size_t n = 1 + random() % 14; n > 0; --n) {
      // Add whole assignments, or hardly any text would hold a cell.
      const std::size_t choice = random() % (pieces.size() + 12);
      if (choice < pieces.size()) {
        text += pieces[choice];
      } else {
        text += "\n" + pieces[random() % 5] + (random() % 4 == 0 ? "\n=\n" : " = ") +
                pieces[21 + random() % 8];
      }
    }
    const std::optional<Cell> expected = tests::slow_companion_cell(text, "a.xyz");
    ASSERT_EQ(cell_for(companion_input(text), "a.xyz"), expected) << quoted_form(text);
    if (expected) ++cells;
  }
  EXPECT_GT(cells, 1000);  // or the comparison would be weak
}

}  // namespace
}  // namespace structure_ingest::internal
