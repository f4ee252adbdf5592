#include "collaborators/agent_modules/diagnostics.hpp"

#include <cxxabi.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <typeinfo>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

/// Limits: the size at which the log is rotated, and the bytes kept of a message.
constexpr std::uint64_t MOST_LOG_BYTES = std::uint64_t{1} << 20;
constexpr std::size_t MOST_MESSAGE_BYTES = 10000;

std::string utc_now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text.data();
}

std::string type_name(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name ? name.get() : type.name();
}

void describe(const std::exception_ptr& error, Json& line) {
  line["error_type"] = "unknown";
  line["message"] = "";
  if (!error) return;
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    line["error_type"] = type_name(typeid(exception));
    line["message"] = base::shortened(exception.what(), MOST_MESSAGE_BYTES);
  } catch (...) {
    // An exception of any other type has neither a name nor a message here.
  }
}

}  // namespace

void record_suppressed_error(const Json& project_path,
                             const structure_ingest::SuppressedError& error) {
  Json line = {{"time", utc_now()}, {"node", error.node}, {"op", error.op}};
  describe(error.exc, line);
  try {
    const std::string text = base::text_or_empty(project_path);
    const std::string project = base::resolve_path(text);
    if (!base::is_directory(project)) return;
    const std::string log = base::join_path(project, SUPPRESSED_ERRORS_REL);
    base::create_folders(base::parent_folder(log));
    base::rotate_log(log, MOST_LOG_BYTES);
    base::append_line(log, structure_ingest::json_text(line));
  } catch (const std::exception&) {
    // Best effort: the project may not exist or not be writable.
  }
}

}  // namespace agent_modules
