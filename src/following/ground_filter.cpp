#include "following/ground_filter.h"

#include <Eigen/LU>

#include "following/units.h"

namespace following {

namespace {

// Beyond this the covariance has grown so far that more says nothing, and stays finite.
constexpr double LONGEST_STEP = 60.0;  // s

bool isFinite(const GroundFilter::Measurement& measurement) {
  return measurement.place.allFinite() && measurement.covariance.allFinite();
}

}  // namespace

GroundFilter::GroundFilter(const Measurement& first, double density, double firstDeviation)
    : firstDeviation(firstDeviation) {
  current.density = density;
  begin(first, Eigen::Vector2d::Zero());
}

void GroundFilter::begin(const Measurement& measurement, const Eigen::Vector2d& velocity) {
  current.time = measurement.time;
  current.mean << measurement.place, velocity;
  current.covariance.setZero();
  current.covariance.topLeftCorner<2, 2>() = measurement.covariance;
  current.covariance.bottomRightCorner<2, 2>().diagonal().setConstant(squared(firstDeviation));
  refused = 0;
  first = 0;
  count = 1;
  entries[0] = {measurement, current};
}

GroundFilter::Verdict GroundFilter::update(const Measurement& measurement) {
  if (!isFinite(measurement)) {
    return Verdict::dropped;
  }
  if (measurement.time < current.time) {
    return insert(measurement);
  }
  if (!(distanceTo(measurement) <= GATE)) {
    if (refused < MOST_REFUSED) {
      ++refused;
      return Verdict::refused;
    }
    begin(measurement, current.mean.tail<2>());
    return Verdict::restarted;
  }
  refused = 0;
  keep(measurement);
  apply(measurement);
  return Verdict::taken;
}

GroundFilter::Verdict GroundFilter::updateUngated(const Measurement& measurement) {
  if (!isFinite(measurement)) {
    return Verdict::dropped;
  }
  if (measurement.time < current.time) {
    return insert(measurement);
  }
  refused = 0;
  keep(measurement);
  apply(measurement);
  return Verdict::taken;
}

// Goes back to what was known before its place and does the later ones again.
GroundFilter::Verdict GroundFilter::insert(const Measurement& measurement) {
  std::size_t place = count;
  while (place > 0 && entry(place - 1).measurement.time > measurement.time) {
    --place;
  }
  if (place == 0) {
    return Verdict::dropped;
  }
  current = entry(place).before;
  Measurement next = measurement;
  for (; place < count; ++place) {
    std::swap(next, entry(place).measurement);
    entry(place).before = current;
    apply(entry(place).measurement);
  }
  keep(next);
  apply(next);
  return Verdict::taken;
}

void GroundFilter::apply(const Measurement& measurement) {
  current = predict(current, measurement.time);
  const Eigen::Matrix2d innovation =
      current.covariance.topLeftCorner<2, 2>() + measurement.covariance;
  const Eigen::Matrix<double, 4, 2> gain = current.covariance.leftCols<2>() * innovation.inverse();
  if (!gain.allFinite()) {
    return;
  }
  current.mean += gain * (measurement.place - current.mean.head<2>());
  const Eigen::Matrix4d updated = current.covariance - gain * current.covariance.topRows<2>();
  current.covariance = 0.5 * (updated + updated.transpose());
}

void GroundFilter::keep(const Measurement& measurement) {
  if (count == KEPT) {
    first = (first + 1) % KEPT;
    --count;
  }
  entry(count) = {measurement, current};
  ++count;
}

double GroundFilter::distanceTo(const Measurement& measurement) const {
  const State expected = predict(current, measurement.time);
  const Eigen::Matrix2d innovation =
      expected.covariance.topLeftCorner<2, 2>() + measurement.covariance;
  const Eigen::Vector2d off = measurement.place - expected.mean.head<2>();
  return off.dot(innovation.inverse() * off);
}

void GroundFilter::loosen(double place, double velocity) {
  current.covariance.topLeftCorner<2, 2>().diagonal().array() += place;
  current.covariance.bottomRightCorner<2, 2>().diagonal().array() += velocity;
  first = 0;
  count = 0;
}

GroundFilter::State GroundFilter::predict(const State& state, std::int64_t time) {
  if (time <= state.time) {
    return state;
  }
  const double dt = std::min(secondsBetween(state.time, time), LONGEST_STEP);
  State later = state;
  later.time = time;
  later.mean.head<2>() += dt * state.mean.tail<2>();
  // F P F^T by blocks.
  const Eigen::Matrix2d place = state.covariance.topLeftCorner<2, 2>();
  const Eigen::Matrix2d mixed = state.covariance.topRightCorner<2, 2>();
  const Eigen::Matrix2d velocity = state.covariance.bottomRightCorner<2, 2>();
  const Eigen::Matrix2d identity = Eigen::Matrix2d::Identity();
  const double q = state.density;
  later.covariance.topLeftCorner<2, 2>() = place + dt * (mixed + mixed.transpose()) +
                                           dt * dt * velocity + q * dt * dt * dt / 3.0 * identity;
  const Eigen::Matrix2d laterMixed = mixed + dt * velocity + q * dt * dt / 2.0 * identity;
  later.covariance.topRightCorner<2, 2>() = laterMixed;
  later.covariance.bottomLeftCorner<2, 2>() = laterMixed.transpose();
  later.covariance.bottomRightCorner<2, 2>() = velocity + q * dt * identity;
  return later;
}

}  // namespace following
