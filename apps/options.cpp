#include "apps/options.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "apps/folder_files.hpp"
#include "apps/structure_view.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"

namespace apps {
namespace {

namespace base = structure_ingest::internal;

constexpr std::size_t MOST_BYTES = std::size_t{1} << 28;  // a device may have no end

/// All bytes of a file, which may be a pipe, or of standard input.
std::string content_of(const std::string& path, const std::string& name) {
  const auto refuse = [&name] {
    throw WrongInput(name + ": " + std::generic_category().message(errno));
  };
  base::Descriptor opened;
  if (path != "-") {
    opened = base::open_at(AT_FDCWD, path, O_RDONLY);
    if (!opened.is_open()) refuse();
  }
  const int file = opened.is_open() ? opened.number() : STDIN_FILENO;
  std::string content;
  std::array<char, 65536> buffer{};
  while (const ssize_t size =
             base::retried([&] { return read(file, buffer.data(), buffer.size()); })) {
    if (size < 0) refuse();
    content.append(buffer.data(), static_cast<std::size_t>(size));
    if (content.size() > MOST_BYTES) throw WrongInput(name + ": too long for a list of paths");
  }
  return content;
}

void add_lines(const std::string& content, char separator, const std::string& name,
               std::vector<GivenPath>& paths) {
  std::string_view rest = content;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.empty()) continue;
    std::string origin = name + ":" + std::to_string(number);
    if (line.find('\0') != std::string_view::npos) {
      throw WrongInput(origin + ": a NUL character; a list that is separated by it needs --null");
    }
    paths.push_back({std::string(line), std::move(origin)});
  }
}

}  // namespace

void add_path_options(Command& command, PathArguments& arguments, const std::string& about_paths) {
  command.add("--files-from FILE", &arguments.files_from,
              "Take more paths from FILE, one a line ('-': standard input)");
  command.add("-0,--null", &arguments.null_separated,
              "The list of --files-from is separated by NUL characters",
              {.needs = {"--files-from"}});
  command.add("PATH", &arguments.paths, about_paths);
}

void add_project_path_options(Command& command, PathArguments& arguments,
                              const std::string& about_paths) {
  command.add("--relative-to-project", &arguments.relative_to_project,
              "A relative path lies in the project, not in the current folder");
  add_path_options(command, arguments, about_paths);
}

void require_paths(const PathArguments& arguments) {
  if (arguments.are_empty()) throw WrongOptions("PATH or --files-from is required");
}

std::vector<GivenPath> given_paths(const PathArguments& arguments) {
  std::vector<GivenPath> given;
  for (const std::string& path : arguments.paths) given.push_back({path, ""});
  if (!arguments.files_from.empty()) {
    const std::string name = arguments.files_from == "-" ? "standard input" : arguments.files_from;
    add_lines(content_of(arguments.files_from, name), arguments.null_separated ? '\0' : '\n', name,
              given);
  }
  std::vector<GivenPath> paths;
  for (GivenPath& each : given) {
    if (arguments.relative_to_project || each.path.empty() || !base::is_directory(each.path)) {
      paths.push_back(std::move(each));
      continue;
    }
    for (std::string& file : structure_files_below(each.path)) {
      paths.push_back({std::move(file), each.origin});
    }
  }
  return paths;
}

std::vector<std::string> texts_of(const std::vector<GivenPath>& paths) {
  std::vector<std::string> texts;
  texts.reserve(paths.size());
  for (const GivenPath& given : paths) texts.push_back(given.path);
  return texts;
}

std::vector<std::string> paths_into_project(const PathArguments& arguments) {
  std::vector<std::string> paths;
  for (GivenPath& given : given_paths(arguments)) {
    std::string& path = given.path;
    if (path.empty()) throw WrongInput("PATH: the name is empty");
    std::error_code ignored;
    const bool is_home = path.starts_with('~') && !std::filesystem::exists(path, ignored);
    const bool is_the_projects = arguments.relative_to_project && !path.starts_with('/');
    paths.push_back(is_home || is_the_projects ? std::move(path) : base::absolute_path(path));
  }
  return paths;
}

void add_state_options(Command& command, StateArguments& arguments,
                       const std::string& about_project) {
  command.add("--state FILE", &arguments.state, "The agent state, a JSON file");
  command.add("--project DIR", &arguments.project, about_project, {.excludes = {"--state"}});
}

void add_verbose_option(Command& command, bool& verbose) {
  command.add("--verbose", &verbose,
              "Show all of each file; of " + std::to_string(MANY_FILES) +
                  " or more each has a line, and more where there is something to look at");
}

void add_molecules_option(Command& command, bool& molecules) {
  command.add("--molecules", &molecules, "Do not warn of each file that it has no cell");
}

void add_reading_options(Command& command, ReadingArguments& arguments) {
  command.add("--jobs N", &arguments.jobs,
              "How many CIF and VASP files are read at once; by default one a core");
  add_cache_option(command, arguments.no_cache);
}

void add_cache_option(Command& command, bool& no_cache) {
  command.add("--no-cache", &no_cache,
              "Have CIF and VASP files read anew, and keep nothing of them (see 'cache')");
}

structure_ingest::StructureParserOptions parser_options(const ReadingArguments& arguments) {
  structure_ingest::StructureParserOptions options{.cache = !arguments.no_cache};
  const std::string& jobs = arguments.jobs;
  options.processes = jobs.empty()
                          ? std::max(1, static_cast<int>(std::thread::hardware_concurrency()))
                          : whole_number(jobs).value_or(0);
  if (options.processes < 1) throw WrongInput("--jobs: " + jobs + " is not a number from 1 on");
  return options;
}

std::optional<int> whole_number(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

int read_limit(const std::string& text) {
  const std::optional<int> limit = whole_number(text);
  if (!limit) throw WrongInput("--limit: " + text + " is not a number that can be used");
  return *limit;
}

structure_ingest::FrameChoice read_frame_choice(const std::string& text) {
  const auto choice = structure_ingest::frame_choice(text);
  if (!choice) {
    throw WrongInput("--frame: " + text + " is neither a number from 1 on, nor last, nor all");
  }
  return *choice;
}

}  // namespace apps
