#ifndef DEVICE_CALIBRATION_POINT_LAYOUT_H
#define DEVICE_CALIBRATION_POINT_LAYOUT_H

#include <cstddef>
#include <vector>

#include "world/overview_camera.h"

namespace device::calibration {

// How points lie in a picture, whatever they are points of.
struct PointLayout {
  double width = 0;    // share of the picture's width from the leftmost to the rightmost
  double height = 0;   // share of its height from the lowest to the highest
  double breadth = 0;  // deviation across the line that they lie along best, in picture diagonals
  std::size_t places = 0;  // points that are not nearly where another one is
};

// aspect: the picture's width over its height. All 0 without points.
PointLayout layoutOf(const std::vector<PicturePoint>& points, double aspect);

}  // namespace device::calibration

#endif
