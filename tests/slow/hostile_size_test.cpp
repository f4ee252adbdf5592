// Inputs of many megabytes that are bad cases for their readers. With a time quadratic in the size,
// or memory proportional to the size of the file, these tests would not finish.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/discovery/hydrate.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t MEGABYTE = 1000000;
constexpr std::size_t LARGE = 20 * MEGABYTE;

std::string repeated(std::string_view unit, std::size_t size) {
  std::string text;
  text.reserve(size + unit.size());
  while (text.size() < size) text += unit;
  return text;
}

TEST(HostileSize, XyzFiles) {
  const tests::ScratchFolder folder;
  const std::string no_count = "First line of XYZ file is not an atom count.";
  const std::string atom = "\nH 1 2 3\n";
  struct Case {
    const char* name;
    std::string head;
    std::string_view unit;
    std::string tail;
    std::string warning;  // the expected warning, or its beginning
  };
  const Case cases[] = {
      {"comment", "1\n", "lattice=\"", "9\"" + atom, ""},
      {"comment of keys", "1\n", "lattice =", atom, ""},
      {"comment of white space", "1\n", "\u3000\t", atom, ""},
      {"first line", "", "1_", "\nc" + atom, no_count},
      {"blanks before the count", "", " ", "1\nc" + atom, ""},
      {"tokens", "1\nc\nH 1 2 3", " 1", "\n", ""},
      {"long token", "1\nc\nH 1 2 ", "1", "x\n", "Non-numeric coordinates in line: 'H 1"},
      {"long number", "1\nc\nH 1 2 3.", "0", "\n", ""},
      {"line feeds", "", "\n", "", no_count},
      {"separators", "", "\u2028\u0085\r", "", no_count},
      {"zeroes", "", std::string_view("\0", 1), "", "XYZ file is too short"},
      {"no UTF-8", "1\nc\nH 1 2 3", "\xFF\xE2\x80", "\n", ""},
      {"rest", "1\nc" + atom, "\n1\nc\nX", "", ""},
  };
  for (const auto& [name, head, unit, tail, warning] : cases) {
    const std::string path = folder.write("a.xyz", head + repeated(unit, LARGE) + tail);
    const IngestedStructure record = structure_ingest::parse_structure_file(path);
    EXPECT_EQ(record.ok, warning.empty()) << name;
    if (record.ok) {
      EXPECT_EQ(record.positions_ang, (std::vector<Vector3>{{1, 2, 3}})) << name;
    } else {
      EXPECT_EQ(record.warnings.at(0).substr(0, warning.size()), warning) << name;
    }
  }
}

TEST(HostileSize, Companions) {
  const tests::ScratchFolder folder;
  const std::string structure = folder.write("a.xyz", "");
  const std::string vectors = "system.centralCellVectors = 1 2 3 4 5 6 7 8 9\n";
  const std::tuple<const char*, std::string, std::string_view, std::string, bool> cases[] = {
      {"blank lines in the block", vectors, "\n", "", true},
      {"blank lines before the next key", vectors, "\n", "a = 10", true},
      {"white space lines", vectors, " \t\u3000\r\n", "x", true},
      {"keys without a value", vectors, "\nkey ", "", true},
      {"keys that almost match", "", "system.centralCellVector = 1\n", vectors, true},
      {"beginnings of the key", "", "\nsystem.centralCellVectors ", " = 1", false},
      {"one long key", vectors, "a", " = 10", true},
      {"unclosed quotes", "", "system.atomFile = '\"\n", vectors, true},
      {"comments", "", "system.atomFile = %\n", vectors, true},
      {"one long file name", "system.atomFile = ", "a/", "A.XYZ\n" + vectors, true},
      {"numbers", "system.centralCellVectors =", " 1e", "", false},
      {"signs", vectors, "+-.e", "", true},
      {"digits", "system.centralCellVectors = 1 2 3 4 5 6 7 8 9.", "0", "\n", true},
      {"no UTF-8", vectors, "\xE2\x80\xFF", "", true},
  };
  for (const auto& [name, head, unit, tail, has_cell] : cases) {
    folder.write("scf.input", head + repeated(unit, LARGE) + tail);
    const CompanionCell found = CompanionFiles().vorendal_cell(structure);
    EXPECT_EQ(found.cell_ang.has_value(), has_cell) << name;
    if (found.cell_ang) {
      EXPECT_EQ(*found.cell_ang, (std::vector<Vector3>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}})) << name;
    }
  }
}

// A trajectory: only the first frame counts. The rest is a hole in the file and takes no disk
// space.
TEST(HostileSize, ATrajectoryTakesLittleMemory) {
  const tests::ScratchFolder folder;
  std::string frame = "20000\nc\n" + repeated("H 1.00000000 2.00000000 3.00000000\n", 35 * 20000);
  const std::string path = folder.write("a.xyz", frame);
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const IngestedStructure record = structure_ingest::parse_structure_file(path);
    const std::string digest = sha256_hex_of_file(path);
    _exit(record.natoms == 20000 && digest.size() == 64 ? 0 : 1);
  }
  int status = 0;
  rusage usage{};
  ASSERT_EQ(wait4(child, &status, 0, &usage), child);
  EXPECT_EQ(status, 0);
  EXPECT_LT(usage.ru_maxrss, 100 * 1024);  // KiB
}

// After a file that needs too much memory, the next file is still read.
TEST(HostileSize, TooLittleMemoryCostsOneFile) {
  const tests::ScratchFolder folder;
  const std::string huge = folder.write("huge.xyz", "1\nc\nH 1 2 3");
  std::filesystem::resize_file(huge, std::uintmax_t{400} << 20);
  const std::string good = folder.write("good.xyz", "1\n\nHe 0 0 0\n");
  const int status = tests::status_of_child([&] {
    const rlimit limit{.rlim_cur = 300 << 20, .rlim_max = 300 << 20};
    if (setrlimit(RLIMIT_AS, &limit) != 0) return 2;
    const IngestOutcome outcome = ingest_batch(folder / "project", {huge, good});
    const bool as_meant = outcome.entries.size() == 2 && outcome.manifest_error.empty() &&
                          outcome.entries[0].record.warnings ==
                              std::vector<std::string>{"Could not read file: not enough memory"} &&
                          outcome.entries[0].record.sha256.size() == 16 &&
                          outcome.entries[1].record.ok;
    return as_meant ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
}

// Whatever memory the program may have, it says when that is not enough, and a state is the old or
// the new one.
TEST(HostileSize, TheProgramEndsInOrderWithoutMemory) {
  const tests::ScratchFolder folder;
  folder.write("a.xyz",
               "20000\nc\n" + repeated("H 1.00000000 2.00000000 3.00000000\n", 35 * 20000));
  const std::string project = folder / "p";
  std::map<std::string, int> ends;
  for (int kib = 16000; kib < 80000; kib += 1500) {
    const std::string command =
        "ulimit -v " + std::to_string(kib) +
        "; " STRUCTURE_INGEST_PROGRAM
        " --version >/dev/null 2>&1 || exit 99; " STRUCTURE_INGEST_PROGRAM " hydrate --project " +
        project + " " + (folder / "a.xyz") + " >/dev/null 2>" + (folder / "told");
    const int status = WEXITSTATUS(std::system(command.c_str()));
    if (status == 99) continue;  // its libraries cannot be loaded
    if (status == 3) {
      EXPECT_EQ(tests::content_of(folder / "told"), "structure-ingest: not enough memory\n");
    }
    EXPECT_TRUE(status == 0 || status == 1 || status == 3) << status << " with " << kib;
    ++ends[std::to_string(status)];
    if (!std::filesystem::exists(project)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(project)) {
      const std::string name = entry.path().filename().string();
      EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
      if (name.ends_with(".json")) {
        EXPECT_NO_THROW(parse_json(read_file(entry.path()))) << name;
      }
    }
    std::filesystem::remove_all(project);
  }
  EXPECT_GT(ends["0"], 0);
  EXPECT_GT(ends["3"], 0);
}

// A line without an end is refused before it takes all memory.
TEST(HostileSize, ALineOfFourGigabytesIsRefused) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a.xyz", "1\nc\nH 1 2 3");
  std::filesystem::resize_file(path, std::uintmax_t{4} << 30);
  const IngestedStructure record = structure_ingest::parse_structure_file(path);
  EXPECT_EQ(record.warnings, std::vector<std::string>{"Could not read file: cannot read " + path +
                                                      ": File too large"});
}

// A control character takes six bytes in JSON.
TEST(HostileSize, AStateThatCouldNotBeReadAgainIsNotWritten) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("state.json", "{}");
  const auto fill = [](Json& state) {
    state["text"] = std::string(std::size_t{180} << 20, '\x01');
  };
  const auto error = tests::error_of<structure_ingest::internal::FileError>(
      [&] { agent_modules::update_json(path, nullptr, fill); });
  EXPECT_EQ(std::string(error.what()),
            "cannot write what could not be read again " + path + ": File too large");
  EXPECT_EQ(tests::content_of(path), "{}");
}

TEST(HostileSize, AStateOfOneHundredMegabytes) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a.xyz", "1\n\nHe 0 0 0\n");
  const std::string big = repeated("\\n0123456789\u00E9", 100 * MEGABYTE);
  const std::string beginning = "{\n  \"project_path\": \"" + folder.path() + "\",\n  \"big\": \"";
  folder.write("state.json", beginning + big + "\"}");
  agent_modules::update_json(folder / "state.json", nullptr, [&path](Json& state) {
    EXPECT_EQ(hydrate_user_structures(state, {.extra_paths = {path}}).size(), 1U);
  });
  const std::string after = tests::content_of(folder / "state.json");
  EXPECT_EQ(after.substr(0, beginning.size()), beginning);
  EXPECT_TRUE(std::string_view(after).substr(beginning.size()).starts_with(big));
}

TEST(HeldLock, EndsTheProgramWithAMessage) {
  const tests::ScratchFolder w;
  const std::string state = w.write("state.json", "{}");
  const structure_ingest::internal::FolderLock lock(w.path());
  const tests::CommandResult result =
      tests::run(STRUCTURE_INGEST_PROGRAM " hydrate --state '" + state + "' 2>&1");
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.output.find("waited 10000 ms for another program"), std::string::npos);
}

}  // namespace
}  // namespace structure_ingest::internal
