// A hydrate as the program runs it, on a state and a project on the disk, with one fault at a time,
// at every call where the fault can occur.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <exception>
#include <map>
#include <system_error>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "tests/faults/faults.hpp"
#include "tests/scratch_folder.hpp"

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;
using structure_ingest::Json;
using tests::Call;
using tests::Effect;

constexpr const char* COPY = "project_root/structures/ingested_he_005dfc29.xyz";
constexpr const char* STATE = "state.json";
constexpr const char* LOG = ".diagnostics/suppressed_errors.jsonl";
constexpr const char* MANIFEST = ".diagnostics/ingested_structures.json";
constexpr const char* FINDINGS = ".diagnostics/structure_findings.json";

/// A project with a state, an older manifest and a canonical copy that was edited by hand.
struct Project {
  /// With `more` structures, of which many are synced at once.
  explicit Project(int more = 0) {
    Json attachments = {{{"path", "he.xyz"}}, {{"path", "bad.xyz"}}};
    for (int i = 0; i < more; ++i) {
      const std::string name = "more/" + std::to_string(i) + ".xyz";
      w.write(name, "1\n\nHe 0 0 " + std::to_string(i) + "\n");
      attachments.push_back({{"path", name}});
    }
    w.write("he.xyz", "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n");
    w.write("bad.xyz", "1\n\nHe 0 0\n");
    w.write("scan/o.xyz", "1\n\nO 0 0 0\n");
    w.write(COPY, "edited");
    w.write(MANIFEST, "old");
    w.write(STATE,
            structure_ingest::json_text({{"project_path", w.path()},
                                         {"attachments", attachments},
                                         {"selected_workroot", w / "scan"},
                                         {"user_request", "Compute the band structure of helium"},
                                         {"structure_sources", {{{"source_path", "/old.xyz"}}}}}));
  }
  /// One hydrate; throws the error that the program would report.
  void hydrate() const {
    agent_modules::update_json(w / STATE, Json::object(), [](Json& state) {
      structure_ingest::hydrate_user_structures(state, {.limit = 100});
    });
  }
  /// The contents of the files by name, with the project's path removed.
  Files files() const {
    Files contents;
    for (const auto& entry : fs::recursive_directory_iterator(w.path())) {
      if (!entry.is_regular_file()) continue;
      std::string& content = contents[fs::relative(entry.path(), w.path())];
      content = tests::content_of(entry.path());
      for (std::size_t at = 0; (at = content.find(w.path(), at)) != std::string::npos;) {
        content.erase(at, w.path().size());
      }
    }
    return contents;
  }
  tests::ScratchFolder w;
};

/// The files after a hydrate without a fault.
Files meant_files(int more) {
  const Project project(more);
  project.hydrate();
  return project.files();
}

struct Outcome {
  bool struck = false;
  std::string error;  // the error that the program would report
};

Outcome hydrate_with(const Project& project, const tests::Fault& fault) {
  Outcome outcome;
  tests::arm(fault);
  try {
    project.hydrate();
    outcome.struck = tests::disarm();
  } catch (const std::system_error& error) {
    outcome.struck = tests::disarm();
    outcome.error = error.what();
  }
  return outcome;
}

/// Each file has its old or its new content, or reports the failure, and there are no other files.
/// An entry names an existing copy, or gives the reason why there is none.
void expect_whole(const Files& files, const Files& before, const Files& meant) {
  for (const auto& [path, content] : files) {
    const auto is_in = [&path = path, &content = content](const Files& others) {
      const auto other = others.find(path);
      return other != others.end() && other->second == content;
    };
    const bool may_tell_of_failures = path == STATE || path == MANIFEST || path == FINDINGS;
    if (path == LOG || is_in(before) || is_in(meant)) continue;
    EXPECT_TRUE(may_tell_of_failures) << path << ": " << content;
    EXPECT_NO_THROW(structure_ingest::parse_json(content)) << content;
  }
  const Json state = structure_ingest::parse_json(files.at(STATE));
  EXPECT_EQ(state["structure_sources"].back()["source_path"], "/old.xyz");
  for (const Json& entry : state["structure_sources"]) {
    if (entry.size() == 1 || entry["ok"] == false) continue;
    const std::string copy = entry["metadata"]["xyz_path"].get<std::string>();
    if (copy.empty()) {
      EXPECT_NE(entry["warnings"].dump().find("Could not write canonical XYZ copy: "),
                std::string::npos);
    } else {
      EXPECT_EQ(files.at(copy), meant.at(copy));
    }
  }
}

/// How many of the copies that were meant are missing.
std::ptrdiff_t missing_copies(const Files& files, const Files& meant) {
  return std::count_if(meant.begin(), meant.end(), [&files](const auto& file) {
    return file.first.starts_with("project_root/") && !files.contains(file.first);
  });
}

struct Case {
  const char* name;
  Call call;
  Effect effect;
  int error;
  int fewest;    // the least number of calls where it can occur
  int more = 0;  // structures in the project
};

std::ostream& operator<<(std::ostream& out, const Case& fault) {
  return out << fault.name;
}

class HydrateFault : public testing::TestWithParam<Case> {};

TEST_P(HydrateFault, LeavesEachFileOldOrNew) {
  const Case& fault = GetParam();
  const Files meant = meant_files(fault.more);
  int at = 1;
  for (; !HasFailure(); ++at) {
    SCOPED_TRACE("at " + std::to_string(at));
    const Project project(fault.more);
    const Files before = project.files();
    const std::size_t descriptors = tests::entries_in("/proc/self/fd");
    const Outcome outcome = hydrate_with(project, {fault.call, at, fault.effect, fault.error});
    if (!outcome.struck) break;
    EXPECT_EQ(tests::entries_in("/proc/self/fd"), descriptors);
    const Files after = project.files();
    expect_whole(after, before, meant);
    if (fault.error == EINTR || fault.effect == Effect::HALF) {
      EXPECT_TRUE(after == meant);
    }
    EXPECT_EQ(tests::renames_of_unsynced_files(), 0);
    const bool is_of_one_file = fault.call == Call::SYNC || fault.call == Call::RENAME;
    if (is_of_one_file && outcome.error.empty()) {
      EXPECT_LE(missing_copies(after, meant), 1);
    }
    // Without the lock of its folder the state does not change; findings are kept all the same.
    if (fault.error == ENOLCK) {
      EXPECT_NE(outcome.error.empty(), at == 1);
    }
    if (!outcome.error.empty()) {  // then nothing is ingested, and the next run ingests all
      EXPECT_TRUE(after.at(STATE) == before.at(STATE)) << outcome.error;
      project.hydrate();
      EXPECT_TRUE(project.files().at(STATE) == meant.at(STATE));
    }
  }
  EXPECT_GT(at, fault.fewest);
}

INSTANTIATE_TEST_SUITE_P(
    Disk, HydrateFault,
    testing::Values(Case{"FullDisk", Call::WRITE, Effect::FAIL_ALWAYS, ENOSPC, 4},
                    Case{"Quota", Call::WRITE, Effect::FAIL, EDQUOT, 4},
                    Case{"ShortWrite", Call::WRITE, Effect::HALF, 0, 4},
                    Case{"InterruptedWrite", Call::WRITE, Effect::FAIL, EINTR, 4},
                    Case{"ShortRead", Call::READ, Effect::HALF, 0, 4},
                    Case{"InterruptedRead", Call::READ, Effect::FAIL, EINTR, 4},
                    Case{"UnreadableDisk", Call::READ, Effect::FAIL, EIO, 4},
                    Case{"InterruptedOpen", Call::OPEN, Effect::FAIL, EINTR, 8},
                    Case{"NoMoreDescriptors", Call::OPEN, Effect::FAIL_ALWAYS, EMFILE, 8},
                    Case{"NoPermission", Call::OPEN, Effect::FAIL, EACCES, 8},
                    Case{"ReadOnly", Call::OPEN, Effect::FAIL_ALWAYS, EROFS, 8},
                    Case{"FailingSync", Call::SYNC, Effect::FAIL, EIO, 4},
                    Case{"InterruptedSync", Call::SYNC, Effect::FAIL, EINTR, 4},
                    Case{"FailingSyncOfMany", Call::SYNC, Effect::FAIL, EIO, 22, 18},
                    Case{"InterruptedSyncOfMany", Call::SYNC, Effect::FAIL, EINTR, 22, 18},
                    Case{"RefusedSyncOfMany", Call::OPEN, Effect::FAIL, EPERM, 60, 18},
                    Case{"FailingRenameOfMany", Call::RENAME, Effect::FAIL, EIO, 22, 18},
                    Case{"FailingClose", Call::CLOSE, Effect::FAIL, EIO, 8},
                    Case{"FailingRename", Call::RENAME, Effect::FAIL, EIO, 4},
                    Case{"FailingFolder", Call::MAKE_FOLDER, Effect::FAIL, ENOSPC, 2},
                    Case{"FailingLock", Call::LOCK, Effect::FAIL, ENOLCK, 1},
                    Case{"InterruptedLock", Call::LOCK, Effect::FAIL, EINTR, 1}),
    testing::PrintToStringParamName());

constexpr int STRUCK = 9;  // the exit status of a child that met its fault

/// Runs a hydrate with a fault in a child process, and returns its status.
int status_of_child(const Project& project, const tests::Fault& fault) {
  return tests::status_of_child([&] {
    tests::arm(fault);
    try {
      project.hydrate();
    } catch (const std::exception&) {
    }
    return tests::disarm() ? STRUCK : 0;
  });
}

/// Faults that may end the process: it is killed, or runs out of memory where that cannot be
/// handled, such as in a destructor.
class EndedHydrate : public testing::TestWithParam<Case> {};

TEST_P(EndedHydrate, LeavesEachFileOldOrNewAndCanBeRepeated) {
  const Case& fault = GetParam();
  const Files meant = meant_files(fault.more);
  int at = 1;
  for (; !HasFailure(); at += fault.more == 0 ? 1 : 7) {  // a sample of many calls
    SCOPED_TRACE("at " + std::to_string(at));
    const Project project(fault.more);
    const Files before = project.files();
    const int status = status_of_child(project, {fault.call, at, fault.effect, fault.error});
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
    const bool was_aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    EXPECT_TRUE(was_aborted || (WIFEXITED(status) && WEXITSTATUS(status) == STRUCK)) << status;
    Files after = project.files();
    // Files that were being written when the process ended remain as temporary files beside them:
    // one, or the copies of a batch.
    EXPECT_LE(std::erase_if(after, [](const auto& file) { return file.first.ends_with(".tmp"); }),
              2U + static_cast<std::size_t>(fault.more));
    expect_whole(after, before, meant);
    const bool untouched = after.at(STATE) == before.at(STATE);
    EXPECT_TRUE(untouched || !was_aborted || after.at(STATE) == meant.at(STATE));
    project.hydrate();
    if (untouched) {
      EXPECT_TRUE(project.files().at(STATE) == meant.at(STATE));
    }
  }
  EXPECT_GT(at, fault.fewest);
}

INSTANTIATE_TEST_SUITE_P(Process, EndedHydrate,
                         testing::Values(Case{"Killed", Call::ANY, Effect::KILL, 0, 40},
                                         Case{"KilledAtMany", Call::ANY, Effect::KILL, 0, 200, 18},
                                         Case{"NoMemory", Call::ALLOCATE, Effect::FAIL, 0, 200},
                                         Case{"NoMemoryAnyMore", Call::ALLOCATE,
                                              Effect::FAIL_ALWAYS, 0, 200}),
                         testing::PrintToStringParamName());

}  // namespace
