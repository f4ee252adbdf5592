#include "structure_ingest/upkeep/prune.hpp"

#include <stdexcept>
#include <system_error>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/upkeep/list.hpp"

namespace structure_ingest {

std::vector<PrunedCopy> prune_copies(const std::string& project, const Json& state, bool dry_run) {
  if (!state.is_object()) throw std::invalid_argument("the agent state is not a mapping");
  std::vector<PrunedCopy> pruned;
  for (const std::string& copy : list_structures(project, state).other_copies) {
    PrunedCopy& each = pruned.emplace_back(PrunedCopy{.copy = copy});
    try {
      each.fate = delete_copy(project, copy, dry_run);
    } catch (const std::system_error& error) {
      each.problem = error.what();
    }
  }
  return pruned;
}

}  // namespace structure_ingest
