#include "structure_ingest/readers/known_answers.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/cache/cache.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "tests/readers/ase_fixture.hpp"

namespace structure_ingest::internal {
namespace {

using tests::ase_python;
using tests::COPPER_POSCAR;
using tests::SILICON_CIF;

/// A file that says what becomes of it; what the worker's `read` is here does as it says.
constexpr const char* READ = R"(
    import ase

    class Atom:
        cell = None
        def __init__(self, label): self.label = label
        def get_chemical_symbols(self): return [self.label]
        def get_positions(self): return [[1, 2, 3]]

    def read(path):
        with open(path) as file: order = file.read()
        folder = os.path.dirname(os.path.abspath(path))
        def beside(name):
            try:
                with open(os.path.join(folder, name)) as file: return file.read()
            except FileNotFoundError:
                return "He"
        scope = {"os": os, "path": path, "folder": folder, "beside": beside, "label": "He"}
        exec(order, scope)
        return Atom(scope["label"])
)";

struct Known : tests::WithAse {
  Known() : script(ase_worker_script()) {
    const std::string usual = "    from ase.io import read\n";
    script.replace(script.find(usual), usual.size(), READ);
  }

  std::unique_ptr<FileStore> store() const { return FileStore::open(folder, 1 << 20); }

  /// The message or the only label of the answer on a file, of a session that begins with it; and
  /// whether the answer had been kept.
  std::pair<std::string, bool> ask(const std::string& path) const {
    const std::uint64_t found = store()->status().found;
    AseAnswer answer;
    {
      KnownAnswers known(store(), {.interpreters = {{ase_python()}}, .script = script});
      KnownAnswers::File file = known.read(path);
      answer = known.answer(file);
    }
    const bool has_label = answer.labels && answer.labels->size() == 1;
    return {has_label ? answer.labels->front() : answer.message, store()->status().found > found};
  }

  std::string script;
  std::string folder = scratch / "kept";
};

TEST_F(Known, AreTheAnswersThatDependOnTheBytesAlone) {
  struct Case {
    const char* order;
    std::string answer;
    bool is_kept;
  };
  const std::string ended = "the process that runs ASE ";
  const std::vector<Case> cases = {
      {"pass", "He", true},
      {"raise ValueError('no structure')", "no structure", true},
      {"raise ValueError(os.path.basename(path))", "order.cif", true},
      {"import warnings; warnings.warn('odd')", "He", true},
      {"beside('POTCAR')", "He", true},
      {"beside('OUTCAR'); raise KeyError(1)", "1", true},
      {"raise OSError('no disk')", "no disk", false},
      {"raise MemoryError('no memory')", "no memory", false},
      {"raise ImportError('no spglib')", "no spglib", false},
      {"raise RecursionError('deep')", "deep", false},
      {"try: raise OSError\n"
       "except OSError: raise ValueError('of another')",
       "of another", false},
      {"try: 1 / 0\n"
       "except ArithmeticError as error: raise ValueError('from') from MemoryError()",
       "from", false},
      {"os._exit(3)", ended + "ended with status 3", false},
      {"raise ValueError('in ' + folder)", "in " + scratch.path(), false},
      {"beside('notes.txt')", "He", false},
      {"os.listdir(folder)", "He", true},
  };
  for (const Case& row : cases) {
    scratch.write("order.cif", row.order);
    EXPECT_EQ(ask("order.cif"), std::pair(row.answer, false)) << row.order;
    EXPECT_EQ(ask(scratch / "order.cif"), std::pair(row.answer, row.is_kept)) << row.order;
  }
}

TEST_F(Known, DependOnTheFilesThatAseLookedAt) {
  const auto label = [&] { return ask("POSCAR"); };
  using Answer = std::pair<std::string, bool>;
  scratch.write("POSCAR", "label = beside('POTCAR')");
  EXPECT_EQ(label(), Answer("He", false));
  EXPECT_EQ(label(), Answer("He", true));
  scratch.write("notes", "beside, and none of ASE's");
  scratch.write("scf.input", "nor this");
  EXPECT_EQ(label(), Answer("He", true));
  scratch.write("POTCAR", "Ne");
  EXPECT_EQ(label(), Answer("Ne", false));
  EXPECT_EQ(label(), Answer("Ne", true));
  scratch.write("POTCAR", "Ar");  // as long as before
  EXPECT_EQ(label(), Answer("Ar", false));
  scratch.write("OUTCAR", "Kr");  // which ASE may look at another time
  EXPECT_EQ(label(), Answer("Ar", false));
  std::filesystem::remove("POTCAR");
  EXPECT_EQ(label(), Answer("He", false));
  // A companion that nobody can read twice.
  ASSERT_EQ(mkfifo("CONTCAR", 0600), 0);
  EXPECT_EQ(ask("POSCAR").first, "He");
}

TEST_F(Known, DependOnNameAndBytesAndNotOnTheFolder) {
  scratch.write("one/a.cif", "pass");
  EXPECT_EQ(ask("one/a.cif").second, false);
  scratch.write("two/a.cif", "pass");
  EXPECT_EQ(ask("two/a.cif").second, true);
  scratch.write("two/b.cif", "pass");
  EXPECT_EQ(ask("two/b.cif").second, false);
  scratch.write("two/a.cif", "pass ");
  EXPECT_EQ(ask("two/a.cif").second, false);
  script += "# another worker\n";
  EXPECT_EQ(ask("one/a.cif").second, false);
  const tests::Environment threads("OPENBLAS_NUM_THREADS", "1");
  EXPECT_EQ(ask("one/a.cif").second, false);
  EXPECT_EQ(ask("one/a.cif").second, true);
}

// Packages may be installed where there were none.
TEST_F(Known, DependOnFoldersThatAreNotThere) {
  const tests::Environment home("HOME", scratch.path());
  scratch.write("a.cif", "pass");
  EXPECT_EQ(ask("a.cif").second, false);
  EXPECT_EQ(ask("a.cif").second, true);
  const std::string packages =
      tests::run(ase_python() + " -c 'import site; print(site.getusersitepackages())'").output;
  ASSERT_TRUE(packages.starts_with(scratch.path()));
  std::filesystem::create_directories(packages.substr(0, packages.size() - 1));
  EXPECT_EQ(ask("a.cif").second, false);
}

TEST_F(Known, AreNotOfAFileThatChangesMeanwhile) {
  scratch.write("order.cif", "pass");
  KnownAnswers known(store(), {.interpreters = {{ase_python()}}, .script = script});
  KnownAnswers::File file = known.read("order.cif");
  scratch.write("order.cif", "raise ValueError('new')");
  EXPECT_EQ(known.answer(file).message, "new");
  scratch.write("order.cif", "pass");
  EXPECT_EQ(ask("order.cif"), std::pair(std::string("He"), false));
}

// In any order and number, whatever of them is known.
TEST_F(Known, AnswerAnnouncedFiles) {
  std::vector<std::string> names;
  for (int i = 0; i < 30; ++i) {
    names.push_back("x" + std::to_string(i) + ".cif");
    scratch.write(names.back(), "raise ValueError('" + names.back() + "')");
    if (i % 3 == 0) ask(names.back());
  }
  KnownAnswers known(store(), {.interpreters = {{ase_python()}}, .script = script, .processes = 2});
  const auto message = [&](const std::string& name) {
    KnownAnswers::File file = known.read(name);
    return known.answer(file).message;
  };
  known.expect(names);
  for (const std::string& name : names) EXPECT_EQ(message(name), name);
  known.expect(names);
  for (const int i : {7, 3, 29, 0}) {
    EXPECT_EQ(message(names[static_cast<std::size_t>(i)]), names[static_cast<std::size_t>(i)]);
  }
  scratch.write("late.cif", "raise ValueError('late')");
  EXPECT_EQ(message("late.cif"), "late");
}

TEST(AseEnvironment, IsThatOfUnchangedFiles) {
  using std::chrono::seconds;
  const tests::ScratchFolder scratch;
  const auto store = FileStore::open(scratch / "kept", 1 << 20);
  const std::string python = scratch.write("python",
                                           "\x7F"
                                           "ELF");
  const std::string module = scratch.write("ase/io.py", "1");
  const std::string absent = scratch / "pyvenv.cfg";
  const std::string files = module + "\n" + absent + "\n" + (scratch / "ase") + "\n";
  const auto later = std::chrono::system_clock::now() + seconds(10);
  AseEnvironments environments(*store, "script");
  EXPECT_EQ(environments.current({python}), std::nullopt);
  // Files that changed while the worker started: nobody knows which of them it has.
  EXPECT_EQ(environments.remember(python, true, files, later - seconds(10)), std::nullopt);
  const std::optional<std::string> first = environments.remember(python, true, files, later);
  ASSERT_TRUE(first);
  EXPECT_EQ(environments.current({python}), first);
  EXPECT_EQ(AseEnvironments(*store, "script").current({python}), first);
  EXPECT_EQ(AseEnvironments(*store, "other").current({python}), std::nullopt);

  const std::string other = scratch.write("other",
                                          "\x7F"
                                          "ELF");
  EXPECT_EQ(environments.current({other, python}), std::nullopt);
  ASSERT_TRUE(environments.remember(other, false, files, later));  // it has no ASE
  EXPECT_EQ(environments.current({other, python}), first);
  EXPECT_EQ(environments.current({other}), std::nullopt);
  EXPECT_EQ(environments.remember(python, true, "", later), std::nullopt);
  EXPECT_EQ(environments.remember(python, true, "/no line feed", later), std::nullopt);

  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"other bytes", [&] { scratch.write("ase/io.py", "2"); }},
      {"a file that was absent", [&] { scratch.write("pyvenv.cfg", ""); }},
      {"a new file in a folder", [&] { scratch.write("ase/new.py", ""); }},
      {"a file that is gone", [&] { std::filesystem::remove(absent); }},
      {"another Python", [&] { std::filesystem::rename(other, python); }},
  };
  for (const auto& [what, change] : changes) {
    const std::optional<std::string> before = environments.current({python});
    EXPECT_TRUE(before) << what;
    change();
    EXPECT_EQ(environments.current({python}), std::nullopt) << what;
    const auto after = environments.remember(python, true, files, later);
    EXPECT_TRUE(after && after != before) << what;
  }
}

}  // namespace
}  // namespace structure_ingest::internal
