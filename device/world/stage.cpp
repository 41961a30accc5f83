#include "world/stage.h"

#include <cmath>
#include <utility>

namespace device {

Placement::Placement(const GroundPoint& from, const GroundPoint& to, double turn)
    : from(from), to(to), cosine(std::cos(toRadians(turn))), sine(std::sin(toRadians(turn))) {}

GroundPoint Placement::apply(const GroundPoint& point) const {
  const GroundPoint turned = turn({point.x - from.x, point.y - from.y});
  return {turned.x + to.x, turned.y + to.y};
}

Person Placement::apply(const Person& person) const {
  return {.id = person.id, .position = apply(person.position), .velocity = turn(person.velocity)};
}

GroundPoint Placement::turn(const GroundPoint& vector) const {
  return {cosine * vector.x - sine * vector.y, sine * vector.x + cosine * vector.y};
}

Stage::Stage(std::vector<double> pans, double distance, double turn)
    : pans(std::move(pans)), distance(distance), turn(turn) {}

Placement Stage::placementFor(const Bounds& bounds, int number) const {
  const double pan = pans[static_cast<std::size_t>(number) % pans.size()];
  const GroundPoint middle{(bounds.low.x + bounds.high.x) / 2, (bounds.low.y + bounds.high.y) / 2};
  const GroundPoint place{distance * std::sin(toRadians(pan)), distance * std::cos(toRadians(pan))};
  // Pan grows clockwise, turns of the plane grow counter-clockwise.
  return Placement(middle, place, turn - pan);
}

}  // namespace device
