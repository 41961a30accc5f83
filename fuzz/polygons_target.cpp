// Polygons: the geometry library and the class over it, against an outside judge and plain
// formulas.
#include <gm.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fakes/log_capture.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "geometry/polygon.h"
#include "geometry/polygon_container.h"
#include "geometry/polyline.h"
#include "platform/judge.h"
#include "platform/polygons.h"

namespace {

using fuzz::require;
using polygons::Points;

// So that a judgement takes about a millisecond.
constexpr int MOST_VERTICES = 12;

int size(const Points& points) {
  return static_cast<int>(points.size());
}

std::string textOf(const std::vector<Points>& outlines) {
  std::ostringstream text;
  for (const Points& outline : outlines) {
    text << '{';
    for (const gm_point& point : outline) {
      text << '{' << point.x << ',' << point.y << "},";
    }
    text << "}\n";
  }
  return text.str();
}

// ---- Polygons from an input ----

// The coordinates of one input lie within a range: in a small one shared vertices, shared edges and
// points on edges are frequent.
class Generator {
 public:
  explicit Generator(fuzz::Input& input) : input(input) {
    constexpr int RANGES[] = {2, 4, 12, 60, 400, 2048, 4096, 32767};
    range = RANGES[input.between(0, 7)];
  }

  gm_point point() { return {coordinate(), coordinate()}; }

  Points points(int least, int most) {
    Points points(static_cast<std::size_t>(input.between(least, most)));
    for (gm_point& point : points) {
      point = this->point();
    }
    return points;
  }

  // Vertices of the other one among its own.
  Points like(const Points& other, int least, int most) {
    Points points(static_cast<std::size_t>(input.between(least, most)));
    for (gm_point& point : points) {
      const int which = input.byte();
      const bool isShared = which % 2 == 1 && !other.empty();
      point = isShared ? other[static_cast<std::size_t>(which / 2) % other.size()] : this->point();
    }
    return points;
  }

 private:
  std::int16_t coordinate() {
    const int value = range < 128 ? static_cast<std::int8_t>(input.byte()) : input.word();
    return static_cast<std::int16_t>(range == 32767 ? value : value % (range + 1));
  }

  fuzz::Input& input;
  int range = 0;
};

// ---- Predicates ----

// The judge computes with doubles. What does not touch is apart by more than this: the distance of
// a point of the grid from a line is a whole number over the line's length, so at least 1 / 92681;
// but an outline that crosses itself has crossings off the grid, which may come much nearer to a
// line. Verdicts on those are only compared where they are clear.
constexpr double TOUCHING = 1e-9;
constexpr double APART = 1e-5;

void checkVerdict(bool found, const judge::Shape& a, const judge::Shape& b, const char* what,
                  const std::vector<Points>& outlines) {
  const double distance = judge::distance(a, b);
  if (distance > TOUCHING && distance < APART) {
    return;
  }
  require(found == (distance <= TOUCHING), what, textOf(outlines));
}

void checkInside(const gm_point& point, const Points& polygon) {
  require((gm_inside_p(point, polygon.data(), size(polygon)) == 1) ==
              (!polygon.empty() && polygons::isInside(point, polygon)),
          "inside is where the border turns about the point an odd number of times",
          textOf({{point}, polygon}));
}

std::vector<Point> toPoints(const Points& points) {
  std::vector<Point> converted;
  for (const gm_point& point : points) {
    converted.push_back({point.x, point.y});
  }
  return converted;
}

Points toPoints(const std::vector<Point>& points) {
  Points converted;
  for (const Point& point : points) {
    converted.push_back({point.x, point.y});
  }
  return converted;
}

Polygon toPolygon(const Points& points) {
  return Polygon(toPoints(points));
}

void checkPredicates(Generator& generator) {
  const Points a = generator.points(3, MOST_VERTICES);
  const Points b = generator.like(a, 3, MOST_VERTICES);
  const Points line = generator.like(a, 1, 4);
  checkInside(generator.point(), a);
  checkInside(b.front(), a);
  const judge::Shape shapeA = judge::polygon(a);
  const judge::Shape shapeB = judge::polygon(b);
  const judge::Shape shapeLine = judge::line(line);

  const bool touch = gm_intersect_pp(a.data(), size(a), b.data(), size(b)) == 1;
  checkVerdict(touch, shapeA, shapeB, "polygons that share a point intersect", {a, b});
  require(touch == (gm_intersect_pp(b.data(), size(b), a.data(), size(a)) == 1),
          "whichever is asked first", textOf({a, b}));
  const bool meets = gm_intersect_ps(a.data(), size(a), line.data(), size(line)) == 1;
  checkVerdict(meets, shapeA, shapeLine, "a line that shares a point intersects", {a, line});
  checkVerdict(gm_intersect_ss(line.data(), size(line), b.data(), size(b)) == 1, shapeLine,
               judge::line(b), "lines that share a point intersect", {line, b});

  const Polygon polygonA = toPolygon(a);
  const Polygon polygonB = toPolygon(b);
  require(polygonA.doesIntersect(polygonB) == touch, "the class asks the library");
  require(polygonA.doesIntersect(Polyline(toPoints(line))) == meets, "for lines as well");
  const bool allInside =
      std::ranges::all_of(b, [&a](const gm_point& point) { return polygons::isInside(point, a); });
  require(polygonA.isPolygonInside(polygonB) == allInside, "inside is with every vertex inside",
          textOf({a, b}));
}

// ---- Areas ----

// A vertex of a piece is a crossing that was rounded to the grid, so it is off by at most half a
// step in x and in y, and an edge lies aside of the true one by no more than sqrt(0.5). Where
// rounding makes an outline fold or touch itself, it is clipped anew and its vertices are rounded
// again.
constexpr double ASIDE = 2;

struct Operation {
  gm_clip_e number;
  std::function<bool(bool, bool)> keeps;
};

const Operation OPERATIONS[] = {
    {GM_CLIP_INTERSECTION, [](bool subject, bool clip) { return subject && clip; }},
    {GM_CLIP_UNION, [](bool subject, bool clip) { return subject || clip; }},
    {GM_CLIP_XOR, [](bool subject, bool clip) { return subject != clip; }},
    {GM_CLIP_CUT_OFF, [](bool subject, bool clip) { return subject && !clip; }},
};

std::vector<Points> clip(const Points& subject, const Points& clip, gm_clip_e operation) {
  gm_point** results = nullptr;
  int* counts = nullptr;
  const int found = gm_clip_pp(subject.data(), size(subject), clip.data(), size(clip), operation,
                               &results, &counts);
  require(found >= 0, "areas can be clipped", textOf({subject, clip}));
  require((results != nullptr) == (found > 0) && (counts != nullptr) == (found > 0),
          "there is nothing to release without pieces");
  std::vector<Points> outlines;
  for (int i = 0; i < found; ++i) {
    outlines.emplace_back(results[i], results[i] + counts[i]);
    std::free(results[i]);
  }
  std::free(results);
  std::free(counts);
  return outlines;
}

double lengthOf(const Points& outline) {
  double sum = 0;
  for (std::size_t i = 0; i < outline.size(); ++i) {
    const gm_point next = outline[(i + 1) % outline.size()];
    sum += std::hypot(next.x - outline[i].x, next.y - outline[i].y);
  }
  return sum;
}

void checkPieces(const std::vector<Points>& pieces, const Points& subject, const Points& clip,
                 const Operation& operation) {
  const std::string details =
      std::to_string(operation.number) + '\n' + textOf({subject, clip}) + "gave\n" + textOf(pieces);
  double area = 0;
  double length = 0;
  for (const Points& piece : pieces) {
    require(piece.size() >= 3, "a piece has an area", details);
    require(polygons::doubledArea(piece) != 0, "a piece has an area", details);
    require(judge::isSimple(piece), "a piece does not cross itself", details);
    area += static_cast<double>(std::abs(polygons::doubledArea(piece))) / 2;
    length += lengthOf(piece);
  }
  const judge::Shape expected = judge::areaWhere(subject, clip, operation.keeps);
  require(judge::wrongArea(expected, pieces, ASIDE) < 1e-3,
          "nothing is kept or cut off wrongly but along the edges", details);
  require(std::fabs(judge::area(expected) - area) <= ASIDE * (judge::length(expected) + length),
          "pieces lie side by side", details);
}

void checkClipping(Generator& generator, const Operation& operation) {
  const Points subject = generator.points(0, MOST_VERTICES);
  const Points other = generator.like(subject, 0, MOST_VERTICES);
  checkPieces(clip(subject, other, operation.number), subject, other, operation);
}

// The clip polygon without the subject's vertices: each makes way to the nearest free point, that
// is on the smallest square ring around it that has one within the picture.
Points withoutDuplicates(const Points& subject, const Points& other) {
  std::set<Point> taken;
  for (const Point& point : toPoints(subject)) {
    taken.insert(point);
  }
  const auto inPicture = [](int value) {
    return static_cast<std::int16_t>(std::clamp(value, -4096, 4096));
  };
  const auto nearestFree = [&](const Point& point) {
    for (int ring = 1;; ++ring) {
      std::vector<Point> places;
      for (int x = -ring; x <= ring; ++x) {
        places.push_back({inPicture(point.x + x), inPicture(point.y + ring)});
        places.push_back({inPicture(point.x + x), inPicture(point.y - ring)});
      }
      for (int y = 1 - ring; y < ring; ++y) {
        places.push_back({inPicture(point.x - ring), inPicture(point.y + y)});
        places.push_back({inPicture(point.x + ring), inPicture(point.y + y)});
      }
      for (const Point& place : places) {
        if (!taken.contains(place)) {
          return place;
        }
      }
    }
  };
  std::vector<Point> adjusted = toPoints(other);
  for (Point& point : adjusted) {
    if (!taken.contains(point)) {
      continue;
    }
    point = nearestFree(point);
    taken.insert(point);
  }
  return toPoints(adjusted);
}

// Areas are configured within the picture; what they are clipped by may reach beyond.
Points inPicture(Points points) {
  for (gm_point& point : points) {
    point.x = std::clamp<std::int16_t>(point.x, -4096, 4096);
    point.y = std::clamp<std::int16_t>(point.y, -4096, 4096);
  }
  return points;
}

// Intersecting and cutting off share the picture out: each part is what the judge says.
void checkPolygonClipping(Generator& generator) {
  const Polygon subject = toPolygon(inPicture(generator.points(0, MOST_VERTICES)));
  const Points vertices = toPoints(subject.getVertices());
  const Polygon other = toPolygon(generator.like(vertices, 0, MOST_VERTICES));
  const Points adjusted = withoutDuplicates(vertices, toPoints(other.getVertices()));
  const auto check = [&](void (Polygon::*cut)(const Polygon&, PolygonContainer&) const,
                         const Operation& operation) {
    PolygonContainer container;
    (subject.*cut)(other, container);
    std::vector<Points> pieces;
    for (const auto& piece : container) {
      pieces.push_back(toPoints(piece->getVertices()));
    }
    checkPieces(pieces, vertices, adjusted, operation);
  };
  check(&Polygon::intersect, OPERATIONS[0]);
  check(&Polygon::cutOff, OPERATIONS[3]);
}

// ---- Centroid and scale ----

long double nearest(long double value) {
  return value < 0 ? -std::floor(-value + 0.5L) : std::floor(value + 0.5L);
}

// The weighted mean of triangles about the first vertex.
void checkCentroid(const Points& polygon) {
  long double area = 0;
  long double x = 0;
  long double y = 0;
  for (std::size_t i = 1; i + 1 < polygon.size(); ++i) {
    const gm_point a = polygon[0];
    const gm_point b = polygon[i];
    const gm_point c = polygon[i + 1];
    const long double triangle = static_cast<long double>(b.x - a.x) * (c.y - a.y) -
                                 static_cast<long double>(b.y - a.y) * (c.x - a.x);
    area += triangle;
    x += triangle * (a.x + b.x + c.x);
    y += triangle * (a.y + b.y + c.y);
  }
  gm_point found{77, 77};
  const int result = gm_centroid_p(polygon.data(), size(polygon), &found);
  const long double meanX = area != 0 ? x / (3 * area) : 0;
  const long double meanY = area != 0 ? y / (3 * area) : 0;
  const auto fits = [](long double value) { return value > -32768.5L && value < 32767.5L; };
  if (area == 0 || !fits(meanX) || !fits(meanY)) {
    require(result == -1 && found.x == 77 && found.y == 77, "without an area there is no centroid",
            textOf({polygon}));
    return;
  }
  // Two numbers of 64 bits are divided: only halves may be rounded to the other side.
  require(result == 0 && std::fabs(found.x - meanX) < 0.5L + 1e-9L &&
              std::fabs(found.y - meanY) < 0.5L + 1e-9L,
          "the centroid is the nearest point of the grid", textOf({polygon, {found}}));
  const Point point = toPolygon(polygon).getCentroid();
  require(point.x == found.x && point.y == found.y, "the class asks the library");
}

void checkScale(const Points& polygon, const std::int32_t (&scale)[2]) {
  Points found = polygon;
  const int result = gm_transform_scale(found.data(), size(found), scale);
  const auto scaled = [](std::int16_t value, std::int32_t factor) {
    return nearest(static_cast<long double>(value) * factor / 65536);
  };
  bool fits = true;
  for (const gm_point& point : polygon) {
    for (const long double value : {scaled(point.x, scale[0]), scaled(point.y, scale[1])}) {
      fits = fits && value >= -32768 && value <= 32767;
    }
  }
  require(result == (fits ? 0 : -1), "scaling fails beyond 16 bits", textOf({polygon}));
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const gm_point before = polygon[i];
    require(found[i].x == (fits ? scaled(before.x, scale[0]) : before.x) &&
                found[i].y == (fits ? scaled(before.y, scale[1]) : before.y),
            "every coordinate is scaled to the nearest point, or none", textOf({polygon, found}));
  }
}

void checkShape(Generator& generator, fuzz::Input& input) {
  const Points points = generator.points(0, MOST_VERTICES);
  if (points.size() >= 3) {
    checkCentroid(points);
  }
  checkScale(points, {input.number(), input.number()});

  const Polygon polygon = toPolygon(points);
  require(polygon == *polygon.clone(), "a polygon equals its copy");
  std::vector<Point> turned = polygon.getVertices();
  std::rotate(turned.begin(), turned.begin() + input.byte() % turned.size(), turned.end());
  if (input.flag()) {
    std::ranges::reverse(turned);
  }
  const std::set<Point> different(turned.begin(), turned.end());
  if (different.size() == turned.size()) {
    require(polygon == Polygon(turned), "wherever its outline begins, and in both directions");
  }
  const Polygon scaled = polygon.createScaledCopy(static_cast<float>(input.number()) / 65536.0F);
  require(scaled.getVertices().size() == polygon.getVertices().size(),
          "scaling keeps the vertices");
  const auto [left, right] = std::ranges::minmax(scaled.getVertices(), {}, &Point::x);
  require(scaled.getMinX() == left.x && scaled.getMaxX() == right.x &&
              scaled.getWidth() == right.x - left.x,
          "the bounding box is that of the vertices");
  require(!polygon.toStringSvg("", "c").empty() && !polygon.toBoundingBoxStringSvg("", "c").empty(),
          "every polygon can be drawn");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const int what = input.between(0, 7);
  Generator generator(input);
  switch (what) {
    case 0:
    case 1:
    case 2:
    case 3:
      checkClipping(generator, OPERATIONS[what]);
      break;
    case 4:
      checkPolygonClipping(generator);
      break;
    case 5:
      checkShape(generator, input);
      break;
    default:
      checkPredicates(generator);
      break;
  }
  LogCapture::clear();
  return 0;
}
