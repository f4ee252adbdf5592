#include "tests/faults/faults.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/aio_abi.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>

namespace tests {
namespace {

std::optional<Fault> armed;
int calls = 0;
bool struck = false;

/// Counts a call; returns whether it must fail.
bool strikes(Call call) {
  const bool counts =
      armed && (armed->call == call || (armed->call == Call::ANY && call != Call::ALLOCATE));
  if (!counts) return false;
  ++calls;
  const bool strike =
      calls == armed->at || (calls > armed->at && armed->effect == Effect::FAIL_ALWAYS);
  struck = struck || strike;
  return strike;
}

/// The system's own syscall(), which is replaced below.
template <typename... Arguments>
long system_call(long number, Arguments... arguments) {
  using Syscall = long (*)(long, ...);
  static const auto original = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
  return original(number, arguments...);
}

/// Runs a system call unless the fault makes it fail; syscall() sets errno as the call would.
template <typename... Arguments>
long attempt(Call call, long number, Arguments... arguments) {
  if (strikes(call)) {
    if (armed->effect == Effect::KILL) system_call(SYS_exit_group, 9);
    errno = armed->error;
    return -1;
  }
  return system_call(number, arguments...);
}

/// As above, for calls that transfer bytes.
template <typename Buffer>
ssize_t transfer(Call call, long number, int descriptor, Buffer* buffer, std::size_t size) {
  if (!strikes(call)) return system_call(number, descriptor, buffer, size);
  if (armed->effect == Effect::HALF) return system_call(number, descriptor, buffer, (size + 1) / 2);
  if (armed->effect == Effect::KILL) {
    system_call(number, descriptor, buffer, size / 2);
    system_call(SYS_exit_group, 9);
  }
  errno = armed->error;
  return -1;
}

/// The files whose content is on the disk, and how many others took the place of a file.
std::array<ino_t, 256> synced;
std::size_t synced_count = 0;
int unsynced_renames = 0;

void note_sync(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0) synced.at(synced_count++ % synced.size()) = status.st_ino;
}

void note_rename(int folder, const char* path) {
  struct stat status {};
  if (fstatat(folder, path, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (std::find(synced.begin(), synced.end(), status.st_ino) == synced.end()) ++unsynced_renames;
}

/// Notes a sync and skips it, but still checks the descriptor.
bool sync_noted(int descriptor) {
  if (attempt(Call::SYNC, SYS_fcntl, descriptor, F_GETFD) < 0) return false;
  note_sync(descriptor);
  return true;
}

/// The results of asynchronous syncs that were not asked for yet.
std::array<io_event, 64> results;
std::size_t result_count = 0;

/// Takes some of the asynchronous syncs; each is a call of its own. The results wait until they are
/// asked for.
long take_syncs(std::size_t count, iocb** requests) {
  count = std::min<std::size_t>(count, 16);
  for (std::size_t i = 0; i < count; ++i) {
    const bool done = sync_noted(static_cast<int>(requests[i]->aio_fildes));
    io_event& result = results.at(result_count++);
    result.data = requests[i]->aio_data;
    result.res = done ? 0 : -errno;
  }
  return static_cast<long>(count);
}

/// Gives up to three results, the latest first: the kernel keeps no order.
long give_results(long most, io_event* events) {
  long given = 0;
  for (; given < std::min(most, 3L) && result_count > 0; ++given) {
    events[given] = results.at(--result_count);
  }
  return given;
}

}  // namespace

void arm(const Fault& fault) {
  armed = fault;
  calls = 0;
  struck = false;
  result_count = 0;
  synced = {};
  unsynced_renames = 0;
}

int renames_of_unsynced_files() {
  return unsynced_renames;
}

bool disarm() {
  armed.reset();
  return struck;
}

}  // namespace tests

using tests::attempt;
using tests::Call;

extern "C" {

int openat(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return static_cast<int>(attempt(Call::OPEN, SYS_openat, folder, path, flags, mode));
}

ssize_t read(int descriptor, void* buffer, std::size_t size) {
  return tests::transfer(Call::READ, SYS_read, descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* buffer, std::size_t size) {
  return tests::transfer(Call::WRITE, SYS_write, descriptor, buffer, size);
}

int fsync(int descriptor) {
  return tests::sync_noted(descriptor) ? 0 : -1;
}

int close(int descriptor) {
  // A failed close still closes the descriptor.
  if (tests::strikes(Call::CLOSE)) {
    if (tests::armed->effect == tests::Effect::KILL) tests::system_call(SYS_exit_group, 9);
    tests::system_call(SYS_close, descriptor);
    errno = tests::armed->error;
    return -1;
  }
  return static_cast<int>(tests::system_call(SYS_close, descriptor));
}

// Asynchronous syncs have no functions of their own in the C library. Like the system's function,
// take six arguments whether they were given or not.
[[gnu::no_sanitize_address]] long syscall(long number, ...) noexcept {
  std::array<unsigned long, 6> list{};
  std::va_list arguments;
  va_start(arguments, number);
  for (unsigned long& argument : list) argument = va_arg(arguments, unsigned long);
  va_end(arguments);
  switch (number) {
    case SYS_io_setup:  // a sandbox may refuse it
      *reinterpret_cast<aio_context_t*>(list[1]) = 1;
      return attempt(Call::OPEN, SYS_getpid) < 0 ? -1 : 0;
    case SYS_io_submit:
      return tests::take_syncs(list[1], reinterpret_cast<iocb**>(list[2]));
    case SYS_io_getevents:
      return tests::give_results(static_cast<long>(list[2]), reinterpret_cast<io_event*>(list[3]));
    case SYS_io_destroy:
      return 0;
    default:
      return tests::system_call(number, list[0], list[1], list[2], list[3], list[4], list[5]);
  }
}

int renameat(int old_folder, const char* old_path, int new_folder, const char* new_path) noexcept {
  tests::note_rename(old_folder, old_path);
  return static_cast<int>(
      attempt(Call::RENAME, SYS_renameat, old_folder, old_path, new_folder, new_path));
}

int mkdir(const char* path, mode_t mode) noexcept {
  return static_cast<int>(attempt(Call::MAKE_FOLDER, SYS_mkdirat, AT_FDCWD, path, mode));
}

int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  return static_cast<int>(attempt(Call::MAKE_FOLDER, SYS_mkdirat, folder, path, mode));
}

int flock(int descriptor, int operation) noexcept {
  return static_cast<int>(attempt(Call::LOCK, SYS_flock, descriptor, operation));
}

}  // extern "C"

void* operator new(std::size_t size) {
  void* const memory = tests::strikes(Call::ALLOCATE) ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return tests::strikes(Call::ALLOCATE) ? nullptr : std::malloc(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
