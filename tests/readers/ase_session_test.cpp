// The session that owns the worker: starting it, talking to it, and ending it.
#include "structure_ingest/readers/ase_session.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <thread>
#include <tuple>

#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/parsed_structure.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "tests/readers/ase_fixture.hpp"

namespace structure_ingest::internal {
namespace {

using Failure = AseAnswer::Failure;
using tests::ase_python;
using tests::AseSessionTest;
using tests::COPPER_POSCAR;
using tests::SILICON_CIF;
using tests::WithAse;
using namespace std::chrono_literals;

/// Kills a worker and waits for its end, of which the session still learns itself.
void kill_and_wait(pid_t worker) {
  kill(worker, SIGKILL);
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(worker), &ended, WEXITED | WNOWAIT);
}

TEST_F(WithAse, KnownStructuresThroughOneWorker) {
  scratch.write("one/Si.cif", SILICON_CIF);
  scratch.write("two/POSCAR", COPPER_POSCAR);
  Readers readers{.ask_ase = [&](const std::string& text) { return session.read(text); }};
  const auto parse = [&](const std::string& path) { return read_structure(path, readers).record; };
  EXPECT_FALSE(session.worker_id());
  std::filesystem::current_path(scratch / "one");
  const IngestedStructure silicon = parse("Si.cif");
  const std::optional<pid_t> worker = session.worker_id();
  ASSERT_TRUE(worker);
  const double a = 5.431020511;
  EXPECT_EQ(silicon.warnings, std::vector<std::string>{});
  EXPECT_EQ(silicon.formula, "Si8");
  EXPECT_EQ(silicon.cell_ang, (std::vector<Vector3>{{a, 0, 0}, {0, a, 0}, {0, 0, a}}));

  std::filesystem::current_path(scratch / "two");  // relative paths start at the new folder
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
  kill_and_wait(*worker);  // between files: none fails
  EXPECT_TRUE(parse("POSCAR").ok);
  EXPECT_NE(session.worker_id(), worker);
}

TEST_F(WithAse, EndsWithItsOwnerWhileItIsBusy) {
  ASSERT_EQ(mkfifo("never.cif", 0600), 0);
  const pid_t owner = fork();
  if (owner == 0) {
    session.read("never.cif");
    _exit(0);
  }
  const int writer = open("never.cif", O_WRONLY | O_CLOEXEC);  // blocks until the worker opens it
  pollfd reader{.fd = writer, .events = 0, .revents = 0};
  EXPECT_EQ(poll(&reader, 1, 50), 0);
  kill(owner, SIGKILL);
  waitpid(owner, nullptr, 0);
  EXPECT_EQ(poll(&reader, 1, 10000), 1) << "the worker still has the file open";
  close(writer);
}

TEST_F(WithAse, AForkHasAWorkerOfItsOwn) {
  scratch.write("POSCAR", COPPER_POSCAR);
  ASSERT_EQ(session.read("POSCAR").failure, Failure::none);
  const std::optional<pid_t> worker = session.worker_id();
  const int status = tests::status_of_child([&] {
    const bool is_read = session.read("POSCAR").failure == Failure::none;
    return is_read && session.worker_id() != worker ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(session.read("POSCAR").failure, Failure::none);
  EXPECT_EQ(session.worker_id(), worker);
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

TEST_F(WithAse, UsesTheFirstInterpreterThatHasAse) {
  const std::string silicon = scratch.write("Si.cif", SILICON_CIF);
  const std::string note = "echo $0 >> " + scratch / "used" + "; exec " + ase_python();
  const std::string without =
      scratch.write_script("without", "sleep .1; exec " + ase_python() + " -S \"$@\"");
  const std::string first = scratch.write_script("first", note + " \"$@\"");
  const std::string second = scratch.write_script("second", note + " \"$@\"");
  const std::string killed = scratch.write_script("killed", "kill -9 $$");
  const std::string talks = scratch.write_script("talks", "echo hello >&3; sleep 60");
  const std::string breaks = scratch.write_script("breaks", "printf 'found  1' >&3; exit 1");
  struct Case {
    std::vector<std::string> interpreters;
    std::string used;
    std::string why_unavailable;
  };
  const std::vector<Case> cases = {
      {{}, "", "there is no python3"},
      {{scratch / "missing", "/bin/false", scratch.path(), without},
       "",
       scratch / "missing" + " cannot be started: No such file or directory; /bin/false ended " +
           "with status 1; " + scratch.path() + " cannot be started: Permission denied; " +
           without + " does not have ASE"},
      {{killed}, "", killed + " was ended by signal 9"},
      {{talks}, "", talks + " gave a senseless greeting"},
      {{breaks}, "", breaks + " could not load ASE: it ended with status 1"},
      {{first, without}, first + "\n", ""},
      {{without, second}, second + "\n", ""},
      {{"/bin/false", breaks, scratch / "missing", second}, second + "\n", ""},
  };
  for (const Case& row : cases) {
    scratch.write("used", "");
    AseSession tried({.interpreters = row.interpreters});
    EXPECT_EQ(tried.read(silicon).failure, row.used.empty() ? Failure::unavailable : Failure::none);
    EXPECT_EQ(tried.why_unavailable(), row.why_unavailable);
    // One that is started ahead may be ended before it is needed.
    const std::string used = tests::content_of(scratch / "used");
    EXPECT_EQ(used.substr(used.size() - std::min(used.size(), row.used.size())), row.used);
  }
}

TEST_F(WithAse, TriesTheInterpretersInOrderOnce) {
  const std::string silicon = scratch.write("Si.cif", SILICON_CIF);
  const auto noted = [&](const std::string& name, const std::string& then) {
    return scratch.write_script(name, "echo " + name + " >> " + scratch / "log" + "; " + then);
  };
  const std::string without = noted("without", "exit 0");
  const std::string with = noted("with", "exec " + ase_python() + " \"$@\"");
  scratch.write("relative", "");
  AseSession tried(
      {.first_interpreters = {"relative", without, with}, .interpreters = {{with, "/bin/false"}}});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(tried.read(silicon).failure, Failure::none);
    kill_and_wait(*tried.worker_id());
  }
  // The first two started together.
  const std::string log = tests::content_of("log");
  EXPECT_TRUE(log == "without\nwith\nwith\nwith\n" || log == "with\nwithout\nwith\nwith\n") << log;
}

// The workers below are small scripts that misbehave when asked for the file "bad".

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

TEST_F(FakeWorker, MisbehaviourFailsOnlyItsFile) {
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
      {"os.write(3, b'\\xff' * 99); time.sleep(60)", senseless},
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
    EXPECT_EQ(session.worker_id().has_value(), row.message.empty());  // none is trusted again
    EXPECT_EQ(session.read("/good").positions_ang, (std::vector<Vector3>{{1, 2, 3}}))
        << row.misbehaviour;
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// One that has had nothing to do for a while, also when the next request crosses its farewell.
TEST_F(FakeWorker, MayLeaveForWantOfWork) {
  const std::string left = scratch / "left";
  for (const std::string end : {"os._exit(0)", "time.sleep(60)", "os.close(3); time.sleep(60)"}) {
    AseSession session =
        session_that("if not os.path.exists('" + left + "'):\n        open('" + left +
                     "', 'w').close(); os.write(3, b'\\xff' * 8); " + end + "\n    reply(HELIUM)");
    EXPECT_EQ(session.read("/good").failure, Failure::none);
    const std::optional<pid_t> first = session.worker_id();
    EXPECT_EQ(session.read("/bad").labels, std::vector<std::string>{"He"}) << end;
    EXPECT_TRUE(first && session.worker_id() && session.worker_id() != first) << end;
    std::filesystem::remove(left);
  }
}

TEST_F(WithAse, WorkersLeaveForWantOfWork) {
  scratch.write("POSCAR", COPPER_POSCAR);
  std::string script = ase_worker_script();
  const std::string usual = "IDLE_SECONDS = 60";
  script.replace(script.find(usual), usual.size(), "IDLE_SECONDS = 0.05");
  AseSession idle({.interpreters = {{ase_python()}}, .script = script});
  EXPECT_EQ(idle.read("POSCAR").failure, Failure::none);
  const std::optional<pid_t> worker = idle.worker_id();
  ASSERT_TRUE(worker);
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(*worker), &ended, WEXITED | WNOWAIT);
  EXPECT_EQ(std::pair(ended.si_code, ended.si_status), std::pair(int{CLD_EXITED}, 0));
  EXPECT_EQ(idle.read("POSCAR").failure, Failure::none);
  EXPECT_NE(idle.worker_id(), worker);
}

// Answers with the path and its process id after a while, which for "/slow" has no end; "/large"
// has a large answer, and "/bad" ends the worker.
constexpr const char* BUSY_WORKER = R"(
import os, struct, time
os.write(3, b"found  1ready  1")
while True:
    path = os.read(3, struct.unpack("<Q", os.read(3, 8))[0]).decode()
    time.sleep(60 if path == "/slow" else .03)
    if path == "/bad": os._exit(1)
    text = f"{path} {os.getpid()}".encode()
    content = b"\1" + struct.pack("<Q", len(text)) + text
    if path == "/large": content += b"W" + struct.pack("<QQ", 1, 9000000) + bytes(9000000)
    content = struct.pack("<Q", len(content)) + content
    while content: content = content[os.write(3, content):]
)";

class BusyWorkers : public FakeWorker {
 protected:
  static AseSessionOptions options(int processes, std::chrono::milliseconds limit = 20s) {
    return {.time_limit = limit,
            .interpreters = {{"/usr/bin/python3"}},
            .script = BUSY_WORKER,
            .processes = processes};
  }
  /// Reads a file and returns its path and the process that read it, or else what went wrong.
  static std::pair<std::string, std::string> read(AseSession& session, const std::string& path) {
    const std::string message = session.read(path).message;
    const std::size_t blank = message.find(' ');
    if (message.substr(0, blank) != path) return {message, ""};
    return {path, message.substr(blank + 1)};
  }
};

TEST_F(BusyWorkers, ShareTheAnnouncedFiles) {
  const std::vector<std::string> few = {"/1", "/2", "/3"};
  std::vector<std::string> many;
  for (int i = 0; i < 40; ++i) many.push_back("/" + std::to_string(i % 30));
  for (const auto& [processes, paths, used] :
       {std::tuple(1, many, 1U), std::tuple(3, few, 1U), std::tuple(3, many, 3U)}) {
    AseSession session(options(processes));
    session.expect(paths);
    std::set<std::string> workers;
    for (const std::string& path : paths) {
      const auto [answered, worker] = read(session, path);
      EXPECT_EQ(answered, path);
      workers.insert(worker);
    }
    EXPECT_EQ(workers.size(), used) << processes << " for " << paths.size();
  }
}

TEST_F(BusyWorkers, FailEachForItsOwnFile) {
  const std::vector<std::string> paths = {"/1",   "/2", "/bad", "/3", "/slow", "/4",    "/bad",
                                          "/bad", "/5", "/6",   "/7", "/8",    "/large"};
  for (const int processes : {1, 2, 5}) {
    AseSession session(options(processes, 1500ms));
    session.expect(paths);
    for (const std::string& path : paths) {
      const std::string expected = path == "/bad" ? "the process that runs ASE ended with status 1"
                                   : path == "/slow" ? "no answer within 1.5 seconds"
                                                     : path;
      EXPECT_EQ(read(session, path).first, expected) << processes;
    }
  }
}

TEST_F(BusyWorkers, ServeAnotherFileThanWasAnnounced) {
  AseSession session(options(2));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read(session, "/first").first, "/first");
  session.expect({"/slow", "/slow", "/1", "/2"});
  EXPECT_EQ(read(session, "/1").first, "/1");  // those before it are not waited for
  EXPECT_EQ(read(session, "/other").first, "/other");
  EXPECT_EQ(read(session, "/2").first, "/2");
  session.expect({"/slow"});
  session.expect({"/3"});
  EXPECT_EQ(read(session, "/3").first, "/3");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

TEST_F(BusyWorkers, LoseNoTimeWhileTheCallerIsBusy) {
  AseSession session(options(1, 1000ms));
  EXPECT_EQ(read(session, "/1").first, "/1");
  session.expect({"/large", "/2"});
  std::this_thread::sleep_for(1500ms);
  const AseAnswer answer = session.read("/large");
  EXPECT_EQ(answer.warnings.size(), 1U) << answer.message;
  EXPECT_EQ(read(session, "/2").first, "/2");
}

TEST_F(BusyWorkers, AreUnavailableForEachFile) {
  AseSession session({.interpreters = {{"/bin/false"}}, .processes = 2});
  session.expect({"/1", "/2"});
  for (const char* path : {"/1", "/2", "/3"}) {
    EXPECT_EQ(session.read(path).failure, Failure::unavailable);
    EXPECT_EQ(session.why_unavailable(), "/bin/false ended with status 1");
  }
}

// Of no use from the beginning, so that it is never asked: another start would end the same way.
TEST_F(FakeWorker, IsNotStartedForEver) {
  const auto start = std::chrono::steady_clock::now();
  for (const auto& [rest, message] :
       {std::pair("os.write(3, b'\\xff' * 8); time.sleep(60)",
                  "the process that runs ASE gave an answer without sense"),
        std::pair("os.write(3, b'\\xff' * 8)",
                  "the process that runs ASE gave an answer without sense")}) {
    AseSession session(
        {.interpreters = {{"/usr/bin/python3"}},
         .script = std::string("import os, time\nos.write(3, b'found  1ready  1')\n") + rest});
    EXPECT_EQ(session.read("/a").message, message) << rest;
    EXPECT_EQ(session.read("/b").message, message) << rest;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

// A worker that takes long to start leaves less time to the file.
TEST_F(FakeWorker, HasOneLimitForStartAndAnswer) {
  AseSession session({.time_limit = 2s,
                      .interpreters = {{"/usr/bin/python3"}},
                      .script = "import os, time\nos.write(3, b'found  1'); time.sleep(1.5)\n"
                                "os.write(3, b'ready  1'); time.sleep(60)"});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(session.read("/a").message, "no answer within 2 seconds");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2900ms);
}

TEST_F(FakeWorker, BoundsTheTextOfAnAnswer) {
  struct Case {
    std::string text;  // in Python
    std::string message;
  };
  const std::string mark = " ... [cut: ";
  const auto many = [](const std::string& text, int times) {
    std::string result;
    while (times-- > 0) result += text;
    return result;
  };
  const Case cases[] = {
      {"'x' * 4096", many("x", 4096)},
      {"'x' * 20000000", many("x", 4096) + mark + "20000000 bytes in all]"},
      {"'xx' + '\\u20ac' * 2000", "xx" + many("\u20AC", 1364) + mark + "6002 bytes in all]"},
      {"'x' + '\\U0001f600' * 2000", "x" + many("\U0001F600", 1023) + mark + "8001 bytes in all]"},
  };
  for (const auto& [text, message] : cases) {
    AseSession session = session_that("text = (" + text + R"().encode()
    said = [b"once", b"once", text] + [str(number).encode() for number in range(2000)]
    warnings = b"W" + size(len(said)) + b"".join(size(len(one)) + one for one in said)
    reply(b"\1" + size(len(text)) + text + warnings))");
    const AseAnswer answer = session.read("/bad");
    EXPECT_TRUE(answer.message == message) << text << ": " << answer.message.substr(4000);
    ASSERT_EQ(answer.warnings.size(), 1000U) << text;
    EXPECT_EQ(answer.warnings[0], "once");
    EXPECT_TRUE(answer.warnings[1] == message) << text;
    EXPECT_EQ(answer.warnings[15], "13");
  }
}

TEST_F(FakeWorker, TriesOthersWhenTheLatestInterpreterLostAse) {
  const std::string first = scratch.write_script("first", "exec /usr/bin/python3 \"$@\"");
  AseSession session({.interpreters = {{"/bin/false", first, "/usr/bin/python3"}},
                      .script = FAKE_WORKER + std::string("    os._exit(0)")});
  EXPECT_EQ(session.read("/good").failure, Failure::none);
  EXPECT_EQ(session.read("/bad").failure, Failure::read);
  scratch.write_script("first", "exit 7");
  EXPECT_EQ(session.read("/good").failure, Failure::none);
}

TEST_F(FakeWorker, SkipsAnInterpreterThatHangs) {
  const std::string hangs =
      scratch.write_script("hangs", "echo started >> '" + scratch / "log" + "'; sleep 60");
  AseSession session({.time_limit = 20s,
                      .greeting_limit = 300ms,
                      .interpreters = {{hangs, "/usr/bin/python3"}},
                      .script = FAKE_WORKER + std::string("    os._exit(0)")});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(session.read("/good").labels, std::vector<std::string>{"He"});
  EXPECT_EQ(session.read("/bad").failure, Failure::read);
  EXPECT_EQ(session.read("/good").labels, std::vector<std::string>{"He"});
  EXPECT_EQ(tests::content_of("log"), "started\n");
  EXPECT_EQ(session.why_unavailable(), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);

  // A single interpreter has the whole time limit, but only once.
  AseSession alone(
      {.time_limit = 1500ms, .greeting_limit = 300ms, .interpreters = {{hangs}}, .script = ""});
  for (const char* why :
       {" did not load ASE within 1.5 seconds", " said nothing for 0.3 seconds"}) {
    EXPECT_EQ(alone.read("/good").failure, Failure::unavailable);
    EXPECT_EQ(alone.why_unavailable(), hangs + why);
  }
}

TEST_F(FakeWorker, UsesNoNumberOfAStandardStream) {
  AseSession session = session_that("os._exit(0)");
  const int status = tests::status_of_child([&] {
    for (const int stream : {0, 1, 2}) close(stream);
    bool well = session.read("/good").labels == std::vector<std::string>{"He"};
    for (const int stream : {0, 1, 2}) well = well && fcntl(stream, F_GETFD) < 0;
    return well && session.worker_id() ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
}

TEST_F(FakeWorker, ReportsWhyNoProcessCanBeStarted) {
  const std::string python = scratch.write("python3", "#!/bin/sh\nexec /usr/bin/python3 \"$@\"\n");
  AseSession session(
      {.interpreters = {{python}}, .script = FAKE_WORKER + std::string("    os._exit(0)")});
  EXPECT_EQ(session.read("/good").failure, Failure::unavailable);
  EXPECT_EQ(session.why_unavailable(), python + " cannot be started: Permission denied");
  std::filesystem::permissions(python, std::filesystem::perms::owner_all);
  EXPECT_EQ(session.read("/good").failure, Failure::none);  // tried again
  EXPECT_EQ(session.why_unavailable(), "");
}

TEST_F(FakeWorker, ReportsAPartialExtraction) {
  AseSession session = session_that("reply(b'\\2' + size(3) + b'why' + HELIUM[9:28])");
  const IngestedStructure record =
      parse_with_ase("/bad", "cif", [&](const std::string& path) { return session.read(path); });
  EXPECT_EQ(record, (IngestedStructure{.source_path = "/bad",
                                       .format = "cif",
                                       .natoms = 1,
                                       .symbols = {"He"},
                                       .warnings = {"Failed to extract structure data: why"}}));
}

TEST_F(FakeWorker, SendingToAClosedChannelRaisesNoSignal) {
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
  for (const char* name : {"python3", "second/python3", "third/python3"}) {
    scratch.write_script(name, "");
  }
  scratch.write("first/python3", "not executable");
  scratch.make_folder("folder/python3");
  std::string folders = ":.:relative";
  for (const char* name : {"first", "folder", "second", "third"}) folders += ":" + scratch / name;
  const tests::Environment path("PATH", folders);
  const std::vector<std::string> found = ase_interpreters();
  path.set(":");
  const std::vector<std::string> configured = ase_interpreters();
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(), scratch / "second/python3");
  EXPECT_EQ(std::vector(found.begin() + 1, found.end()), configured);
}

}  // namespace
}  // namespace structure_ingest::internal
