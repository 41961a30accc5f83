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
  return {.id = person.id,
          .position = apply(person.position),
          .velocity = turn(person.velocity),
          .height = person.height};
}

GroundPoint Placement::turn(const GroundPoint& vector) const {
  return {cosine * vector.x - sine * vector.y, sine * vector.x + cosine * vector.y};
}

Placement placementAround(const GroundPoint& mast, const GroundPoint& home, double homePan) {
  const double pan = toDegrees(std::atan2(home.x - mast.x, home.y - mast.y));
  return Placement(mast, {0, 0}, pan - homePan);
}

Stage::Stage(std::vector<double> pans, double distance, double turn)
    : pans(std::move(pans)), distance(distance), turn(turn) {}

Stage::Stage(const Placement& placement) : placement(placement) {}

Placement Stage::placementFor(const Bounds& bounds, int number) const {
  if (placement) {
    return *placement;
  }
  const double pan = pans[static_cast<std::size_t>(number) % pans.size()];
  const GroundPoint middle{(bounds.low.x + bounds.high.x) / 2, (bounds.low.y + bounds.high.y) / 2};
  const GroundPoint place{distance * std::sin(toRadians(pan)), distance * std::cos(toRadians(pan))};
  // Pan grows clockwise, turns of the plane grow counter-clockwise.
  return Placement(middle, place, turn - pan);
}

}  // namespace device
