#ifndef GEOMETRY_POLYGON_CONTAINER_H
#define GEOMETRY_POLYGON_CONTAINER_H

#include <cstddef>
#include <memory>
#include <vector>

#include "geometry/polygon.h"

// Owns polygons. Copies are deep.
class PolygonContainer {
 public:
  using Polygons = std::vector<std::unique_ptr<Polygon>>;

  PolygonContainer() = default;

  // Only for other applications of these classes.
  PolygonContainer(const PolygonContainer& other);

  PolygonContainer& operator=(const PolygonContainer& other);
  PolygonContainer(PolygonContainer&&) = default;
  PolygonContainer& operator=(PolygonContainer&&) = default;
  ~PolygonContainer() = default;

  // Takes the polygon; null is ignored.
  void insert(std::unique_ptr<Polygon> polygon);

  // Adds copies of the other's polygons.
  // Only for other applications of these classes.
  void append(const PolygonContainer& other);

  // Moves the other's polygons over; the other is empty afterwards.
  // Only for other applications of these classes.
  void takeOwnership(PolygonContainer& other);

  void clear() { polygons.clear(); }
  bool empty() const { return polygons.empty(); }
  std::size_t size() const { return polygons.size(); }
  const Polygon& operator[](std::size_t index) const { return *polygons[index]; }
  Polygons::const_iterator begin() const { return polygons.begin(); }
  Polygons::const_iterator end() const { return polygons.end(); }

 private:
  Polygons polygons;
};

#endif
