#include "structure_ingest/readers/ase.hpp"

#include <utility>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

/// Moves ASE's answer into the record, step by step. Returns the warning of the step that failed;
/// the results of the steps before it stay in the record.
std::optional<std::string> fill_in(AseAnswer&& answer, IngestedStructure& record) {
  using Failure = AseAnswer::Failure;
  if (answer.failure == Failure::unavailable) {
    return "Parsing " + record.format +
           " files requires the 'ase' package, which is not installed. "
           "Install ase or provide an XYZ file.";
  }
  if (answer.failure == Failure::read) return "ASE could not parse the file: " + answer.message;

  const std::string extraction_failed = "Failed to extract structure data: " + answer.message;
  if (!answer.labels) return extraction_failed;
  std::vector<std::string> symbols;
  for (const std::string& label : *answer.labels) {
    symbols.push_back(canonical_symbol(label));
    if (symbols.back().empty()) return "File contains unrecognized element symbols.";
  }
  record.symbols = std::move(symbols);
  record.natoms = static_cast<std::int64_t>(record.symbols.size());
  if (!answer.positions_ang) return extraction_failed;
  record.positions_ang = *std::move(answer.positions_ang);
  if (answer.failure == Failure::extraction) return extraction_failed;
  record.cell_ang = std::move(answer.cell_ang);
  const SymbolCounts counts = symbol_counts(record.symbols);
  record.species = species_of(counts);
  record.formula = formula_of(counts);
  record.ok = record.natoms > 0;
  if (!record.ok) return "No atoms found in the file.";
  return std::nullopt;
}

}  // namespace

IngestedStructure parse_with_ase(const std::string& path, const std::string& format,
                                 const AskAse& ask_ase, std::vector<std::string>* reader_warnings) {
  IngestedStructure record{.source_path = path, .format = format};
  if (is_made_up_file(path)) {  // such a file may have no end
    record.warnings.emplace_back("ASE could not parse the file: it is not stored on a disk");
    return record;
  }
  AseAnswer answer = ask_ase(path);
  if (reader_warnings != nullptr) *reader_warnings = std::move(answer.warnings);
  if (std::optional<std::string> warning = fill_in(std::move(answer), record)) {
    record.warnings.push_back(*std::move(warning));
  }
  return record;
}

}  // namespace structure_ingest::internal
