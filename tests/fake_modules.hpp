// Fakes of the agent's modules that record their calls.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"

namespace tests {

/// The recorded calls.
struct Calls {
  std::vector<std::pair<std::string, structure_ingest::Json>> written;
  std::vector<std::string> inventoried;
  std::vector<std::pair<structure_ingest::Json, structure_ingest::SuppressedError>> suppressed;
};

/// Modules with only a writer and diagnostics; tests set the other slots.
inline structure_ingest::Collaborators fake_modules(const std::shared_ptr<Calls>& calls) {
  structure_ingest::Collaborators modules([calls](const std::string& path, const auto& value) {
    calls->written.emplace_back(path, value);
  });
  modules.record_suppressed_error = [calls](const auto& project_path, const auto& error) {
    calls->suppressed.emplace_back(project_path, error);
  };
  return modules;
}

}  // namespace tests
