// A folder of small files, each the bytes kept under one key, that many processes share.
//
// There is no lock and no index, so that nothing can be held, waited for or damaged: an entry is
// written under a temporary name and renamed, and carries its key and the digest of all it holds.
// What does not fit is no entry. Nothing is forced to the disk: an entry that a crash tears has
// another digest. All failures are silent, since whatever is kept here can be made again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

class FileStore {
 public:
  /// What is in a store, and how often it was asked since it was cleared.
  struct Status {
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;  // on the disk
    std::uint64_t found = 0;
    std::uint64_t missed = 0;
  };

  /// The store in `folder`, which is created with its parents if it is missing. Null unless the
  /// folder belongs to this user and nobody else can write to it: who could, could put anything in
  /// the place of an entry. `most_bytes` bounds what it holds on the disk, within a minute or a
  /// sixteenth.
  static std::unique_ptr<FileStore> open(const std::string& folder, std::uint64_t most_bytes);

  ~FileStore();
  FileStore(const FileStore&) = delete;
  FileStore& operator=(const FileStore&) = delete;

  /// The bytes that were kept under a key of 64 hexadecimal digits.
  std::optional<std::string> find(const std::string& key);

  /// Keeps bytes under a key, in the place of others; nothing of more than an eighth of the bound.
  void keep(const std::string& key, std::string_view bytes);

  /// Counts a question that was answered from the store, or was not. The counts of a process are
  /// added to those of others at its end.
  void count(bool found) { ++(found ? found_ : missed_); }

  /// Removes what was used least recently until there is less than the bound.
  void trim();

  /// Reads every entry's size.
  Status status() const;

  /// Removes the entries and the counts, and leaves any other file alone.
  void clear();

 private:
  FileStore(Descriptor folder, std::uint64_t most_bytes);
  void save_counts();

  Descriptor folder_;
  std::uint64_t most_bytes_;
  std::uint64_t kept_ = 0;  // bytes since the store was trimmed
  bool is_full_ = false;    // the disk, or so it seems: nothing more is written
  std::uint64_t found_ = 0;
  std::uint64_t missed_ = 0;
};

}  // namespace structure_ingest::internal
