// Keeping two programs from changing the files of a folder at the same time.
#pragma once

#include <chrono>
#include <string>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

inline constexpr std::chrono::milliseconds LOCK_WAIT = std::chrono::seconds(10);

/// Keeps others that lock the same folder waiting, as long as it lives. What is locked is the file
/// ".structure_ingest.lock" in it, which is created when missing and stays: the folder itself could
/// be locked by everybody who may read it. Only who may write to the folder may open the file.
/// Throws std::filesystem::filesystem_error: with EWOULDBLOCK when another holds the lock for
/// longer than `most_wait`, otherwise when the file cannot be created or locked.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder, std::chrono::milliseconds most_wait = LOCK_WAIT);

 private:
  Descriptor file_;
};

}  // namespace structure_ingest::internal
