#include "tests/faults/faults.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <new>
#include <optional>

namespace tests {
namespace {

std::optional<Fault> armed;
int calls = 0;
bool struck = false;

/// Counts a call; tells whether the fault strikes it.
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

/// Runs a system call unless the fault makes it fail; syscall() sets errno as the call would.
template <typename... Arguments>
long attempt(Call call, long number, Arguments... arguments) {
  if (strikes(call)) {
    if (armed->effect == Effect::KILL) syscall(SYS_exit_group, 9);
    errno = armed->error;
    return -1;
  }
  return syscall(number, arguments...);
}

/// The same for calls that move bytes.
template <typename Buffer>
ssize_t transfer(Call call, long number, int descriptor, Buffer* buffer, std::size_t size) {
  if (!strikes(call)) return syscall(number, descriptor, buffer, size);
  if (armed->effect == Effect::HALF) return syscall(number, descriptor, buffer, (size + 1) / 2);
  if (armed->effect == Effect::KILL) {
    syscall(number, descriptor, buffer, size / 2);
    syscall(SYS_exit_group, 9);
  }
  errno = armed->error;
  return -1;
}

}  // namespace

void arm(const Fault& fault) {
  armed = fault;
  calls = 0;
  struck = false;
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
  // Nothing is lost by not waiting for the disk; this only asks whether the descriptor is one.
  return attempt(Call::SYNC, SYS_fcntl, descriptor, F_GETFD) < 0 ? -1 : 0;
}

int close(int descriptor) {
  // A failed close has closed the descriptor all the same.
  if (tests::strikes(Call::CLOSE)) {
    if (tests::armed->effect == tests::Effect::KILL) syscall(SYS_exit_group, 9);
    syscall(SYS_close, descriptor);
    errno = tests::armed->error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_close, descriptor));
}

int renameat(int old_folder, const char* old_path, int new_folder, const char* new_path) noexcept {
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
