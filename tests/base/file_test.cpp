#include "structure_ingest/base/file.hpp"

#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <fstream>
#include <system_error>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/durable.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

TEST(InputFile, ReadsWholeFilesAndDigests) {
  const tests::ScratchFolder folder;
  const std::string bytes(300000, '\xA5');
  const std::string path = folder.write("a b\n'c", bytes);
  EXPECT_EQ(read_file(path), bytes);
  EXPECT_EQ(sha256_hex_of_file(path), sha256_hex(bytes));
}

TEST(InputFile, RefusesAnythingButRegularFiles) {
  const tests::ScratchFolder folder;
  const std::string fifo = folder / "fifo.xyz";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);  // without a writer, a plain open would hang
  folder.link("zero", "/dev/zero");
  folder.link("memory", "/proc/kcore");
  folder.link("status", "/proc/self/status");
  for (const std::string& path :
       {fifo, folder.path(), folder / "zero", folder / "missing", folder / "memory",
        folder / "status", folder / std::string("a\0b", 3)}) {
    EXPECT_THROW(read_file(path), fs::filesystem_error) << path;
    EXPECT_THROW(sha256_hex_of_file(path), fs::filesystem_error) << path;
  }
}

TEST(InputFile, IgnoresBytesAppendedAfterOpening) {
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

TEST(InputFile, RefusesToReadALargeFileWhole) {
  const tests::ScratchFolder folder;
  const std::string path = folder.write("a", "");
  fs::resize_file(path, (std::uintmax_t{1} << 30) + 1);
  const auto error = tests::error_of<fs::filesystem_error>([&] { read_file(path); });
  EXPECT_EQ(error.code(), std::errc::file_too_large);
}

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

TEST(Digest, Base64) {
  for (const auto& [bytes, text] : std::initializer_list<std::pair<std::string, std::string>>{
           {"", ""},
           {"f", "Zg=="},
           {"fo", "Zm8="},
           {"foo", "Zm9v"},
           {"foobar", "Zm9vYmFy"},
           {std::string("\xff\x00\xfe", 3), "/wD+"}}) {
    EXPECT_EQ(base64(bytes), text);
  }
}

// More bytes than libcrypto encodes in one call.
TEST(Digest, Base64OfManyBytes) {
  const std::string text = base64(std::string(std::size_t{4} << 20, 'a'));
  EXPECT_EQ(text.size(), ((std::size_t{4} << 20) + 2) / 3 * 4);
  EXPECT_EQ(text.substr(text.size() - 8), "YWFhYQ==");
  EXPECT_EQ(text.find('='), text.size() - 2);
  EXPECT_EQ(text.substr(std::size_t{4} << 20, 8), "YWFhYWFh");
}

TEST(Digest, HexAndBytesAgree) {
  EXPECT_EQ(sha256_hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256_bytes("abc").substr(0, 3), "\xba\x78\x16");
}

}  // namespace
}  // namespace structure_ingest::internal
