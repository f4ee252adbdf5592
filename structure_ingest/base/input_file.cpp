#include "structure_ingest/base/input_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "structure_ingest/base/open_file.hpp"
#include "structure_ingest/base/system_call.hpp"

namespace structure_ingest::internal {
namespace {

constexpr const char* CANNOT_READ = "cannot read";

}  // namespace

InputFile::InputFile(const std::string& path)
    : path_(path),
      // Without O_NONBLOCK, opening a FIFO waits for a writer.
      file_(open_at(AT_FDCWD, path, O_RDONLY | O_NONBLOCK)) {
  const struct stat status = regular_file_status(file_, CANNOT_READ, path);
  size_ = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
}

void InputFile::move_to(std::uint64_t offset) {
  if (lseek(file_.number(), static_cast<off_t>(offset), SEEK_SET) < 0) {
    throw_file_error(CANNOT_READ, path_);
  }
  used_ = offset;
}

std::size_t InputFile::read(char* buffer, std::size_t size) {
  const std::size_t wanted =
      size_ == 0 ? size : static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - used_));
  if (wanted == 0) return 0;
  const ssize_t count = retried([&] { return ::read(file_.number(), buffer, wanted); });
  if (count < 0) throw_file_error(CANNOT_READ, path_);
  used_ += static_cast<std::uint64_t>(count);
  return static_cast<std::size_t>(count);
}

void InputFile::refuse_as_too_large() const {
  throw_file_error(CANNOT_READ, path_, EFBIG);
}

std::string read_file(const std::string& path) {
  constexpr std::size_t piece = 1 << 16;
  InputFile file(path);
  if (file.size() > MAX_WHOLE_FILE) file.refuse_as_too_large();
  std::string content;
  for (std::size_t used = 0;;) {
    if (content.size() - used < piece) content.resize(2 * content.size() + piece);
    const std::size_t count = file.read(content.data() + used, content.size() - used);
    used += count;
    if (used > MAX_WHOLE_FILE) file.refuse_as_too_large();
    if (count == 0) {
      content.resize(used);
      return content;
    }
  }
}

}  // namespace structure_ingest::internal
