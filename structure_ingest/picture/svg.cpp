#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/picture/picture_text.hpp"
#include "structure_ingest/picture/raster.hpp"
#include "structure_ingest/picture/scene.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest {
namespace {

using internal::Projection;
using internal::Scene;
using internal::SceneAtom;
using internal::SceneEdge;
using internal::SceneElement;

constexpr std::size_t MOST_ATOMS_IN_FULL = 100;
constexpr std::size_t MOST_DRAWN = 4000;  // atoms
constexpr double EDGE_PIECES = 6;  // an edge of the cell is drawn in pieces, each hidden or not

/// A number with one decimal, the shortest way: "12.5", "12", "-0.5".
std::string number(double value) {
  std::array<char, 32> text{};
  const double rounded = std::round(value * 10) / 10 + 0.0;  // never -0
  std::snprintf(text.data(), text.size(), "%.10g", rounded);
  return text.data();
}

std::string hex(std::uint32_t rgb) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "#%06x", static_cast<unsigned>(rgb));
  return text.data();
}

/// A colour mixed with black (or white) by a share.
std::uint32_t mixed(std::uint32_t rgb, unsigned with, double share) {
  std::uint32_t result = 0;
  for (const int shift : {16, 8, 0}) {
    const double part = (rgb >> shift & 0xFF) * (1 - share) + with * share;
    result |= static_cast<std::uint32_t>(std::lround(part)) << shift;
  }
  return result;
}

/// A piece of the picture, and how near it is: a circle, or a line of a style that several pieces
/// may share.
struct Piece {
  double depth;
  std::string shape;
  std::string style{};  // empty for a circle
};

std::string line(const Vector3& from, const Vector3& to) {
  return "M" + number(from[0]) + " " + number(from[1]) + "L" + number(to[0]) + " " + number(to[1]);
}

/// The pieces from the farthest to the nearest, with neighbours of one style in one element.
std::string drawn(std::vector<Piece> pieces) {
  std::stable_sort(pieces.begin(), pieces.end(),
                   [](const Piece& a, const Piece& b) { return a.depth < b.depth; });
  std::string text;
  const std::string* style = nullptr;
  for (const Piece& piece : pieces) {
    if (style != nullptr && piece.style == *style) {
      text += piece.shape;
      continue;
    }
    if (style != nullptr) text += "\" " + *style + "/>\n";
    style = piece.style.empty() ? nullptr : &piece.style;
    text += style == nullptr ? piece.shape + "\n" : "<path d=\"" + piece.shape;
  }
  if (style != nullptr) text += "\" " + *style + "/>\n";
  return text;
}

void add_edges(std::vector<Piece>& pieces, const Scene& scene, const Projection& projection) {
  // Behind an atom at the corner that they meet in.
  double radius = 0;
  for (const SceneElement& element : scene.elements) radius = std::max(radius, element.radius_ang);
  for (const SceneEdge& edge : scene.edges) {
    const Vector3 along = internal::plus(edge.to, edge.from, -1);
    const std::string part = edge.axis < 0 ? "e" : std::string(1, "abc"[edge.axis]);
    for (int i = 0; i < EDGE_PIECES; ++i) {
      const auto at = [&edge, &along](double piece) {
        return internal::plus(edge.from, along, piece / EDGE_PIECES);
      };
      const Vector3 from = projection(at(i));
      const Vector3 to = projection(at(i + 1));
      pieces.push_back({(from[2] + to[2]) / 2 - radius * projection.scale, line(from, to),
                        "class=\"si-" + part + "\""});
    }
  }
}

/// Sticks from the surface of one sphere to that of the other, each half in the colour of its atom.
void add_sticks(std::vector<Piece>& pieces, const Scene& scene, const std::vector<bool>& is_seen,
                const Projection& projection) {
  for (std::size_t i = 0; i < scene.sticks.size(); ++i) {
    const SceneAtom& first = scene.atoms[scene.sticks[i].first];
    const SceneAtom& second = scene.atoms[scene.sticks[i].second];
    const SceneElement& one = scene.elements[first.element];
    const SceneElement& other = scene.elements[second.element];
    const Vector3 from = projection(first.at), to = projection(second.at);
    const Vector3 along = internal::plus(to, from, -1);
    const double length = std::hypot(along[0], along[1], along[2]);
    const double begin = 0.9 * one.radius_ang * projection.scale / length;
    const double end = 1 - 0.9 * other.radius_ang * projection.scale / length;
    if (!(begin < end)) continue;  // the spheres meet
    const auto add = [&](double low, double high, const SceneElement& element) {
      const Vector3 a = internal::plus(from, along, low), b = internal::plus(from, along, high);
      pieces.push_back({(a[2] + b[2]) / 2, line(a, b),
                        "class=\"si-s\" stroke=\"" + hex(mixed(element.colour, 0, 0.18)) + "\""});
    };
    const bool first_seen = is_seen[internal::half_stick(scene, i, false)];
    const bool second_seen = is_seen[internal::half_stick(scene, i, true)];
    const double middle = (begin + end) / 2;
    if (first_seen && second_seen && one.colour == other.colour) {
      add(begin, end, one);
      continue;
    }
    if (first_seen) add(begin, middle, one);
    if (second_seen) add(middle, end, other);
  }
}

/// Which atoms and halves of sticks can be seen: all of a small structure; of a larger one those
/// that cover a pixel, and of too many atoms the ones that cover most.
std::vector<bool> seen_pieces(const Scene& scene, const Projection& projection, int width,
                              int height) {
  const std::size_t count = scene.atoms.size() + 2 * scene.sticks.size();
  if (scene.atoms.size() <= MOST_ATOMS_IN_FULL) return std::vector<bool>(count, true);
  internal::Raster raster(width, height);
  internal::draw(raster, scene, projection, 1);
  std::vector<std::size_t> covered(count);  // pixels of each
  for (const std::uint32_t piece : raster.piece) {
    if (piece != internal::NO_PIECE) ++covered[piece];
  }
  std::vector<bool> is_seen(count);
  for (std::size_t i = 0; i < count; ++i) is_seen[i] = covered[i] > 0;
  if (scene.atoms.size() <= MOST_DRAWN) return is_seen;
  std::vector<std::size_t> atoms(scene.atoms.size());
  std::iota(atoms.begin(), atoms.end(), std::size_t{0});
  std::stable_sort(atoms.begin(), atoms.end(),
                   [&](std::size_t a, std::size_t b) { return covered[a] > covered[b]; });
  for (std::size_t i = MOST_DRAWN; i < atoms.size(); ++i) is_seen[atoms[i]] = false;
  return is_seen;
}

void add_atoms(std::vector<Piece>& pieces, const Scene& scene, const std::vector<bool>& is_seen,
               const Projection& projection, const std::string& id) {
  for (std::size_t i = 0; i < scene.atoms.size(); ++i) {
    if (!is_seen[i]) continue;
    const SceneAtom& atom = scene.atoms[i];
    const SceneElement& element = scene.elements[atom.element];
    const Vector3 at = projection(atom.at);
    const double radius =
        std::max(internal::LEAST_SPHERE_RADIUS_PX, element.radius_ang * projection.scale);
    const std::string centre = "cx=\"" + number(at[0]) + "\" cy=\"" + number(at[1]) + "\" r=\"";
    // The nearest point of the sphere is not what hides it: of two that overlap, the nearer centre
    // is in front.
    pieces.push_back({at[2], "<circle " + centre + number(radius) + "\" fill=\"url(#" + id +
                                 std::to_string(atom.element) + ")\"/>"});
    if (!atom.marked) continue;
    const double ring = (internal::MARK_INNER + internal::MARK_OUTER) / 2;
    const double width = (internal::MARK_OUTER - internal::MARK_INNER) * radius;
    pieces.push_back({1e30, "<circle " + centre + number(ring * radius) +
                                "\" class=\"si-m\" stroke-width=\"" + number(width) + "\"/>"});
  }
}

std::string gradients(const Scene& scene, const std::string& id) {
  std::string text = "<defs>\n";
  for (std::size_t i = 0; i < scene.elements.size(); ++i) {
    const std::uint32_t colour = scene.elements[i].colour;
    text += "<radialGradient id=\"" + id + std::to_string(i) +
            "\" cx=\".36\" cy=\".32\" r=\".72\"><stop stop-color=\"" +
            hex(mixed(colour, 255, 0.6)) + "\"/><stop offset=\".45\" stop-color=\"" + hex(colour) +
            "\"/><stop offset=\"1\" stop-color=\"" + hex(mixed(colour, 0, 0.5)) +
            "\"/></radialGradient>\n";
  }
  return text + "</defs>\n";
}

/// Elements with their colours and counts in a row at the bottom; those that have no room are left
/// out.
std::string legend(const Scene& scene, const PictureOptions& options, const std::string& id) {
  std::string text;
  double x = 14;
  const double y = options.height_px - internal::LEGEND_HEIGHT_PX / 2;
  for (std::size_t i = 0; i < scene.elements.size(); ++i) {
    const SceneElement& element = scene.elements[i];
    const std::string count = std::to_string(element.count);
    const double width = 40 + 8.5 * static_cast<double>(element.symbol.size() + count.size());
    if (x + width > options.width_px + 12) break;
    text += "<circle cx=\"" + number(x + 6) + "\" cy=\"" + number(y) + "\" r=\"6\" fill=\"url(#" +
            id + std::to_string(i) + ")\"/><text x=\"" + number(x + 17) + "\" y=\"" +
            number(y + 4.5) + "\" class=\"si-t\">" + internal::markup_text(element.symbol) +
            " <tspan class=\"si-n\">" + count + "</tspan></text>\n";
    x += width;
  }
  return text;
}

std::string axis_names(const Scene& scene, const Projection& projection) {
  std::string text;
  for (const SceneEdge& edge : scene.edges) {
    if (edge.axis < 0) continue;
    const Vector3 at = internal::axis_name_place(scene, edge, projection, 11);
    const std::string name(1, "abc"[edge.axis]);
    text += "<text x=\"" + number(at[0]) + "\" y=\"" + number(at[1] + 4) + "\" class=\"si-x si-" +
            name + "\" text-anchor=\"middle\">" + name + "</text>\n";
  }
  return text;
}

/// An SVG whose identifiers begin with `id`; without `has_style` it needs the style sheet on the
/// page.
std::string svg_text(const IngestedStructure& record, const PictureOptions& options,
                     const std::string& id, bool has_style) {
  internal::require_drawable(record, options);
  const Scene scene = internal::scene_of(record, options);
  const double height = options.height_px - (options.legend ? internal::LEGEND_HEIGHT_PX : 0);
  const Projection projection = internal::fit(scene, options.width_px, height, 1);
  const std::vector<bool> is_seen =
      seen_pieces(scene, projection, options.width_px, static_cast<int>(height));
  const auto drawn_atoms = static_cast<std::size_t>(std::count(
      is_seen.begin(), is_seen.begin() + static_cast<std::ptrdiff_t>(scene.atoms.size()), true));
  std::vector<Piece> pieces;
  add_edges(pieces, scene, projection);
  add_sticks(pieces, scene, is_seen, projection);
  add_atoms(pieces, scene, is_seen, projection, id);

  const std::string size = std::to_string(options.width_px) + "\" height=\"" +
                           std::to_string(options.height_px) + "\" viewBox=\"0 0 " +
                           std::to_string(options.width_px) + " " +
                           std::to_string(options.height_px);
  std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size +
                     "\" role=\"img\" aria-labelledby=\"" + id + "title " + id + "desc\">\n";
  text += "<title id=\"" + id + "title\">" + internal::markup_text(record.formula) + "</title>\n";
  text += "<desc id=\"" + id + "desc\">" +
          internal::markup_text(internal::description_of(record, scene, drawn_atoms)) + "</desc>\n";
  if (has_style) text += "<style>\n" + picture_style() + "</style>\n";
  text += gradients(scene, id);
  text += "<g stroke-width=\"" +
          number(std::max(1.0, 2 * internal::STICK_RADIUS_ANG * projection.scale)) + "\">\n";
  text += drawn(std::move(pieces)) + "</g>\n";
  if (options.legend) text += axis_names(scene, projection) + legend(scene, options, id);
  return text + "</svg>\n";
}

}  // namespace

std::string picture_style() {
  const std::string text_font = "font-family:system-ui,sans-serif;font-size:13px";
  std::string style = ".si-e,.si-a,.si-b,.si-c{fill:none;stroke:" + hex(internal::EDGE_COLOUR) +
                      ";stroke-width:" + number(internal::EDGE_WIDTH_PX) +
                      ";stroke-linecap:round}\n";
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::string name = std::string(".si-") + "abc"[axis];
    const std::string colour = hex(internal::AXIS_COLOURS[axis]);
    style += name + "{stroke:" + colour + "}text" + name + "{fill:" + colour + "}\n";
  }
  style += "text.si-x{stroke:none;font-style:italic}.si-s{fill:none;stroke-linecap:butt}\n";
  style += ".si-m{fill:none;stroke:" + hex(internal::MARK_COLOUR) + "}\n";
  style += ".si-t,.si-x{" + text_font + "}.si-t{fill:#1f2733}.si-n{fill:#5b6675}\n";
  style += "@media (prefers-color-scheme:dark){.si-t{fill:#e8ebf0}.si-n{fill:#a3adba}}\n";
  return style;
}

std::string picture_svg_part(const IngestedStructure& record, const PictureOptions& options,
                             const std::string& id) {
  return svg_text(record, options, id, false);
}

std::string picture_svg(const IngestedStructure& record, const PictureOptions& options) {
  return svg_text(record, options, "si-", true);
}

}  // namespace structure_ingest
