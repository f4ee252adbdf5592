// A store of kept bytes while system calls fail, and when the process ends at any of them.
#include <sys/wait.h>

#include <cerrno>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/cache/file_store.hpp"
#include "tests/faults/faults.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::internal::FileStore;
using structure_ingest::internal::sha256_hex;
using tests::Call;
using tests::Effect;

constexpr std::uint64_t MOST_BYTES = std::uint64_t{1} << 20U;

const std::string FIRST = sha256_hex("first");
const std::string SECOND = sha256_hex("second");

struct StoreCase {
  const char* name;
  Call call;
  Effect effect;
  int error;
  int fewest;  // the least number of calls where it can occur
};

std::ostream& operator<<(std::ostream& out, const StoreCase& fault) {
  return out << fault.name;
}

/// All that a process does with a store. `is_right` becomes false when it is told anything else
/// than what was kept.
void use(const std::string& folder, bool& is_right) {
  const auto store = FileStore::open(folder, MOST_BYTES);
  if (!store) return;
  const std::optional<std::string> before = store->find(FIRST);
  store->keep(FIRST, "new");
  store->keep(SECOND, std::string(100000, 'x'));  // which has the store trimmed
  const std::optional<std::string> first = store->find(FIRST);
  const std::optional<std::string> second = store->find(SECOND);
  store->count(first.has_value());
  is_right = before.value_or("old") == "old" && (!first || first == "new" || first == "old") &&
             second.value_or(std::string(100000, 'x')) == std::string(100000, 'x');
}

class StoreFault : public testing::TestWithParam<StoreCase> {};

TEST_P(StoreFault, CostsNoMoreThanWhatWasKept) {
  constexpr int STRUCK = 9;
  constexpr int WRONG = 8;
  const StoreCase& fault = GetParam();
  int at = 1;
  for (; !HasFailure(); ++at) {
    SCOPED_TRACE("at " + std::to_string(at));
    const tests::ScratchFolder scratch;
    const std::string folder = scratch / "caches/kept";
    FileStore::open(folder, MOST_BYTES)->keep(FIRST, "old");
    const int status = tests::status_of_child([&] {
      bool is_right = true;
      tests::arm({fault.call, at, fault.effect, fault.error});
      try {
        use(folder, is_right);
      } catch (const std::bad_alloc&) {
      }
      const bool struck = tests::disarm();
      return !is_right ? WRONG : struck ? STRUCK : 0;
    });
    ASSERT_TRUE(WIFEXITED(status)) << status;
    ASSERT_NE(WEXITSTATUS(status), WRONG);
    const auto store = FileStore::open(folder, MOST_BYTES);
    ASSERT_TRUE(store);
    const std::string first = store->find(FIRST).value_or("old");
    EXPECT_TRUE(first == "old" || first == "new") << first;
    EXPECT_EQ(store->find(SECOND).value_or(std::string(100000, 'x')), std::string(100000, 'x'));
    store->keep(FIRST, "newer");
    EXPECT_EQ(store->find(FIRST), "newer");
    if (WEXITSTATUS(status) == 0) break;
  }
  EXPECT_GT(at, fault.fewest);
}

INSTANTIATE_TEST_SUITE_P(
    Disk, StoreFault,
    testing::Values(StoreCase{"FullDisk", Call::WRITE, Effect::FAIL_ALWAYS, ENOSPC, 4},
                    StoreCase{"ShortWrite", Call::WRITE, Effect::HALF, 0, 4},
                    StoreCase{"InterruptedWrite", Call::WRITE, Effect::FAIL, EINTR, 4},
                    StoreCase{"ShortRead", Call::READ, Effect::HALF, 0, 3},
                    StoreCase{"UnreadableDisk", Call::READ, Effect::FAIL, EIO, 3},
                    StoreCase{"NoMoreDescriptors", Call::OPEN, Effect::FAIL_ALWAYS, EMFILE, 8},
                    StoreCase{"ReadOnly", Call::OPEN, Effect::FAIL_ALWAYS, EROFS, 8},
                    StoreCase{"NoPermission", Call::OPEN, Effect::FAIL, EACCES, 8},
                    StoreCase{"FailingRename", Call::RENAME, Effect::FAIL, EIO, 2},
                    StoreCase{"FailingFolder", Call::MAKE_FOLDER, Effect::FAIL, ENOSPC, 2},
                    StoreCase{"Killed", Call::ANY, Effect::KILL, 0, 20},
                    StoreCase{"OutOfMemory", Call::ALLOCATE, Effect::FAIL, 0, 20}),
    testing::PrintToStringParamName());

}  // namespace
