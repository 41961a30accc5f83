#include "world/scenery.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace device {
namespace {

// What of the line from 0 to 1 lies between two planes.
struct Part {
  double from = 0;
  double to = 1;

  void cutTo(double start, double change, double low, double high) {
    if (change == 0) {
      if (start < low || start > high) {
        to = -1;
      }
      return;
    }
    double enters = (low - start) / change;
    double leaves = (high - start) / change;
    if (enters > leaves) {
      std::swap(enters, leaves);
    }
    from = std::max(from, enters);
    to = std::min(to, leaves);
  }

  bool isEmpty() const { return from > to; }
};

GroundPoint turned(const Block& block, double x, double y) {
  const double turn = toRadians(block.turn);
  return {x * std::cos(turn) - y * std::sin(turn), x * std::sin(turn) + y * std::cos(turn)};
}

}  // namespace

bool hides(const Block& block, const SpacePoint& from, const SpacePoint& to) {
  const GroundPoint start = turned(block, from.x - block.middle.x, from.y - block.middle.y);
  const GroundPoint way = turned(block, to.x - from.x, to.y - from.y);
  Part part;
  part.cutTo(start.x, way.x, -block.width / 2, block.width / 2);
  part.cutTo(start.y, way.y, -block.depth / 2, block.depth / 2);
  part.cutTo(from.z, to.z - from.z, 0, block.height);
  return !part.isEmpty();
}

}  // namespace device
