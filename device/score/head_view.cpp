#include "score/head_view.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace device {
namespace {

constexpr double NEAREST = 0.01;  // metres in front of the lens

}  // namespace

Direction middleOf(const ScoredPerson& person, const ScoreSetup& setup) {
  return directionOf({person.position.x, person.position.y, person.height / 2 - setup.mastHeight});
}

HeadView::HeadView(const HeadPose& pose, const ScoreSetup& setup)
    : setup(setup),
      sinePan(std::sin(toRadians(pose.pan))),
      cosinePan(std::cos(toRadians(pose.pan))),
      sineTilt(std::sin(toRadians(pose.tilt))),
      cosineTilt(std::cos(toRadians(pose.tilt))),
      halfWidth(std::tan(toRadians(pose.field / 2))),
      halfHeight(halfWidth * setup.pictureHeight / setup.pictureWidth) {}

PersonInView HeadView::viewOf(const ScoredPerson& person) const {
  const GroundPoint& at = person.position;
  const SpacePoint middle = inHead({at.x, at.y, person.height / 2});
  const SpacePoint feet = inHead({at.x, at.y, 0});
  const SpacePoint crown = inHead({at.x, at.y, person.height});
  const double distance = std::hypot(at.x, at.y);
  const double aside = SCORED_WIDTH / 2;
  const double x = distance > 0 ? at.y / distance * aside : aside;
  const double y = distance > 0 ? -at.x / distance * aside : 0;
  const std::array<SpacePoint, 4> corners{
      inHead({at.x + x, at.y + y, 0}), inHead({at.x - x, at.y - y, 0}),
      inHead({at.x + x, at.y + y, person.height}), inHead({at.x - x, at.y - y, person.height})};
  PersonInView view;
  view.error = toDegrees(std::atan2(std::hypot(middle.x, middle.z), middle.y));
  view.middleInPicture = isInPicture(middle);
  view.wholeInPicture = std::all_of(corners.begin(), corners.end(),
                                    [&](const SpacePoint& corner) { return isInPicture(corner); });
  view.density = middle.y > NEAREST ? setup.pictureWidth / (2 * halfWidth * middle.y) : 0;
  view.heightShare = coveredHeight(feet, crown);
  return view;
}

SpacePoint HeadView::inHead(const SpacePoint& point) const {
  const double right = point.x * cosinePan - point.y * sinePan;
  const double ahead = point.x * sinePan + point.y * cosinePan;
  const double up = point.z - setup.mastHeight;
  return {
      .x = right, .y = ahead * cosineTilt + up * sineTilt, .z = up * cosineTilt - ahead * sineTilt};
}

bool HeadView::isInPicture(const SpacePoint& inHead) const {
  return inHead.y > NEAREST && std::abs(inHead.x) <= inHead.y * halfWidth &&
         std::abs(inHead.z) <= inHead.y * halfHeight;
}

// The line between the two, cut at the edges of the picture.
double HeadView::coveredHeight(const SpacePoint& feet, const SpacePoint& crown) const {
  // Inside of each edge is where its number is 0 or more.
  const auto edges = [&](const SpacePoint& point) {
    return std::array<double, 5>{point.y - NEAREST, point.y * halfWidth - point.x,
                                 point.y * halfWidth + point.x, point.y * halfHeight - point.z,
                                 point.y * halfHeight + point.z};
  };
  const std::array<double, 5> atFeet = edges(feet);
  const std::array<double, 5> atCrown = edges(crown);
  double from = 0;
  double to = 1;
  for (std::size_t edge = 0; edge < atFeet.size(); ++edge) {
    if (atFeet[edge] < 0 && atCrown[edge] < 0) {
      return 0;
    }
    const double crossing = atFeet[edge] / (atFeet[edge] - atCrown[edge]);
    if (atFeet[edge] < 0) {
      from = std::max(from, crossing);
    } else if (atCrown[edge] < 0) {
      to = std::min(to, crossing);
    }
  }
  if (from >= to) {
    return 0;
  }
  const auto heightAt = [&](double share) {
    return std::lerp(feet.z, crown.z, share) / std::lerp(feet.y, crown.y, share);
  };
  return (heightAt(to) - heightAt(from)) / (2 * halfHeight);
}

}  // namespace device
