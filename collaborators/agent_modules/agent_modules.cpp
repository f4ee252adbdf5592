// Our own implementations of the agent's modules, as one set.
#include "collaborators/agent_modules/atomic_io.hpp"
#include "collaborators/agent_modules/diagnostics.hpp"
#include "collaborators/agent_modules/directory_trust.hpp"
#include "collaborators/agent_modules/relevance/structure_relevance.hpp"
#include "collaborators/agent_modules/workspace_inventory.hpp"
#include "structure_ingest/contracts/collaborators.hpp"

namespace structure_ingest {

Collaborators agent_modules() {
  Collaborators modules(JsonFileWriter{.write_value = agent_modules::atomic_write_json,
                                       .write_text = agent_modules::atomic_write_text});
  modules.record_suppressed_error = agent_modules::record_suppressed_error;
  modules.trust_state_for = agent_modules::trust_state_for;
  modules.inventory_workspace = agent_modules::inventory_workspace;
  modules.assess_structure_relevance = agent_modules::assess_structure_relevance;
  modules.ROLE_UNRELATED = agent_modules::ROLE_UNRELATED;
  return modules;
}

}  // namespace structure_ingest
