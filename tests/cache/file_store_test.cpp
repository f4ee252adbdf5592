#include "structure_ingest/cache/file_store.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/cache/cache.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

using tests::content_of;
using tests::fs::exists;

constexpr std::uint64_t MIB = std::uint64_t{1} << 20U;

struct Store : testing::Test {
  std::unique_ptr<FileStore> open(std::uint64_t most_bytes = MIB) const {
    return FileStore::open(folder, most_bytes);
  }
  std::string path_of(const std::string& kept) const {
    return folder + "/" + kept.substr(0, 2) + "/" + kept.substr(2);
  }
  static void make_old(const std::string& path, std::time_t seconds) {
    const timespec then{.tv_sec = std::time(nullptr) - seconds, .tv_nsec = 0};
    const timespec times[] = {then, then};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  tests::ScratchFolder scratch;
  std::string folder = scratch / "home/.cache/kept";
  std::string key = sha256_hex("a");
  std::string other_key = sha256_hex("b");
};

TEST_F(Store, HoldsWhatWasKept) {
  const std::string bytes("first\0\n", 7);
  open()->keep(key, bytes);
  const auto store = open();
  EXPECT_EQ(store->find(key), bytes);
  EXPECT_EQ(store->find(other_key), std::nullopt);
  store->keep(key, "second");
  store->keep(other_key, "");
  EXPECT_EQ(open()->find(key), "second");
  EXPECT_EQ(open()->find(other_key), "");
  store->keep(key, std::string(MIB / 8 + 1, 'x'));  // too large: what is there stays
  EXPECT_EQ(store->find(key), "second");
  struct stat status {};
  EXPECT_EQ(stat(path_of(key).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(Store, TakesNothingThatDoesNotFit) {
  open()->keep(key, "some bytes that were kept");
  const std::string entry = content_of(path_of(key));
  const std::string name = "home/.cache/kept/" + key.substr(0, 2) + "/" + key.substr(2);
  std::vector<std::string> damaged = {"", entry.substr(0, 40), entry.substr(1), entry + "x",
                                      entry.substr(0, entry.size() - 1)};
  for (std::size_t i = 0; i < entry.size(); ++i) {
    std::string& other = damaged.emplace_back(entry);
    other[i] = static_cast<char>(other[i] ^ (1 << i % 8));
  }
  for (const std::string& bytes : damaged) {
    scratch.write(name, bytes);
    EXPECT_EQ(open()->find(key), std::nullopt) << bytes;
    EXPECT_FALSE(exists(path_of(key)));
  }
  // A whole entry, under another key's name.
  const std::string other = other_key.substr(0, 2) + "/" + other_key.substr(2);
  scratch.write("home/.cache/kept/" + other, entry);
  EXPECT_EQ(open()->find(other_key), std::nullopt);

  const std::vector<std::pair<const char*, std::function<void()>>> others = {
      {"of the group",
       [&] {
         scratch.write(name, entry);
         chmod(path_of(key).c_str(), 0660);
       }},
      {"of others",
       [&] {
         scratch.write(name, entry);
         chmod(path_of(key).c_str(), 0602);
       }},
      {"a link", [&] { scratch.link(name, scratch.write("elsewhere", entry)); }},
      {"a pipe", [&] { EXPECT_EQ(mkfifo(path_of(key).c_str(), 0600), 0); }},
      {"a folder", [&] { scratch.make_folder(name); }},
  };
  for (const auto& [what, make] : others) {
    make();
    EXPECT_EQ(open()->find(key), std::nullopt) << what;
    tests::fs::remove(path_of(key));
    open()->keep(key, "again");
    EXPECT_EQ(open()->find(key), "again") << what;
    tests::fs::remove(path_of(key));
  }
}

TEST_F(Store, IsThereOnlyForItsUser) {
  EXPECT_EQ(FileStore::open("", MIB), nullptr);
  EXPECT_EQ(FileStore::open("relative", MIB), nullptr);
  EXPECT_EQ(FileStore::open(scratch.write("file", ""), MIB), nullptr);
  EXPECT_EQ(FileStore::open(scratch / "file/below", MIB), nullptr);
  ASSERT_NE(open(), nullptr);
  struct stat status {};
  EXPECT_EQ(stat(folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  for (const mode_t mode : {mode_t{0720}, mode_t{0702}}) {
    chmod(folder.c_str(), mode);
    EXPECT_EQ(open(), nullptr);
  }
  chmod(folder.c_str(), 0755);
  EXPECT_NE(open(), nullptr);
  if (geteuid() == 0) {
    EXPECT_EQ(chown(folder.c_str(), 1, 1), 0);
    EXPECT_EQ(open(), nullptr);
  }
}

TEST_F(Store, RemovesWhatWasUsedLeastRecently) {
  const auto key_at = [](int i) { return sha256_hex(std::to_string(i)); };
  const std::string foreign = scratch.write("home/.cache/kept/ab/notes.txt", "mine");
  {
    const auto store = open();
    for (int i = 0; i < 20; ++i) {
      store->keep(key_at(i), std::string(30000, 'x'));
      make_old(path_of(key_at(i)), 1000 - i);
    }
    EXPECT_TRUE(store->find(key_at(0)));  // which is a use
    for (int i = 20; i < 40; ++i) store->keep(key_at(i), std::string(30000, 'x'));
    scratch.write("home/.cache/kept/ab/.kept-1", "left behind");
    make_old(folder + "/ab/.kept-1", 4000);
    scratch.write("home/.cache/kept/ab/.kept-2", "being written");
    store->trim();
    EXPECT_LE(store->status().bytes, MIB);
    EXPECT_GT(store->status().bytes, MIB / 2);
    EXPECT_TRUE(store->find(key_at(0)));
    EXPECT_FALSE(store->find(key_at(1)));
    EXPECT_FALSE(store->find(key_at(5)));
    EXPECT_TRUE(store->find(key_at(39)));
    EXPECT_FALSE(exists(folder + "/ab/.kept-1"));
    EXPECT_TRUE(exists(folder + "/ab/.kept-2"));
    store->count(true);
    store->count(false);
    store->count(true);
  }
  EXPECT_EQ(open()->status().found, 2U);
  EXPECT_EQ(open()->status().missed, 1U);
  open()->clear();
  EXPECT_EQ(open()->status().entries, 0U);
  EXPECT_EQ(open()->status().found, 0U);
  EXPECT_EQ(content_of(foreign), "mine");
  EXPECT_EQ(tests::entries_in(folder), 1U);
}

// The bound holds also where nobody trims on purpose.
TEST_F(Store, StaysBelowItsBound) {
  for (int i = 0; i < 30; ++i) {
    const auto store = open();
    for (int j = 0; j < 10; ++j) {
      store->keep(sha256_hex(std::to_string(100 * i + j)), std::string(20000, 'x'));
    }
  }
  EXPECT_LE(open()->status().bytes, MIB + 20 * 20480);
}

TEST_F(Store, KeepsNothingOnAFullDisk) {
  open()->keep(key, "before");
  const int status = tests::status_of_child([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_FSIZE, &none);
    const auto store = open();
    store->keep(key, "after");
    store->keep(other_key, "after");
    store->count(true);
    return store->find(key) == "before" && !store->find(other_key) ? 7 : 1;
  });
  EXPECT_EQ(WEXITSTATUS(status), 7);
  EXPECT_EQ(open()->find(key), "before");
  EXPECT_EQ(open()->status().entries, 1U);
  EXPECT_EQ(tests::entries_in(tests::fs::path(path_of(key)).parent_path()), 1U);
}

TEST_F(Store, ServesTwoHundredProcessesAtOnce) {
  const auto bytes_of = [](int i) { return std::string(static_cast<std::size_t>(i) * 997, 'x'); };
  const auto key_at = [](int i) { return sha256_hex(std::to_string(i)); };
  std::vector<pid_t> children;
  for (int process = 0; process < 200; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      bool is_right = true;
      for (int round = 0; round < 60; ++round) {
        const auto store = open(MIB / 4);
        const int i = (process * 31 + round * 17) % 40;
        const std::optional<std::string> found = store->find(key_at(i));
        is_right = is_right && (!found || *found == bytes_of(i));
        store->keep(key_at(i), bytes_of(i));
        store->count(found.has_value());
        if (round % 20 == 19) store->trim();
        if (process % 50 == 49 && round == 30) store->clear();
        if (process % 10 == 9 && round == 40) kill(getpid(), SIGKILL);
      }
      _exit(is_right ? 0 : 1);
    }
    children.push_back(child);
  }
  for (std::size_t i = 0; i < children.size(); ++i) {
    int status = -1;
    EXPECT_EQ(waitpid(children[i], &status, 0), children[i]);
    EXPECT_EQ(status, i % 10 == 9 ? SIGKILL : 0);
  }
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(open()->find(key_at(i)).value_or(bytes_of(i)), bytes_of(i));
  }
}

TEST(Cache, IsWhereTheVariablesSay) {
  const tests::ScratchFolder scratch;
  const tests::Environment home("HOME", "/home/me");
  const tests::Environment caches("XDG_CACHE_HOME", "");
  const tests::Environment given("STRUCTURE_INGEST_CACHE", "");
  const tests::Environment most("STRUCTURE_INGEST_CACHE_MIB", "");
  struct Case {
    const char* given;
    const char* caches;
    const char* home;
    std::string folder;
  };
  const std::vector<Case> cases = {
      {"", "", "/home/me", "/home/me/.cache/structure_ingest"},
      {"", "/caches", "/home/me", "/caches/structure_ingest"},
      {"", "relative", "/home/me", "/home/me/.cache/structure_ingest"},
      {"/mine", "/caches", "/home/me", "/mine"},
      {"off", "/caches", "/home/me", ""},
      {"mine", "/caches", "/home/me", ""},
      {"", "", "relative", ""},
  };
  for (const Case& row : cases) {
    given.set(row.given);
    caches.set(row.caches);
    home.set(row.home);
    EXPECT_EQ(cache_folder(), row.folder) << row.given;
  }
  const std::vector<std::pair<const char*, std::uint64_t>> limits = {
      {"", 256}, {"1", 1}, {"0", 0}, {"1000", 1000}, {"-1", 256}, {"2x", 256}, {"1e3", 256}};
  for (const auto& [text, mib] : limits) {
    most.set(text);
    EXPECT_EQ(cache_limit(), mib * MIB) << text;
  }
}

}  // namespace
}  // namespace structure_ingest::internal
