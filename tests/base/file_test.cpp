#include "structure_ingest/base/file.hpp"

#include <gtest/gtest.h>
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

TEST(InputFile, ReadsWholeFilesAndDigests) {
  const tests::ScratchFolder folder;
  const std::string bytes(300000, '\xA5');
  const std::string path = folder.write("a b\n'c", bytes);
  EXPECT_EQ(read_file(path), bytes);
  EXPECT_EQ(sha256_hex_of_file(path), sha256_hex(bytes));
  EXPECT_EQ(sha256_hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
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
  try {
    read_file(path);
    ADD_FAILURE();
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::errc::file_too_large);
  }
}

}  // namespace
}  // namespace structure_ingest::internal
