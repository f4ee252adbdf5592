// Forces files to the disk, many at once.
#pragma once

#include <cstddef>
#include <span>

namespace structure_ingest::internal {

/// Forces open files to the disk, each with its own result, as fsync(2) does. One by one, each file
/// waits for the disk's cache to be flushed; many at once share that wait. Use it on one thread at
/// a time.
class FileSyncs {
 public:
  /// The most files of one call.
  static constexpr std::size_t MOST = 64;

  FileSyncs() = default;
  ~FileSyncs();
  FileSyncs(const FileSyncs&) = delete;
  FileSyncs& operator=(const FileSyncs&) = delete;

  /// Sets each of `errors` to 0 or to the error number of the file at its place. Allocates no
  /// memory.
  void sync(std::span<const int> files, std::span<int> errors);

 private:
  std::size_t sync_at_once(std::span<const int> files, std::span<int> errors);

  unsigned long context_ = 0;  // of the kernel; 0 when there is none
  bool is_refused_ = false;
};

}  // namespace structure_ingest::internal
