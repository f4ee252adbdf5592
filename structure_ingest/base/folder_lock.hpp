// A lock that keeps two programs from changing the files of a folder at the same time.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

inline constexpr std::chrono::milliseconds LOCK_WAIT = std::chrono::seconds(10);

/// Thrown by FolderLock: with EWOULDBLOCK when another process holds the lock for too long,
/// otherwise when the lock file cannot be created or locked.
struct LockError : std::filesystem::filesystem_error {
  explicit LockError(const std::filesystem::filesystem_error& error) : filesystem_error(error) {}
};

/// Holds the lock of a folder while it lives. It locks the file ".structure_ingest.lock" in the
/// folder, created when missing and never removed. Do not lock the folder itself: everybody who may
/// read a folder can lock it. Only users who may write to the folder may open the file.
class FolderLock {
 public:
  /// Waits for at most `most_wait`. Throws LockError.
  explicit FolderLock(const std::string& folder, std::chrono::milliseconds most_wait = LOCK_WAIT);

 private:
  Descriptor file_;
};

}  // namespace structure_ingest::internal
