#include "structure_ingest/readers/xyz.hpp"

#include <cmath>
#include <random>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/frames.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

const std::string NO_CELL =
    "No cell/lattice information in this XYZ file. A periodic QELDA calculation needs "
    "domain.latvec: confirm the cell with the user or treat the system as a molecule in a vacuum "
    "box.";

IngestedStructure parsed(const tests::ScratchFolder& folder, std::string_view content) {
  CompanionFiles companions;
  return parse_xyz(folder.write("test.xyz", content), companions);
}

TEST(Xyz, RefusesBadFilesWithTheReason) {
  const tests::ScratchFolder folder;
  const std::string too_short = "XYZ file is too short to contain atoms.";
  const std::string no_count = "First line of XYZ file is not an atom count.";
  const std::pair<std::string_view, std::string> cases[] = {
      {"", too_short},
      {"0\ncomment", too_short},
      {"1\ncomment\n", too_short},
      {"x\r\r\n", too_short},
      {"\nc\nH 0 0 0", no_count},
      {"3.0\nc\nH 0 0 0", no_count},
      {"\uFEFF1\nc\nH 0 0 0", no_count},
      {"-2\nc\nH 0 0 0", "Unsupported atom count: -2."},
      {"-0\nc\nH 0 0 0", "Unsupported atom count: 0."},
      {"20_001\nc\nH 0 0 0", "Unsupported atom count: 20001."},
      {"+099999999999999999999 x\nc\nH 0 0 0", "Unsupported atom count: 99999999999999999999."},
      {"1\nc\n\n", "Malformed atom line: ''"},
      {"1\nc\n H\t0 0\n", R"(Malformed atom line: ' H\t0 0')"},
      {"1\nc\nXx 0 0 0\n", "Unknown element symbol: 'Xx'"},
      {"1\nc\nX'1\\ 0 0 zero\n", R"(Unknown element symbol: "X'1\\")"},
      {"1\nc\nH 0 0 zero", "Non-numeric coordinates in line: 'H 0 0 zero'"},
      {"1\nc\nH 0,0 0 0", "Non-numeric coordinates in line: 'H 0,0 0 0'"},
      {"1\nc\nFe 3d 1 2", "Non-numeric coordinates in line: 'Fe 3d 1 2'"},
      {"1\norbitaltype\nFe 1 2 3 x", "Non-numeric coordinates in line: 'Fe 1 2 3 x'"},
      {"9223372036854775808\nc\nH 0 0 0\n", "Unsupported atom count: 9223372036854775808."},
      {"1000000000\nc\nH 0 0 0\n", "Unsupported atom count: 1000000000."},
      {{"\xFF\xFE\x31\0\n\0c\0\n\0H\0", 12}, no_count},  // UTF-16
      {{"1\nc\nH 0 0 0\0\n", 13}, "Non-numeric coordinates in line: 'H 0 0 0\\x00'"},
      {"\u2028\u2028\u2028\u2028", no_count},
      {"\xFF\xFE\x80\xC3\xED\xA0\x80", too_short},
      {"2\nc\nH 0 0 0\n", "Expected 2 atoms, found 1."},
      {"20000\nc\nH 0 0 0\nHe 0 0 0", "Expected 20000 atoms, found 2."},
  };
  for (const auto& [content, warning] : cases) {
    const IngestedStructure record = parsed(folder, content);
    EXPECT_EQ(record,
              (IngestedStructure{
                  .source_path = folder / "test.xyz", .format = "xyz", .warnings = {warning}}))
        << content;
  }
  CompanionFiles companions;
  const IngestedStructure unreadable = parse_xyz(folder / "missing.xyz", companions);
  EXPECT_EQ(unreadable.warnings.size(), 1U);
  EXPECT_EQ(unreadable.warnings[0].find("Could not read file: "), 0U);
  EXPECT_NE(unreadable.warnings[0].find("No such file or directory"), std::string::npos);
}

TEST(Xyz, ReadsAtoms) {
  const tests::ScratchFolder folder;
  const std::tuple<std::string_view, std::vector<std::string>, std::vector<Vector3>> cases[] = {
      {"1\n\nFe1 0 -1.5 +2e0", {"Fe"}, {{0, -1.5, 2}}},
      {" 2 atoms follow\r\nc\r\nO 1 2 3 force 4 5\r\nH .5 5. 1_0\r\nHe 0 0 0\r\n",
       {"O", "H"},
       {{1, 2, 3}, {0.5, 5, 10}}},
      {"1\u2028c\u0085h\u00A01\u30032\u20033\v", {}, {}},  // U+3003 is not white space
      {"1\u2028c\u0085h\u00A01\u30002\u20033\v", {"H"}, {{1, 2, 3}}},
      {{"1\nc\nH\0 1 2 3", 12}, {"H"}, {{1, 2, 3}}},  // like any label that begins with H
      {"1\rc\rH 1 2 3", {"H"}, {{1, 2, 3}}},
      {"1\nc\nFe 1.0 2.0 3.0 4.0", {"Fe"}, {{1, 2, 3}}},
      {"1\nc\nFe 3d 2.0 3.0 4.0", {"Fe"}, {{2, 3, 4}}},
      {"1\nwith OrbitalType column\nFe 1 2.0 3.0 4.0", {"Fe"}, {{2, 3, 4}}},
      {"1\nORBITALTYPE\nFe 2.0 3.0 4.0", {"Fe"}, {{2, 3, 4}}},
      {"1\nc\nC inf 1e999 -1e-999", {"C"}, {{INFINITY, INFINITY, -0.0}}},
      {"1\nc\nC\xFF 1\xFE.5 2 3", {"C"}, {{1.5, 2, 3}}},  // invalid bytes are dropped
      {"1\nfirst frame\nH 0 0 0\n1\nsecond\nXx 0 0", {"H"}, {{0, 0, 0}}},
  };
  for (const auto& [content, symbols, positions_ang] : cases) {
    const IngestedStructure record = parsed(folder, content);
    EXPECT_EQ(record.symbols, symbols) << content;
    EXPECT_EQ(record.positions_ang, positions_ang) << content;
    EXPECT_EQ(record.ok, !symbols.empty()) << content;
    EXPECT_EQ(record.natoms, static_cast<std::int64_t>(symbols.size()));
  }
  const IngestedStructure water = parsed(folder, "3\n\nO 0 0 0\nH 0 0 1\nH 0 1 0");
  EXPECT_EQ(water.formula, "H2O");
  EXPECT_EQ(water.species, (std::vector<std::string>{"H", "O"}));
  EXPECT_EQ(water.warnings, std::vector<std::string>{NO_CELL});
}

// The fingerprint includes bytes after the frame, and after the line that ended the parse.
TEST(Xyz, FingerprintsAllBytesOfTheFile) {
  const tests::ScratchFolder folder;
  CompanionFiles companions;
  const std::string tail(300000, '\xFF');
  for (const std::string& content :
       {std::string(), "1\n\nH 0 0 0\n" + tail, "1\n\nQq 0 0 0\n" + tail, tail + "\n1\n" + tail}) {
    const std::string path = folder.write("test.xyz", content);
    EXPECT_EQ(parse_xyz(path, companions, {.fingerprint = true}).sha256,
              sha256_hex(content).substr(0, 16));
    EXPECT_EQ(parse_xyz(path, companions).sha256, "");
  }
}

TEST(Xyz, ReadsTheLargestFile) {
  const tests::ScratchFolder folder;
  std::string content = "20000\n\n";
  for (int i = 0; i < 20000; ++i) content += "H 0 0 " + std::to_string(i) + "\n";
  const IngestedStructure record = parsed(folder, content);
  EXPECT_TRUE(record.ok);
  EXPECT_EQ(record.positions_ang.back()[2], 19999);
}

// Ordinary lines take a fast path. An invalid byte is dropped but sends its line to the general
// path, so that each file here is read both ways.
TEST(Xyz, ReadsOrdinaryLinesAsTheGeneralPathDoes) {
  const tests::ScratchFolder folder;
  std::mt19937 random(1);
  const auto one_of = [&random](const std::vector<std::string>& choices) {
    return choices[random() % choices.size()];
  };
  std::size_t good = 0;
  for (int i = 0; i < 400; ++i) {
    std::string content = one_of({"2", "3", "4"}) + "\ncomment\n";
    std::string odd_content = content;
    for (int line = 0; line < 3; ++line) {
      std::string text =
          one_of({"", "", " ", "\t"}) + one_of({"H", "Fe", "CL2", "o_b", "H\x7F", "Xx", "C\u00E9"});
      for (int token = 0; token < 3; ++token) {
        text += one_of({" ", " ", "     ", "            ", "\t", "\u00A0", "\x1F"});
        text += one_of({"0.5", "0.5", "-12.25", "-12.25", "+3.", "1.0E2", "2", "-1_0.5",
                        "123456789.0", "1.2.3"});
      }
      text += one_of({"", "", " ", " 3 x", "\t4.5", " \x01", " \u00E9", "\v", "\r"});
      if (random() % 8 == 0) text[random() % text.size()] = one_of({" ", "\n", "x", "."})[0];
      content += text + '\n';
      odd_content += "\xFF" + text + "\xFF\n";
    }
    const IngestedStructure record = parsed(folder, content);
    ASSERT_EQ(record, parsed(folder, odd_content)) << content;
    good += record.ok ? 1 : 0;
  }
  EXPECT_GT(good, 20U);
}

TEST(Xyz, TakesTheCellFromTheLatticeField) {
  const tests::ScratchFolder folder;
  const std::string unreadable = "Extended-XYZ Lattice field could not be parsed.";
  const std::tuple<std::string_view, bool, std::vector<std::string>> cases[] = {
      {R"(Lattice="1 2 3 4 5 6 7 8 9" pbc="T T T")", true, {}},
      {"x superLATTICE=\"1\t2 3 4 5 6 7 8 +9.0\"", true, {}},
      {R"(lattice="" lattice="1 2 3 4 5 6 7 8 9)", false, {NO_CELL}},
      {R"(lattice="" lattice="1 2 3 4 5 6 7 8 9")", true, {}},
      {R"(lattice="3 4 5" lattice="1 2 3 4 5 6 7 8 9")", false, {NO_CELL}},
      {R"(Lattice="10 10 10")", false, {NO_CELL}},
      {R"(Lattice="1 2 3 4 5 6 7 8 9 10")", false, {NO_CELL}},
      {R"(Lattice=" ")", false, {NO_CELL}},
      {R"(Lattice="1,2,3 4,5,6 7,8,9")", false, {unreadable, NO_CELL}},
      {R"(Lattice='1 2 3 4 5 6 7 8 9')", false, {NO_CELL}},
      {R"(Lattice ="1 2 3 4 5 6 7 8 9")", false, {NO_CELL}},
      {R"(Lattice= "1 2 3 4 5 6 7 8 9")", false, {NO_CELL}},
  };
  for (const auto& [comment, has_cell, warnings] : cases) {
    const IngestedStructure record = parsed(folder, "1\n" + std::string(comment) + "\nH 0 0 0\n");
    EXPECT_TRUE(record.ok);
    EXPECT_EQ(record.warnings, warnings) << comment;
    EXPECT_EQ(record.cell_ang.has_value(), has_cell) << comment;
    if (has_cell) {
      EXPECT_EQ(record.cell_ang, (std::vector<Vector3>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
    }
    EXPECT_EQ(record.cell_provenance, "");
  }
  // A failed record keeps the cell that was read before the failure.
  const IngestedStructure failed = parsed(folder, "1\nLattice=\"1 2 3 4 5 6 7 8 9\"\nH 0\n");
  EXPECT_TRUE(failed.cell_ang);
  EXPECT_FALSE(failed.ok);
  EXPECT_EQ(parsed(folder, "1\nLattice=\"1;\"\nH 0\n").warnings,
            (std::vector<std::string>{unreadable, "Malformed atom line: 'H 0'"}));
}

TEST(Xyz, FallsBackToTheCompanionCell) {
  const tests::ScratchFolder folder;
  folder.write("scf.input", "system.centralCellVectors = 1 0 0 0 2 0 0 0 3\n");
  const IngestedStructure record = parsed(folder, "1\nLattice=\"5\"\nH 0 0 0\n");
  EXPECT_EQ(record.cell_ang, (std::vector<Vector3>{{1, 0, 0}, {0, 2, 0}, {0, 0, 3}}));
  EXPECT_EQ(record.cell_provenance, folder / "scf.input");
  EXPECT_TRUE(record.warnings.empty());
  // An unreadable field gives no cell; nor has a failed file one.
  EXPECT_EQ(parsed(folder, "1\nLattice=\"1;\"\nH 0 0 0\n").cell_ang, record.cell_ang);
  EXPECT_FALSE(parsed(folder, "1\n\nH 0\n").cell_ang);
  const IngestedStructure own = parsed(folder, "1\nLattice=\"4 0 0 0 4 0 0 0 4\"\nH 0 0 0\n");
  EXPECT_EQ(own.cell_ang->front()[0], 4);
  EXPECT_EQ(own.cell_provenance, "");
}

const std::string HELIUM = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n";
const std::string NEON = "2\n\nNe 0 0 0\nNe 0 0 3\n";

TEST(Frames, AreReadOneByOne) {
  const tests::ScratchFolder w;
  struct Case {
    std::string text;
    std::string seen;  // number, formula or warning, of all frames
    std::size_t frames;
  };
  const Case cases[] = {
      {HELIUM, "1 He|", 1},
      {HELIUM + NEON + HELIUM, "1 He|2 Ne2|3 He|", 3},
      {HELIUM + "\n \n" + NEON + "\n\n", "1 He|2 Ne2|", 2},
      {HELIUM + "1\n\nHe 0 0", "1 He|2 Frame 2: Malformed atom line: 'He 0 0'|", 2},
      {HELIUM + "3\n\nHe 0 0 0\n", "1 He|2 Frame 2: Expected 3 atoms, found 1.|", 2},
      {HELIUM + "5\n", "1 He|2 Frame 2: XYZ file is too short to contain atoms.|", 2},
      {HELIUM + "end\n" + HELIUM, "1 He|2 Frame 2: First line of XYZ file is not an atom count.|",
       2},
      {"", "1 Frame 1: XYZ file is too short to contain atoms.|", 1},
      {"\n" + HELIUM, "1 Frame 1: First line of XYZ file is not an atom count.|", 1},
  };
  for (const auto& [text, seen, frames] : cases) {
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
  const auto frame = [](const std::string& file, std::size_t number) {
    return structure_ingest::parse_xyz_frame(file, number);
  };
  EXPECT_EQ(frame(path, 2), expected);
  EXPECT_EQ(frame(path, 3).warnings[0], "Frame 3: Unknown element symbol: 'Qq'");
  EXPECT_EQ(frame(path, 4).formula, "He");  // those before are not looked into
  EXPECT_EQ(parse_last_xyz_frame(path).formula, "He");
  EXPECT_EQ(frame(path, 5).warnings[0], "There is no frame 5: the last one is 4.");
  EXPECT_EQ(frame(alone, 2).warnings[0], "There is no frame 2: the last one is 1.");
  EXPECT_EQ(frame(w / "none.xyz", 1).warnings[0], "File does not exist.");
  EXPECT_EQ(parse_last_xyz_frame(w / "none.xyz").warnings[0], "File does not exist.");
  w.write("cut.xyz", HELIUM + "7\n\n");
  EXPECT_EQ(parse_last_xyz_frame(w / "cut.xyz").warnings[0], "Frame 2: Expected 7 atoms, found 0.");

  // The companion gives a cell to frames as well.
  w.write("c/f.xyz", HELIUM + NEON);
  w.write("c/scf.input",
          "system.atomFile = f.xyz\ncalculation.control.lengthUnit = Angstrom\n"
          "system.centralCellVectors = [[5, 0, 0], [0, 5, 0], [0, 0, 5]]\n");
  EXPECT_NE(frame(w / "c/f.xyz", 2).cell_provenance, "");
  EXPECT_EQ(frame(w / "c/f.xyz", 1).cell_provenance, "");
}

}  // namespace
}  // namespace structure_ingest::internal
