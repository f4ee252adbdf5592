// The structure files for the measurements: random atoms from a fixed seed, in the layouts in which
// programs write XYZ files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

struct Layout {
  std::string_view name;
  const char* number;   // printf format of one number, with the blanks before it
  std::size_t columns;  // numbers a line: 3, or 6 with forces
  bool has_cell = true;
};

inline constexpr std::array<Layout, 5> LAYOUTS = {{
    {"8 decimals", " %14.8f", 3},
    {"8 decimals, no cell", " %14.8f", 3, false},
    {"8 decimals, forces", " %14.8f", 6},
    {"10 decimals", " %.10f", 3},
    {"17 digits", " %.17g", 3},
}};

/// The text of an XYZ file.
std::string structure_text(const Layout& layout, std::size_t atoms, std::uint64_t seed = 1);

/// An empty temporary folder, removed at the end.
class Folder {
 public:
  explicit Folder(const std::string& parent);
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }
  /// Writes a file and returns its path.
  std::string write(const std::string& name, std::string_view text) const;

 private:
  std::string path_;
};

}  // namespace bench
