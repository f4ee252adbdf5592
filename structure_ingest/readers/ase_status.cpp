#include "structure_ingest/readers/ase_status.hpp"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/readers/ase_session.hpp"

namespace structure_ingest {
namespace {

/// The folder of the package among the files that a worker names, one a line.
std::string package_folder(std::string_view files) {
  constexpr std::string_view SOURCE = "/ase/__init__.py\n";
  const std::size_t end = files.find(SOURCE);
  if (end == std::string_view::npos) return {};
  const std::size_t line = files.rfind('\n', end);
  const std::size_t begin = line == std::string_view::npos ? 0 : line + 1;
  return std::string(files.substr(begin, end - begin)) + "/ase";
}

/// What stands in quotes after "__version__ =" in the package.
std::string version_in(const std::string& folder) try {
  const std::string source = internal::read_file(internal::join_path(folder, "__init__.py"));
  const std::size_t name = source.find("__version__ =");
  const std::size_t quote = source.find_first_of("'\"", name);
  if (name == std::string::npos || quote == std::string::npos) return {};
  return source.substr(quote + 1, source.find(source[quote], quote + 1) - quote - 1);
} catch (const std::system_error&) {
  return {};
}

}  // namespace

AseStatus ase_status() {
  internal::AseSession session(internal::AseSessionOptions{});
  // Any path will do: a worker names its files with its first answer, also with a failure.
  const internal::AseAnswer answer = session.read("/");
  AseStatus status;
  if (answer.failure == internal::AseAnswer::Failure::unavailable) {
    status.problem = session.why_unavailable();
    return status;
  }
  status.interpreter = session.interpreters_in_order().front();
  status.folder = package_folder(answer.files);
  status.version = version_in(status.folder);
  return status;
}

}  // namespace structure_ingest
