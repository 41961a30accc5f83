#include "world/stage.h"

#include <cmath>
#include <utility>

namespace device {

Placement::Placement(const GroundPoint& from, const GroundPoint& to, double turn)
    : from_(from), to_(to), cosine_(std::cos(toRadians(turn))), sine_(std::sin(toRadians(turn))) {}

GroundPoint Placement::apply(const GroundPoint& point) const {
  const GroundPoint turned = turn({point.x - from_.x, point.y - from_.y});
  return {turned.x + to_.x, turned.y + to_.y};
}

Person Placement::apply(const Person& person) const {
  return {.id = person.id, .position = apply(person.position), .velocity = turn(person.velocity)};
}

GroundPoint Placement::turn(const GroundPoint& vector) const {
  return {cosine_ * vector.x - sine_ * vector.y, sine_ * vector.x + cosine_ * vector.y};
}

Stage::Stage(std::vector<double> pans, double distance, double turn)
    : pans_(std::move(pans)), distance_(distance), turn_(turn) {}

Placement Stage::placementFor(const Bounds& bounds, int turn) const {
  const double pan = pans_[static_cast<std::size_t>(turn) % pans_.size()];
  const GroundPoint middle{(bounds.low.x + bounds.high.x) / 2, (bounds.low.y + bounds.high.y) / 2};
  const GroundPoint place{distance_ * std::sin(toRadians(pan)),
                          distance_ * std::cos(toRadians(pan))};
  // Pan grows clockwise, turns of the plane grow counter-clockwise.
  return Placement(middle, place, turn_ - pan);
}

}  // namespace device
