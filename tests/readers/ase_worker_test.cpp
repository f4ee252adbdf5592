// The worker's script: it returns what ASE returns for exactly the file that is named, and changes
// no file.
#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <map>

#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "tests/check/findings_in.hpp"
#include "tests/readers/ase_fixture.hpp"

namespace structure_ingest::internal {
namespace {

using Failure = AseAnswer::Failure;
using tests::ase_python;
using tests::COPPER_POSCAR;
using tests::SILICON_CIF;
using tests::WithAse;

/// ASE's results for the files in one plain Python process, as texts.
std::vector<std::string> directly(const std::vector<std::string>& paths) {
  std::ofstream("direct.py") << R"(
import os, sys
from ase.io import read
for number, path in enumerate(open("paths", "rb").read().split(b"\0")[:-1]):
    stage = b"read: "
    try:
        atoms = read(os.fsdecode(path))
        stage = b"extraction: "
        labels = " ".join(atoms.get_chemical_symbols()).encode()
        positions = atoms.get_positions().tobytes()
        cell = atoms.cell.array.tobytes() if atoms.cell.rank == 3 else b""
        result = labels + b"|" + positions + b"|" + cell
    except Exception as error:
        result = stage + os.fsencode(str(error))
    open(f"direct.{number}", "wb").write(result)
)";
  std::ofstream list("paths");
  for (const std::string& path : paths) list << path << '\0';
  list.close();
  EXPECT_EQ(tests::run(ase_python() + " -X utf8 direct.py 2> /dev/null").status, 0);
  std::vector<std::string> results;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    results.push_back(tests::content_of("direct." + std::to_string(i)));
  }
  return results;
}

std::string bytes_of(const std::optional<std::vector<Vector3>>& rows) {
  if (!rows) return {};
  return {reinterpret_cast<const char*>(rows->data()), rows->size() * sizeof(Vector3)};
}

/// The same results through the session.
std::string through(AseSession& session, const std::string& path) {
  const AseAnswer answer = session.read(path);
  if (answer.failure == Failure::read) return "read: " + answer.message;
  if (answer.failure == Failure::extraction) return "extraction: " + answer.message;
  std::string labels;
  for (const std::string& label : *answer.labels) labels += (labels.empty() ? "" : " ") + label;
  return labels + "|" + bytes_of(answer.positions_ang) + "|" + bytes_of(answer.cell_ang);
}

TEST_F(WithAse, AgreesWithPythonToTheBit) {
  const std::string silicon = SILICON_CIF;
  std::string many = "Cu\n1.1\n100.1 .1 .7\n.3 90 .1\n0 0 77.7\nCu\n100000\nDirect\n";
  for (int i = 0; i < 100000; ++i)
    many += std::to_string(i / 1e5) + " .1 ." + std::to_string(i) + "\n";
  const std::string disordered =
      silicon.substr(0, silicon.find("_symmetry")) +
      "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
      "_atom_site_fract_z\n_atom_site_occupancy\n";
  std::string crowd = disordered;
  for (int i = 0; i < 1001; ++i) {
    crowd += "C" + std::to_string(i) + " C 0 .5 0." + std::to_string(1000 + i * 8) + " .7\n";
  }
  const std::vector<std::pair<std::string, std::string>> files = {
      {"triclinic.cif",
       "data_\n_cell_length_a 5.1\n_cell_length_b 6.3\n_cell_length_c 7.7\n"
       "_cell_angle_alpha 81.3\n_cell_angle_beta 97.7\n_cell_angle_gamma 101.9\n"
       "loop_\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
       "_atom_site_fract_z\nFe3+ .1 .2 .3\nO2- .123456789 -.7 1e-17\n"},
      {"huge.vasp", many},
      {"occupancies.cif", disordered + "Si1 Si 0 0 0 .4\nGe1 Ge 0 0 .0001 .6\nO1 O .5 .5 .5 1\n"},
      {"apart.cif", disordered + "Si1 Si 0 0 0 .4\nGe1 Ge 0 0 .0011 .6\n"},
      {"no_number.cif", disordered + "Si1 Si 0 0 nan .4\nGe1 Ge inf 0 0 .6\n"},
      {"crowd.cif", crowd},
      {"before_crowd.cif", disordered + "Si1 Si 0 0 0 .4\nGe1 Ge 0 0 .0009 .6\n"},
      {"empty.cif", ""},
      {"words.cif", "no structure"},
      {"missing_loop.cif", silicon.substr(0, silicon.find("loop_"))},
      {"cut.cif", silicon.substr(0, silicon.size() - 4)},
      {"caf\xC3\xA9 '\"\n\xE9.cif", "data_\n_x ?"},
      {"latin1.cif", "data_\xE9\n" + silicon},
      {"POSCAR", ""},
      {"POSCAR_cut", std::string(COPPER_POSCAR, 40)},
      {"POSCAR_nan", "Cu\n1\nnan 0 0\n0 inf 0\n0 0 -0.\nCu\n1\nCartesian\nnan -0. inf\n"},
      {"CONTCAR.old", "no symbols\n1\n1 0 0\n0 1 0\n0 0 1\n1\nDirect\n0 0 0\n"},
      {"flat.poscar", "Cu\n1\n1 0 0\n0 1 0\n0 0 0\nCu\n1\nCartesian\n0 0 0\n"},
      {"CONFIG.cif", SILICON_CIF},
      {"poscar.bak", COPPER_POSCAR},
      {"*POSCAR?", COPPER_POSCAR},
      {"no POTCAR/POSCAR", "?\n1\n1 0 0\n0 1 0\n0 0 1\n1\nDirect\n0 0 0\n"},
      {"POTCAR/POSCAR", "?\n1\n1 0 0\n0 1 0\n0 0 1\n1\nDirect\n0 0 0\n"},
      {"POTCAR/POTCAR", "  TITEL  = PAW_PBE Pd 04Jan2005\n"},
  };
  std::vector<std::string> paths = {"missing 'x' \xE9\n.cif", "POSCAR\xED\xA0\x80"};
  for (const auto& [name, content] : files) paths.push_back(scratch.write(name, content));
  const std::vector<std::string> expected = directly(paths);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const std::string given = through(session, paths[i]);
    EXPECT_TRUE(given == expected[i]) << paths[i] << "\n"
                                      << given.substr(0, 200) << "\n"
                                      << expected[i].substr(0, 200);
  }
}

TEST_F(WithAse, LoadsSciPyOnlyWhereItIsUsed) {
  std::string script = ase_worker_script();
  const std::string labels = "for label in atoms.get_chemical_symbols()]";
  script.replace(script.find(labels), labels.size(),
                 "for label in ['used' if 'scipy.linalg.lapack' in sys.modules else 'left out']]");
  const std::string cell = "data_\n" + tests::cubic_cell("5") +
                           "loop_\n_atom_site_type_symbol\n_atom_site_fract_x\n"
                           "_atom_site_fract_y\n_atom_site_fract_z\n";
  scratch.write("POSCAR", COPPER_POSCAR);
  scratch.write("plain.cif", cell + "Si 0 0 0\n");
  scratch.write("occupancies.cif", cell + "_atom_site_occupancy\nSi 0 0 0 1\n");
  AseSession reader({.interpreters = {{ase_python()}}, .script = script});
  for (const char* file : {"POSCAR", "plain.cif", "occupancies.cif"}) {
    EXPECT_EQ(reader.read(file).labels, std::vector<std::string>{"left out"}) << file;
  }
}

TEST_F(WithAse, MakesRecordsOfFailures) {
  scratch.write("POSCAR", "X\n1\n1 0 0\n0 1 0\n0 0 1\nSi X\n1 1\nDirect\n0 0 0\n.5 .5 .5\n");
  scratch.write("none.cif", "");
  scratch.write("words.cif", "no structure");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"POSCAR", "File contains unrecognized element symbols."},
      {"none.cif", "ASE could not parse the file: Empty file: none.cif"},
      {"words.cif", "ASE could not parse the file: "},  // the error has no message
  };
  for (const auto& [path, warning] : cases) {
    const IngestedStructure record = structure_ingest::parse_structure_file(path);
    EXPECT_EQ(record.warnings, std::vector<std::string>{warning});
    EXPECT_EQ(record.natoms, 0);
  }
}

// ASE would take the end of some names for an index, and the beginning of others for a database.
TEST_F(WithAse, ReadsTheFileThatIsNamed) {
  const std::vector<std::pair<std::string, std::string>> elements = {
      {"POSCAR", "Cu"},       {"POSCAR@0", "Au"},        {"POSCAR@:", "Ag"},
      {"POSCAR@", "Ni"},      {"POSCAR@Pd@-1", "Pd"},    {"a@0/POSCAR", "Pt"},
      {"a/POSCAR", "Rh"},     {"postgres/POSCAR", "Ir"}, {"mysql.poscar", "Al"},
      {"mariadb.vasp", "Pb"}, {"postgres@0.vasp", "Th"}, {"POSCAR[0]", "Ca"},
      {"POSCAR?", "Sr"},      {"-POSCAR", "Yb"},         {"x@1.vasp", "Ce"},
      {"x.vasp", "Ac"},
  };
  for (const auto& [name, element] : elements) {
    const std::string copper = COPPER_POSCAR;  // its sixth line names the element
    scratch.write(name, element + copper.substr(2, copper.find("\nCu") - 1) + element +
                            copper.substr(copper.find("\nCu") + 3));
  }
  for (const auto& [name, element] : elements) {
    const AseAnswer answer = session.read(name);
    EXPECT_EQ(answer.labels, std::vector{element}) << name << ": " << answer.message;
  }
  for (const char* name : {"x@8.cif", "mysql/x.cif", "postgres.cif", "postgres@.cif"}) {
    scratch.write(name, "");
    EXPECT_EQ(session.read(name).message, std::string("Empty file: ") + name);
  }
}

TEST_F(WithAse, ReportsPythonsWarnings) {
  std::string tetragonal = SILICON_CIF;
  tetragonal.insert(tetragonal.find("loop_"), "_symmetry_cell_setting tetragonal\n");
  scratch.write("tetragonal.cif", tetragonal);
  scratch.write("twice.cif", std::string(SILICON_CIF) + "Si2 0 0 0\nSi3 0 0 0\n");
  scratch.write("Si.cif", SILICON_CIF);
  const std::string setting =
      "crystal system 'tetragonal' is not interpreted for space group 227. "
      "This may result in wrong setting!";
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"tetragonal.cif", {setting}},
      {"tetragonal.cif", {setting}},  // again, though Python repeats no warning by default
      {"twice.cif",
       {"scaled_positions 0 and 1 are equivalent", "scaled_positions 0 and 2 are equivalent"}},
      {"Si.cif", {}},
  };
  for (const auto& [path, warnings] : cases) {
    const auto ask = [&](const std::string& text) { return session.read(text); };
    EXPECT_EQ(ask(path).warnings, warnings) << path;
    EXPECT_EQ(parse_with_ase(path, "cif", ask).warnings, std::vector<std::string>{});
  }
}

/// The worker's script unchanged, and as on a kernel without Landlock.
std::vector<std::string> scripts() {
  const std::string script = ase_worker_script();
  const std::string calls = "444, 445, 446";
  std::string without_landlock = script;
  without_landlock.replace(script.find(calls), calls.size(), "-1, -1, -1");
  return {script, without_landlock};
}

/// The entries of a folder with their contents and times.
std::map<std::string, std::string> snapshot(const std::string& folder) {
  std::map<std::string, std::string> entries;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    entries[path] = std::to_string(status.st_mtim.tv_sec) + " " +
                    std::to_string(status.st_mtim.tv_nsec) + " " + std::to_string(status.st_mode) +
                    " " + (S_ISREG(status.st_mode) ? tests::content_of(path) : "");
  }
  return entries;
}

TEST_F(WithAse, ChangesNoFile) {
  std::ofstream("make.py") << R"py(
import os, sqlite3, ase, ase.db, ase.io
os.mkdir("files")
os.chdir("files")
for name, mode in ("poscar_runs.db", "delete"), ("poscar_wal.db", "wal"):
    database = sqlite3.connect(name)
    database.execute("pragma journal_mode=" + mode)
    database.execute("create table runs(energy)")
    database.commit()
    database.close()
for name in "poscar_ase.db", "poscar.json":
    ase.db.connect(name).write(ase.Atoms("Cu"))
ase.io.write("poscar.traj", [ase.Atoms("Au"), ase.Atoms("Ag")])
)py";
  ASSERT_EQ(tests::run(ase_python() + " make.py").status, 0);
  const auto untouched = snapshot("files");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"files/poscar_runs.db", ""}, {"files/poscar_wal.db", ""}, {"files/poscar_ase.db", "Cu"},
      {"files/poscar.json", "Cu"},  {"files/poscar.traj", "Ag"},
  };
  for (const std::string& script : scripts()) {
    AseSession reader({.interpreters = {{ase_python()}}, .script = script});
    for (const auto& [path, element] : cases) {
      const AseAnswer answer = reader.read(path);
      if (element.empty() || (script != scripts().front() && path.ends_with(".db"))) {
        EXPECT_EQ(answer.failure, Failure::read) << path;
      } else {
        EXPECT_EQ(answer.labels, std::vector{element}) << path << ": " << answer.message;
      }
      EXPECT_TRUE(snapshot("files") == untouched) << path;
    }
  }
}

class OtherAse : public tests::AseSessionTest {
 protected:
  /// Creates a package `ase` in a folder, whose `read` has this body.
  void write_package(const std::string& folder, const std::string& body) const {
    scratch.write(folder + "/ase/__init__.py", "");
    scratch.write(folder + "/ase/io.py", "def read(path):\n" + body);
  }
  tests::Environment python_path{"PYTHONPATH", scratch / "package"};
};

TEST_F(OtherAse, CannotChangeFilesOnPurpose) {
  write_package("package", R"py(
    import errno, os, subprocess
    def said(action, *arguments):
        try:
            result = action(*arguments)
            return "done"
        except OSError as error:
            return errno.errorcode[error.errno]
    def append():
        with open("old", "a") as file:
            file.write("more")
    raise ValueError(" ".join([
        said(append), said(open, os.devnull, "w"), said(open, "old"), said(os.truncate, "old", 0),
        said(open, "new", "x"), said(os.mkdir, "folder"), said(os.symlink, "old", "link"),
        said(os.rename, "old", "new"), said(os.remove, "old"), said(subprocess.run, ["/bin/true"])]))
)py");
  scratch.write("old", "content");
  std::vector<std::pair<std::string, std::string>> cases;
  const std::string refused = "EACCES done done EACCES EACCES EACCES EACCES EACCES EACCES EACCES";
  for (const std::string& script : scripts()) cases.emplace_back(script, refused);
  std::string limited = scripts().back();  // what remains with neither Landlock nor hooks
  limited.replace(limited.find("\"addaudithook\""), 14, "\"no such thing\"");
  cases.emplace_back(limited, "EFBIG done done");
  for (const auto& [script, message] : cases) {
    AseSession reader({.interpreters = {{"/usr/bin/python3"}}, .script = script});
    const auto untouched = snapshot(scratch.path());
    EXPECT_EQ(reader.read("old").message.substr(0, message.size()), message);
    if (message == refused) {
      EXPECT_TRUE(snapshot(scratch.path()) == untouched);
    }
  }
}

TEST_F(OtherAse, ReportsOnlyWarningsAboutTheFile) {
  write_package("package", R"py(
    import warnings
    warnings.warn("ASE is old", DeprecationWarning)
    warnings.warn("ASE will change", FutureWarning)
    for _ in range(3):
        warnings.warn("the file is odd")
    raise ValueError("the file is bad")
)py");
  scratch.write("package/ase/__init__.py", "import warnings\nwarnings.simplefilter('ignore')\n");
  AseSession reader({.interpreters = {{"/usr/bin/python3"}}});
  for (int i = 0; i < 2; ++i) {
    const AseAnswer answer = reader.read("x");
    EXPECT_EQ(answer.message, "the file is bad");
    EXPECT_EQ(answer.warnings, std::vector<std::string>{"the file is odd"});
  }
}

TEST_F(OtherAse, IsFoundInTheAbsoluteFoldersOfPythonpath) {
  for (const char* folder : {"first", "second", "relative", "."}) {
    write_package(folder, std::string("    raise ValueError('read in ") + folder + "')\n");
  }
  const std::string first = scratch / "first";
  const std::string second = scratch / "second";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {first, "read in first"},
      {first + ":" + second, "read in first"},
      {":relative:.::" + second + ":" + first, "read in second"},
      {scratch / "missing" + ":" + first, "read in first"},
      {scratch.path(), "read in ."},
  };
  for (const auto& [path, message] : cases) {
    python_path.set(path);
    AseSession reader({.interpreters = {{"/usr/bin/python3"}}});
    EXPECT_EQ(reader.read("x").message, message) << path;
  }
}

TEST_F(WithAse, LoadsNoCodeFromAroundIt) {
  const std::string path = scratch.write("Si.cif", SILICON_CIF);
  // ASE imports shlex when it reads its first CIF file, in the folder of that file.
  for (const char* name : {"ase.py", "numpy.py", "socket.py", "site.py", "shlex.py",
                           "ase/__init__.py", "relative/ase.py", "relative/shlex.py"}) {
    scratch.write(name, "raise SystemExit\n");
  }
  const tests::Environment start("PYTHONSTARTUP", scratch / "ase.py");
  for (const char* python_path : {"", "relative", "::relative:."}) {
    const tests::Environment set("PYTHONPATH", python_path);
    AseSession reader({.interpreters = {{ase_python()}}});
    EXPECT_EQ(reader.read("Si.cif").labels, std::vector<std::string>(8, "Si")) << python_path;
    EXPECT_EQ(reader.read(path).labels, std::vector<std::string>(8, "Si")) << python_path;
  }
}

}  // namespace
}  // namespace structure_ingest::internal
