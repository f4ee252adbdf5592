// Runs a whole hydrate on a state made from the input: only the sources and notes may change, and a
// second hydrate must find nothing new.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace {

using structure_ingest::Json;

/// A folder with a few files, created once.
const std::string& folder() {
  static const std::string path = [] {
    std::string made = std::filesystem::temp_directory_path() / "structure_ingest-fuzz-XXXXXX";
    fuzz::require(mkdtemp(made.data()) != nullptr);
    std::filesystem::create_directories(made + "/project");
    std::ofstream(made + "/a.xyz") << "1\n\nHe 0 0 0\n";
    std::ofstream(made + "/b.xyz") << "1\n\nQq 0 0 0\n";
    std::ofstream(made + "/project/c.extxyz") << "1\nLattice=\"1 0 0 0 1 0 0 0 1\"\nO 0 0 1\n";
    return made;
  }();
  return path;
}

Json any_value(FuzzedDataProvider& input, int depth) {
  switch (input.ConsumeIntegralInRange(0, depth > 0 ? 8 : 6)) {
    case 0:
      return nullptr;
    case 1:
      return input.ConsumeBool();
    case 2:
      return input.ConsumeIntegral<std::int64_t>();
    case 3:
      return input.ConsumeFloatingPoint<double>();
    case 4:
      return input.ConsumeRandomLengthString(20);
    case 5:
      return folder() + input.PickValueInArray({"/a.xyz", "/b.xyz", "/project/c.extxyz",
                                                "/none.xyz", "", "/project", "/project/../a.xyz"});
    case 6:
      return input.PickValueInArray({"a.xyz", "../a.xyz", "c.extxyz", "~/a.xyz", "POSCAR.xyz"});
    case 7: {
      Json list = Json::array();
      while (input.ConsumeBool() && list.size() < 6) list.push_back(any_value(input, depth - 1));
      return list;
    }
    default: {
      Json mapping = Json::object();
      while (input.ConsumeBool() && mapping.size() < 6) {
        mapping[input.PickValueInArray({"path", "project_path", "inventory", "structure_files",
                                        "requested_path", "metadata", "source_file", "source_path",
                                        "ok"})] = any_value(input, depth - 1);
      }
      return mapping;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  int suppressed = 0;
  structure_ingest::Collaborators modules([](const auto&, const auto&) {});
  modules.record_suppressed_error = [&suppressed](const auto&, const auto&) { ++suppressed; };
  modules.inventory_workspace = [](const std::string&) {
    return structure_ingest::WorkspaceInventory{{"a.xyz", "project/c.extxyz"}};
  };
  modules.trust_state_for = [untrusted = input.ConsumeBool()](const std::string&) {
    return structure_ingest::TrustRecord{untrusted ? "untrusted" : "trusted"};
  };
  modules.assess_structure_relevance = [drops = input.ConsumeBool()](const auto&, const auto&,
                                                                     const auto&) {
    structure_ingest::RelevanceReport report;
    if (drops) report.verdicts.push_back({"a.xyz", "unrelated", 0.9, ""});
    return report;
  };

  Json state = {{"project_path", folder() + "/project"}};
  while (input.ConsumeBool()) {
    state[input.PickValueInArray({"attachments", "attached_workspace", "project_resolution",
                                  "selected_workroot", "source_workspace_root", "structure_sources",
                                  "structure_notes", "project_brief", "source_query",
                                  "user_request", "other"})] = any_value(input, 3);
  }
  std::vector<std::string> paths;
  while (input.ConsumeBool() && paths.size() < 12) {
    const Json path = any_value(input, 0);
    if (path.is_string()) paths.push_back(path.get<std::string>());
  }

  const Json before = state;
  const auto hydrate = [&] {
    suppressed = 0;
    return structure_ingest::hydrate_user_structures(
               state, {.extra_paths = paths, .collaborators = modules})
        .size();
  };
  const std::size_t added = hydrate();
  fuzz::require(suppressed <= 1 && (suppressed == 0 || added == 0));
  for (const auto& [key, value] : before.items()) {
    if (key != "structure_sources" && key != "structure_notes") fuzz::require(state[key] == value);
  }
  const auto objects = [](const Json& sources) {
    std::vector<std::string> texts;
    if (!sources.is_array()) return texts;
    for (const Json& entry : sources) {
      if (entry.is_object()) texts.push_back(structure_ingest::json_text(entry));
    }
    return texts;
  };
  const std::vector<std::string> old = objects(before.value("structure_sources", Json()));
  const std::vector<std::string> now = objects(state.value("structure_sources", Json()));
  fuzz::require(now.size() >= old.size() && std::equal(old.rbegin(), old.rend(), now.rbegin()));
  fuzz::require(suppressed > 0 || now.size() == old.size() + added);
  const std::string text = structure_ingest::json_text(state, 2);
  fuzz::require(structure_ingest::json_text(structure_ingest::parse_json(text), 2) == text);
  if (suppressed == 0 && added > 0) fuzz::require(hydrate() == 0);
  return 0;
}
