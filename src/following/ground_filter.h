// Where somebody on the ground is and how fast he goes: a Kalman filter (Kalman 1960) on position
// and velocity, both axes disturbed by white acceleration (Bar-Shalom, Li and Kirubarajan 2001,
// discretised continuous white noise acceleration), with a gate for outliers and a record of the
// last updates for pictures that come late.
//
// Metres, metres per second; times are microseconds of any steady clock, the picture's own rather
// than of its arrival. A value: copied, compared and moved as one. Holds everything in itself and
// never allocates.
#ifndef FOLLOWING_GROUND_FILTER_H
#define FOLLOWING_GROUND_FILTER_H

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <cstdint>

namespace following {

class GroundFilter {
 public:
  static constexpr double ACCELERATION_DENSITY = 0.2;  // m2/s3
  static constexpr double FIRST_DEVIATION = 1.5;       // m/s per axis, of a velocity not yet known
  static constexpr double GATE = 25.0;                 // squared deviations
  static constexpr int MOST_REFUSED = 3;               // running
  static constexpr std::size_t KEPT = 20;              // updates that can be done again

  struct Measurement {
    std::int64_t time = 0;
    Eigen::Vector2d place = Eigen::Vector2d::Zero();
    Eigen::Matrix2d covariance = Eigen::Matrix2d::Identity();
  };

  struct State {
    std::int64_t time = 0;
    Eigen::Vector4d mean = Eigen::Vector4d::Zero();  // X, Y, VX, VY
    Eigen::Matrix4d covariance = Eigen::Matrix4d::Identity();
    double density = ACCELERATION_DENSITY;  // m2/s3
  };

  enum class Verdict {
    taken,      // in its place, late or not
    refused,    // too far from where it was expected
    restarted,  // refused too often: the position begins anew, the velocity is kept
    dropped     // older than everything kept, or not finite
  };

  // Stands at the first measurement with no velocity. The measurement must be finite.
  explicit GroundFilter(const Measurement& first, double density = ACCELERATION_DENSITY,
                        double firstDeviation = FIRST_DEVIATION);

  // One that is older than the state is put in its place, and the later ones are done again.
  Verdict update(const Measurement& measurement);

  // The same without the gate, for measurements that were judged together.
  Verdict updateUngated(const Measurement& measurement);

  // After the last update.
  const State& state() const { return current; }
  double speed() const { return current.mean.tail<2>().norm(); }

  // How many squared deviations a measurement is off what is expected at its time.
  double distanceTo(const Measurement& measurement) const;

  // Makes less of what is known: adds to the variances per axis (m2, m2/s2). What was kept is
  // forgotten.
  void loosen(double place, double velocity);

  // The last measurements taken, the oldest first.
  std::size_t keptCount() const { return count; }
  const Measurement& kept(std::size_t index) const { return entry(index).measurement; }

  // At another time, at constant velocity; an earlier one than the state's is the state as it is.
  static State predict(const State& state, std::int64_t time);

 private:
  // A measurement and what was known before it.
  struct Entry {
    Measurement measurement;
    State before;
  };

  void begin(const Measurement& measurement, const Eigen::Vector2d& velocity);
  Verdict insert(const Measurement& measurement);
  void apply(const Measurement& measurement);
  void keep(const Measurement& measurement);
  Entry& entry(std::size_t index) { return entries[(first + index) % KEPT]; }
  const Entry& entry(std::size_t index) const { return entries[(first + index) % KEPT]; }

  State current;
  double firstDeviation;
  int refused = 0;
  std::size_t first = 0;  // of the entries, which go round
  std::size_t count = 0;
  std::array<Entry, KEPT> entries;
};

}  // namespace following

#endif
