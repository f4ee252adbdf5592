#include "structure_ingest/readers/ase_environment.hpp"

#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/readers/ase_start.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace structure_ingest::internal {
namespace {

/// How these are written down. Another number makes everything that was kept unknown.
constexpr std::string_view VERSION = "environment-1\n";

/// A script may start another Python for reasons that no file tells, so that it is asked again
/// after this time.
constexpr std::time_t SCRIPT_SECONDS = 86400;

/// The beginnings of environment variables that decide which Python a script starts, what that
/// loads, or with which of their kernels numerical libraries compute.
constexpr std::array<std::string_view, 16> VARIABLES = {
    "PYTHON", "LD_",   "NPY_",   "NUMPY_",      "OPENBLAS_", "MKL_",  "BLIS_", "OMP_",
    "GOTO_",  "HOME=", "CONDA_", "VIRTUAL_ENV", "PYENV_",    "ASDF_", "MISE_", "ASE_"};

std::string number(std::uint64_t value) {
  return std::to_string(value) + " ";
}

/// The kinds of instructions that this processor has: a numerical library chooses by them how it
/// computes, and the last bits of a sum depend on that.
std::string processor() {
  std::string text;
  utsname name{};
  if (uname(&name) == 0) text = name.machine;
  text += " " + number(getauxval(AT_HWCAP)) + number(getauxval(AT_HWCAP2));
#if defined(__x86_64__) || defined(__i386__)
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) != 0) text += number(a) + number(c) + number(d);
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) != 0) text += number(b) + number(c) + number(d);
#endif
  return text + "\n";
}

std::string variables() {
  std::vector<std::string> chosen;
  for (char** each = environ; each != nullptr && *each != nullptr; ++each) {
    const std::string_view text(*each);
    if (std::any_of(VARIABLES.begin(), VARIABLES.end(),
                    [&](std::string_view beginning) { return text.starts_with(beginning); })) {
      chosen.emplace_back(text);
    }
  }
  std::sort(chosen.begin(), chosen.end());
  std::string text;
  for (const std::string& each : chosen) text += each + '\0';
  return text;
}

std::uint64_t nanoseconds(const timespec& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * 1000000000U +
         static_cast<std::uint64_t>(time.tv_nsec);
}

/// What changes with a file: "0 " for one that is not there. The entries of a folder come and go
/// with its time; its other numbers depend on what lies below.
std::string stamp_of(const std::string& path, std::uint64_t* latest = nullptr) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "0 ";
  const std::uint64_t modified = nanoseconds(status.st_mtim);
  const bool is_folder = S_ISDIR(status.st_mode);
  const std::uint64_t changed = is_folder ? modified : nanoseconds(status.st_ctim);
  if (latest != nullptr) *latest = std::max({*latest, modified, changed});
  const std::string common = number(status.st_ino) + number(modified);
  return is_folder ? common
                   : common + number(static_cast<std::uint64_t>(status.st_size)) + number(changed);
}

/// The files that a script of a version manager may read to choose a Python.
std::string files_beside_script(const std::string& script) {
  const std::string above = parent_folder(parent_folder(script));
  std::string files;
  for (const std::string& folder : {above, std::string("/"), expand_home("~")}) {
    for (const char* name : {"version", ".python-version", ".tool-versions"}) {
      files += join_path(folder, name) + "\n";
    }
  }
  return files;
}

/// Calls `take` for each line that ends with a line feed.
template <typename Take>
bool all_lines(std::string_view text, const Take& take) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || !take(text.substr(0, end))) return false;
    text.remove_prefix(end + 1);
  }
  return true;
}

}  // namespace

AseEnvironments::AseEnvironments(FileStore& store, const std::string& script)
    : store_(store),
      circumstances_(std::string(VERSION) + sha256_hex(script) + "\n" + processor() +
                     number(geteuid()) + variables()) {}

std::string AseEnvironments::key_of(const std::string& interpreter) const {
  return sha256_hex(circumstances_ + interpreter);
}

std::optional<std::string> AseEnvironments::remember(
    const std::string& interpreter, bool has_ase, std::string_view files,
    std::chrono::system_clock::time_point started) {
  const std::time_t start = std::chrono::system_clock::to_time_t(started);
  const bool is_asked_again = is_script(interpreter);
  std::string all = interpreter + "\n" + std::string(files);
  if (is_asked_again) all += files_beside_script(interpreter);
  std::string kept =
      (has_ase ? "1 " : "0 ") + std::to_string(is_asked_again ? start + SCRIPT_SECONDS : 0) + "\n";
  std::uint64_t latest = 0;
  const bool is_whole = all_lines(all, [&](std::string_view path) {
    kept += stamp_of(std::string(path), &latest);
    kept.append(path).append("\n");
    return true;
  });
  // A file system's clock may be coarse.
  if (files.empty() || !is_whole || latest / 1000000000U + 2 >= static_cast<std::uint64_t>(start)) {
    return std::nullopt;
  }
  const std::string key = key_of(interpreter);
  store_.keep(key, kept);
  // When it is asked again does not belong to what it is.
  return sha256_hex(key + kept.substr(kept.find('\n')));
}

std::optional<std::string> AseEnvironments::current(const std::vector<std::string>& interpreters) {
  for (const std::string& interpreter : interpreters) {
    const std::string key = key_of(interpreter);
    const std::optional<std::string> kept = store_.find(key);
    const std::size_t head = kept ? kept->find('\n') : std::string::npos;
    if (head == std::string::npos || head < 3) return std::nullopt;
    std::time_t end = 0;
    std::from_chars(kept->data() + 2, kept->data() + head, end);
    if (end != 0 && std::time(nullptr) >= end) return std::nullopt;
    const std::string_view stamps = std::string_view(*kept).substr(head + 1);
    const bool is_same = all_lines(stamps, [](std::string_view line) {
      const std::size_t path = line.find(" /");
      return path != std::string_view::npos &&
             stamp_of(std::string(line.substr(path + 1))) == line.substr(0, path + 1);
    });
    if (!is_same) return std::nullopt;
    if (kept->front() == '1') return sha256_hex(key + kept->substr(head));
  }
  return std::nullopt;
}

}  // namespace structure_ingest::internal
