#include "world/lens_distortion.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace device {

double distorted(const LensDistortion& lens, double r) {
  const double square = r * r;
  return r * (1 + lens.k1 * square + lens.k2 * square * square);
}

// The first zero of the derivative, 1 + 3 k1 u + 5 k2 u^2 with u = r^2.
double reachOf(const LensDistortion& lens) {
  constexpr double NEVER = std::numeric_limits<double>::infinity();
  const double a = 5 * lens.k2;
  const double b = 3 * lens.k1;
  const double discriminant = b * b - 4 * a;
  if (discriminant < 0 || (a >= 0 && b >= 0)) {
    return NEVER;
  }
  // The form that does not cancel; also right for a = 0.
  const double square = 2 / (-b + std::sqrt(discriminant));
  return square > 0 ? std::sqrt(square) : NEVER;
}

double undistorted(const LensDistortion& lens, double r) {
  if (lens.isOff()) {
    return r;
  }
  double low = 0;
  double high = std::min(reachOf(lens), 1e6);
  for (int i = 0; i < 200 && high - low > 1e-15 * high; ++i) {
    const double middle = (low + high) / 2;
    (distorted(lens, middle) < r ? low : high) = middle;
  }
  return (low + high) / 2;
}

}  // namespace device
