#include "structure_ingest/upkeep/forget.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <set>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/discovery/state_entries.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/copies.hpp"

namespace structure_ingest {
namespace {

struct ListedStructure {
  std::size_t place;  // among the elements of "structure_sources"
  ProjectStructure structure;
};

bool fits(const ProjectStructure& structure, const std::string& name, const std::string& folder) {
  const std::string& source = structure.source_file;
  if (name.find('/') == std::string::npos) {
    return name == internal::file_name(source) || name == internal::file_name(structure.path);
  }
  if (name == structure.path || name == source) return true;
  // Follow no links: they may have changed since the source was taken in.
  const std::string path =
      std::filesystem::path(internal::join_path(folder, name)).lexically_normal().string();
  return !source.empty() && path == source;
}

/// Whether nothing tells two entries apart, so that a name for one is a name for both.
bool are_alike(const ProjectStructure& a, const ProjectStructure& b) {
  return a.path == b.path && a.source_file == b.source_file;
}

[[noreturn]] void fail(const std::string& project, const std::string& copy, int error) {
  internal::throw_file_error("cannot remove the copy", internal::join_path(project, copy), error);
}

/// Whether the file `name` of an open folder is byte for byte what was written as this copy.
bool is_as_written(const internal::Descriptor& folder, const std::string& name,
                   const std::string& project, const std::string& copy) {
  const std::string digest = digest_in_name(copy);
  if (digest.empty()) return false;  // a name that no copy was ever given
  return internal::sha256_hex_of_file(
             {internal::open_at(folder.number(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK),
              internal::join_path(project, copy)})
      .starts_with(digest);
}

}  // namespace

ForgetOutcome forget_structures(Json& state, const std::vector<std::string>& names,
                                const ForgetOptions& options) {
  const std::string project = internal::text_or_empty(internal::value_at(state, "project_path"));
  std::vector<ListedStructure> known;
  std::size_t place = 0;
  internal::for_each_element(internal::value_at(state, "structure_sources"),
                             [&](const Json& entry) {
                               if (entry.is_object())
                                 known.push_back({place, project_structure(entry, project)});
                               ++place;
                             });

  // First decide on all names: one that is unclear leaves the state as it is.
  ForgetOutcome outcome;
  std::set<std::size_t> chosen;
  for (const std::string& given : names) {
    const std::string name = internal::utf8_text(given);  // as the state holds it
    std::vector<ListedStructure> fitting;
    std::copy_if(
        known.begin(), known.end(), std::back_inserter(fitting),
        [&](const ListedStructure& each) { return fits(each.structure, name, options.folder); });
    const bool is_clear =
        !fitting.empty() &&
        std::all_of(fitting.begin(), fitting.end(), [&](const ListedStructure& each) {
          return are_alike(each.structure, fitting.front().structure);
        });
    if (is_clear) {
      for (const ListedStructure& each : fitting) chosen.insert(each.place);
    } else {
      UnclearName unclear{.name = given, .fits = {}};
      for (ListedStructure& each : fitting) unclear.fits.push_back(std::move(each.structure));
      outcome.unclear.push_back(std::move(unclear));
    }
  }
  if (!outcome.unclear.empty()) return outcome;

  // The copies and sources that stay with another structure, and those that are listed already. One
  // set holds both: the paths of copies are relative to the project, those of sources absolute.
  std::set<std::string> needed = {""};
  for (ListedStructure& each : known) {
    if (chosen.contains(each.place)) {
      outcome.forgotten.push_back(std::move(each.structure));
    } else {
      needed.insert({each.structure.copy, each.structure.source_file});
    }
  }
  for (const ProjectStructure& structure : outcome.forgotten) {
    if (needed.insert(structure.copy).second) outcome.copies.push_back(structure.copy);
    if (needed.insert(structure.source_file).second) {
      outcome.sources.push_back(structure.source_file);
    }
  }
  Json copy = options.dry_run ? state : Json();
  outcome.notes =
      internal::take_out(options.dry_run ? copy : state, {chosen.begin(), chosen.end()});
  return outcome;
}

CopyFate delete_copy(const std::string& project, const std::string& copy, bool dry_run) {
  if (!is_copy_path(copy)) fail(project, copy, EINVAL);
  // Each folder is opened in the one above it, so that no link in the project is followed, also if
  // one is put there meanwhile.
  internal::Descriptor folder(open(project.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (const std::filesystem::path& name : std::filesystem::path(INGESTED_DIRNAME)) {
    if (!folder.is_open()) break;
    folder = internal::open_at(folder.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  }
  const std::string name = internal::file_name(copy);
  struct stat status {};
  if (!folder.is_open() || fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW)) {
    if (errno == ENOENT) return CopyFate::absent;
    fail(project, copy, errno);
  }
  if (!S_ISREG(status.st_mode) || !is_as_written(folder, name, project, copy)) {
    return CopyFate::changed;
  }
  if (!dry_run && unlinkat(folder.number(), name.c_str(), 0) != 0) fail(project, copy, errno);
  return CopyFate::deleted;
}

}  // namespace structure_ingest
