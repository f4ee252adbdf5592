// What ASE's answers depend on besides the file: the Python, ASE, NumPy and their libraries that a
// worker has loaded, told apart without starting one.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/cache/file_store.hpp"

namespace structure_ingest::internal {

/// Remembers for each interpreter the files that a worker of it has loaded or found ASE missing in,
/// with their sizes and times. As long as these are the same, another worker would be the same.
class AseEnvironments {
 public:
  /// `script` is the worker's.
  AseEnvironments(FileStore& store, const std::string& script);

  /// Remembers what a worker that was started at `started` said of itself: whether it has ASE, and
  /// its files, one a line. Returns the name of this environment; nothing when its files changed
  /// since, so that nobody can tell which of them the worker has.
  std::optional<std::string> remember(const std::string& interpreter, bool has_ase,
                                      std::string_view files,
                                      std::chrono::system_clock::time_point started);

  /// The name of the environment that the first of the interpreters with ASE has now; nothing
  /// unless it and those before it are remembered and unchanged.
  std::optional<std::string> current(const std::vector<std::string>& interpreters);

 private:
  std::string key_of(const std::string& interpreter) const;

  FileStore& store_;
  std::string circumstances_;  // of this process
};

}  // namespace structure_ingest::internal
