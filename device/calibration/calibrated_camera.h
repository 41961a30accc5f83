#ifndef DEVICE_CALIBRATION_CALIBRATED_CAMERA_H
#define DEVICE_CALIBRATION_CALIBRATED_CAMERA_H

#include <optional>

#include "world/direction.h"
#include "world/overview_camera.h"

namespace device::calibration {

// How an overview camera hangs, and what its lens does, in the head's angles.
struct CalibratedCamera {
  double pan = 0;  // degrees, of the optical axis
  double tilt = 0;
  double roll = 0;   // degrees, clockwise as seen from behind
  int width = 1920;  // pixels of the picture, which are square
  int height = 1080;
  double horizontalFov = 0;  // degrees across the picture's width, but for the distortion
  double distortion = 0;     // what a pinhole shows at r focal lengths is shown at r (1 + k r^2)
  double offsetX = 0;        // metres from the head to its right (pan 90)
  double offsetY = 0;        // ... and forward (pan 0)
  double cameraHeight = 1;   // metres above the plane on which lies what is seen
  double headHeight = 1;
};

// The picture's height seen by a pinhole, degrees.
double verticalFov(const CalibratedCamera& camera);

// Where the head has to look to see what is at a place of the picture. What is above the horizon is
// taken for infinitely far away.
Direction toHead(const CalibratedCamera& camera, const PicturePoint& place);

// Where the picture shows what the head sees in a direction, also beyond its edges; nothing for
// what the camera cannot see. The way back of toHead.
std::optional<PicturePoint> toPicture(const CalibratedCamera& camera, const Direction& head);

}  // namespace device::calibration

#endif
