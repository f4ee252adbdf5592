#include "structure_ingest/readers/ase_session.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "structure_ingest/readers/ase_interpreters.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

using Failure = AseAnswer::Failure;
using namespace std::chrono_literals;

/// An interpreter that can import ASE, found without the code under test; empty when there is none.
const std::string& ase_python() {
  static const bool has_ase =
      std::system("/usr/bin/python3 -c 'import ase.io' 2> /dev/null") == 0;  // NOLINT
  static const std::string python = has_ase ? "/usr/bin/python3" : "";
  return python;
}

bool has_children() {
  return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

/// Each test is in a scratch folder as its current folder, and leaves no process behind.
class AseSessionTest : public testing::Test {
 protected:
  AseSessionTest() { std::filesystem::current_path(scratch.path()); }
  ~AseSessionTest() override {
    std::filesystem::current_path(before);
    EXPECT_FALSE(has_children());
  }

  std::filesystem::path before = std::filesystem::current_path();
  tests::ScratchFolder scratch;
};

/// The same with ASE.
class WithAse : public AseSessionTest {
 protected:
  void SetUp() override {
    if (ase_python().empty()) GTEST_SKIP() << "/usr/bin/python3 cannot import ase.io";
  }
  AseSession session{{.interpreters = {{ase_python()}}}};
};

// The lattice constant of silicon is that of CODATA 2018; copper's 3.6149 is from the CRC Handbook.
constexpr const char* SILICON_CIF =
    "data_Si\n_cell_length_a 5.431020511\n_cell_length_b 5.431020511\n_cell_length_c 5.431020511\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
    "_symmetry_space_group_name_H-M 'F d -3 m'\n_symmetry_Int_Tables_number 227\n"
    "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
    "Si1 0 0 0\n";
constexpr const char* COPPER_POSCAR =
    "Cu\n3.6149\n0 .5 .5\n.5 0 .5\n.5 .5 0\nCu\n1\nDirect\n.25 .25 .25\n";

TEST_F(WithAse, KnownStructuresThroughOneWorker) {
  scratch.write("one/Si.cif", SILICON_CIF);
  scratch.write("two/POSCAR", COPPER_POSCAR);
  Readers readers{.ask_ase = [&](const std::string& text) { return session.read(text); }};
  const auto parse = [&](const std::string& path) { return read_structure(path, readers); };
  EXPECT_FALSE(session.worker_id());
  std::filesystem::current_path(scratch / "one");
  const IngestedStructure silicon = parse("Si.cif");
  const std::optional<pid_t> worker = session.worker_id();
  ASSERT_TRUE(worker);
  const double a = 5.431020511;
  EXPECT_EQ(silicon.warnings, std::vector<std::string>{});
  EXPECT_EQ(silicon.formula, "Si8");
  EXPECT_EQ(silicon.cell_ang, (std::vector<Vector3>{{a, 0, 0}, {0, a, 0}, {0, 0, a}}));

  std::filesystem::current_path(scratch / "two");  // a relative path follows the current folder
  const double half = 3.6149 / 2;
  EXPECT_EQ(parse("POSCAR"),
            (IngestedStructure{.source_path = "POSCAR",
                               .format = "vasp",
                               .natoms = 1,
                               .species = {"Cu"},
                               .symbols = {"Cu"},
                               .positions_ang = {{half / 2, half / 2, half / 2}},
                               .cell_ang = {{{0, half, half}, {half, 0, half}, {half, half, 0}}},
                               .formula = "Cu",
                               .ok = true}));
  EXPECT_EQ(session.worker_id(), worker);
  kill(*worker, SIGKILL);  // while it waits, this costs no file
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(*worker), &ended, WEXITED | WNOWAIT);
  EXPECT_TRUE(parse("POSCAR").ok);
  EXPECT_NE(session.worker_id(), worker);
}

/// What ASE gives for each of the files in one plain Python process, as texts.
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
  EXPECT_EQ(std::system((ase_python() + " -X utf8 direct.py 2> /dev/null").c_str()), 0);  // NOLINT
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

/// The same through the session.
std::string through(AseSession& session, const std::string& path) {
  const AseAnswer answer = session.read(path);
  if (answer.failure == Failure::read) return "read: " + answer.message;
  if (answer.failure == Failure::extraction) return "extraction: " + answer.message;
  std::string labels;
  for (const std::string& label : *answer.labels) labels += (labels.empty() ? "" : " ") + label;
  return labels + "|" + bytes_of(answer.positions_ang) + "|" + bytes_of(answer.cell_ang);
}

TEST_F(WithAse, GivesWhatPythonGivesToTheBit) {
  const std::string silicon = SILICON_CIF;
  std::string many = "Cu\n1.1\n100.1 .1 .7\n.3 90 .1\n0 0 77.7\nCu\n100000\nDirect\n";
  for (int i = 0; i < 100000; ++i)
    many += std::to_string(i / 1e5) + " .1 ." + std::to_string(i) + "\n";
  const std::vector<std::pair<std::string, std::string>> files = {
      {"triclinic.cif",
       "data_\n_cell_length_a 5.1\n_cell_length_b 6.3\n_cell_length_c 7.7\n"
       "_cell_angle_alpha 81.3\n_cell_angle_beta 97.7\n_cell_angle_gamma 101.9\n"
       "loop_\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
       "_atom_site_fract_z\nFe3+ .1 .2 .3\nO2- .123456789 -.7 1e-17\n"},
      {"huge.vasp", many},
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
      {"POSCAR@", COPPER_POSCAR},
      {"POSCAR@:", COPPER_POSCAR},
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

TEST_F(WithAse, RecordsOfFailures) {
  scratch.write("POSCAR", "X\n1\n1 0 0\n0 1 0\n0 0 1\nSi X\n1 1\nDirect\n0 0 0\n.5 .5 .5\n");
  scratch.write("none.cif", "");
  scratch.write("words.cif", "no structure");
  scratch.write("POSCAR@:", COPPER_POSCAR);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"POSCAR", "File contains unrecognized element symbols."},
      {"none.cif", "ASE could not parse the file: Empty file: none.cif"},
      {"words.cif", "ASE could not parse the file: "},  // the error has no message
      {"POSCAR@:",
       "Failed to extract structure data: 'list' object has no attribute 'get_chemical_symbols'"},
  };
  for (const auto& [path, warning] : cases) {
    const IngestedStructure record = structure_ingest::parse_structure_file(path);
    EXPECT_EQ(record.warnings, std::vector<std::string>{warning});
    EXPECT_EQ(record.natoms, 0);
  }
}

TEST_F(WithAse, LoadsNoCodeFromAroundIt) {
  const std::string path = scratch.write("Si.cif", SILICON_CIF);
  for (const char* name : {"ase.py", "numpy.py", "socket.py", "site.py", "ase/__init__.py"}) {
    scratch.write(name, "open('" + scratch / "loaded" + "', 'w')\nraise SystemExit\n");
  }
  ::setenv("PYTHONPATH", scratch.path().c_str(), 1);
  ::setenv("PYTHONSTARTUP", (scratch / "ase.py").c_str(), 1);
  EXPECT_EQ(session.read("Si.cif").labels, std::vector<std::string>(8, "Si"));
  EXPECT_EQ(session.read(path).labels, std::vector<std::string>(8, "Si"));
  EXPECT_FALSE(std::filesystem::exists(scratch / "loaded"));
  ::unsetenv("PYTHONPATH");
  ::unsetenv("PYTHONSTARTUP");
}

TEST_F(WithAse, EndsWithItsOwnerWhileItIsBusy) {
  ASSERT_EQ(mkfifo("never.cif", 0600), 0);
  const pid_t owner = fork();
  if (owner == 0) {
    session.read("never.cif");
    _exit(0);
  }
  const int writer = open("never.cif", O_WRONLY | O_CLOEXEC);  // waits until the worker reads it
  pollfd reader{.fd = writer, .events = 0, .revents = 0};
  EXPECT_EQ(poll(&reader, 1, 50), 0);
  kill(owner, SIGKILL);
  waitpid(owner, nullptr, 0);
  EXPECT_EQ(poll(&reader, 1, 10000), 1) << "the worker still has the file open";
  close(writer);
}

TEST_F(WithAse, SeveralThreadsAtOnce) {
  const std::string path = scratch.write("Si.cif", SILICON_CIF);
  std::vector<IngestedStructure> records(3);
  std::vector<std::thread> threads;
  threads.reserve(records.size());
  for (IngestedStructure& record : records) {
    threads.emplace_back([&] { record = structure_ingest::parse_structure_file(path); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const IngestedStructure& record : records) EXPECT_EQ(record.formula, "Si8");
}

TEST_F(WithAse, TakesTheFirstInterpreterThatHasAse) {
  const std::string silicon = scratch.write("Si.cif", SILICON_CIF);
  const auto wrapper = [&](const std::string& name, const std::string& command) {
    std::string path = scratch.write(name, "#!/bin/sh\n" + command + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  };
  const std::string note = "echo $0 >> " + scratch / "used" + "; exec " + ase_python();
  const std::string without = wrapper("without", "sleep .1; exec " + ase_python() + " -S \"$@\"");
  const std::string first = wrapper("first", note + " \"$@\"");
  const std::string second = wrapper("second", note + " \"$@\"");
  struct Case {
    std::vector<std::string> interpreters;
    Failure failure;
    std::string used;
  };
  const std::vector<Case> cases = {
      {{}, Failure::unavailable, ""},
      {{"/nonexistent", "/bin/false", scratch.path(), without}, Failure::unavailable, ""},
      {{first, without}, Failure::none, first + "\n"},
      {{without, second}, Failure::none, second + "\n"},
      {{"/bin/false", "/nonexistent", second}, Failure::none, second + "\n"},
  };
  for (const Case& row : cases) {
    scratch.write("used", "");
    AseSession tried({.interpreters = row.interpreters});
    EXPECT_EQ(tried.read(silicon).failure, row.failure);
    EXPECT_EQ(tests::content_of(scratch / "used"), row.used);
  }
}

// The workers below are small scripts that behave badly when they are asked for the file "bad".

constexpr const char* FAKE_WORKER = R"(
import os, signal, struct, sys, time
def size(n): return struct.pack("<Q", n)
def reply(content): os.write(3, size(len(content)) + content)
HELIUM = b"\0" + size(0) + b"L" + size(1) + size(2) + b"HeP" + size(1) + struct.pack("<3d", 1, 2, 3)
os.write(3, b"found  1ready  1")
while True:
    head = os.read(3, 8)
    if os.read(3, struct.unpack("<Q", head)[0]) != b"/bad":
        reply(HELIUM)
        continue
)";

class FakeWorker : public AseSessionTest {
 protected:
  AseSession session_that(const std::string& misbehaviour, std::chrono::milliseconds limit = 20s) {
    return AseSession({.time_limit = limit,
                       .interpreters = {{"/usr/bin/python3"}},
                       .script = FAKE_WORKER + ("    " + misbehaviour)});
  }
  void SetUp() override {
    if (access("/usr/bin/python3", X_OK) != 0) GTEST_SKIP() << "there is no /usr/bin/python3";
  }
};

TEST_F(FakeWorker, MisbehaviourCostsItsFileOnly) {
  const std::string process = "the process that runs ASE ";
  const std::string senseless = process + "gave an answer without sense";
  struct Case {
    std::string misbehaviour;
    std::string message;
    std::chrono::milliseconds limit = 20s;
  };
  const std::vector<Case> cases = {
      {"os.kill(0, signal.SIGKILL)", process + "was ended by signal 9"},
      {"os.kill(os.getpid(), signal.SIGSEGV)", process + "was ended by signal 11"},
      {"os._exit(3)", process + "ended with status 3"},
      {"os.write(3, size(100) + b'half'); os._exit(0)", process + "ended with status 0"},
      {"os.close(3); time.sleep(60)", process + "closed its channel"},
      {"time.sleep(60)", "no answer within 1.5 seconds", 1500ms},
      {"os.write(3, b'\\xff' * 99); time.sleep(60)", "no answer within 1.5 seconds", 1500ms},
      {"reply(b'')", senseless},
      {"reply(b'\\7' + HELIUM[1:])", senseless},
      {"reply(HELIUM + b'?')", senseless},
      {"reply(HELIUM[:-1])", senseless},
      {"reply(b'\\0' + size(0))", senseless},
      {"reply(HELIUM + b'P' + size(0))", senseless},
      {"reply(b'\\1' + b'\\xff' * 8 + b'text')", senseless},
      {"reply(b'\\0' + size(0) + b'L' + size(2 ** 61) + b'text')", senseless},
      {"reply(HELIUM + b'P' + size(2 ** 61 // 3 + 1) + bytes(24))", senseless},
      {"reply(HELIUM + b'C' + bytes(71))", senseless},
      {"print('chatter'); print('chatter', file=sys.stderr); reply(HELIUM)", ""},
      {"os.write(3, size(len(HELIUM)) + HELIUM + b'more')", ""},
  };
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const Case& row : cases) {
    AseSession session = session_that(row.misbehaviour, row.limit);
    EXPECT_EQ(session.read("/good").labels, std::vector<std::string>{"He"});
    const AseAnswer answer = session.read("/bad");
    EXPECT_EQ(answer.message, row.message) << row.misbehaviour;
    EXPECT_EQ(answer.failure, row.message.empty() ? Failure::none : Failure::read);
    EXPECT_EQ(session.read("/good").positions_ang, (std::vector<Vector3>{{1, 2, 3}}))
        << row.misbehaviour;
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FakeWorker, ReportsAnExtractionAsFarAsItCame) {
  AseSession session = session_that("reply(b'\\2' + size(3) + b'why' + HELIUM[9:28])");
  const IngestedStructure record =
      parse_with_ase("/bad", "cif", [&](const std::string& path) { return session.read(path); });
  EXPECT_EQ(record, (IngestedStructure{.source_path = "/bad",
                                       .format = "cif",
                                       .natoms = 1,
                                       .symbols = {"He"},
                                       .warnings = {"Failed to extract structure data: why"}}));
}

TEST_F(FakeWorker, SendingToOneThatDoesNotListenRaisesNoSignal) {
  AseSession session = session_that(R"(import socket
    socket.fromfd(3, socket.AF_UNIX, socket.SOCK_STREAM).shutdown(socket.SHUT_RD)
    reply(HELIUM)
    time.sleep(60))");
  EXPECT_EQ(session.read("/bad").failure, Failure::none);
  EXPECT_EQ(session.read("/good").message, "the process that runs ASE closed its channel");
}

TEST_F(FakeWorker, InheritsNothing) {
  AseSession session = session_that(R"(files = [os.readlink(f"/proc/self/fd/{n}") for n in range(5)]
    files = " ".join(file.split(":")[0] for file in files)
    signals = f"{int(signal.getsignal(signal.SIGTERM))} {signal.pthread_sigmask(0, [])}"
    text = f"{files} {len(os.listdir('/proc/self/fd'))} {os.getsid(0) == os.getpid()} {signals}"
    reply(b"\1" + size(len(text)) + text.encode()))");
  const int kept = open("/dev/null", O_RDONLY);  // NOLINT: without the close-on-exec flag
  sigset_t blocked;
  sigset_t old;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  sigprocmask(SIG_BLOCK, &blocked, &old);
  const auto handler = signal(SIGTERM, SIG_IGN);
  EXPECT_EQ(session.read("/bad").message,
            "/dev/null /dev/null /dev/null socket pipe 6 True 0 set()");
  EXPECT_EQ(signal(SIGTERM, handler), SIG_IGN);
  sigprocmask(SIG_SETMASK, &old, nullptr);
  close(kept);
}

TEST_F(AseSessionTest, InterpretersAreThoseOfThePath) {
  const std::string path = std::getenv("PATH");
  for (const char* name : {"python3", "second/python3", "third/python3"}) {
    std::filesystem::permissions(scratch.write(name, ""), std::filesystem::perms::owner_all);
  }
  scratch.write("first/python3", "not executable");
  scratch.make_folder("folder/python3");
  std::string folders = ":.:relative";
  for (const char* name : {"first", "folder", "second", "third"}) folders += ":" + scratch / name;
  ::setenv("PATH", folders.c_str(), 1);
  const std::vector<std::string> found = ase_interpreters();
  ::setenv("PATH", ":", 1);
  const std::vector<std::string> configured = ase_interpreters();
  ::setenv("PATH", path.c_str(), 1);
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(), scratch / "second/python3");
  EXPECT_EQ(std::vector(found.begin() + 1, found.end()), configured);
}

}  // namespace
}  // namespace structure_ingest::internal
