#include "structure_ingest/base/durable.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

TEST(AppendLine, AppendsLinesButNotThroughALink) {
  const tests::ScratchFolder folder;
  append_line(folder / "log", "one");
  append_line(folder / "log", "two");
  EXPECT_EQ(tests::content_of(folder / "log"), "one\ntwo\n");
  folder.link("link", "log");
  folder.link("folder", ".");
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {folder / "link", folder / "folder/log", fifo}) {
    EXPECT_THROW(append_line(path, "three"), fs::filesystem_error) << path;
  }
  EXPECT_EQ(tests::content_of(folder / "log"), "one\ntwo\n");

  rlimit old_limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const rlimit small = {10, old_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(append_line(folder / "log", "three"), fs::filesystem_error);  // only "th" fits
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old_limit), 0);
}

TEST(AppendLine, KeepsATornLineApart) {
  const tests::ScratchFolder folder;
  const std::string log = folder.write("log", "one\ntw");
  append_line(log, "three");
  append_line(log, "four");
  EXPECT_EQ(tests::content_of(log), "one\ntw\nthree\nfour\n");
}

TEST(RotateLog, MovesALargeLogAndKeepsOneOlder) {
  const tests::ScratchFolder folder;
  const std::string log = folder / "log";
  rotate_log(log, 0);
  for (const char* line : {"1", "22", "333", "4444", "55555"}) {
    append_line(log, line);
    rotate_log(log, 4);
  }
  EXPECT_EQ(tests::content_of(log + ".1"), "55555\n");
  EXPECT_FALSE(fs::exists(log));
  append_line(log, "666");
  rotate_log(log, 4);
  EXPECT_EQ(tests::content_of(log), "666\n");

  // When the rename fails, the log stays.
  folder.write("outside/log", "long line\n");
  folder.link("link", "outside");
  folder.link("log link", "outside/log");
  folder.make_folder("outside/log.1");
  for (const char* name : {"link/log", "log link", "outside/log"}) {
    rotate_log(folder / name, 4);
    EXPECT_EQ(tests::content_of(folder / name), "long line\n");
  }
}

}  // namespace
}  // namespace structure_ingest::internal
