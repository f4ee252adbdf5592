#include "structure_ingest/base/file.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "structure_ingest/base/digest.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

std::size_t files_in(const std::string& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(File, ReadsWholeFilesAndDigests) {
  const tests::ScratchFolder folder;
  const std::string bytes(300000, '\xA5');
  const std::string path = folder.write("a b\n'c", bytes);
  EXPECT_EQ(read_file(path), bytes);
  EXPECT_EQ(sha256_hex_of_file(path), sha256_hex(bytes));
  EXPECT_EQ(sha256_hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(File, RefusesWhatIsNoRegularFile) {
  const tests::ScratchFolder folder;
  const std::string fifo = folder / "fifo.xyz";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);  // nobody writes: opening it plainly would hang
  folder.link("zero", "/dev/zero");
  folder.link("memory", "/proc/kcore");
  folder.link("status", "/proc/self/status");
  for (const std::string& path :
       {fifo, folder.path(), folder / "zero", folder / "missing", folder / "memory",
        folder / "status", folder / std::string("a\0b", 3)}) {
    EXPECT_THROW(read_file(path), fs::filesystem_error) << path;
    EXPECT_THROW(sha256_hex_of_file(path), fs::filesystem_error) << path;
  }
  EXPECT_THROW(append_line(fifo, "x"), fs::filesystem_error);
}

TEST(File, ReadsWhatAFileHeldWhenItWasOpened) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a", "12345678");
  std::array<char, 4> piece{};
  const auto rest = [&piece](InputFile& file) {
    std::string text;
    while (const std::size_t count = file.read(piece.data(), piece.size())) {
      text.append(piece.data(), count);
    }
    return text;
  };
  InputFile growing(path);
  growing.read(piece.data(), piece.size());
  std::ofstream(path, std::ios::app) << "more";
  EXPECT_EQ(rest(growing), "5678");
  InputFile shrinking(path);
  shrinking.read(piece.data(), piece.size());
  fs::resize_file(path, 6);
  EXPECT_EQ(rest(shrinking), "56");
  InputFile vanishing(path);
  fs::remove(path);
  EXPECT_EQ(rest(vanishing), "123456");
}

TEST(File, RefusesWhatIsTooLargeToBeHeldAtOnce) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a", "");
  fs::resize_file(path, (std::uintmax_t{1} << 30) + 1);
  try {
    read_file(path);
    ADD_FAILURE();
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::errc::file_too_large);
  }
}

TEST(File, ReplacesAFileInOneStep) {
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
  EXPECT_EQ(files_in(folder.path()), 2U);
}

TEST(File, AFailedReplacementLeavesTheOldFileAndNothingElse) {
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
  EXPECT_EQ(files_in(folder.path()), 2U);
}

// Whoever can write to a project could place a link there that leads out of it.
TEST(File, WritesThroughNoFolderThatIsALink) {
  const tests::ScratchFolder folder;
  folder.make_folder("outside/b");
  folder.link("root/a", "../outside");
  folder.link("root/loop", "loop");
  folder.write("root/file", "");
  for (const char* relative : {"a/x", "a/b/x", "loop/x", "file/x"}) {
    EXPECT_THROW(replace_file_beneath(folder / "root", relative, "new"), fs::filesystem_error)
        << relative;
  }
  EXPECT_THROW(replace_file(folder / "root/a//x", "new"), fs::filesystem_error);
  EXPECT_THROW(append_line(folder / "root/a/x", "new"), fs::filesystem_error);
  EXPECT_EQ(files_in(folder / "outside/b"), 0U);
  EXPECT_EQ(files_in(folder / "outside"), 1U);

  folder.link("root link", "root");  // what leads to the root is the caller's own choice
  replace_file_beneath(folder / "root link", "c/d/x", "one");
  replace_file_beneath(folder / "root link", "c/d/x", "two");
  EXPECT_EQ(tests::content_of(folder / "root/c/d/x"), "two");
  EXPECT_EQ(files_in(folder / "root/c/d"), 1U);
}

TEST(File, AppendsLinesButNotThroughALink) {
  const tests::ScratchFolder folder;
  append_line(folder / "log", "one");
  append_line(folder / "log", "two");
  EXPECT_EQ(tests::content_of(folder / "log"), "one\ntwo\n");
  folder.link("link", "log");
  EXPECT_THROW(append_line(folder / "link", "three"), fs::filesystem_error);
  EXPECT_EQ(tests::content_of(folder / "log"), "one\ntwo\n");

  rlimit old_limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const rlimit small = {10, old_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(append_line(folder / "log", "three"), fs::filesystem_error);  // "th" has room
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old_limit), 0);
}

}  // namespace
}  // namespace structure_ingest::internal
