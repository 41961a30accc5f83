#include "score/clairvoyant.h"

#include <algorithm>
#include <cmath>

#include "score/head_view.h"

namespace device {
namespace {

constexpr double PIECE = 0.005;  // seconds
constexpr double FILLED = 0.55;  // of the picture's height
constexpr double BRAKING_SHARE =
    0.9;  // of the acceleration, so that some is left to keep to a goal
constexpr double CATCH_UP = 4 * PIECE;  // seconds in which a small distance is made good
constexpr int HALVINGS = 40;

}  // namespace

ChasingAxis::ChasingAxis(const AxisSetup& setup, double position)
    : setup(setup), position(position) {}

void ChasingAxis::step(double seconds, const AxisGoal& goal) {
  const double wanted =
      setup.endless ? goal.position : std::clamp(goal.position, setup.low, setup.high);
  const double distance = setup.endless ? normalizedPan(wanted - position) : wanted - position;
  const double braking = std::sqrt(2 * BRAKING_SHARE * setup.acceleration * std::abs(distance));
  const double closing = std::min(braking, std::abs(distance) / CATCH_UP);
  const double speed =
      std::clamp(goal.rate + std::copysign(closing, distance), -setup.speed, setup.speed);
  const double change = setup.acceleration * seconds;
  const double before = velocity;
  velocity += std::clamp(speed - velocity, -change, change);
  position += (before + velocity) / 2 * seconds;
  if (setup.endless) {
    position = normalizedPan(position);
  } else if (position < setup.low || position > setup.high) {
    position = std::clamp(position, setup.low, setup.high);
    velocity = 0;
  }
}

ClairvoyantHead::ClairvoyantHead(const ScoreSetup& setup, const HeadSetup& head)
    : setup(setup),
      head(head),
      pan(head.pan, head.home.pan),
      tilt(head.tilt, head.home.tilt),
      zoom(head.home.zoom) {}

HeadPose ClairvoyantHead::follow(const ScoreSample& sample) {
  const Aim aim = aimAt(sample);
  if (lastTime) {
    const bool goesOn = aim.person == last.person;
    moveTowards(goesOn ? last : aim, aim, sample.time - *lastTime);
  }
  lastTime = sample.time;
  last = aim;
  return {
      .pan = pan.getPosition(), .tilt = tilt.getPosition(), .field = Head::fieldAngle(head, zoom)};
}

ClairvoyantHead::Aim ClairvoyantHead::aimAt(const ScoreSample& sample) {
  const ScoredPerson* person = choose(sample);
  const bool mayMove = person != nullptr && sample.time - chosenSince >= head.link.latency;
  return mayMove ? Aim{person->id, poseFor(*person)} : Aim{std::nullopt, homePose(head)};
}

// The one chosen before as long as it counts, else the nearest.
const ScoredPerson* ClairvoyantHead::choose(const ScoreSample& sample) {
  const HeadView view(
      {.pan = pan.getPosition(), .tilt = tilt.getPosition(), .field = head.maxFieldAngle}, setup);
  const ScoredPerson* nearest = nullptr;
  double least = 0;
  for (const ScoredPerson& person : sample.people) {
    if (!person.counts) {
      continue;
    }
    if (person.id == chosen) {
      return &person;
    }
    const double error = view.viewOf(person).error;
    if (nearest == nullptr || error < least) {
      nearest = &person;
      least = error;
    }
  }
  if (!chosen) {
    chosenSince = sample.time;
  }
  chosen = nearest == nullptr ? std::nullopt : std::optional(nearest->id);
  return nearest;
}

HeadPose ClairvoyantHead::poseFor(const ScoredPerson& person) const {
  const GroundPoint& at = person.position;
  const Direction middle = middleOf(person, setup);
  const Direction feet = directionOf({at.x, at.y, -setup.mastHeight});
  const Direction crown = directionOf({at.x, at.y, person.height - setup.mastHeight});
  const double halfHeight = std::tan(toRadians(angleBetween(feet, crown) / 2)) / FILLED;
  const double halfWidth = halfHeight * setup.pictureWidth / setup.pictureHeight;
  return {.pan = middle.pan, .tilt = middle.tilt, .field = toDegrees(2 * std::atan(halfWidth))};
}

// The position with the field, or the nearest there is.
double ClairvoyantHead::zoomFor(double field) const {
  double out = head.minZoom;
  double in = head.maxZoom;
  for (int i = 0; i < HALVINGS; ++i) {
    const double middle = (out + in) / 2;
    (Head::fieldAngle(head, middle) > field ? out : in) = middle;
  }
  return (out + in) / 2;
}

void ClairvoyantHead::moveTowards(const Aim& from, const Aim& to, double seconds) {
  const double panWay = normalizedPan(to.pose.pan - from.pose.pan);
  const double tiltWay = to.pose.tilt - from.pose.tilt;
  const int pieces = std::max(1, static_cast<int>(std::lround(seconds / PIECE)));
  const double piece = seconds / pieces;
  for (int i = 1; i <= pieces; ++i) {
    // Its speed is that towards where the goal is at the piece's end.
    const double share = static_cast<double>(i) / pieces;
    const double rest = 1 - share;
    pan.step(piece, {to.pose.pan - rest * panWay - panWay / seconds * piece, panWay / seconds});
    tilt.step(piece,
              {to.pose.tilt - rest * tiltWay - tiltWay / seconds * piece, tiltWay / seconds});
  }
  const double most = head.zoomSpeed * seconds;
  zoom += std::clamp(zoomFor(to.pose.field) - zoom, -most, most);
}

}  // namespace device
