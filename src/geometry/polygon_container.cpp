#include "geometry/polygon_container.h"

#include <iterator>
#include <utility>

PolygonContainer::PolygonContainer(const PolygonContainer& other) {
  append(other);
}

PolygonContainer& PolygonContainer::operator=(const PolygonContainer& other) {
  if (this != &other) {
    clear();
    append(other);
  }
  return *this;
}

void PolygonContainer::insert(std::unique_ptr<Polygon> polygon) {
  if (polygon != nullptr) {
    polygons.push_back(std::move(polygon));
  }
}

void PolygonContainer::append(const PolygonContainer& other) {
  const std::size_t count = other.polygons.size();
  for (std::size_t i = 0; i < count; ++i) {
    insert(other.polygons[i]->clone());
  }
}

void PolygonContainer::takeOwnership(PolygonContainer& other) {
  if (this == &other) {
    return;
  }
  std::move(other.polygons.begin(), other.polygons.end(), std::back_inserter(polygons));
  other.polygons.clear();
}
