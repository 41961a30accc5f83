#include "head/drive_curve.h"

#include <algorithm>
#include <cmath>

namespace device {

double drivenPercent(const DriveCurve& curve, double command) {
  if (std::abs(command) < curve.deadZone) {
    return 0;
  }
  double percent = command;
  if (curve.step > 0) {
    percent = std::clamp(std::round(command / curve.step) * curve.step, -100.0, 100.0);
  }
  if (curve.exponent == 1) {
    return percent;
  }
  return std::copysign(100 * std::pow(std::abs(percent) / 100, curve.exponent), percent);
}

}  // namespace device
