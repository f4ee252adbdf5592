#include "structure_ingest/readers/ase_start.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/readers/ase.hpp"

namespace structure_ingest::internal {

std::string_view embedded_text(std::string_view file_name);  // see cmake/embed.cmake

namespace {

using Transfer = ChildProcess::Transfer;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Start the next interpreter after this time: it takes some 30 ms to report that ASE is installed,
/// and 200 ms to load it.
constexpr milliseconds HEAD_START{60};

/// Whether ASE is among the packages of the installation that an interpreter belongs to. Others may
/// have it, too.
bool has_ase_beside(const std::filesystem::path& interpreter) {
  std::error_code ignored;
  const std::filesystem::path folder = interpreter.parent_path().parent_path() / "lib";
  for (std::filesystem::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (!entry->path().filename().string().starts_with("python3")) continue;
    for (const char* packages : {"site-packages", "dist-packages"}) {
      if (std::filesystem::exists(entry->path() / packages / "ase", ignored)) return true;
    }
  }
  return false;
}

/// How long the next interpreter waits for this one: not at all where this one takes long to say
/// whether it has ASE, or will probably say no.
milliseconds head_start(const std::string& interpreter) {
  return is_script(interpreter) || !has_ase_beside(interpreter) ? milliseconds(0) : HEAD_START;
}

}  // namespace

bool is_script(const std::string& file) {
  try {
    std::array<char, 2> beginning{};
    InputFile(file).read(beginning.data(), beginning.size());
    return beginning == std::array{'#', '!'};
  } catch (const std::system_error&) {
    return false;
  }
}

std::string ase_worker_script() {
  return std::string(embedded_text("ase_deferral.py")) + "\n" +
         std::string(embedded_text("ase_worker.py"));
}

std::vector<std::string> ase_interpreters() {
  std::vector<std::string> interpreters;
  const char* variable = std::getenv("PATH");
  std::string_view folders = variable != nullptr ? variable : "";
  while (!folders.empty() && interpreters.empty()) {
    const std::string_view folder = folders.substr(0, folders.find(':'));
    folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
    if (!is_absolute(folder)) continue;
    std::string file = join_path(folder, "python3");
    if (is_regular_file(file) && access(file.c_str(), X_OK) == 0) {
      interpreters.push_back(std::move(file));
    }
  }
  const std::string configured = STRUCTURE_INGEST_PYTHON;  // set by the build; may be empty
  if (!configured.empty() && (interpreters.empty() || interpreters.front() != configured)) {
    interpreters.push_back(configured);
  }
  return interpreters;
}

std::string seconds_text(milliseconds time) {
  return number_text(std::chrono::duration<double>(time).count(), 9);
}

std::unique_ptr<ChildProcess> start_ase_worker(const std::string& interpreter,
                                               const std::string& script) {
  // Force UTF-8: how a file is read must not depend on the locale.
  return std::make_unique<ChildProcess>(std::vector<std::string>{
      interpreter, "-I", "-X", "utf8", "-c", script.empty() ? ase_worker_script() : script});
}

bool StartingWorker::found_ase() const {
  return heard.size() >= ASE_FOUND.size() && heard.starts_with(ASE_FOUND);
}

bool StartingWorker::ready() const {
  return found_ase() && heard.size() == ASE_FOUND.size() + ASE_READY.size();
}

std::optional<std::string_view> StartingWorker::files_without_ase() const {
  constexpr std::size_t head = ASE_ABSENT.size() + ASE_SIZE_BYTES;
  if (heard.size() < head || !heard.starts_with(ASE_ABSENT)) return std::nullopt;
  const std::string_view files = std::string_view(heard).substr(head);
  const std::uint64_t size = ase_size(std::string_view(heard).substr(ASE_ABSENT.size()));
  return files.size() == size ? std::optional(files) : std::nullopt;
}

std::optional<std::string> StartingWorker::listen() {
  const std::string greetings = std::string(ASE_FOUND) + std::string(ASE_READY);
  Transfer transfer = process->receive_present(heard, greetings.size());
  const bool is_absent = heard.starts_with(ASE_ABSENT);
  if (is_absent && heard.size() >= ASE_ABSENT.size() + ASE_SIZE_BYTES) {
    const std::uint64_t size = ase_size(std::string_view(heard).substr(ASE_ABSENT.size()));
    if (size > MOST_FILES_TEXT) return "gave a senseless greeting";
    const std::size_t all = ASE_ABSENT.size() + ASE_SIZE_BYTES + size;
    transfer = process->receive_present(heard, all + 1);  // nothing follows
    if (heard.size() > all) return "gave a senseless greeting";
  } else if (!is_absent && !greetings.starts_with(heard) && !ASE_ABSENT.starts_with(heard)) {
    return "gave a senseless greeting";
  }
  if (transfer != Transfer::closed) return std::nullopt;
  std::string how = process->end();
  if (found_ase()) return "could not load ASE: it " + how;
  return how == "ended with status 0" ? "does not have ASE" : how;
}

AseStart::AseStart(const AseSessionOptions& options, std::vector<std::string> interpreters,
                   std::string known, std::set<std::string>& slow)
    : options_(options),
      interpreters_(std::move(interpreters)),
      known_(std::move(known)),
      slow_(slow),
      deadline_(steady_clock::now() + options.time_limit),
      problems_(interpreters_.size(), "was not tried") {}

void AseStart::advance() {
  while (!ended_) {
    drop_ended();
    drop_silent();
    if (!trials_.empty() && trials_.front().worker.ready()) {
      ended_ = true;
      return;
    }
    if (steady_clock::now() >= deadline_) {
      for (const Trial& trial : trials_) {
        give_up(trial, "did not load ASE within " + seconds_text(options_.time_limit) + " seconds");
      }
      trials_.clear();
      ended_ = true;
      return;
    }
    // Once an interpreter has ASE, drop those after it; they are needed only if it fails to load
    // ASE.
    const auto found = std::find_if(trials_.begin(), trials_.end(),
                                    [](const Trial& trial) { return trial.worker.found_ase(); });
    const bool has_ase = found != trials_.end();
    if (has_ase) {
      next_ = found->place + 1;
      trials_.erase(found + 1, trials_.end());
    }
    may_start_next_ = !has_ase && next_ < interpreters_.size();
    if (may_start_next_ && (trials_.empty() || steady_clock::now() >= head_start_end_)) {
      start_next();
    } else if (trials_.empty()) {
      ended_ = true;
    } else {
      return;
    }
  }
}

void AseStart::add_channels(std::vector<pollfd>& channels) const {
  for (const Trial& trial : trials_) {
    channels.push_back({.fd = trial.worker.process->channel(), .events = POLLIN, .revents = 0});
  }
}

Deadline AseStart::next_event() const {
  Deadline event = may_start_next_ ? std::min(deadline_, head_start_end_) : deadline_;
  for (const Trial& trial : trials_) {
    if (trial.greeting_end > steady_clock::now()) event = std::min(event, trial.greeting_end);
  }
  return event;
}

std::string AseStart::interpreter() const {
  const bool found = !trials_.empty() && trials_.front().worker.found_ase();
  return found ? interpreters_[trials_.front().place] : "";
}

std::optional<StartingWorker> AseStart::take_worker() {
  if (trials_.empty()) return std::nullopt;
  return std::move(trials_.front().worker);
}

std::string AseStart::problems() const {
  std::string text;
  for (std::size_t place = 0; place < interpreters_.size(); ++place) {
    text += (place == 0 ? "" : "; ") + interpreters_[place] + " " + problems_[place];
  }
  return text.empty() ? "there is no python3" : text;
}

void AseStart::give_up(const Trial& trial, const std::string& problem) {
  problems_[trial.place] = problem;
  slow_.insert(interpreters_[trial.place]);
}

void AseStart::drop_ended() {
  std::erase_if(trials_, [&](Trial& trial) {
    const std::optional<std::string> problem = trial.worker.listen();
    if (!problem) return false;
    problems_[trial.place] = *problem;
    const std::optional<std::string_view> files = trial.worker.files_without_ase();
    if (files && options_.name_environment) {
      options_.name_environment(interpreters_[trial.place], false, *files, trial.worker.started);
    }
    return true;
  });
}

/// Drops workers whose greeting is late. A worker whose interpreter has never been late is dropped
/// only when another worker is ready; otherwise only the overall time limit bounds it.
void AseStart::drop_silent() {
  const bool has_ready = std::any_of(trials_.begin(), trials_.end(),
                                     [](const Trial& trial) { return trial.worker.ready(); });
  std::erase_if(trials_, [&](const Trial& trial) {
    if (trial.worker.found_ase() || steady_clock::now() < trial.greeting_end) return false;
    if (!has_ready && !slow_.contains(interpreters_[trial.place])) return false;
    give_up(trial, "said nothing for " + seconds_text(options_.greeting_limit) + " seconds");
    return true;
  });
}

void AseStart::start_next() {
  const std::string& interpreter = interpreters_[next_];
  try {
    trials_.push_back({.place = next_,
                       .greeting_end = steady_clock::now() + options_.greeting_limit,
                       .worker = {.process = start_ase_worker(interpreter, options_.script)}});
  } catch (const std::system_error& error) {
    problems_[next_] = std::string("cannot be started: ") + strerrordesc_np(error.code().value());
  }
  head_start_end_ = steady_clock::now() +
                    (interpreter == known_ ? options_.greeting_limit : head_start(interpreter));
  ++next_;
}

}  // namespace structure_ingest::internal
