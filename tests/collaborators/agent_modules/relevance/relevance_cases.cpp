#include "tests/collaborators/agent_modules/relevance/relevance_cases.hpp"

#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "collaborators/agent_modules/relevance/structure_relevance.hpp"
#include "structure_ingest/base/json.hpp"

namespace relevance_cases {

using structure_ingest::Json;

std::vector<Case> read_cases(const std::string& path) {
  std::ifstream table(path);
  std::string line;
  std::getline(table, line);
  if (line != "language\trequest\tstructures") throw std::runtime_error(path + ": " + line);
  std::vector<Case> cases;
  while (std::getline(table, line)) {
    Case row;
    std::istringstream cells(line);
    std::string structures, structure;
    std::getline(cells, row.language, '\t');
    std::getline(cells, row.request, '\t');
    std::getline(cells, structures, '\t');
    for (std::istringstream words(structures); words >> structure;) {
      const std::size_t colon = structure.find(':');
      if (colon == std::string::npos || (structure[0] != '+' && structure[0] != '-'))
        throw std::runtime_error(path + ": " + line);
      row.structures.push_back(
          {structure.substr(1, colon - 1), structure.substr(colon + 1), structure[0] == '+'});
    }
    if (row.structures.empty()) throw std::runtime_error(path + ": " + line);
    cases.push_back(std::move(row));
  }
  return cases;
}

Json entry_of(const std::string& file, const std::string& formula, const std::string& discovery) {
  Json entry = Json::object();
  entry["path"] = "project_root/structures/ingested_" + file + "_0f1e2d3c.xyz";
  entry["discovery"] = discovery;
  entry["formula"] = formula;
  entry["species"] = Json::array();
  for (std::size_t i = 0; i < formula.size(); ++i) {
    if (std::isupper(static_cast<unsigned char>(formula[i])) == 0) continue;
    const bool two = i + 1 < formula.size() && formula[i + 1] >= 'a' && formula[i + 1] <= 'z';
    entry["species"].push_back(formula.substr(i, two ? 2 : 1));
  }
  entry["metadata"]["source_file"] = "/data/inputs/" + file;
  return entry;
}

bool drops(const structure_ingest::RelevanceVerdict& verdict) {
  return verdict.role == agent_modules::ROLE_UNRELATED && verdict.confidence >= 0.8;
}

double Score::precision() const {
  return dropped == 0 ? 1 : 1 - static_cast<double>(wrongly_dropped) / dropped;
}

double Score::recall() const {
  return unwanted == 0 ? 1 : static_cast<double>(dropped - wrongly_dropped) / unwanted;
}

Score score_of(const std::vector<Case>& cases, const std::string& discovery, bool together) {
  Score score;
  for (const Case& row : cases) {
    std::vector<Json> entries;
    for (const CaseStructure& structure : row.structures)
      entries.push_back(entry_of(structure.file, structure.formula, discovery));
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const auto report = agent_modules::assess_structure_relevance(
          together ? entries : std::vector<Json>{entries[i]}, row.request, Json());
      const auto& verdict = report.verdicts.at(together ? i : 0);
      const CaseStructure& structure = row.structures[i];
      const bool dropped = drops(verdict);
      ++score.pairs;
      score.unwanted += !structure.wanted;
      score.dropped += dropped;
      score.wrongly_dropped += dropped && structure.wanted;
      if (dropped != structure.wanted) continue;
      (dropped ? score.wrong : score.missed)
          .push_back(row.language + ": " + row.request + ": " + structure.file + " (" +
                     structure.formula + "): " + verdict.reason);
    }
  }
  return score;
}

}  // namespace relevance_cases
