#include "structure_ingest/ingest/copies.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"

namespace structure_ingest::internal {
namespace {

enum class CopyState { free, taken, holds_copy };

/// What is where the copy with this text belongs.
CopyState place_of_copy(const std::string& path, const std::string& text) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, error);
  if (!std::filesystem::exists(status)) return CopyState::free;
  if (!std::filesystem::is_regular_file(status))
    return CopyState::taken;  // a link may lead elsewhere
  // An editor may have changed the line ends: that makes it no other structure.
  if (std::filesystem::file_size(path) > 2 * text.size()) return CopyState::taken;
  return with_line_feeds(read_file(path)) == text ? CopyState::holds_copy : CopyState::taken;
}

}  // namespace

WrittenCopy write_canonical_xyz(FileReplacements& copies, const IngestedStructure& record,
                                std::size_t number, bool dry_run) {
  const std::string text = canonical_xyz_text(record);
  std::string rel = canonical_xyz_rel(record, text);
  const std::string name = file_name(rel);
  const CopyState place = place_of_copy(copies.path_of(name), text);
  if (place != CopyState::holds_copy && !dry_run) copies.add(name, text, number);
  return {.rel = std::move(rel), .restored = place == CopyState::taken};
}

std::string write_canonical_xyz(const std::string& project_path, const IngestedStructure& record) {
  FileReplacements copies(project_path, std::string(INGESTED_DIRNAME));
  std::string rel = write_canonical_xyz(copies, record, 0).rel;
  for (const FileReplacements::Failure& failure : copies.finish()) {
    throw_file_error(failure.what, join_path(project_path, rel), failure.error);
  }
  return rel;
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

namespace structure_ingest {

std::vector<std::string> copies_in(const std::string& project) {
  namespace fs = std::filesystem;
  std::vector<std::string> copies;
  std::error_code error;
  fs::directory_iterator entry(internal::join_path(project, INGESTED_DIRNAME), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::string copy = std::string(INGESTED_DIRNAME) + "/" + entry->path().filename().string();
    if (is_copy_path(copy) && internal::time_of_copy(project, copy))
      copies.push_back(std::move(copy));
  }
  std::sort(copies.begin(), copies.end());
  return copies;
}

bool is_copy_of(const std::string& text, const std::string& project, const std::string& copy) {
  return internal::text_of_copy(project, copy) == text;
}

}  // namespace structure_ingest
