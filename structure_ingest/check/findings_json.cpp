#include "structure_ingest/check/findings_json.hpp"

#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest {

Json findings_list(std::span<const Finding> findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"code", finding.code},
                    {"severity", severity_name(finding.severity)},
                    {"message", internal::utf8_text(finding.message)},
                    {"atoms", finding.atoms},
                    {"source", finding.source}});
  }
  return list;
}

Json findings_json(std::span<const FileFindings> files) {
  Json structures = Json::array();
  for (const FileFindings& file : files) {
    structures.push_back({{"source_path", internal::utf8_text(file.source_path)},
                          {"sha256", file.sha256},
                          {"findings", findings_list(file.findings)}});
  }
  return {{"version", 1}, {"structures", std::move(structures)}};
}

}  // namespace structure_ingest
