// Shared by the tests of the ASE reader.
#pragma once

#include <sys/wait.h>

#include <cerrno>

#include "structure_ingest/readers/ase_session.hpp"
#include "tests/scratch_folder.hpp"

namespace tests {

/// A Python that can import ASE, found without the code under test; empty when there is none.
inline const std::string& ase_python() {
  static const bool has_ase = run("/usr/bin/python3 -c 'import ase.io' 2>&1").status == 0;
  static const std::string python = has_ase ? "/usr/bin/python3" : "";
  return python;
}

inline bool has_children() {
  return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

/// Each test runs in a scratch folder and must leave no process behind.
class AseSessionTest : public testing::Test {
 protected:
  ~AseSessionTest() override { EXPECT_FALSE(has_children()); }

  ScratchFolder scratch;
  CurrentFolder current{scratch.path()};
};

/// The same, skipped without ASE.
class WithAse : public AseSessionTest {
 protected:
  void SetUp() override {
    if (ase_python().empty()) GTEST_SKIP() << "/usr/bin/python3 cannot import ase.io";
  }
  structure_ingest::internal::AseSession session{{.interpreters = {{ase_python()}}}};
};

// The lattice constant of silicon is that of CODATA 2018; copper's 3.6149 is from the CRC Handbook.
inline constexpr const char* SILICON_CIF =
    "data_Si\n_cell_length_a 5.431020511\n_cell_length_b 5.431020511\n_cell_length_c 5.431020511\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
    "_symmetry_space_group_name_H-M 'F d -3 m'\n_symmetry_Int_Tables_number 227\n"
    "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
    "Si1 0 0 0\n";
inline constexpr const char* COPPER_POSCAR =
    "Cu\n3.6149\n0 .5 .5\n.5 0 .5\n.5 .5 0\nCu\n1\nDirect\n.25 .25 .25\n";

}  // namespace tests
