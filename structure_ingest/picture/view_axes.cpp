#include "structure_ingest/picture/view_axes.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "structure_ingest/record/cell_geometry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

constexpr ViewAxes FRONT = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

/// The angled view stands this far to the right and above, in radians.
constexpr double TO_THE_RIGHT = 0.38;
constexpr double ABOVE = 0.22;

Vector3 unit(const Vector3& vector) {
  const double length = std::hypot(vector[0], vector[1], vector[2]);
  return {vector[0] / length, vector[1] / length, vector[2] / length};
}

/// Axes with the first vector toward the viewer and the second as nearly up as that allows.
ViewAxes looking_along(const Vector3& toward_viewer, const Vector3& up) {
  const Vector3 toward = unit(toward_viewer);
  const Vector3 right = unit(cross(up, toward));
  return {right, cross(toward, right), toward};
}

/// The directions in which the atoms extend most, second most and least: the eigenvectors of the
/// covariance of their positions, by Jacobi's method.
ViewAxes principal_axes(const std::vector<Vector3>& positions) {
  Vector3 mean{};
  double count = 0;
  const auto is_usable = [](const Vector3& at) {
    return std::all_of(at.begin(), at.end(), [](double x) { return std::abs(x) < 1e9; });
  };
  for (const Vector3& at : positions) {
    if (!is_usable(at)) continue;
    mean = plus(mean, at);
    ++count;
  }
  if (count < 2) return FRONT;
  for (double& x : mean) x /= count;
  std::array<Vector3, 3> matrix{};
  for (const Vector3& at : positions) {
    if (!is_usable(at)) continue;
    const Vector3 from_mean = plus(at, mean, -1);
    for (std::size_t i = 0; i < 3; ++i) {
      matrix[i] = plus(matrix[i], from_mean, from_mean[i] / count);
    }
  }
  std::array<Vector3, 3> vectors = FRONT;  // columns
  for (int sweep = 0; sweep < 30; ++sweep) {
    for (const auto& [p, q] : {std::pair<std::size_t, std::size_t>{0, 1}, {0, 2}, {1, 2}}) {
      if (std::abs(matrix[p][q]) < 1e-12) continue;
      const double angle = 0.5 * std::atan2(2 * matrix[p][q], matrix[q][q] - matrix[p][p]);
      const double c = std::cos(angle), s = std::sin(angle);
      for (std::size_t k = 0; k < 3; ++k) {
        const double kp = matrix[k][p], kq = matrix[k][q];
        matrix[k][p] = c * kp - s * kq;
        matrix[k][q] = s * kp + c * kq;
      }
      for (std::size_t k = 0; k < 3; ++k) {
        const double pk = matrix[p][k], qk = matrix[q][k];
        matrix[p][k] = c * pk - s * qk;
        matrix[q][k] = s * pk + c * qk;
        const double vp = vectors[k][p], vq = vectors[k][q];
        vectors[k][p] = c * vp - s * vq;
        vectors[k][q] = s * vp + c * vq;
      }
    }
  }
  std::array<std::size_t, 3> order = {0, 1, 2};
  std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    return matrix[left][left] > matrix[right][right];
  });
  ViewAxes axes{};
  for (std::size_t i = 0; i < 2; ++i) {
    for (std::size_t k = 0; k < 3; ++k) axes[i][k] = vectors[k][order[i]];
    // A vector and its negative are as good: take the one along its largest component.
    const auto largest = std::max_element(
        axes[i].begin(), axes[i].end(),
        [](double left, double right) { return std::abs(left) < std::abs(right); });
    if (*largest < 0) axes[i] = plus({}, axes[i], -1);
  }
  axes[2] = cross(axes[0], axes[1]);
  return axes;
}

ViewAxes angled(const ViewAxes& front) {
  const Vector3 aside =
      plus(scaled(front[2], std::cos(TO_THE_RIGHT)), front[0], std::sin(TO_THE_RIGHT));
  return looking_along(plus(scaled(aside, std::cos(ABOVE)), front[1], std::sin(ABOVE)), front[1]);
}

}  // namespace

ViewAxes view_axes(const IngestedStructure& record, View view) {
  const bool has_cell = has_usable_cell(record);
  const std::array<Vector3, 3> unit_vectors = FRONT;
  const Vector3* const vectors = has_cell ? record.cell_ang->data() : unit_vectors.data();
  switch (view) {
    case View::along_a:
      return looking_along(vectors[0], vectors[2]);
    case View::along_b:
      return looking_along(vectors[1], vectors[2]);
    case View::along_c:
      return looking_along(vectors[2], vectors[1]);
    case View::angled:
      break;
  }
  if (!has_cell) return angled(principal_axes(record.positions_ang));
  const Vector3 up = unit(vectors[2]);
  const Vector3 a = unit(vectors[0]);
  return angled(looking_along(cross(plus(a, up, -dot(a, up)), up), up));
}

Vector3 seen_from(const ViewAxes& axes, const Vector3& vector) {
  return {dot(axes[0], vector), dot(axes[1], vector), dot(axes[2], vector)};
}

bool can_be_drawn(const Vector3& at) {
  constexpr double FARTHEST_ANG = 1e7;
  return std::all_of(at.begin(), at.end(), [](double x) { return std::abs(x) < FARTHEST_ANG; });
}

bool has_usable_cell(const IngestedStructure& record) {
  if (!record.cell_ang) return false;
  const auto geometry = cell_geometry(*record.cell_ang);
  if (!geometry || !geometry->volume_ang3) return false;
  const auto& [a, b, c] = geometry->lengths_ang;
  return a < 1e9 && b < 1e9 && c < 1e9 && *geometry->volume_ang3 > 1e-6 * a * b * c;
}

}  // namespace structure_ingest::internal
