#include "structure_ingest/readers/dispatch.hpp"

#include <gtest/gtest.h>

#include "structure_ingest/readers/read_structure.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

TEST(Dispatch, TellsStructureFilesByTheirNames) {
  for (const char* name :
       {"water.XYZ", "cell.ExtXYZ", "Si.CIF", "a.vasp", "x.POSCAR", "POSCAR", "CONTCAR_relaxed",
        "poscar.bak", ".xyz", "/no/such/folder/a.xyz", "a.xyz/", "a.xyz/.", "\xFF.cif"}) {
    EXPECT_TRUE(is_structure_file(name)) << name;
  }
  for (const char* name : {"structure.pdb", "x.xyz.gz", "my_POSCAR", "xyz", "POSCAR/notes.txt",
                           "a.xyz/..", "", "/", "a.c\u0130f", "a.cif\n"}) {
    EXPECT_FALSE(is_structure_file(name)) << name;
  }
}

TEST(Dispatch, ChoosesTheReaderByTheName) {
  const tests::ScratchFolder folder;
  struct Case {
    const char* name;
    const char* format;
    const char* first_warning;
  };
  const std::string too_short = "XYZ file is too short to contain atoms.";
  const auto ask_ase = [](const std::string& path) {
    internal::AseAnswer answer;
    answer.failure = internal::AseAnswer::Failure::read;
    answer.message = "asked for " + path.substr(path.rfind('/') + 1);
    return answer;
  };
  internal::Readers readers{.ask_ase = ask_ase};
  for (const auto& [name, format, warning] : {
           Case{"POSCAR.xyz", "xyz", too_short.c_str()},
           Case{"water.extxyz", "xyz", too_short.c_str()},
           Case{"CONTCAR.cif", "cif", "ASE could not parse the file: asked for CONTCAR.cif"},
           Case{"CONTCAR", "vasp", "ASE could not parse the file: asked for CONTCAR"},
           Case{"a.Vasp", "vasp", "ASE could not parse the file: asked for a.Vasp"},
           Case{"b.poscar", "vasp", "ASE could not parse the file: asked for b.poscar"},
           Case{"notes.txt", "unknown", "Unsupported structure file format."},
       }) {
    const std::string path = folder.write(name, "");
    const IngestedStructure record = internal::read_structure(path, readers, true);
    EXPECT_EQ(record.format, format) << name;
    EXPECT_EQ(record.source_path, path);
    EXPECT_EQ(record.sha256, "e3b0c44298fc1c14") << name;
    EXPECT_EQ(internal::read_structure(path, readers).sha256, "") << name;
    EXPECT_EQ(record.warnings, std::vector<std::string>{warning}) << name;
    EXPECT_FALSE(record.ok);
  }
}

TEST(Dispatch, TakesOnlyExistingRegularFiles) {
  const tests::ScratchFolder folder;
  folder.make_folder("box.xyz");
  folder.link("dangling.xyz", "nowhere.xyz");
  folder.link("loop.xyz", "loop.xyz");
  for (const std::string name :
       {"missing.xyz", "missing.txt", "box.xyz", "dangling.xyz", "loop.xyz"}) {
    const IngestedStructure record = parse_structure_file(folder / name);
    EXPECT_EQ(record, (IngestedStructure{.source_path = folder / name,
                                         .format = "unknown",
                                         .warnings = {"File does not exist."}}))
        << name;
  }
  // A file that the kernel makes up is one, but may have no end.
  folder.link("made_up.xyz", "/proc/self/maps");
  folder.link("made_up.cif", "/proc/self/maps");
  const std::string refused = parse_structure_file(folder / "made_up.xyz").warnings.at(0);
  EXPECT_EQ(refused.find("Could not read file: "), 0U) << refused;
  EXPECT_EQ(parse_structure_file(folder / "made_up.cif").warnings,
            std::vector<std::string>{"ASE could not parse the file: it is not stored on a disk"});
  folder.write("real.xyz", "1\n\nHe 0 0 0\n");
  folder.link("link.xyz", "real.xyz");
  EXPECT_TRUE(parse_structure_file(folder / "link.xyz").ok);
}

TEST(Dispatch, KeepsThePathInItsNormalForm) {
  const tests::ScratchFolder folder;
  folder.make_folder("sub");
  folder.write("a.xyz", "");
  EXPECT_EQ(parse_structure_file(folder.path() + "//./sub/..//a.xyz/").source_path,
            folder.path() + "/sub/../a.xyz");
  EXPECT_EQ(parse_structure_file("").source_path, ".");
  EXPECT_EQ(parse_structure_file(std::string("a\0b.xyz", 7)).warnings,
            std::vector<std::string>{"File does not exist."});
}

}  // namespace
}  // namespace structure_ingest
