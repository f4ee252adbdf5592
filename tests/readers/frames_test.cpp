#include "structure_ingest/readers/frames.hpp"

#include <gtest/gtest.h>

#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

const std::string HELIUM = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n";
const std::string NEON = "2\n\nNe 0 0 0\nNe 0 0 3\n";

TEST(Frames, AreReadOneByOne) {
  const tests::ScratchFolder w;
  struct Case {
    std::string text;
    std::string seen;  // number, formula or warning, of all frames
    std::size_t frames;
  };
  for (const auto& [text, seen, frames] : {
           Case{HELIUM, "1 He|", 1},
           Case{HELIUM + NEON + HELIUM, "1 He|2 Ne2|3 He|", 3},
           Case{HELIUM + "\n \n" + NEON + "\n\n", "1 He|2 Ne2|", 2},
           Case{HELIUM + "1\n\nHe 0 0", "1 He|2 Frame 2: Malformed atom line: 'He 0 0'|", 2},
           Case{HELIUM + "3\n\nHe 0 0 0\n", "1 He|2 Frame 2: Expected 3 atoms, found 1.|", 2},
           Case{HELIUM + "5\n", "1 He|2 Frame 2: XYZ file is too short to contain atoms.|", 2},
           Case{HELIUM + "end\n" + HELIUM,
                "1 He|2 Frame 2: First line of XYZ file is not an atom count.|", 2},
           Case{"", "1 Frame 1: XYZ file is too short to contain atoms.|", 1},
           Case{"\n" + HELIUM, "1 Frame 1: First line of XYZ file is not an atom count.|", 1},
       }) {
    const std::string path = w.write("f.xyz", text);
    std::string found;
    EXPECT_EQ(visit_xyz_frames(path, 1,
                               [&found](std::size_t number, const IngestedStructure& record) {
                                 found += std::to_string(number) + " " +
                                          (record.ok ? record.formula : record.warnings.front()) +
                                          "|";
                                 return true;
                               }),
              frames)
        << text;
    EXPECT_EQ(found, seen) << text;
  }
}

TEST(Frames, OfANumberAreWhatTheReaderMakesOfThemAlone) {
  const tests::ScratchFolder w;
  const std::string alone = w.write("alone.xyz", NEON);
  const std::string path = w.write("f.xyz", HELIUM + NEON + "1\n\nQq 0 0 0\n" + HELIUM);
  IngestedStructure expected = parse_structure_file(alone);
  expected.source_path = path;
  EXPECT_EQ(parse_xyz_frame(path, 2), expected);
  EXPECT_EQ(parse_xyz_frame(path, 3).warnings[0], "Frame 3: Unknown element symbol: 'Qq'");
  EXPECT_EQ(parse_xyz_frame(path, 4).formula, "He");  // those before are not looked into
  EXPECT_EQ(parse_last_xyz_frame(path).formula, "He");
  EXPECT_EQ(parse_xyz_frame(path, 5).warnings[0], "There is no frame 5: the last one is 4.");
  EXPECT_EQ(parse_xyz_frame(alone, 2).warnings[0], "There is no frame 2: the last one is 1.");
  EXPECT_EQ(parse_xyz_frame(w / "none.xyz", 1).warnings[0], "File does not exist.");
  EXPECT_EQ(parse_last_xyz_frame(w / "none.xyz").warnings[0], "File does not exist.");
  w.write("cut.xyz", HELIUM + "7\n\n");
  EXPECT_EQ(parse_last_xyz_frame(w / "cut.xyz").warnings[0], "Frame 2: Expected 7 atoms, found 0.");

  // The companion gives a cell to frames as well.
  w.write("c/f.xyz", HELIUM + NEON);
  w.write("c/scf.input",
          "system.atomFile = f.xyz\ncalculation.control.lengthUnit = Angstrom\n"
          "system.centralCellVectors = [[5, 0, 0], [0, 5, 0], [0, 0, 5]]\n");
  EXPECT_NE(parse_xyz_frame(w / "c/f.xyz", 2).cell_provenance, "");
  EXPECT_EQ(parse_xyz_frame(w / "c/f.xyz", 1).cell_provenance, "");
}

}  // namespace
}  // namespace structure_ingest
