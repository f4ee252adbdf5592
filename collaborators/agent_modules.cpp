// Our own implementations of the agent's modules, as one supply.
#include "collaborators/atomic_io.hpp"
#include "collaborators/collaborators.hpp"
#include "collaborators/diagnostics.hpp"
#include "collaborators/directory_trust.hpp"
#include "collaborators/structure_relevance.hpp"
#include "collaborators/workspace_inventory.hpp"

namespace structure_ingest {

Collaborators agent_modules() {
  Collaborators modules(qelda_agent::atomic_write_json);
  modules.record_suppressed_error = qelda_agent::record_suppressed_error;
  modules.trust_state_for = qelda_agent::trust_state_for;
  modules.inventory_workspace = qelda_agent::inventory_workspace;
  modules.assess_structure_relevance = qelda_agent::assess_structure_relevance;
  modules.ROLE_UNRELATED = qelda_agent::ROLE_UNRELATED;
  return modules;
}

}  // namespace structure_ingest
