#include "structure_ingest/readers/known_answers.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/file_content.hpp"

namespace structure_ingest::internal {
namespace {

using std::chrono::steady_clock;

/// How much is read ahead: enough for every process to have work, in bounded memory.
constexpr std::size_t MOST_AHEAD = 64;
constexpr std::size_t MOST_BYTES_AHEAD = std::size_t{16} << 20;

/// The environment of a worker is looked for again after this time.
constexpr auto ENVIRONMENT_TIME = std::chrono::seconds(1);

/// A kept answer begins with the digest of the companions that it depends on, or with this.
const std::string NO_COMPANIONS(64, '-');

/// Larger companions are not read for their digest.
constexpr std::uint64_t MOST_COMPANION_BYTES = std::uint64_t{64} << 20;

constexpr const char* CELL_COMPANION = "scf.input";  // ASE does not read it

bool is_of_ase(const std::string& name) {
  return is_companion_name(name) && name != CELL_COMPANION;
}

/// The digest of the companions beside a file that ASE may look at; nothing when they cannot be
/// read, or are so large that reading them does not pay.
std::optional<std::string> companions_digest(const std::string& path) {
  const std::string folder = parent_folder(path);
  const Descriptor opened = open_at(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
  DIR* const listing = opened.is_open() ? opendir(folder.c_str()) : nullptr;
  if (listing == nullptr) return std::nullopt;
  std::vector<std::string> names;
  while (const dirent* const entry = readdir(listing)) {
    if (is_of_ase(entry->d_name)) names.emplace_back(entry->d_name);
  }
  closedir(listing);
  std::sort(names.begin(), names.end());
  std::uint64_t left = MOST_COMPANION_BYTES;
  Sha256 digest;
  try {
    for (const std::string& name : names) {
      InputFile file(join_path(folder, name));
      if (file.size() > left) return std::nullopt;
      left -= file.size();
      digest.add(name + '\0' + sha256_hex_of_file(std::move(file)));
    }
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  return digest.hex();
}

/// Whether a text of the answer names the folder of the file: the same bytes elsewhere would have
/// another answer.
bool names_folder(const AseAnswer& answer, const std::string& path) {
  if (answer.message.empty() && answer.warnings.empty()) return false;
  std::vector<std::string> names;
  if (path.find('/') != std::string::npos) names.push_back(path);
  const std::string absolute = parent_folder(absolute_path(path));
  for (const std::string& folder : {parent_folder(path), absolute, resolve_path(absolute)}) {
    if (folder.size() > 1) names.push_back(folder);
  }
  const auto has_folder = [&](const std::string& text) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return text.find(name) != std::string::npos;
    });
  };
  return has_folder(answer.message) ||
         std::any_of(answer.warnings.begin(), answer.warnings.end(), has_folder);
}

bool can_be_kept(const AseAnswer& answer, const std::string& path) {
  return !answer.received.empty() && answer.is_repeatable && !names_folder(answer, path) &&
         std::all_of(answer.beside.begin(), answer.beside.end(),
                     [](const std::string& name) { return name.empty() || is_of_ase(name); });
}

}  // namespace

HashedFile::HashedFile(std::string path) : path_(std::move(path)) {
  try {
    Descriptor opened = open_at(AT_FDCWD, path_, O_RDONLY | O_NONBLOCK);
    if (!opened.is_open() || fstat(opened.number(), &status_) != 0) return;
    InputFile file(std::move(opened), path_);
    bytes_.reserve(std::min<std::uint64_t>(file.size(), FileContent::MOST_BYTES));
    Sha256 digest;
    constexpr std::size_t size = std::size_t{1} << 16;  // stays in the processor's cache
    const auto piece = std::make_unique_for_overwrite<char[]>(size);
    while (const std::size_t count = file.read(piece.get(), size)) {
      digest.add({piece.get(), count});
      bytes_.append(piece.get(), std::min(count, FileContent::MOST_BYTES - bytes_.size()));
    }
    sha256_ = digest.hex();
  } catch (const std::system_error&) {
    bytes_ = {};
  }
}

bool HashedFile::is_unchanged() const {
  if (!is_readable()) return false;
  struct stat found {};
  const auto is_same = [&] {
    return stat(path_.c_str(), &found) == 0 && found.st_dev == status_.st_dev &&
           found.st_ino == status_.st_ino && found.st_size == status_.st_size &&
           found.st_mtim.tv_sec == status_.st_mtim.tv_sec &&
           found.st_mtim.tv_nsec == status_.st_mtim.tv_nsec &&
           found.st_ctim.tv_sec == status_.st_ctim.tv_sec &&
           found.st_ctim.tv_nsec == status_.st_ctim.tv_nsec;
  };
  try {
    // The clock of a file system may be too coarse to show a change.
    return is_same() && sha256_hex_of_file(path_) == sha256_ && is_same();
  } catch (const std::system_error&) {
    return false;
  }
}

KnownAnswers::KnownAnswers(std::unique_ptr<FileStore> store, AseSessionOptions options)
    : store_(std::move(store)),
      environments_(*store_, options.script.empty() ? ase_worker_script() : options.script),
      processes_(std::max(1, options.processes)),
      session_([&] {
        options.name_environment = [this](const auto&... told) {
          return environments_.remember(told...);
        };
        return std::move(options);
      }()) {}

void KnownAnswers::expect(std::vector<std::string> paths) {
  coming_.assign(std::make_move_iterator(paths.begin()), std::make_move_iterator(paths.end()));
  ahead_.clear();
  session_.expect({});
  read_ahead();
}

void KnownAnswers::read_ahead() {
  std::size_t unknown = 0;
  std::size_t bytes = 0;
  for (const File& each : ahead_) {
    unknown += each.kept ? 0 : 1;
    bytes += each.memory();
  }
  const std::size_t enough = 4 * static_cast<std::size_t>(processes_) + 1;
  while (!coming_.empty() && unknown < enough && ahead_.size() < MOST_AHEAD &&
         bytes < MOST_BYTES_AHEAD) {
    File& next = ahead_.emplace_back(File{HashedFile(std::move(coming_.front())), std::nullopt});
    coming_.pop_front();
    next.kept = kept_for(next.bytes);
    bytes += next.memory();
    if (next.kept) continue;
    ++unknown;
    session_.expect_also(next.bytes.path());
  }
}

KnownAnswers::File KnownAnswers::read(const std::string& path) {
  const auto is_it = [&](const File& each) { return each.bytes.path() == path; };
  const auto ahead = std::find_if(ahead_.begin(), ahead_.end(), is_it);
  if (ahead != ahead_.end()) {
    File file = std::move(*ahead);
    ahead_.erase(ahead_.begin(), ahead + 1);
    read_ahead();
    return file;
  }
  const auto coming = std::find(coming_.begin(), coming_.end(), path);
  if (coming != coming_.end()) {
    coming_.erase(coming_.begin(), coming + 1);
    ahead_.clear();
  }
  File file{HashedFile(path), std::nullopt};
  file.kept = kept_for(file.bytes);
  return file;
}

AseAnswer KnownAnswers::answer(File& file) {
  std::optional<AseAnswer> kept;
  if (file.kept) kept = ase_answer(std::string_view(*file.kept).substr(NO_COMPANIONS.size()));
  store_->count(kept.has_value());
  return kept ? *std::move(kept) : ask(file.bytes);
}

/// The name of the environment that would answer now.
const std::string& KnownAnswers::environment() {
  const Deadline now = steady_clock::now();
  if (now >= environment_end_) {
    environment_ = environments_.current(session_.interpreters_in_order()).value_or("");
    environment_end_ = now + ENVIRONMENT_TIME;
  }
  return environment_;
}

std::string KnownAnswers::key_of(const HashedFile& file, const std::string& environment) const {
  return sha256_hex("answer-1\n" + environment + file.sha256() +
                    std::string(last_component(file.path())));
}

std::optional<std::string> KnownAnswers::kept_for(const HashedFile& file) {
  if (!file.is_readable() || environment().empty()) return std::nullopt;
  std::optional<std::string> kept = store_->find(key_of(file, environment()));
  if (!kept || kept->size() < NO_COMPANIONS.size()) return std::nullopt;
  const std::string companions = kept->substr(0, NO_COMPANIONS.size());
  if (companions != NO_COMPANIONS && companions != companions_digest(file.path())) {
    return std::nullopt;
  }
  return kept;
}

AseAnswer KnownAnswers::ask(HashedFile& file) {
  AseAnswer answer = session_.read(file.path());
  if (!file.is_readable() || !can_be_kept(answer, file.path())) return answer;
  std::string companions = NO_COMPANIONS;
  if (!answer.beside.empty()) {
    // Nobody knows what the companions were while ASE read them. Ask again, and compare what they
    // are before and after.
    const std::optional<std::string> before = companions_digest(file.path());
    if (!before) return answer;
    AseAnswer again = session_.read(file.path());
    if (!can_be_kept(again, file.path()) || companions_digest(file.path()) != before) return answer;
    answer = std::move(again);
    companions = *before;
  }
  if (file.is_unchanged()) {
    store_->keep(key_of(file, answer.environment), companions + answer.received);
    // A worker has said what it is by now.
    if (environment_.empty()) environment_end_ = {};
  }
  answer.received = {};
  return answer;
}

}  // namespace structure_ingest::internal
