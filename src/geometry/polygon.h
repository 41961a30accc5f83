#ifndef GEOMETRY_POLYGON_H
#define GEOMETRY_POLYGON_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "geometry/point.h"

class Polyline;
class PolygonContainer;

// An area of the image plane: vertices in order, the last joined to the first, with its bounding
// box. Inside, intersection and clipping are those of the device's geometry library: even-odd,
// borders count, touching counts as intersecting.
//
// A polygon always has at least three vertices: fewer are padded to a tiny triangle or rectangle,
// so that the library gets an area.
class Polygon {
 public:
  // The triangle (0,0), (0,1), (1,0).
  Polygon();

  // Copies the vertices; an empty span is the triangle above.
  explicit Polygon(std::span<const Point> vertices);

  // The upright rectangle around a centre (integer halves).
  // Only for other applications of these classes.
  Polygon(const Point& centre, std::int16_t width, std::int16_t height);

  // The upright rectangle of the given limits.
  // Only for other applications of these classes.
  Polygon(int minX, int maxX, int minY, int maxY);

  std::unique_ptr<Polygon> clone() const;

  // Takes these vertices as they stand, without padding, and recomputes the bounding box. An empty
  // span empties the polygon and makes width and height -65535; one without data does nothing.
  void initialize(std::span<const Point> array);

  // Takes these vertices, padded where they are too few, in the memory that the polygon has. Pairs
  // of x and y, of which the low 16 bits count.
  void assign(std::span<const std::int32_t> coordinates);

  // Becomes the upright rectangle of the given limits, in the memory that the polygon has.
  void assignRectangle(int minX, int maxX, int minY, int maxY);

  // Equal counts, and the same vertices in the same or the opposite direction, beginning at any of
  // them. The first vertex is looked for once: with a repeated vertex only its first place counts.
  // Only for other applications of these classes.
  bool operator==(const Polygon& other) const;

  const std::vector<Point>& getVertices() const { return vertices; }
  std::int32_t getWidth() const { return width; }
  std::int32_t getHeight() const { return height; }
  std::int16_t getMinX() const { return minX; }
  std::int16_t getMinY() const { return minY; }
  std::int16_t getMaxX() const { return maxX; }
  std::int16_t getMaxY() const { return maxY; }

  // Index of the first vertex equal to p, or -1.
  // Only for other applications of these classes.
  int findPosition(const Point& p) const;

  bool doesIntersect(const Polygon& other) const;

  // Only for applications that have fences.
  bool doesIntersect(const Polyline& line) const;

  // Whether every vertex of the other polygon lies inside this one.
  bool isPolygonInside(const Polygon& other) const;

  // Of the area; the first vertex where the library has no answer.
  Point getCentroid() const;

  // Shifts every vertex so that the centroid comes to p. The bounding box stays as it was.
  // Only for other applications of these classes.
  void moveTo(const Point& p);

  // A copy scaled about its centroid; an unscaled one, with a warning, when that fails.
  // Only for other applications of these classes.
  Polygon createScaledCopy(float factor) const;

  // Appends the pieces of this polygon inside (or outside) the other one.
  void intersect(const Polygon& other, PolygonContainer& result) const;
  void cutOff(const Polygon& other, PolygonContainer& result) const;

  // Logs the vertices.
  // Only for developers' logs.
  void print() const;

  // SVG elements with the given style (may be empty) and class: the outline, or its bounding box.
  std::string toStringSvg(const std::string& style, const std::string& svgClass) const;
  std::string toBoundingBoxStringSvg(const std::string& style, const std::string& svgClass) const;

 private:
  void measure();
  void clip(const Polygon& other, int operation, PolygonContainer& result) const;
  std::vector<Point> adjustDuplicates(const std::vector<Point>& clipVertices) const;

  std::vector<Point> vertices;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int16_t minX = 0;
  std::int16_t minY = 0;
  std::int16_t maxX = 0;
  std::int16_t maxY = 0;
};

#endif
