#include "structure_ingest/cache/cache.hpp"

#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/cache/file_store.hpp"

namespace structure_ingest {
namespace {

constexpr std::uint64_t MIB = std::uint64_t{1} << 20U;
constexpr std::uint64_t USUAL_MIB = 256;

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

bool has_callers_rights() {
  return getuid() == geteuid() && getgid() == getegid();
}

}  // namespace

std::string cache_folder() try {
  if (!has_callers_rights()) return {};
  const std::string_view given = variable("STRUCTURE_INGEST_CACHE");
  if (!given.empty()) return std::string(internal::is_absolute(given) ? given : "");
  const std::string_view caches = variable("XDG_CACHE_HOME");
  const std::string folder =
      internal::is_absolute(caches) ? std::string(caches) : internal::expand_home("~/.cache");
  return internal::is_absolute(folder) ? internal::join_path(folder, "structure_ingest") : "";
} catch (const std::runtime_error&) {  // no home
  return {};
}

std::uint64_t cache_limit() {
  const std::string_view given = variable("STRUCTURE_INGEST_CACHE_MIB");
  std::uint64_t mib = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), mib);
  const bool is_number =
      error == std::errc() && end == given.data() + given.size() && mib < UINT64_MAX / MIB;
  return (is_number && !given.empty() ? mib : USUAL_MIB) * MIB;
}

CacheStatus cache_status() {
  CacheStatus status{.folder = cache_folder(), .most_bytes = cache_limit()};
  const auto store = internal::FileStore::open(status.folder, status.most_bytes);
  status.is_usable = store != nullptr;
  if (!store) return status;
  const internal::FileStore::Status held = store->status();
  status.entries = held.entries;
  status.bytes = held.bytes;
  status.found = held.found;
  status.missed = held.missed;
  return status;
}

void clear_cache() {
  if (const auto store = internal::FileStore::open(cache_folder(), cache_limit())) store->clear();
}

}  // namespace structure_ingest
