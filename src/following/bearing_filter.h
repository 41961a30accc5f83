// Where something is that has no place on the ground: its foot is hidden, cut off or above the
// horizon, or it does not stand on the ground.
//
// The same filter as on the ground (white acceleration; Bar-Shalom, Li and Kirubarajan 2001), on
// pan and tilt. Constant speed on the ground is no constant angular speed, so near the mast it errs
// half as much again; it does not take away the parallax of a camera beside the head either. The
// fallback, not the rule.
//
// Degrees; times are microseconds. A value that never allocates.
#ifndef FOLLOWING_BEARING_FILTER_H
#define FOLLOWING_BEARING_FILTER_H

#include <cstdint>
#include <optional>

#include "following/ground_filter.h"
#include "following/subject.h"

namespace following {

class BearingFilter {
 public:
  // What somebody who walks ten metres away does: 0.2 m2/s3, and 1.5 m/s.
  static constexpr double ACCELERATION_DENSITY = 6.0;  // deg2/s3
  static constexpr double FIRST_DEVIATION = 8.6;       // deg/s
  static constexpr double STANDING_RATE = 0.6;         // deg/s, 0.1 m/s

  struct Observation {
    std::int64_t time = 0;
    double pan = 0.0;    // deg, of the middle
    double tilt = 0.0;   // deg
    double width = 0.0;  // deg, as seen
    double height = 0.0;
  };

  // The deviation (deg) is that of a direction: two pixels. The observation must be finite.
  BearingFilter(const Observation& first, double deviation);

  // What is not finite is left out, what does not fit is refused as on the ground.
  GroundFilter::Verdict update(const Observation& observation);

  // At another time.
  Subject predict(std::int64_t time) const;

  std::int64_t time() const { return filter.state().time; }

 private:
  double deviation;  // deg
  double width;      // deg, when last seen
  double height;
  GroundFilter filter;  // of pan, which exceeds a turn, and tilt
};

}  // namespace following

#endif
