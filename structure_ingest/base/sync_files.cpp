// Linux syncs many files at once through its asynchronous input and output (io_submit(2)), on
// threads of the kernel: this process needs none. syncfs(2) would wait for the disk only once, but
// also for whatever else everybody has written to the file system, and it does not tell which file
// failed.
#include <linux/aio_abi.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/temporary_file.hpp"

namespace structure_ingest::internal {
namespace {

/// To end the kernel's context takes some 30 ms, which fewer files do not repay.
constexpr std::size_t FEWEST_AT_ONCE = 16;

int sync_one(int file) {
  return retried([&] { return fsync(file); }) == 0 ? 0 : errno;
}

}  // namespace

FileSyncs::~FileSyncs() {
  if (context_ != 0) syscall(SYS_io_destroy, context_);
}

void FileSyncs::sync(std::span<const int> files, std::span<int> errors) {
  const std::size_t done = files.size() < FEWEST_AT_ONCE ? 0 : sync_at_once(files, errors);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (i >= done || errors[i] == EINTR) errors[i] = sync_one(files[i]);
  }
}

/// Returns how many of the files, from the first, have their results; 0 where the kernel or a
/// sandbox refuses.
std::size_t FileSyncs::sync_at_once(std::span<const int> files, std::span<int> errors) {
  if (context_ == 0 && !is_refused_) {
    is_refused_ = syscall(SYS_io_setup, MOST, &context_) != 0;
  }
  if (is_refused_) return 0;
  std::array<iocb, MOST> requests{};
  std::array<iocb*, MOST> list{};
  for (std::size_t i = 0; i < files.size(); ++i) {
    requests[i].aio_lio_opcode = IOCB_CMD_FSYNC;
    requests[i].aio_fildes = static_cast<std::uint32_t>(files[i]);
    requests[i].aio_data = i;
    list[i] = &requests[i];
  }
  // It takes fewer than all when it refuses one of them.
  const long taken = retried([&] {
    return syscall(SYS_io_submit, context_, static_cast<long>(files.size()), list.data());
  });
  if (taken <= 0) {
    is_refused_ = true;
    return 0;
  }
  std::fill_n(errors.begin(), taken, EIO);  // unless the kernel tells otherwise
  for (long finished = 0; finished < taken;) {
    std::array<io_event, MOST> events{};
    const long count = retried([&] {
      return syscall(SYS_io_getevents, context_, taken - finished, taken - finished, events.data(),
                     nullptr);
    });
    if (count <= 0) break;
    for (long i = 0; i < count; ++i) {
      const io_event& event = events[static_cast<std::size_t>(i)];
      errors[static_cast<std::size_t>(event.data)] =
          event.res < 0 ? static_cast<int>(-event.res) : 0;
    }
    finished += count;
  }
  return static_cast<std::size_t>(taken);
}

}  // namespace structure_ingest::internal
