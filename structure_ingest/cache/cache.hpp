// The cache of what ASE read: where it lies, what is in it, and how it is emptied.
#pragma once

#include <cstdint>
#include <string>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

struct CacheStatus {
  std::string folder;            ///< empty when it is turned off, or no home is known
  bool is_usable = false;        ///< false where the folder cannot be made, or is not the user's
  std::uint64_t entries = 0;     ///< how many answers are kept, and what they depend on
  std::uint64_t bytes = 0;       ///< on the disk
  std::uint64_t most_bytes = 0;  ///< above which those used least recently are removed
  std::uint64_t found = 0;       ///< how often an answer was there, since it was emptied
  std::uint64_t missed = 0;      ///< how often it was not
};

/// The folder of the cache: the absolute path in the environment variable STRUCTURE_INGEST_CACHE,
/// else "structure_ingest" in $XDG_CACHE_HOME or in ~/.cache. Empty when the variable has any other
/// text, such as "off", when there is no home, and in a program that runs with more rights than its
/// user.
STRUCTURE_INGEST_API std::string cache_folder();

/// The bound in bytes: STRUCTURE_INGEST_CACHE_MIB, a whole number of MiB, else 256 MiB.
STRUCTURE_INGEST_API std::uint64_t cache_limit();

STRUCTURE_INGEST_API CacheStatus cache_status();

/// Removes what is kept and counted. Files that are not the cache's stay.
STRUCTURE_INGEST_API void clear_cache();

}  // namespace structure_ingest
