#ifndef DEVICE_WORLD_OVERVIEW_CAMERA_H
#define DEVICE_WORLD_OVERVIEW_CAMERA_H

#include <optional>

#include "world/direction.h"
#include "world/lens_distortion.h"

namespace device {

// How an overview camera is built and mounted. Picture sizes and field angles are those of the
// upright picture, as a viewer sees it: with rotation 90 or 270 the sensor lies on its side, and a
// 1920x1080 sensor gives an upright picture of 1080x1920.
struct OverviewCameraSetup {
  SpacePoint position;  // metres
  double pan = 0;       // degrees, the optical axis in the head's angles
  double tilt = 0;
  double roll = 0;         // degrees, clockwise as seen from behind
  int sensorWidth = 1920;  // pixels, before rotation
  int sensorHeight = 1080;
  double horizontalFov = 0;  // degrees across the upright picture's width, but for the distortion
  int rotation = 0;          // 0, 90, 180 or 270
  LensDistortion distortion;
};

// A point of a picture: -1 to 1 from left to right and from bottom to top.
struct PicturePoint {
  double x = 0;
  double y = 0;
};

// A pinhole camera with square pixels, but for the distortion of its lens.
class OverviewCamera {
 public:
  explicit OverviewCamera(const OverviewCameraSetup& setup);

  const OverviewCameraSetup& getSetup() const { return setup; }
  int pictureWidth() const;  // pixels of the upright picture
  int pictureHeight() const;
  double horizontalFov() const { return setup.horizontalFov; }  // degrees, upright picture
  double verticalFov() const;                                   // degrees, upright picture
  int rotation() const { return setup.rotation; }

  // Turns the camera; an upright picture of another field angle when horizontalFov is above 0.
  void pointAt(const Direction& axis, double horizontalFov = 0);

  // Where a point of the world appears in the upright picture, also beyond its edges; nothing for
  // a point that is not in front of the lens, or so far out that the lens cannot show it.
  std::optional<PicturePoint> project(const SpacePoint& point) const;

  // The line of sight of a point of the upright picture, in the head's angles.
  Direction lineOfSight(const PicturePoint& point) const;

  // From the upright picture to the coordinates of the scene frames, which are those of the sensor,
  // and back. Turning scene coordinates back is what a receiver does with the published rotation:
  // 90 gives (y, -x), 180 (-x, -y), 270 (-y, x).
  PicturePoint toScene(const PicturePoint& upright) const;
  PicturePoint toUpright(const PicturePoint& scene) const;

 private:
  OverviewCameraSetup setup;
  double reach;     // of the lens, in focal lengths
  double tanX = 0;  // tangent of half the field angle across the upright picture
  double tanY = 0;
};

}  // namespace device

#endif
