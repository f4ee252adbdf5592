// The modules that keep files: the atomic writer, the diagnostics log and the trust list.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "collaborators/agent_modules/diagnostics.hpp"
#include "collaborators/agent_modules/directory_trust.hpp"
#include "tests/scratch_folder.hpp"

namespace agent_modules {
namespace {

using structure_ingest::Json;
using structure_ingest::JsonError;

TEST(AtomicIo, WritesOneDocumentAndItsFolder) {
  const tests::ScratchFolder folder;
  const std::string path = folder / "new/sub/a.json";
  atomic_write_json(path, {{"k", {1, "\u00E9"}}});
  EXPECT_EQ(tests::content_of(path), "{\n  \"k\": [\n    1,\n    \"\u00E9\"\n  ]\n}\n");
  EXPECT_EQ(read_json(path, nullptr), (Json{{"k", {1, "\u00E9"}}}));
  EXPECT_EQ(read_json(folder / "missing", 5), 5);
  EXPECT_THROW(atomic_write_json(folder / "new/sub/a.json/b", 1),
               std::filesystem::filesystem_error);
}

TEST(AtomicIo, ChangesAreWrittenOnlyWhenThereAreAny) {
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

TEST(AtomicIo, OfManyChangesAtOnceNoneIsLost) {
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

struct Trust : testing::Test {
  void SetUp() override { setenv("XDG_CONFIG_HOME", (w / "config").c_str(), 1); }
  void TearDown() override { unsetenv("XDG_CONFIG_HOME"); }
  tests::ScratchFolder w;
};

TEST_F(Trust, TheNearestListedAncestorDecides) {
  EXPECT_EQ(trust_state_for(w / "a").state, "unknown");
  set_trust(w / "a", "untrusted");
  set_trust(w / "a/b/../b", "trusted");
  w.link("link", "a/b");
  struct Case {
    const char* directory;
    const char* state;
  };
  for (const auto& [directory, state] :
       {Case{"a", "untrusted"}, Case{"a/x/y", "untrusted"}, Case{"a/b", "trusted"},
        Case{"a/b/c", "trusted"}, Case{"ab", "unknown"}, Case{"link/c", "trusted"}}) {
    EXPECT_EQ(trust_state_for(w / directory).state, state) << directory;
  }
  set_trust(w / "a/b", std::nullopt);
  EXPECT_EQ(trust_state_for(w / "a/b").state, "untrusted");
  EXPECT_EQ(trust_list(), (Json{{w / "a", "untrusted"}}));
}

TEST_F(Trust, AMalformedListIsAnError) {
  EXPECT_THROW(set_trust(w / "a", "sometimes"), std::runtime_error);
  for (const char* content : {"", "[]", R"({"/a": "yes"})", R"({"/a": 1})"}) {
    const std::string list = w.write("config/structure_ingest/directory_trust.json", content);
    try {
      trust_state_for("/a");
      ADD_FAILURE() << content;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string(error.what()).find("the trust list " + list + " is malformed: "), 0U);
    }
    EXPECT_THROW(set_trust("/a", "trusted"), std::runtime_error);
    EXPECT_EQ(tests::content_of(list), content);
  }
}

TEST_F(Trust, TheListLiesBelowAnAbsoluteFolder) {
  const std::string name = "structure_ingest/directory_trust.json";
  EXPECT_EQ(trust_list_path(), w / "config/" + name);
  const char* const old_home = getenv("HOME");
  const std::string kept = old_home == nullptr ? "" : old_home;
  setenv("HOME", w.path().c_str(), 1);
  setenv("XDG_CONFIG_HOME", "config", 1);  // one that is relative does not count
  EXPECT_EQ(trust_list_path(), w / ".config/" + name);
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(trust_list_path(), w / ".config/" + name);
  setenv("HOME", kept.c_str(), 1);
}

}  // namespace
}  // namespace agent_modules
