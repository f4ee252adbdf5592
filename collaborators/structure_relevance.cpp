#include "collaborators/structure_relevance.hpp"
namespace qelda_agent {
structure_ingest::RelevanceReport assess_structure_relevance(
    const std::vector<structure_ingest::Json>&, const std::string&, const structure_ingest::Json&) {
  return {};
}
}  // namespace qelda_agent
