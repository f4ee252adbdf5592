// An agent with modules of its own: own_modules PROJECT FILE...
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <structure_ingest/structure_ingest.hpp>

using structure_ingest::Json;

// What a program supplies that links the library without our modules: the elements that files may
// name, and the modules for calls that are given no others. Slots may stay empty.
namespace {
constexpr std::array<std::string_view, 6> SYMBOLS = {"Cl", "Cu", "H", "Na", "O", "Si"};
}
constinit const std::span<const std::string_view> structure_ingest::KNOWN_ELEMENT_SYMBOLS = SYMBOLS;

structure_ingest::Collaborators structure_ingest::agent_modules() {
  Collaborators modules([](const std::string& path, const Json& value) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << json_text(value) << "\n";  // a real one replaces the file by a rename
  });
  modules.record_suppressed_error = [](const Json&, const SuppressedError& error) {
    std::cout << error.op << " failed\n";
  };
  modules.trust_state_for = [](const std::string&) { return TrustRecord{.state = "trusted"}; };
  modules.inventory_workspace = [](const std::string&) { return WorkspaceInventory{}; };
  modules.assess_structure_relevance = [](const auto& entries, const auto& request, const auto&) {
    RelevanceReport report;
    for (const Json& entry : entries) {
      if (request.find(entry["formula"]) != std::string::npos) continue;
      report.verdicts.push_back({.source = entry["path"],
                                 .role = "unrelated",
                                 .confidence = 1,
                                 .reason = "nobody asked for it"});
    }
    return report;
  };
  return modules;
}

int main(int argc, char** argv) {
  Json state = {{"project_path", argv[1]},
                {"selected_workroot", "."},  // a folder that the inventory is asked about
                {"user_request", "Compare Cl4Na4 and Cu"}};
  std::vector<std::string> files;
  for (int i = 2; i < argc; ++i) files.push_back(std::filesystem::absolute(argv[i]));
  for (const Json& entry :
       structure_ingest::hydrate_user_structures(state, {.extra_paths = files})) {
    std::cout << entry["formula"].get<std::string>() << "\n";
  }
  std::cout << structure_ingest::json_text(state["structure_notes"], 2) << "\n";

  // Another module in one slot, for one call.
  structure_ingest::HydrateOptions options{.extra_paths = files};
  options.collaborators.inventory_workspace =
      [](const std::string&) -> structure_ingest::WorkspaceInventory {
    throw std::runtime_error("no inventory today");
  };
  return structure_ingest::hydrate_user_structures(state, options).empty() ? 0 : 1;
}
