#include "structure_ingest/base/durable.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

using tests::entries_in;

TEST(ReplaceFile, ReplacesInOneStep) {
  const tests::ScratchFolder folder;
  const std::string target = folder.write("target", "old");
  ASSERT_EQ(chmod(target.c_str(), 0640), 0);
  replace_file(target, "new");
  EXPECT_EQ(tests::content_of(target), "new");
  EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640));

  folder.link("link", "target");
  replace_file(folder / "link", "beside");
  EXPECT_FALSE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(tests::content_of(folder / "link"), "beside");
  EXPECT_EQ(tests::content_of(target), "new");
  EXPECT_EQ(entries_in(folder.path()), 2U);
}

TEST(ReplaceFile, LeavesTheOldFileAndNothingElseWhenItFails) {
  const tests::ScratchFolder folder;
  const std::string target = folder.write("target", "old");
  folder.make_folder("folder/sub");
  EXPECT_THROW(replace_file(folder / "folder", "new"), fs::filesystem_error);
  EXPECT_THROW(replace_file(folder / "missing/target", "new"), fs::filesystem_error);
  EXPECT_THROW(replace_file(target + std::string("\0x", 2), "new"), fs::filesystem_error);

  rlimit old_limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const rlimit small = {4096, old_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(replace_file(target, std::string(10000, 'x')), fs::filesystem_error);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old_limit), 0);

  EXPECT_EQ(tests::content_of(target), "old");
  EXPECT_EQ(entries_in(folder.path()), 2U);
}

// Anybody who can write to a project could place a link there that leads out of it.
TEST(ReplaceFile, FollowsNoLinkToAFolder) {
  const tests::ScratchFolder folder;
  folder.make_folder("outside/b");
  folder.link("root/a", "../outside");
  folder.link("root/loop", "loop");
  folder.write("root/file", "");
  for (const char* relative : {"a", "a/b", "loop", "file"}) {
    EXPECT_THROW(FileReplacements(folder / "root", relative).add("x", "new", 0),
                 fs::filesystem_error)
        << relative;
  }
  EXPECT_THROW(replace_file(folder / "root/a//x", "new"), fs::filesystem_error);
  EXPECT_EQ(entries_in(folder / "outside/b"), 0U);
  EXPECT_EQ(entries_in(folder / "outside"), 1U);

  folder.link("root link", "root");  // links on the way to the root are the caller's choice
  for (const char* content : {"one", "two"}) {
    FileReplacements files(folder / "root link", "c/d");
    files.add("x", content, 0);
    EXPECT_TRUE(files.finish().empty());
  }
  EXPECT_EQ(tests::content_of(folder / "root/c/d/x"), "two");
  EXPECT_EQ(entries_in(folder / "root/c/d"), 1U);
}

std::size_t open_descriptors() {
  return entries_in("/proc/self/fd");
}

TEST(FileReplacements, ReplaceManyTogether) {
  const tests::ScratchFolder folder;
  const std::size_t descriptors = open_descriptors();
  {
    FileReplacements files(folder.path(), "a");
    constexpr std::size_t many = 2 * FileSyncs::MOST + 40;
    const auto name = [](std::size_t i) { return std::to_string(i % (many - 1)); };
    folder.write("a/1", "old");
    for (std::size_t i = 0; i < FileSyncs::MOST - 1; ++i) files.add(name(i), std::to_string(i), i);
    EXPECT_EQ(tests::content_of(folder / "a/1"), "old");
    EXPECT_EQ(files.path_of("2"), folder / "a/2");
    EXPECT_FALSE(fs::exists(folder / "a/2"));
    for (std::size_t i = FileSyncs::MOST - 1; i < many; ++i)
      files.add(name(i), std::to_string(i), i);
    EXPECT_LE(open_descriptors(), descriptors + FileSyncs::MOST + 3);
    EXPECT_TRUE(files.finish().empty());
    for (std::size_t i = 1; i < many; ++i) {
      EXPECT_EQ(tests::content_of(folder / ("a/" + name(i))),
                std::to_string(i));  // of two, the last
    }
    EXPECT_EQ(entries_in(folder / "a"), many - 1);
  }
  EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(FileReplacements, FailAlone) {
  const tests::ScratchFolder folder;
  folder.make_folder("a/taken/by a folder");
  {
    FileReplacements files(folder.path(), "a");
    files.add("x", "1", 10);
    files.add("taken", "2", 11);
    files.add("y", "3", 12);
    EXPECT_THROW(files.add(std::string("z\0", 2), "4", 13), fs::filesystem_error);
    const std::vector<FileReplacements::Failure> failures = files.finish();
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures[0].number, 11U);
    EXPECT_STREQ(failures[0].what, "cannot replace");
    EXPECT_EQ(failures[0].error, EISDIR);
    files.add("x", "5", 14);
    EXPECT_TRUE(files.finish().empty());
    files.add("w", "never finished", 15);
  }
  EXPECT_EQ(tests::content_of(folder / "a/x"), "5");
  EXPECT_EQ(tests::content_of(folder / "a/y"), "3");
  EXPECT_EQ(entries_in(folder / "a"), 3U);
}

// A host that has nearly all of its descriptors open must still be able to read the next file.
TEST(FileReplacements, LeaveDescriptorsToOthers) {
  const tests::ScratchFolder folder;
  const std::size_t descriptors = open_descriptors();
  rlimit old_limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old_limit), 0);
  const rlimit small = {descriptors + 40, old_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &small), 0);
  FileReplacements files(folder.path(), "a");
  for (std::size_t i = 0; i < FileSyncs::MOST; ++i) {
    files.add(std::to_string(i), "new", i);
    EXPECT_LE(open_descriptors(), descriptors + 12);
  }
  EXPECT_TRUE(files.finish().empty());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &old_limit), 0);
  EXPECT_EQ(entries_in(folder / "a"), FileSyncs::MOST);
}

// The access rights of another user's file are kept.
TEST(ReplaceFile, KeepsOwnerGroupAndPermissionsIfAllowed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make files of others";
  constexpr uid_t other = 12345;
  const tests::ScratchFolder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  struct Case {
    const char* name;
    uid_t owner;
    gid_t group;
    mode_t mode;
    uid_t writer;
    uid_t new_owner;
    gid_t new_group;
    mode_t new_mode;
  };
  for (const auto& [name, owner, group, mode, writer, new_owner, new_group, new_mode] :
       {Case{"root", other, other + 1, 0640, 0, other, other + 1, 0640},
        Case{"group", 0, other, 0664, other, other, other, 0664},
        Case{"nothing", 0, 0, 0640, other, other, other, 0600},
        Case{"others", 0, 0, 0674, other, other, other, 0644}}) {
    const std::string path = folder.write(name, "old");
    ASSERT_EQ(chown(path.c_str(), owner, group), 0);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    ASSERT_EQ(setegid(writer), 0);
    ASSERT_EQ(seteuid(writer), 0);
    replace_file(path, "new");
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_EQ(setegid(0), 0);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, new_owner) << name;
    EXPECT_EQ(status.st_gid, new_group) << name;
    EXPECT_EQ(status.st_mode & 07777, new_mode) << name;
    EXPECT_EQ(tests::content_of(path), "new");
  }
}

TEST(ReplaceFile, RemovesFilesOfKilledProcesses) {
  const tests::ScratchFolder folder;
  const auto make = [&folder](const std::string& name, int hours) {
    const std::string path = folder.write(name, "");
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(hours));
    return path;
  };
  const std::string old = make(".structure_ingest-0123456789abcdef.tmp", 25);
  const std::string of_a_day_to_come = make(".structure_ingest-0123456789abcdff.tmp", -25);
  std::vector<std::string> kept = {make(".structure_ingest-0123456789abcdee.tmp", 23),
                                   make(".structure_ingest-0123456789abcdfe.tmp", -23)};
  for (const char* name :
       {".structure_ingest-0123456789ABCDEF.tmp", ".structure_ingest-0123456789abcde.tmp",
        ".structure_ingest-0123456789abcdef.txt", "structure_ingest-0123456789abcdef0.tmp",
        "a.tmp"}) {
    kept.push_back(make(name, 25));
  }
  kept.push_back(folder / ".structure_ingest-0000000000000000.tmp");
  ASSERT_EQ(mkfifo(kept.back().c_str(), 0600), 0);
  fs::last_write_time(kept.back(), fs::file_time_type::clock::now() - std::chrono::hours(25));
  if (geteuid() == 0) {
    kept.push_back(make(".structure_ingest-1111111111111111.tmp", 25));
    ASSERT_EQ(chown(kept.back().c_str(), 12345, 12345), 0);
  }
  replace_file(folder / "file", "new");
  EXPECT_FALSE(fs::exists(old));
  EXPECT_FALSE(fs::exists(of_a_day_to_come));
  for (const std::string& path : kept) EXPECT_TRUE(fs::exists(path)) << path;
  EXPECT_EQ(entries_in(folder.path()), kept.size() + 1);
}

}  // namespace
}  // namespace structure_ingest::internal
