#include "bench/exact_verdict.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

namespace exact {

namespace {

__extension__ using Wide = __int128;

// numerator / denominator, the denominator above 0. Of an x: below 2^53 and 2^36.
struct Fraction {
  std::int64_t numerator;
  std::int64_t denominator;

  std::strong_ordering operator<=>(const Fraction& other) const {
    return Wide{numerator} * other.denominator <=> Wide{other.numerator} * denominator;
  }
  bool operator==(const Fraction& other) const { return (*this <=> other) == 0; }
};

// A y at a known x: value / (scale * denominator of the x).
struct Height {
  Wide value;
  std::int64_t scale;

  std::strong_ordering operator<=>(const Height& other) const {
    return value * other.scale <=> other.value * scale;
  }
  bool operator==(const Height& other) const { return (*this <=> other) == 0; }
};

struct Vector {
  std::int64_t x;
  std::int64_t y;
};

std::int64_t cross(const Vector& a, const Vector& b) {
  return a.x * b.y - a.y * b.x;
}

Vector between(const Point& from, const Point& to) {
  return {std::int64_t{to.x} - from.x, std::int64_t{to.y} - from.y};
}

struct Edge {
  Point a;  // a.x <= b.x
  Point b;
  std::size_t polygon;

  bool isVertical() const { return a.x == b.x; }

  // Where the edge, which is not vertical, is at x.
  Height at(const Fraction& x) const {
    const std::int64_t run = b.x - a.x;
    const std::int64_t rise = b.y - a.y;
    return {Wide{a.y} * x.denominator * run + Wide{rise} * (x.numerator - a.x * x.denominator),
            run};
  }
};

Height heightOf(int y, const Fraction& x) {
  return {Wide{y} * x.denominator, 1};
}

struct Corner {
  Fraction x;
  Height y;
  std::size_t lastPolygon;  // of those whose edges meet there the one with the highest number
};

// Where two edges cross or touch; nothing for parallel ones, whose ends are corners anyway.
std::optional<Corner> crossing(const Edge& one, const Edge& other) {
  const Vector u = between(one.a, one.b);
  const Vector v = between(other.a, other.b);
  std::int64_t determinant = cross(u, v);
  if (determinant == 0) {
    return std::nullopt;
  }
  const Vector w = between(one.a, other.a);
  std::int64_t s = cross(w, v);  // along one, of the determinant
  std::int64_t t = cross(w, u);
  if (determinant < 0) {
    determinant = -determinant;
    s = -s;
    t = -t;
  }
  if (s < 0 || s > determinant || t < 0 || t > determinant) {
    return std::nullopt;
  }
  const Fraction x{one.a.x * determinant + s * u.x, determinant};
  const Edge& slanted = one.isVertical() ? other : one;
  return Corner{x, slanted.at(x), std::max(one.polygon, other.polygon)};
}

using Flags = std::uint32_t;  // a bit for each polygon

constexpr Flags OUTLINE = 1;
constexpr Flags INCLUDE = 2;
constexpr std::size_t FIRST_EXCLUDE = 2;

struct Trapezoid {
  std::size_t slab;
  const Edge* low;
  const Edge* high;
  Flags flags;
};

using Piece = std::vector<std::size_t>;  // trapezoids

class Plane {
 public:
  explicit Plane(std::span<const Points* const> polygons) {
    for (std::size_t i = 0; i < polygons.size(); ++i) {
      addPolygon(*polygons[i], i);
    }
    for (std::size_t i = 0; i < edges.size(); ++i) {
      for (std::size_t j = i + 1; j < edges.size(); ++j) {
        if (const auto corner = crossing(edges[i], edges[j])) {
          corners.push_back(*corner);
        }
      }
    }
    for (const Corner& corner : corners) {
      lines.push_back(corner.x);
    }
    std::ranges::sort(lines);
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    for (std::size_t slab = 0; slab + 1 < lines.size(); ++slab) {
      addSlab(slab);
    }
  }

  bool sharePoints(std::size_t one, std::size_t other) const {
    return hasPointIn(one, other) || hasPointIn(other, one);
  }

  // The trapezoids with all those flags.
  Piece where(Flags flags) const {
    Piece found;
    for (std::size_t i = 0; i < trapezoids.size(); ++i) {
      if ((trapezoids[i].flags & flags) == flags) {
        found.push_back(i);
      }
    }
    return found;
  }

  Piece without(const Piece& piece, std::size_t polygon) const {
    Piece rest;
    std::ranges::copy_if(piece, std::back_inserter(rest),
                         [&](std::size_t i) { return (trapezoids[i].flags >> polygon & 1) == 0; });
    return rest;
  }

  // What hangs together by more than a point.
  std::vector<Piece> piecesOf(const Piece& all) const {
    std::vector<Piece> pieces;
    std::vector<bool> taken(all.size());
    for (std::size_t first = 0; first < all.size(); ++first) {
      if (taken[first]) {
        continue;
      }
      taken[first] = true;
      Piece piece{all[first]};
      for (std::size_t i = 0; i < piece.size(); ++i) {
        for (std::size_t j = 0; j < all.size(); ++j) {
          if (!taken[j] && areNeighbours(trapezoids[piece[i]], trapezoids[all[j]])) {
            taken[j] = true;
            piece.push_back(all[j]);
          }
        }
      }
      pieces.push_back(std::move(piece));
    }
    return pieces;
  }

  // Whether the piece, which edges of polygons before this one bound, has all its corners in it.
  bool hasAllCornersIn(const Piece& piece, std::size_t polygon) const {
    return std::ranges::all_of(corners, [&](const Corner& corner) {
      return corner.lastPolygon >= polygon || !isIn(corner, piece) || isOn(corner, polygon) ||
             isIn(corner, where(Flags{1} << polygon));
    });
  }

 private:
  // Whether one's border holds a vertex of its own, or a crossing with the other, that lies in the
  // other.
  bool hasPointIn(std::size_t one, std::size_t other) const {
    const Piece all = where(Flags{1} << other);
    return std::ranges::any_of(corners, [&](const Corner& corner) {
      return isOn(corner, one) && (isOn(corner, other) || isIn(corner, all));
    });
  }

  void addPolygon(const Points& points, std::size_t polygon) {
    for (std::size_t i = 0; i < points.size(); ++i) {
      Point a = points[i];
      Point b = points[(i + 1) % points.size()];
      const Fraction x{a.x, 1};
      corners.push_back({x, heightOf(a.y, x), polygon});
      if (a.x > b.x) {
        std::swap(a, b);
      }
      edges.push_back({a, b, polygon});
    }
  }

  void addSlab(std::size_t slab) {
    const Fraction& left = lines[slab];
    const Fraction& right = lines[slab + 1];
    std::vector<const Edge*> across;
    for (const Edge& edge : edges) {
      if (Fraction{edge.a.x, 1} <= left && right <= Fraction{edge.b.x, 1}) {
        across.push_back(&edge);
      }
    }
    // Within a slab edges do not cross.
    std::ranges::sort(across, [&](const Edge* one, const Edge* other) {
      const auto order = one->at(left) <=> other->at(left);
      return order != 0 ? order < 0 : one->at(right) < other->at(right);
    });
    Flags flags = 0;
    for (std::size_t i = 0; i + 1 < across.size(); ++i) {
      flags ^= Flags{1} << across[i]->polygon;
      const bool isFlat = across[i]->at(left) == across[i + 1]->at(left) &&
                          across[i]->at(right) == across[i + 1]->at(right);
      if (flags != 0 && !isFlat) {
        trapezoids.push_back({slab, across[i], across[i + 1], flags});
      }
    }
  }

  // Both share more than a point of their borders.
  bool areNeighbours(const Trapezoid& one, const Trapezoid& other) const {
    if (one.slab > other.slab) {
      return areNeighbours(other, one);
    }
    const Fraction& left = lines[one.slab];
    const Fraction& right = lines[one.slab + 1];
    if (one.slab == other.slab) {
      const auto coincide = [&](const Edge* a, const Edge* b) {
        return a->at(left) == b->at(left) && a->at(right) == b->at(right);
      };
      return coincide(one.high, other.low) || coincide(other.high, one.low);
    }
    if (other.slab != one.slab + 1) {
      return false;
    }
    return std::max(one.low->at(right), other.low->at(right)) <
           std::min(one.high->at(right), other.high->at(right));
  }

  bool isIn(const Corner& corner, const Piece& piece) const {
    return std::ranges::any_of(piece, [&](std::size_t i) {
      const Trapezoid& trapezoid = trapezoids[i];
      return lines[trapezoid.slab] <= corner.x && corner.x <= lines[trapezoid.slab + 1] &&
             trapezoid.low->at(corner.x) <= corner.y && corner.y <= trapezoid.high->at(corner.x);
    });
  }

  // On the border.
  bool isOn(const Corner& corner, std::size_t polygon) const {
    return std::ranges::any_of(edges, [&](const Edge& edge) {
      if (edge.polygon != polygon || corner.x < Fraction{edge.a.x, 1} ||
          Fraction{edge.b.x, 1} < corner.x) {
        return false;
      }
      if (!edge.isVertical()) {
        return edge.at(corner.x) == corner.y;
      }
      const auto [low, high] = std::minmax(edge.a.y, edge.b.y);
      return heightOf(low, corner.x) <= corner.y && corner.y <= heightOf(high, corner.x);
    });
  }

  std::vector<Edge> edges;
  std::vector<Corner> corners;
  std::vector<Fraction> lines;  // ascending
  std::vector<Trapezoid> trapezoids;
};

}  // namespace

AreaStatus_e verdict(const Points& outline, const Points& include,
                     const std::vector<Points>& excludes) {
  std::vector<const Points*> polygons{&outline, &include};
  for (const Points& exclude : excludes) {
    polygons.push_back(&exclude);
  }
  const Plane plane(polygons);
  if (!plane.sharePoints(0, 1)) {
    return AreaStatus_e::outside;
  }
  std::vector<Piece> pieces = plane.piecesOf(plane.where(OUTLINE | INCLUDE));
  for (std::size_t polygon = FIRST_EXCLUDE; polygon < polygons.size(); ++polygon) {
    std::vector<Piece> left;
    for (const Piece& piece : pieces) {
      if (plane.hasAllCornersIn(piece, polygon)) {
        continue;
      }
      for (Piece& part : plane.piecesOf(plane.without(piece, polygon))) {
        left.push_back(std::move(part));
      }
    }
    pieces = std::move(left);
  }
  return pieces.empty() ? AreaStatus_e::excluded : AreaStatus_e::inside;
}

}  // namespace exact
