// Measures the checks of XYZ files beside parsing the same files: "check/.../ours" and
// "check/.../parse", in the layouts in which programs write such files.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "bench/inputs.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace {

using namespace structure_ingest;

/// Atoms on a lattice with small displacements, as in a solid or a liquid: random positions would
/// overlap.
std::string solid_text(const bench::Layout& layout, std::size_t atoms) {
  std::size_t edge = 1;
  while (edge * edge * edge < atoms) ++edge;
  constexpr double SPACING_ANG = 2.2;
  std::string solid = std::to_string(atoms) + "\n";
  char line[256];
  const double length = SPACING_ANG * static_cast<double>(edge);
  if (layout.has_cell) {
    std::snprintf(line, sizeof line, "Lattice=\"%g 0 0 0 %g 0 0 0 %g\"", length, length, length);
    solid += line;
  }
  solid += "\n";
  unsigned random = 1;
  const auto shift = [&random] {
    random = random * 1664525U + 1013904223U;
    return 0.3 * static_cast<double>(random >> 8) / (1U << 24U);
  };
  const char* const symbols[] = {"Si", "O", "C", "H", "Fe"};
  for (std::size_t i = 0; i < atoms; ++i) {
    solid += symbols[i % 5];
    for (std::size_t k = 0, at = i; k < layout.columns; ++k, at /= edge) {
      if (k == 3) at = i;
      std::snprintf(line, sizeof line, layout.number,
                    SPACING_ANG * static_cast<double>(at % edge) + shift());
      solid += line;
    }
    solid += "\n";
  }
  return solid;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Folder files(std::filesystem::temp_directory_path());
  for (const bench::Layout& layout : bench::LAYOUTS) {
    for (const std::size_t atoms : {3U, 100U, 1000U, 20000U}) {
      const std::string name = "check/" + std::string(layout.name) + "/" + std::to_string(atoms);
      const std::string path = files.write(
          std::string(layout.name) + std::to_string(atoms) + ".xyz", solid_text(layout, atoms));
      const auto parsed =
          std::make_shared<ParsedStructure>(StructureParser().parse(path, {.content = true}));
      benchmark::RegisterBenchmark((name + "/parse").c_str(), [path](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(parse_structure_file(path));
      })->Unit(benchmark::kMicrosecond);
      benchmark::RegisterBenchmark((name + "/ours").c_str(), [parsed](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(check_structure(*parsed));
      })->Unit(benchmark::kMicrosecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
