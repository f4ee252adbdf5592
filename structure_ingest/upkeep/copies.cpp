#include "structure_ingest/upkeep/copies.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view BEGINNING = "/ingested_";
constexpr std::string_view ENDING = ".xyz";
constexpr std::size_t DIGITS = 8;

}  // namespace

bool is_copy_path(std::string_view path) {
  if (!path.starts_with(INGESTED_DIRNAME)) return false;
  const std::string_view name = path.substr(INGESTED_DIRNAME.size());
  return name.starts_with(BEGINNING) && name.ends_with(ENDING) &&
         name.find('/', 1) == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::vector<std::string> copies_in(const std::string& project) {
  namespace fs = std::filesystem;
  std::vector<std::string> copies;
  std::error_code error;
  fs::directory_iterator entry(join_path(project, INGESTED_DIRNAME), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::string copy = std::string(INGESTED_DIRNAME) + "/" + entry->path().filename().string();
    if (is_copy_path(copy) && time_of_copy(project, copy)) copies.push_back(std::move(copy));
  }
  std::sort(copies.begin(), copies.end());
  return copies;
}

std::string digest_in_name(const std::string& copy) {
  if (!is_copy_path(copy)) return {};
  const std::size_t end = copy.size() - ENDING.size();
  const std::size_t begin = copy.rfind('_') + 1;
  return end - begin == DIGITS ? copy.substr(begin, DIGITS) : std::string();
}

std::string digest_of(const std::string& text) {
  return sha256_hex(text).substr(0, DIGITS);
}

std::optional<std::string> text_of_copy(const std::string& project, const std::string& copy) {
  if (!is_copy_path(copy) || !time_of_copy(project, copy)) return std::nullopt;
  return with_line_feeds(read_file(join_path(project, copy)));
}

std::optional<std::int64_t> time_of_copy(const std::string& project, const std::string& copy) {
  struct stat status {};
  // A link could lead to any file: it is no copy.
  if (!is_copy_path(copy) || lstat(join_path(project, copy).c_str(), &status) != 0) return {};
  if (!S_ISREG(status.st_mode)) return {};
  return status.st_mtime;
}

}  // namespace structure_ingest::internal
