#include "bench/inputs.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

namespace bench {

std::string structure_text(const Layout& layout, std::size_t atoms, std::uint64_t seed) {
  constexpr std::array<const char*, 5> symbols = {"H", "C", "O", "Si", "Fe"};
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> coordinate(-50.0, 50.0);
  std::string text = std::to_string(atoms) + '\n';
  text += layout.has_cell ? "Lattice=\"100.0 0.0 0.0 0.0 100.0 0.0 0.0 0.0 100.0\"\n" : "no cell\n";
  std::array<char, 64> number{};
  for (std::size_t atom = 0; atom < atoms; ++atom) {
    text += symbols[random() % symbols.size()];
    for (std::size_t column = 0; column < layout.columns; ++column) {
      const int size =
          std::snprintf(number.data(), number.size(), layout.number, coordinate(random));
      text.append(number.data(), static_cast<std::size_t>(size));
    }
    text += '\n';
  }
  return text;
}

Folder::Folder(const std::string& parent) {
  std::string pattern = parent + "/structure_ingest-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::filesystem::filesystem_error("cannot make", pattern, {});
  }
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Folder::write(const std::string& name, std::string_view text) const {
  const std::string path = path_ + '/' + name;
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::filesystem::filesystem_error("cannot write", path, {});
  return path;
}

}  // namespace bench
