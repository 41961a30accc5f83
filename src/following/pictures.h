// What holds of every picture that a direction was taken from. Pure arithmetic.
#ifndef FOLLOWING_PICTURES_H
#define FOLLOWING_PICTURES_H

#include <algorithm>
#include <cmath>

namespace following {

constexpr double STAMP_DEVIATION = 0.015;  // s, of a picture's time

// How much of a turn of pan is seen at a tilt (radians). Never nothing: close to the plumb line pan
// says little, but extents stay finite.
inline double foreshortening(double tilt) {
  constexpr double LEAST = 0.1;
  return std::max(std::cos(tilt), LEAST);
}

}  // namespace following

#endif
