#include "following/bearing_filter.h"

#include <algorithm>
#include <cmath>

#include "following/pictures.h"
#include "following/units.h"

namespace following {

namespace {

constexpr double FASTEST_STAMPED = 30.0;  // deg/s, beyond which a rate widens a direction no more
constexpr double SURE_TO_MOVE = 0.5;      // from here on there is a course

bool isFinite(const BearingFilter::Observation& observation) {
  return std::isfinite(observation.pan) && std::isfinite(observation.tilt) &&
         std::isfinite(observation.width) && std::isfinite(observation.height);
}

}  // namespace

BearingFilter::BearingFilter(const Observation& first, double deviation)
    : deviation(deviation),
      width(first.width),
      height(first.height),
      filter({first.time,
              {first.pan, first.tilt},
              Eigen::Vector2d(squared(deviation / foreshortening(radians(first.tilt))),
                              squared(deviation))
                  .asDiagonal()},
             ACCELERATION_DENSITY, FIRST_DEVIATION) {}

GroundFilter::Verdict BearingFilter::update(const Observation& observation) {
  if (!isFinite(observation)) {
    return GroundFilter::Verdict::dropped;
  }
  const double expected = GroundFilter::predict(filter.state(), observation.time).mean(0);
  const double pan = expected + wrapped(observation.pan - expected);
  const double stamp = STAMP_DEVIATION * std::min(filter.speed(), FASTEST_STAMPED);
  const Eigen::Vector2d variances(squared(deviation / foreshortening(radians(observation.tilt))),
                                  squared(deviation));
  const GroundFilter::Verdict verdict =
      filter.update({observation.time,
                     {pan, observation.tilt},
                     (variances.array() + squared(stamp)).matrix().asDiagonal()});
  if (verdict == GroundFilter::Verdict::taken || verdict == GroundFilter::Verdict::restarted) {
    width = observation.width;
    height = observation.height;
  }
  return verdict;
}

Subject BearingFilter::predict(std::int64_t time) const {
  const GroundFilter::State state = GroundFilter::predict(filter.state(), time);
  const double moves = walking(filter.state(), STANDING_RATE);
  const double elapsed = secondsBetween(filter.state().time, state.time);
  const Eigen::Vector2d rate = moves * filter.state().mean.tail<2>();
  const Eigen::Vector2d place = filter.state().mean.head<2>() + elapsed * rate;
  Subject subject;
  subject.pan = wrapped(place.x());
  subject.tilt = std::clamp(place.y(), -90.0, 90.0);
  subject.panRate = rate.x();
  subject.tiltRate = subject.tilt == place.y() ? rate.y() : 0.0;
  subject.width = width;
  subject.height = height;
  subject.deviation =
      std::sqrt(std::max(state.covariance(0, 0) * squared(foreshortening(radians(subject.tilt))),
                         state.covariance(1, 1)));
  subject.walks = moves;
  subject.hasCourse = moves > SURE_TO_MOVE;
  for (std::size_t i = 0; subject.hasCourse && i < subject.course.size(); ++i) {
    const double seconds = Subject::COURSE_STEP * static_cast<double>(i);
    subject.course[i] = {subject.pan + seconds * rate.x(),
                         std::clamp(subject.tilt + seconds * rate.y(), -90.0, 90.0)};
  }
  return subject;
}

}  // namespace following
