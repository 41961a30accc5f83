#include "calibration/calibrated_camera.h"

#include <algorithm>

#include "calibration/camera_equations.h"

namespace device::calibration {

namespace {

OverviewCamera lensOf(const CalibratedCamera& camera) {
  OverviewCameraSetup setup;
  setup.pan = camera.pan;
  setup.tilt = camera.tilt;
  setup.roll = camera.roll;
  setup.sensorWidth = camera.width;
  setup.sensorHeight = camera.height;
  setup.horizontalFov = camera.horizontalFov;
  setup.distortion.k1 = camera.distortion;
  setup.position = {camera.offsetX, camera.offsetY, camera.cameraHeight};
  return OverviewCamera(setup);
}

}  // namespace

double verticalFov(const CalibratedCamera& camera) {
  return lensOf(camera).verticalFov();
}

Direction toHead(const CalibratedCamera& camera, const PicturePoint& place) {
  const SpacePoint seen = unitVector(lensOf(camera).lineOfSight(place));
  const Vector3<double> sight =
      sightOfHead<double>({seen.x, seen.y, seen.z}, camera.offsetX / camera.headHeight,
                          camera.offsetY / camera.headHeight,
                          {.head = camera.headHeight, .camera = camera.cameraHeight});
  return directionOf({sight.x(), sight.y(), sight.z()});
}

std::optional<PicturePoint> toPicture(const CalibratedCamera& camera, const Direction& head) {
  constexpr double FAR = 1e9;  // metres
  const SpacePoint sight = unitVector(head);
  const double distance = sight.z < 0 ? std::min(FAR, camera.headHeight / -sight.z) : FAR;
  return lensOf(camera).project(
      {sight.x * distance, sight.y * distance, camera.headHeight + sight.z * distance});
}

}  // namespace device::calibration
