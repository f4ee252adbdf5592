// Converting ASE's answers to records; ase_session_test.cpp tests how they are obtained.
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

#include <gtest/gtest.h>

namespace structure_ingest::internal {
namespace {

using Failure = AseAnswer::Failure;
using Labels = std::vector<std::string>;
using Rows = std::vector<Vector3>;

IngestedStructure failed(const std::string& warning) {
  return {.source_path = "there/POSCAR", .format = "vasp", .warnings = {warning}};
}

TEST(Ase, KeepsTheFieldsBeforeTheFirstFailure) {
  const Rows cell = {{2, 0, 0}, {0, 2, 0}, {0, 0, 2}};
  const Rows two = {{0, 0, 0}, {1, 1, 1}};
  const IngestedStructure whole = {.source_path = "there/POSCAR",
                                   .format = "vasp",
                                   .natoms = 2,
                                   .species = {"O", "Si"},
                                   .symbols = {"Si", "O"},
                                   .positions_ang = two,
                                   .cell_ang = cell,
                                   .formula = "OSi",
                                   .ok = true};
  IngestedStructure no_atoms = failed("No atoms found in the file.");
  no_atoms.cell_ang = cell;
  IngestedStructure labels_only = failed("Failed to extract structure data: ");
  labels_only.natoms = 2;
  labels_only.symbols = {"O", "O"};
  IngestedStructure no_cell = labels_only;
  no_cell.positions_ang = two;
  no_cell.warnings = {"Failed to extract structure data: no cell"};
  struct Case {
    AseAnswer answer;
    IngestedStructure record;
  };
  for (const auto& [answer, record] : {
           Case{{Failure::none, "", Labels{"si4+", "O1"}, two, cell}, whole},
           Case{{Failure::none, "", Labels{}, Rows{}, cell}, no_atoms},
           Case{{Failure::none, "", Labels{"O", "X"}, two, cell},
                failed("File contains unrecognized element symbols.")},
           Case{{Failure::read, "why"}, failed("ASE could not parse the file: why")},
           Case{{Failure::unavailable},
                failed("Parsing vasp files requires the 'ase' package, which is not installed. "
                       "Install ase or provide an XYZ file.")},
           Case{{Failure::extraction, "why"}, failed("Failed to extract structure data: why")},
           Case{{Failure::extraction, "", Labels{"O", "O"}}, labels_only},
           Case{{Failure::extraction, "no cell", Labels{"O", "O"}, two}, no_cell},
       }) {
    const auto ask_ase = [&answer = answer](const std::string& path) {
      EXPECT_EQ(path, "there/POSCAR");
      return answer;
    };
    EXPECT_EQ(parse_with_ase("there/POSCAR", "vasp", ask_ase), record);
  }
}

// The limit on the number of atoms is for XYZ files only.
TEST(Ase, AcceptsAnyNumberOfAtoms) {
  const AseAnswer answer{.labels = Labels(20001, "H"), .positions_ang = Rows(20001)};
  const IngestedStructure record =
      parse_with_ase("a.cif", "cif", [&answer](const auto&) { return answer; });
  EXPECT_TRUE(record.ok);
  EXPECT_EQ(record.formula, "H20001");
}

}  // namespace
}  // namespace structure_ingest::internal
