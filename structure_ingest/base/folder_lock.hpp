// Keeping two programs from changing the files of a folder at the same time.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

inline constexpr std::chrono::milliseconds LOCK_WAIT = std::chrono::seconds(10);

/// What FolderLock throws: with EWOULDBLOCK when another holds the lock for too long, otherwise
/// when its file cannot be created or locked.
struct LockError : std::filesystem::filesystem_error {
  explicit LockError(const std::filesystem::filesystem_error& error) : filesystem_error(error) {}
};

/// Keeps others that lock the same folder waiting, as long as it lives. What is locked is the file
/// ".structure_ingest.lock" in it, which is created when missing and stays: the folder itself could
/// be locked by everybody who may read it. Only who may write to the folder may open the file.
class FolderLock {
 public:
  /// Waits for at most `most_wait`. Throws LockError.
  explicit FolderLock(const std::string& folder, std::chrono::milliseconds most_wait = LOCK_WAIT);

 private:
  Descriptor file_;
};

}  // namespace structure_ingest::internal
