#include <filesystem>
#include <iostream>
#include <structure_ingest/structure_ingest.hpp>

int main(int argc, char** argv) {
  // Read files: a bad file is a record with warnings, never an exception.
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    const auto record = structure_ingest::parse_structure_file(argv[i]);
    std::cout << (record.ok ? record.formula : record.warnings.front()) << "\n";
    files.push_back(std::filesystem::absolute(argv[i]));  // relative ones are the project's
  }

  // Take them into a project: canonical copies, manifest, source entries and notes.
  structure_ingest::Json state = {{"project_path", "build/library_use"}};
  for (const auto& entry :
       structure_ingest::hydrate_user_structures(state, {.extra_paths = files})) {
    if (entry["ok"]) std::cout << "-> " << entry["path"].get<std::string>() << "\n";
  }
}
