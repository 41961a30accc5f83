#include "following/subject.h"

#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "following/pictures.h"
#include "following/units.h"

namespace following {

namespace {

constexpr double NEAREST_SQUARED = 0.09;  // m2, a floor below which bearings mean nothing
constexpr double BODY_WIDTH = 0.5;        // m
constexpr double SURE_TO_WALK = 0.5;      // from here on there is a course

// One person as the head would see him. Angles are radians.
struct View {
  double pan, tilt;
  double panRate, tiltRate;  // per second
  double halfWidth;          // of pan
  double halfHeight;
};

View viewOf(const Eigen::Vector4d& person, double headHeight, double bodyHeight) {
  const double x = person(0);
  const double y = person(1);
  const double vx = person(2);
  const double vy = person(3);
  const double r2 = std::max(NEAREST_SQUARED, x * x + y * y);
  const double r = std::sqrt(r2);
  const double k = headHeight - bodyHeight / 2.0;
  const double slant2 = r2 + k * k;
  View view{};
  view.pan = std::atan2(x, y);
  view.tilt = -std::atan2(k, r);
  view.panRate = (vx * y - vy * x) / r2;
  view.tiltRate = k * (x * vx + y * vy) / (r * slant2);
  view.halfWidth = std::atan(BODY_WIDTH / 2.0 / std::sqrt(slant2)) / foreshortening(view.tilt);
  view.halfHeight = (std::atan2(headHeight, r) - std::atan2(headHeight - bodyHeight, r)) / 2.0;
  return view;
}

// At constant velocity, the velocity taken for what it is worth.
Eigen::Vector4d placeAt(const Member& member, std::int64_t time, double walks) {
  Eigen::Vector4d place = member.state->mean;
  place.tail<2>() *= walks;
  place.head<2>() += secondsBetween(member.state->time, time) * place.tail<2>();
  return place;
}

// The larger deviation of the direction, radians: across the line of sight or along it.
double deviationOf(const Member& member, std::int64_t time, const Eigen::Vector4d& place,
                   double headHeight) {
  const GroundFilter::State state = GroundFilter::predict(*member.state, time);
  const double r2 = std::max(NEAREST_SQUARED, place.head<2>().squaredNorm());
  const double k = headHeight - member.height / 2.0;
  const double slant2 = r2 + k * k;
  const double pan = std::atan2(place(0), place(1));
  const Eigen::Vector2d sight(std::sin(pan), std::cos(pan));
  const Eigen::Vector2d aside(sight.y(), -sight.x());
  const Eigen::Matrix2d covariance = state.covariance.topLeftCorner<2, 2>();
  const double across = std::sqrt(std::max(aside.dot(covariance * aside), 0.0));
  const double along = std::sqrt(std::max(sight.dot(covariance * sight), 0.0));
  return std::max(across / std::sqrt(slant2), along * std::abs(k) / slant2);
}

// A border of a box, and how fast it moves.
struct Edge {
  double at;
  double rate;
};

// Holds views side by side; pans are relative to that of the first.
class Box {
 public:
  void take(const View& view) {
    if (isEmpty) {
      reference = view.pan;
    }
    const double pan = std::remainder(view.pan - reference, 2.0 * std::numbers::pi);
    const Edge edges[] = {{pan - view.halfWidth, view.panRate},
                          {pan + view.halfWidth, view.panRate},
                          {view.tilt - view.halfHeight, view.tiltRate},
                          {view.tilt + view.halfHeight, view.tiltRate}};
    if (isEmpty || edges[0].at < left.at) {
      left = edges[0];
    }
    if (isEmpty || edges[1].at > right.at) {
      right = edges[1];
    }
    if (isEmpty || edges[2].at < bottom.at) {
      bottom = edges[2];
    }
    if (isEmpty || edges[3].at > top.at) {
      top = edges[3];
    }
    isEmpty = false;
  }

  double pan() const { return reference + (left.at + right.at) / 2.0; }
  double tilt() const { return (bottom.at + top.at) / 2.0; }
  double panRate() const { return (left.rate + right.rate) / 2.0; }
  double tiltRate() const { return (bottom.rate + top.rate) / 2.0; }
  double width() const { return (right.at - left.at) * std::cos(tilt()); }
  double height() const { return top.at - bottom.at; }

 private:
  bool isEmpty = true;
  double reference = 0.0;
  Edge left{}, right{}, bottom{}, top{};
};

Box boxAt(std::span<const Member> members, std::int64_t time, double headHeight) {
  Box box;
  for (const Member& member : members) {
    const Eigen::Vector4d place = placeAt(member, time, walking(*member.state));
    box.take(viewOf(place, headHeight, member.height));
  }
  return box;
}

void predictCourse(Subject& subject, std::span<const Member> members, std::int64_t time,
                   double headHeight) {
  double pan = subject.pan;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    const double seconds = Subject::COURSE_STEP * static_cast<double>(i);
    const Box box = boxAt(members, later(time, seconds), headHeight);
    pan += wrapped(degrees(box.pan()) - pan);
    subject.course[i] = {pan, degrees(box.tilt())};
  }
  subject.hasCourse = true;
}

bool isFinite(const Subject& subject) {
  return std::isfinite(subject.pan) && std::isfinite(subject.tilt) &&
         std::isfinite(subject.panRate) && std::isfinite(subject.tiltRate) &&
         std::isfinite(subject.width) && std::isfinite(subject.height) &&
         std::isfinite(subject.deviation);
}

}  // namespace

double walking(const GroundFilter::State& state, double standingSpeed) {
  const Eigen::Vector2d velocity = state.mean.tail<2>();
  const Eigen::Matrix2d covariance = state.covariance.bottomRightCorner<2, 2>();
  const double distance = velocity.dot(covariance.inverse() * velocity);
  const double fast = std::clamp(velocity.norm() / standingSpeed - 1.0, 0.0, 1.0);
  const double sure = std::clamp((distance - 1.0) / 2.0, 0.0, 1.0);
  return std::isfinite(distance) ? fast * sure : 0.0;
}

std::optional<Subject> predictSubject(std::span<const Member> members, std::int64_t time,
                                      double headHeight, Course course) {
  if (members.empty()) {
    return std::nullopt;
  }
  const Box box = boxAt(members, time, headHeight);
  Subject subject;
  subject.pan = wrapped(degrees(box.pan()));
  subject.tilt = degrees(box.tilt());
  subject.panRate = degrees(box.panRate());
  subject.tiltRate = degrees(box.tiltRate());
  subject.width = degrees(box.width());
  subject.height = degrees(box.height());
  for (const Member& member : members) {
    const double walks = walking(*member.state);
    const double deviation = deviationOf(member, time, placeAt(member, time, walks), headHeight);
    subject.deviation = std::max(subject.deviation, degrees(deviation));
    subject.walks = std::max(subject.walks, walks);
  }
  if (!isFinite(subject)) {
    return std::nullopt;
  }
  if (course == Course::predicted && subject.walks > SURE_TO_WALK) {
    predictCourse(subject, members, time, headHeight);
  }
  return subject;
}

}  // namespace following
