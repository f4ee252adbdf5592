// Arithmetic of vectors.
#pragma once

#include <cmath>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

inline double dot(const Vector3& a, const Vector3& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline Vector3 cross(const Vector3& a, const Vector3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline Vector3 scaled(const Vector3& vector, double factor) {
  return {factor * vector[0], factor * vector[1], factor * vector[2]};
}

/// a + times * b.
inline Vector3 plus(const Vector3& a, const Vector3& b, double times = 1) {
  return {a[0] + times * b[0], a[1] + times * b[1], a[2] + times * b[2]};
}

inline bool is_finite(const Vector3& vector) {
  return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

}  // namespace structure_ingest::internal
