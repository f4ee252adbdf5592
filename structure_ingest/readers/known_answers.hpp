// ASE's answers, kept for the next time that the same bytes are read.
//
// An answer is kept under the digest of everything that it depends on: the bytes of the file, its
// name (by which ASE chooses a format) and the environment of the worker. What the record holds
// besides is made anew from the answer, so that a record is the same with the cache and without.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/process.hpp"
#include "structure_ingest/cache/file_store.hpp"
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/ase_environment.hpp"
#include "structure_ingest/readers/ase_session.hpp"

namespace structure_ingest::internal {

/// The bytes of a file that ASE is asked for, which ASE opens by itself later.
class HashedFile {
 public:
  /// Reads the file; one that cannot be read has no digest.
  explicit HashedFile(std::string path);

  const std::string& path() const { return path_; }
  bool is_readable() const { return !sha256_.empty(); }
  const std::string& sha256() const { return sha256_; }
  /// The first bytes, as many as FileContent has at most.
  std::string take_bytes() { return std::move(bytes_); }
  std::size_t memory() const { return bytes_.size(); }

  /// Reads the file once more: whether the path still leads to it, and its bytes are the same.
  bool is_unchanged() const;

 private:
  std::string path_;
  struct stat status_ {};
  std::string bytes_;
  std::string sha256_;
};

class KnownAnswers {
 public:
  /// Keeps the answers of a session in a store. `options` are those of the session, which is made
  /// with `name_environment` among them.
  KnownAnswers(std::unique_ptr<FileStore> store, AseSessionOptions options);

  AseSession& session() { return session_; }

  /// Begins a batch: the files at these paths will be read in this order. Those whose answers are
  /// not known are announced to the session, a few at a time.
  void expect(std::vector<std::string> paths);

  /// A file, and what is kept of it: the digest of the companions, and the bytes of the answer.
  struct File {
    HashedFile bytes;
    std::optional<std::string> kept;
    std::size_t memory() const { return bytes.memory() + (kept ? kept->size() : 0); }
  };

  /// The file at `path`, which may have been read ahead.
  File read(const std::string& path);

  /// The answer that is kept for a file, or else that of the session, which is then kept.
  AseAnswer answer(File& file);

 private:
  void read_ahead();
  const std::string& environment();
  std::string key_of(const HashedFile& file, const std::string& environment) const;
  std::optional<std::string> kept_for(const HashedFile& file);
  AseAnswer ask(HashedFile& file);

  std::unique_ptr<FileStore> store_;
  AseEnvironments environments_;
  int processes_;
  AseSession session_;
  std::string environment_;     // that would answer now; empty when that is not known
  Deadline environment_end_{};  // when it is to be looked for again
  std::deque<std::string> coming_;
  std::deque<File> ahead_;
};

}  // namespace structure_ingest::internal
