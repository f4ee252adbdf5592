// The modules that work with files: the atomic writer, the diagnostics log, the trust list and the
// inventory.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "collaborators/agent_modules/diagnostics.hpp"
#include "collaborators/agent_modules/directory_trust.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/paths.hpp"
#include "tests/scratch_folder.hpp"

namespace agent_modules {
namespace {

using structure_ingest::Json;
using structure_ingest::JsonError;

TEST(AtomicIo, WritesOneDocumentAndCreatesItsFolder) {
  const tests::ScratchFolder folder;
  const std::string path = folder / "new/sub/a.json";
  atomic_write_json(path, {{"k", {1, "\u00E9"}}});
  EXPECT_EQ(tests::content_of(path), "{\n  \"k\": [\n    1,\n    \"\u00E9\"\n  ]\n}\n");
  EXPECT_EQ(read_json(path, nullptr), (Json{{"k", {1, "\u00E9"}}}));
  EXPECT_EQ(read_json(folder / "missing", 5), 5);
  // Long values go to the file in pieces.
  const Json long_value = {std::string(100000, 'x'), Json::array_t(20000, -0.125), {{{{"k", {}}}}}};
  atomic_write_json(path, long_value);
  EXPECT_EQ(tests::content_of(path), structure_ingest::json_text(long_value, 2) + "\n");
  atomic_write_text(path, [](const TextSink& take) {
    take("[1,");
    take("2]");
  });
  EXPECT_EQ(tests::content_of(path), "[1,2]\n");
  const auto broken = [](const TextSink& take) {
    take("[3");
    throw std::logic_error("broken");
  };
  EXPECT_THROW(atomic_write_text(path, broken), std::logic_error);
  EXPECT_EQ(tests::content_of(path), "[1,2]\n");
  EXPECT_EQ(tests::entries_in(folder / "new/sub"), 1U);
  EXPECT_THROW(atomic_write_json(folder / "new/sub/a.json/b", 1),
               std::filesystem::filesystem_error);
}

TEST(AtomicIo, WritesOnlyChangedFiles) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a.json", "{\"n\":1}");
  update_json(path, nullptr, [](Json&) {});
  EXPECT_EQ(tests::content_of(path), "{\"n\":1}");
  EXPECT_THROW(update_json(path, nullptr,
                           [](Json& value) {
                             value["n"] = 2;
                             throw std::logic_error("no");
                           }),
               std::logic_error);
  EXPECT_EQ(tests::content_of(path), "{\"n\":1}");
  folder.write("bad.json", "{");
  EXPECT_THROW(update_json(folder / "bad.json", nullptr, [](Json&) {}), JsonError);
}

TEST(AtomicIo, KeepsAllConcurrentChanges) {
  const tests::ScratchFolder folder;
  const std::string path = folder / "count.json";
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&path] {
      for (int n = 0; n < 10; ++n) {
        update_json(path, 0, [](Json& value) { value = value.get<int>() + 1; });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(read_json(path, nullptr), 40);
}

TEST(AtomicIo, DoesNotChangeALockedFile) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a.json", "1");
  const structure_ingest::internal::FolderLock lock(folder.path());
  const auto set_two = [](Json& value) { value = 2; };
  const auto error = tests::error_of<std::system_error>(
      [&] { update_json(path, nullptr, set_two, std::chrono::milliseconds(1)); });
  EXPECT_EQ(error.code(), std::errc::operation_would_block);
  EXPECT_EQ(tests::content_of(path), "1");
}

TEST(Diagnostics, AppendsALine) {
  const tests::ScratchFolder project;
  const auto error = std::make_exception_ptr(std::logic_error("two\nlines"));
  record_suppressed_error(project.path(), {"node", "op", error});
  record_suppressed_error(project.path(), {"node", "op", std::make_exception_ptr(5)});
  const std::string log = tests::content_of(project / ".diagnostics/suppressed_errors.jsonl");
  const std::size_t end = log.find('\n');
  Json line = structure_ingest::parse_json(log.substr(0, end));
  EXPECT_EQ(line["time"].get<std::string>().size(), std::string("2000-01-01T00:00:00Z").size());
  line.erase("time");
  EXPECT_EQ(structure_ingest::json_text(line),
            R"({"node": "node", "op": "op", "error_type": "std::logic_error", )"
            R"("message": "two\nlines"})");
  EXPECT_EQ(structure_ingest::parse_json(log.substr(end))["error_type"], "unknown");
  for (const Json& nowhere :
       {Json(project / "missing"), Json(std::string("nul\0", 4)), Json("/dev/null")}) {
    EXPECT_NO_THROW(record_suppressed_error(nowhere, {"node", "op", error}));
  }
  EXPECT_FALSE(std::filesystem::exists(project / "missing"));
}

TEST(Diagnostics, RotatesTheLog) {
  const tests::ScratchFolder project;
  const std::string old(1 << 20, 'x');
  const std::string log = project.write(".diagnostics/suppressed_errors.jsonl", old);
  const auto error = std::make_exception_ptr(std::logic_error(std::string(100000, 'y')));
  const auto record = [&] { record_suppressed_error(project.path(), {"node", "op", error}); };
  record();
  EXPECT_GT(tests::content_of(log).size(), old.size());
  record();
  EXPECT_TRUE(tests::content_of(log + ".1").starts_with(old));
  const Json line = structure_ingest::parse_json(tests::content_of(log));
  EXPECT_EQ(line["message"], std::string(10000, 'y') + "... (100000 bytes)");
}

using Directories = std::map<std::string, std::string>;

std::string refusal(const std::function<void()>& call) {
  return tests::error_of<std::runtime_error>(call).what();
}

struct Trust : testing::Test {
  tests::ScratchFolder w;
  tests::Environment config{"XDG_CONFIG_HOME", w / "config"};
  tests::Environment home{"HOME", w.path()};
};

TEST_F(Trust, TheNearestListedAncestorDecides) {
  EXPECT_EQ(trust_state_for(w / "a").state, "unknown");
  w.make_folder("a/b");
  set_trust(w / "a", "untrusted");
  set_trust(w / "a/b/../b", "trusted");
  w.link("link", "a/b");
  const std::pair<const char*, const char*> cases[] = {{"a", "untrusted"}, {"a/x/y", "untrusted"},
                                                       {"a/b", "trusted"}, {"a/b/c", "trusted"},
                                                       {"ab", "unknown"},  {"link/c", "trusted"}};
  for (const auto& [directory, state] : cases) {
    EXPECT_EQ(trust_state_for(structure_ingest::internal::resolve_path(w / directory)).state, state)
        << directory;
  }
  set_trust(w / "a/b", std::nullopt);
  EXPECT_EQ(trust_state_for(w / "a/b").state, "untrusted");
  EXPECT_EQ(trust_list(), (Directories{{w / "a", "untrusted"}}));
}

// An entry that can never match would give a false sense of safety.
TEST_F(Trust, ResolvesItsEntries) {
  w.make_folder("a/b");
  w.link("link", "a");
  const std::string list =
      w.write("config/structure_ingest/directory_trust.json",
              R"({"~/home/": "untrusted", ")" + w.path() + R"(/link/b/../b/": "trusted", ")" +
                  w.path() + R"(/a/b": "untrusted", ")" + w.path() + R"(/link/b": "trusted"})");
  EXPECT_EQ(trust_list(), (Directories{{w / "a/b", "untrusted"}, {w / "home", "untrusted"}}));
  set_trust(w / "link/b", "trusted");  // replaces all entries for the same directory
  EXPECT_EQ(read_json(list, nullptr), (Json{{"~/home/", "untrusted"}, {w / "a/b", "trusted"}}));
  EXPECT_EQ(std::filesystem::status(list).permissions(), std::filesystem::perms(0600));

  EXPECT_EQ(refusal([&] { set_trust(w / "nowhere", "trusted"); }),
            (w / "nowhere") + ": not a directory");
  EXPECT_NO_THROW(set_trust(w / "nowhere", std::nullopt));
  w.write("config/structure_ingest/directory_trust.json", R"({"data": "untrusted"})");
  EXPECT_EQ(refusal([] { trust_list(); }),
            "the trust list " + list +
                " is malformed: 'data' is not an absolute path: it could mean any folder");
  std::filesystem::permissions(list, std::filesystem::perms(0620));
  EXPECT_EQ(
      refusal([] { trust_list(); }),
      "the trust list " + list +
          " may be written by other users: it must belong to you, with mode 0644 or stricter");
}

TEST_F(Trust, AMalformedListIsAnError) {
  EXPECT_THROW(set_trust(w.path(), "sometimes"), std::runtime_error);
  const std::string long_name = "{\"/" + std::string(100000, 'x') + "\": 1}";
  for (const std::string& content :
       {std::string(), std::string("[]"), std::string(R"({"/a": "yes"})"), long_name}) {
    const std::string list = w.write("config/structure_ingest/directory_trust.json", content);
    const std::string message = refusal([] { trust_state_for("/a"); });
    EXPECT_TRUE(message.starts_with("the trust list " + list + " is malformed: ")) << message;
    EXPECT_LT(message.size(), 1000U);
    EXPECT_THROW(set_trust(w.path(), "trusted"), std::runtime_error);
    EXPECT_EQ(tests::content_of(list), content);
  }
}

TEST_F(Trust, TheListLiesBelowAnAbsoluteFolder) {
  const std::string name = "structure_ingest/directory_trust.json";
  EXPECT_EQ(trust_list_path(), w / "config/" + name);
  for (const std::optional<std::string>& ignored : {std::optional<std::string>("config"), {}}) {
    config.set(ignored);  // a relative path, and none
    EXPECT_EQ(trust_list_path(), w / ".config/" + name);
  }
}

using Paths = std::vector<std::string>;

TEST(WorkspaceInventory, ListsTheTreeInAFixedOrder) {
  const tests::ScratchFolder w;
  for (const char* file :
       {"b.xyz", "B.cif", "a b\n.xyz", "notes.txt", "sub/POSCAR", "sub/deep/c.vasp", "sub.d/x.xyz",
        ".hidden.xyz", ".git/x.xyz", "node_modules/x.xyz", "__pycache__/x.xyz", "CVS/x.xyz",
        ".diagnostics/x.xyz", "project_root/structures/ingested_a_12345678.xyz",
        "project_root/structures/own.xyz", "sub/project_root/structures/ingested_b_12345678.xyz",
        "structures/ingested_mine.xyz", "\xFF/x.xyz"}) {
    w.write(file, "");
  }
  w.make_folder("folder.xyz/empty");
  w.link("to_file.xyz", "b.xyz");
  w.link("to_folder", "sub");
  w.link("sub/loop", "..");
  w.link("dangling.xyz", "nowhere");
  ASSERT_EQ(mkfifo((w / "fifo.xyz").c_str(), 0600), 0);
  const Paths expected = {".hidden.xyz",    "B.cif",
                          "a b\n.xyz",      "b.xyz",
                          "to_file.xyz",    "structures/ingested_mine.xyz",
                          "sub/POSCAR",     "sub.d/x.xyz",
                          "\xFF/x.xyz",     "project_root/structures/own.xyz",
                          "sub/deep/c.vasp"};
  EXPECT_EQ(inventory_workspace(w.path()).structure_files, expected);
  EXPECT_EQ(inventory_workspace(w / "project_root/structures").structure_files, Paths{"own.xyz"});
  EXPECT_EQ(inventory_workspace(w / "missing").structure_files, Paths{});
}

TEST(WorkspaceInventory, SkipsFoldersOfToolsAndUntrustedFolders) {
  const tests::ScratchFolder w;
  const tests::Environment config("XDG_CONFIG_HOME", w / "config");
  for (const char* file :
       {"ws/venv/pyvenv.cfg", "ws/venv/lib/a.xyz", "ws/conda/conda-meta/history", "ws/conda/b.xyz",
        "ws/cache/CACHEDIR.TAG", "ws/cache/c.xyz", "ws/bad/d.xyz", "ws/bad/in/e.xyz",
        "ws/bad/good/f.xyz", "ws/mine/g.xyz"}) {
    w.write(file, "");
  }
  EXPECT_EQ(inventory_workspace(w / "ws").structure_files,
            (Paths{"bad/d.xyz", "mine/g.xyz", "bad/good/f.xyz", "bad/in/e.xyz"}));
  EXPECT_EQ(inventory_workspace(w / "ws/cache").structure_files, Paths{"c.xyz"});  // as root
  set_trust(w / "ws/bad", "untrusted");
  set_trust(w / "ws/bad/good", "trusted");
  const FolderTree tree = list_folder_tree(w / "ws");
  EXPECT_EQ(tree.structure_files, (Paths{"mine/g.xyz", "bad/good/f.xyz"}));
  EXPECT_EQ(tree.untrusted_folders, (Paths{"bad/", "bad/in/"}));
  EXPECT_EQ(inventory_workspace(w / "ws/bad/in").structure_files, Paths{});
  w.write("config/structure_ingest/directory_trust.json", "[");
  EXPECT_EQ(inventory_workspace(w / "ws").structure_files.size(), 4U);
  EXPECT_EQ(list_folder_tree(w / "missing").unreadable_folders, Paths{""});
}

TEST(WorkspaceInventory, ListsVeryDeepTrees) {
  const tests::ScratchFolder w;
  std::optional<tests::CurrentFolder> current(w.path());
  std::string folder;
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(mkdir("d", 0700), 0);
    ASSERT_EQ(chdir("d"), 0);
    folder += "d/";
  }
  close(open("deep.xyz", O_CREAT | O_WRONLY, 0600));
  current.reset();
  EXPECT_TRUE(inventory_workspace(w.path()).structure_files == Paths{folder + "deep.xyz"});
}

}  // namespace
}  // namespace agent_modules
