// What an SVG and a PNG of the same structure have in common.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace structure_ingest::internal {

inline constexpr double STICK_RADIUS_ANG = 0.11;
inline constexpr double LEAST_SPHERE_RADIUS_PX = 1.2;
inline constexpr double EDGE_WIDTH_PX = 1.4;
inline constexpr double LEGEND_HEIGHT_PX = 28;

inline constexpr std::uint32_t EDGE_COLOUR = 0x8A93A0;
inline constexpr std::array<std::uint32_t, 3> AXIS_COLOURS = {0xD0453E, 0x2E9150, 0x3B6FD1};
inline constexpr std::uint32_t MARK_COLOUR = 0xD6249F;

/// The ring around a marked atom, from and to this many radii of its sphere.
inline constexpr double MARK_INNER = 1.15;
inline constexpr double MARK_OUTER = 1.4;

}  // namespace structure_ingest::internal
