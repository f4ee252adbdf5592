// Measures the library's steps, each beside a minimal implementation of the same job. The names are
// "job/variant/atoms/ours" and "…/floor"; run.py pairs them.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/floors.hpp"
#include "bench/inputs.hpp"
#include "bench/peers.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace {

using namespace structure_ingest;
namespace fs = std::filesystem;

constexpr std::size_t BATCH = 8;

/// Measures `job`, called with the result of `prepare`. Preparing and destroying that result is not
/// measured.
template <typename Prepare, typename Job>
void add_prepared(const std::string& name, Prepare prepare, Job job) {
  const auto run = [prepare, job](benchmark::State& state) {
    for (auto _ : state) {
      state.PauseTiming();
      {
        auto prepared = prepare();
        state.ResumeTiming();
        benchmark::DoNotOptimize(job(*prepared));
        state.PauseTiming();
      }
      state.ResumeTiming();
    }
  };
  benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

template <typename Job>
void add(const std::string& name, Job job) {
  const auto run = [job](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(job());
  };
  benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

void add_steps(const bench::Folder& files, const bench::Layout& layout, std::size_t atoms) {
  const std::string variant = std::string(layout.name) + "/" + std::to_string(atoms) + "/";
  const std::string text = bench::structure_text(layout, atoms);
  const std::string path =
      files.write(std::string(layout.name) + std::to_string(atoms) + ".xyz", text);
  const auto record = std::make_shared<IngestedStructure>(parse_structure_file(path));
  const auto entry = std::make_shared<Json>(structure_source_entry(*record));
  add("parse/" + variant + "ours", [path] { return parse_structure_file(path); });
  add("parse/" + variant + "floor",
      [path] { return bench::minimal_parse(bench::file_bytes(path)); });
  add("canonical text/" + variant + "ours", [record] { return canonical_xyz_text(*record); });
  add("canonical text/" + variant + "floor", [record] { return bench::minimal_text(*record); });
  add("JSON text/" + variant + "ours", [entry] { return json_text(*entry, 2); });
  add("JSON text/" + variant + "floor", [entry] { return entry->dump(2); });
  add("source entry/" + variant + "ours", [record] { return structure_source_entry(*record); });
  add("source entry/" + variant + "floor", [record] { return bench::minimal_entry(*record); });
  add("JSON text, by hand/" + variant + "ours", [entry] { return json_text(*entry, 2); });
  add("JSON text, by hand/" + variant + "floor", [record] { return bench::minimal_json(*record); });
  if (&layout != bench::LAYOUTS.data()) return;  // independent of the layout
  add("fingerprint/" + variant + "ours", [path] { return internal::sha256_hex_of_file(path); });
  add("fingerprint/" + variant + "floor", [text] { return bench::minimal_digest(text); });
}

std::vector<std::string> batch_of_files(const bench::Folder& files, std::size_t atoms) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < BATCH; ++i) {
    paths.push_back(files.write("batch" + std::to_string(atoms) + "-" + std::to_string(i) + ".xyz",
                                bench::structure_text(bench::LAYOUTS[0], atoms, 10 + i)));
  }
  return paths;
}

/// Ingests files into a new project under `parent`; the floor writes its files only when `durable`.
void add_ingestion(const std::string& job, const bench::Folder& files, const std::string& parent,
                   bool durable, const std::vector<std::size_t>& sizes, bool check = true) {
  for (const std::size_t atoms : sizes) {
    const std::string name = job + "/8 files/" + std::to_string(atoms) + "/";
    const std::vector<std::string> paths = batch_of_files(files, atoms);
    const auto new_folder = [parent] { return std::make_unique<bench::Folder>(parent); };
    add_prepared(name + "ours", new_folder, [paths, check](const bench::Folder& project) {
      std::size_t values = 0;
      for (const SourceEntry& entry :
           ingest_batch(project.path(), paths, {.batch = {.check = check}}).entries) {
        values += entry.to_json().size();
      }
      return values;
    });
    add_prepared(name + "floor", new_folder, [paths, durable](const bench::Folder& project) {
      std::string manifest;
      const std::string folder = durable ? project.path() : "";
      for (const std::string& path : paths) manifest += bench::minimal_ingestion(path, folder);
      if (durable) bench::minimal_write(project.path() + "/manifest.json", manifest);
      return manifest.size();
    });
  }
}

/// Hydrates a state with many sources, those of the files among them, and an empty state.
void add_hydration(const bench::Folder& files, const std::string& parent) {
  constexpr std::size_t atoms = 1000;
  constexpr std::size_t sources = 500;
  const std::vector<std::string> paths = batch_of_files(files, atoms);
  const auto project = std::make_shared<bench::Folder>(parent);
  const Json empty = {{"project_path", project->path()}};
  const auto full = std::make_shared<Json>(empty);
  hydrate_user_structures(*full, {.extra_paths = paths});
  auto& entries = (*full)["structure_sources"].get_ref<Json::array_t&>();
  entries.reserve(sources);
  while (entries.size() < sources) {
    Json entry = entries[entries.size() % BATCH];
    entry["metadata"]["source_file"] = "/elsewhere/" + std::to_string(entries.size()) + ".xyz";
    entries.push_back(std::move(entry));
  }
  add("hydrate/500 sources/1000/ours", [full, paths, project] {
    return hydrate_user_structures(*full, {.extra_paths = paths}).size();
  });
  add("hydrate/500 sources/1000/floor", [empty, paths, project] {
    Json state = empty;
    return hydrate_user_structures(state, {.extra_paths = paths}).size();
  });
}

/// The text of a state with entries of 30 atoms.
std::string state_text(const bench::Folder& files, std::size_t entries) {
  Json state = {{"project_path", "/project"}, {"structure_sources", Json::array()}};
  auto& sources = state["structure_sources"].get_ref<Json::array_t&>();
  for (std::size_t i = 0; i < entries; ++i) {
    if (i < 50) {
      const std::string path = files.write("source" + std::to_string(i) + ".xyz",
                                           bench::structure_text(bench::LAYOUTS[0], 30, i));
      sources.push_back(structure_source_entry(parse_structure_file(path)));
    } else {
      sources.push_back(sources[i - 50]);
      sources.back()["metadata"]["source_file"] = "/data/" + std::to_string(i) + ".xyz";
    }
  }
  return json_text(state, 2);
}

/// Reads a state as the program does, and as other parsers read it for themselves.
void add_states(const bench::Folder& files) {
  const auto text = std::make_shared<std::string>(state_text(files, 5000));
  const auto half = std::make_shared<std::string>(state_text(files, 2500));
  const auto ours = [text] { return parse_json(*text).size(); };
  add("state, 5,000 entries/read/0/ours", ours);
  add("state, 5,000 entries/read/0/floor", [text] { return Json::parse(*text).size(); });
  add("state, RapidJSON/read/0/ours", ours);
  add("state, RapidJSON/read/0/floor", [text] { return bench::rapidjson_members(*text); });
  add("state, simdjson/read/0/ours", ours);
  add("state, simdjson/read/0/floor", [text] { return bench::simdjson_members(*text); });
  add("twice the entries/read a state/0/ours", ours);
  add("twice the entries/read a state/0/floor", [half] { return parse_json(*half).size(); });
}

void add_growth(const bench::Folder& files) {
  for (const auto& [side, atoms] : {std::pair("ours", 20000U), std::pair("floor", 10000U)}) {
    const std::string path =
        files.write(std::string(side) + ".xyz", bench::structure_text(bench::LAYOUTS[0], atoms));
    const auto record = std::make_shared<IngestedStructure>(parse_structure_file(path));
    const std::string name = std::string("/20000/") + side;
    add("twice the atoms/parse" + name, [path] { return parse_structure_file(path); });
    add("twice the atoms/check" + name, [record] { return check_structure(*record).size(); });
    add("twice the atoms/source entry" + name,
        [record] { return json_text(structure_source_entry(*record), 2).size(); });
  }
}

/// Reads one CIF file through a process that is kept.
void add_crystal(const bench::Folder& files) {
  std::string text =
      "data_crystal\n_cell_length_a 8.1\n_cell_length_b 9.2\n_cell_length_c 10.3\n"
      "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
      "_symmetry_space_group_name_H-M 'P m m m'\nloop_\n_atom_site_label\n"
      "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
  for (int i = 0; i < 24; ++i) {
    const std::string digits = std::to_string(1000 + 37 * i);
    text += "O" + digits + " O 0." + digits + " 0.1" + digits + " 0.2" + digits + "\n";
  }
  const std::string path = files.write("crystal.cif", text);
  const auto parser = std::make_shared<StructureParser>();
  if (!parser->parse(path).ok) return;  // there is no ASE
  add("one CIF file/in a process that is kept/0/ours",
      [path, parser] { return parser->parse(path).natoms; });
  add("one CIF file/in a process that is kept/0/floor",
      [path] { return bench::gemmi_coordinates(path); });
}

}  // namespace

int main(int argc, char** argv) {
  const std::string temporary = fs::temp_directory_path();
  const std::string memory = fs::is_directory("/dev/shm") ? "/dev/shm" : temporary;
  const bench::Folder files(temporary);
  for (const bench::Layout& layout : bench::LAYOUTS) {
    for (const std::size_t atoms : {100U, 1000U, 20000U}) add_steps(files, layout, atoms);
  }
  add_ingestion("ingest", files, memory, false, {1000, 20000});
  add_ingestion("ingest, small", files, memory, true, {100});
  add_ingestion("ingest, unchecked", files, memory, true, {100}, false);
  add_ingestion("ingest, durable", files, temporary, true, {1000, 20000});
  add_hydration(files, memory);
  add_states(files);
  add_growth(files);
  add_crystal(files);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
