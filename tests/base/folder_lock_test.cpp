#include "structure_ingest/base/durable.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

TEST(FolderLock, WaitsForAnotherAndNamesIt) {
  const tests::ScratchFolder folder;
  auto first = std::make_unique<FolderLock>(folder.path());
  const LockError error =
      tests::error_of<LockError>([&] { FolderLock(folder.path(), std::chrono::milliseconds(20)); });
  EXPECT_EQ(error.code(), std::errc::operation_would_block);
  EXPECT_EQ(std::string(error.what()),
            "waited 20 ms for another program that holds the lock " + folder.path() +
                "/.structure_ingest.lock: Resource temporarily unavailable");
  std::thread holder([&first] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    first.reset();
  });
  EXPECT_NO_THROW(FolderLock(folder.path()));
  holder.join();
}

// Users who may only read the folder can lock the folder itself; that must not block us.
TEST(FolderLock, IsOpenToUsersWhoMayWriteToTheFolder) {
  const tests::ScratchFolder folder;
  const int reader = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(reader, LOCK_SH), 0);
  EXPECT_NO_THROW(FolderLock(folder.path(), std::chrono::milliseconds(0)));
  close(reader);

  const std::pair<mode_t, mode_t> cases[] = {
      {0755, 0600}, {0775, 0660}, {0777, 0666}, {01777, 0600}};
  for (const auto& [folder_mode, lock_mode] : cases) {
    fs::remove(folder / ".structure_ingest.lock");
    ASSERT_EQ(chmod(folder.path().c_str(), folder_mode), 0);
    const FolderLock lock(folder.path());
    struct stat status {};
    ASSERT_EQ(stat((folder / ".structure_ingest.lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, lock_mode);
  }
  if (geteuid() != 0) return;
  // A lock file that root created does not lock out the owner.
  const std::string theirs = folder.make_folder("theirs");
  ASSERT_EQ(chown(theirs.c_str(), 12345, 12346), 0);
  const FolderLock lock(theirs);
  struct stat status {};
  ASSERT_EQ(stat((theirs + "/.structure_ingest.lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345U);
  EXPECT_EQ(status.st_gid, 12346U);
}

TEST(FolderLock, RefusesAnythingButALockFile) {
  const tests::ScratchFolder folder;
  const std::string outside = folder.write("outside", "");
  folder.link("link/.structure_ingest.lock", outside);
  folder.make_folder("folder/.structure_ingest.lock");
  ASSERT_EQ(mkfifo((folder.make_folder("fifo") + "/.structure_ingest.lock").c_str(), 0600), 0);
  for (const char* name : {"link", "folder", "fifo", "missing", "outside"}) {
    SCOPED_TRACE(name);
    const auto error = tests::error_of<LockError>([&] { const FolderLock lock(folder / name); });
    EXPECT_NE(error.code(), std::errc::operation_would_block);
    EXPECT_TRUE(std::string(error.what()).starts_with("cannot lock "));
  }
}

TEST(NewFolder, GoesAgainUnlessItIsUsed) {
  const tests::ScratchFolder folder;
  const std::pair<const char*, bool> cases[] = {
      {"", false},  // what is made beneath, and whether the folder stays
      {"project_root/structures/", false},
      {".structure_ingest.lock", false},
      {"inner/.structure_ingest.lock", true},
      {"file", true}};
  for (const auto& [made, stays] : cases) {
    const std::string given = folder / "new/./b/";
    {
      const NewFolder created(given);
      if (std::string(made).ends_with('/')) {
        folder.make_folder(std::string("new/b/") + made);
      } else if (*made != 0) {
        folder.write(std::string("new/b/") + made, "");
      }
    }
    EXPECT_EQ(fs::exists(folder / "new"), stays) << made;
    fs::remove_all(folder / "new");
  }
  folder.make_folder("there");
  { const NewFolder not_new(folder / "there"); }
  EXPECT_TRUE(fs::exists(folder / "there"));
  std::optional<NewFolder> used;
  used.emplace(folder / "held/inner");
  const auto holder = std::make_unique<FolderLock>(folder / "held/inner");
  used.reset();
  EXPECT_TRUE(fs::exists(folder / "held/inner"));
}

}  // namespace
}  // namespace structure_ingest::internal
