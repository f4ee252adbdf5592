#include "structure_ingest/record/cell_geometry.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/elements.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest {
namespace {

/// Grams in one unit of atomic weight, times the number of ångström cubed in a cm³ (CODATA 2018:
/// 1.66053906660e-24 g and 1e24).
constexpr double U_PER_ANG3_IN_G_PER_CM3 = 1.66053906660;

/// A volume below this share of a * b * c is the rounding error of coplanar vectors.
constexpr double ROUNDING = 64 * std::numeric_limits<double>::epsilon();

/// The determinant of unit vectors; 0 when they are coplanar.
double unit_determinant(const Vector3& a, const Vector3& b, const Vector3& c) {
  const double determinant = internal::dot(a, internal::cross(b, c));
  return std::abs(determinant) < ROUNDING ? 0.0 : determinant;
}

}  // namespace

std::optional<CellGeometry> cell_geometry(const std::vector<Vector3>& lattice_vectors_ang) {
  if (lattice_vectors_ang.size() != 3) return std::nullopt;
  CellGeometry geometry{};
  std::array<Vector3, 3> directions{};  // of length one, so that products stay in range
  for (std::size_t i = 0; i < 3; ++i) {
    const Vector3& vector = lattice_vectors_ang[i];
    // Nest the two-argument form: the three-argument form ignores a NaN.
    const double length = std::hypot(std::hypot(vector[0], vector[1]), vector[2]);
    if (!std::isfinite(length)) return std::nullopt;
    geometry.lengths_ang[i] = length;
    for (std::size_t k = 0; k < 3; ++k) directions[i][k] = length > 0 ? vector[k] / length : 0;
  }
  const auto& lengths = geometry.lengths_ang;
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t j = (i + 1) % 3;
    const std::size_t k = (i + 2) % 3;
    if (lengths[j] <= 0 || lengths[k] <= 0) continue;
    const double cosine = std::clamp(internal::dot(directions[j], directions[k]), -1.0, 1.0);
    geometry.angles_deg[i] = std::acos(cosine) * 180 / std::numbers::pi;
  }
  const double determinant = unit_determinant(directions[0], directions[1], directions[2]);
  geometry.is_right_handed = determinant > 0;
  const double share = std::abs(determinant);
  const double volume = share * lengths[0] * lengths[1] * lengths[2];
  if (share <= 0 || std::isnormal(volume)) geometry.volume_ang3 = share > 0 ? volume : 0;
  return geometry;
}

std::optional<double> density_g_cm3(const std::vector<std::string>& symbols, double volume_ang3) {
  if (symbols.empty() || volume_ang3 <= 0) return std::nullopt;
  double mass = 0;
  for (const auto& [symbol, count] : internal::symbol_counts(symbols)) {
    const double weight = internal::element_of(symbol).weight;
    if (weight <= 0) return std::nullopt;
    mass += static_cast<double>(count) * weight;
  }
  const double density = mass / volume_ang3 * U_PER_ANG3_IN_G_PER_CM3;
  return std::isnormal(density) ? std::optional(density) : std::nullopt;
}

}  // namespace structure_ingest
