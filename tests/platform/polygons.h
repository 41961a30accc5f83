// Polygons for tests: seeded random ones of every kind that the daemon meets, and plain formulas
// about them that do not share a line with the library.
#ifndef TESTS_PLATFORM_POLYGONS_H
#define TESTS_PLATFORM_POLYGONS_H

#include <cstdint>
#include <random>
#include <vector>

#include "gm.h"

namespace polygons {

using Points = std::vector<gm_point>;

// Draws polygons whose coordinates lie between -range and range. A small range makes shared
// vertices, shared edges and points on edges frequent.
class Generator {
 public:
  Generator(uint32_t seed, int range) : random(seed), range(range) {}

  int number(int low, int high);
  gm_point point();
  Points points(int count);       // any points: nearly always crosses itself
  Points convex(int directions);  // clockwise or not
  Points concave(int directions);
  Points tiny();                  // what an outline of one or two points is padded to
  Points likeThat(Points other);  // shares vertices and edges with the other
  Points any();
  Points anyWith(const Points& other);

 private:
  gm_point towards(double angle, double radius) const;
  std::vector<double> angles(int count);

  std::mt19937 random;
  int range;
};

// By the number of turns that the border makes about the point, in floating point.
bool isInside(gm_point point, const Points& polygon);

bool isOnBorder(gm_point point, const Points& polygon);

// Twice the area that the border encloses, positive when it runs counter-clockwise.
int64_t doubledArea(const Points& polygon);

// The point with both coordinates moved by one towards the middle, as outlines are padded.
gm_point padded(gm_point point);

}  // namespace polygons

inline bool operator==(gm_point a, gm_point b) {
  return a.x == b.x && a.y == b.y;
}

#endif
