// Cameras of the virtual device beside its head, and what somebody clicks who calibrates them.
#ifndef TESTS_DEVICE_CALIBRATION_TRUTH_H
#define TESTS_DEVICE_CALIBRATION_TRUTH_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

#include "calibration/calibration.h"
#include "world/overview_camera.h"

namespace truth {

using device::Direction;
using device::OverviewCamera;
using device::OverviewCameraSetup;
using device::PicturePoint;
using device::calibration::Calibration;
using device::calibration::CalibrationTask;
using device::calibration::PointPair;

constexpr int WIDTH = 1920;
constexpr int HEIGHT = 1080;

// A camera and a head that need not hang in one place, over the ground.
struct Installation {
  OverviewCamera camera;
  double headHeight;  // metres; the head is above the origin
  bool isOffset;

  // The head's direction to what the camera shows: to the ground, but for what is above the horizon
  // or seen by a camera in the head's place.
  Direction headOf(const PicturePoint& place) const {
    const Direction sight = camera.lineOfSight(place);
    if (!isOffset || sight.tilt >= 0) {
      return sight;
    }
    const device::SpacePoint at = camera.getSetup().position;
    const double distance = at.z / std::tan(device::toRadians(-sight.tilt));
    const double pan = device::toRadians(sight.pan);
    return device::directionOf(
        {at.x + distance * std::sin(pan), at.y + distance * std::cos(pan), -headHeight});
  }

  // How far a calibration is from the truth at the worst of 17 by 11 places of the picture.
  double worstError(const device::calibration::CalibratedCamera& found) const {
    double worst = 0;
    for (int column = -8; column <= 8; ++column) {
      for (int row = -5; row <= 5; ++row) {
        const PicturePoint place{column / 8.0, row / 5.0};
        worst = std::max(worst, device::angleBetween(headOf(place), toHead(found, place)));
      }
    }
    return worst;
  }
};

class Chance {
 public:
  explicit Chance(std::uint64_t seed) : engine(seed) {}

  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(engine()) / MOST;
  }

  // Of a normal distribution (G. E. P. Box and M. E. Muller, 1958).
  double normal() {
    const double radius = std::sqrt(-2 * std::log(between(1e-12, 1)));
    return radius * std::cos(between(0, 2 * std::numbers::pi));
  }

 private:
  static constexpr double MOST = static_cast<double>(std::mt19937_64::max());

  std::mt19937_64 engine;
};

// Lenses of 60 to 110 degrees, whose distortion moves the picture's corners by up to an eighth of
// their distance; 3 to 10 m above the ground, up to 2 m beside the head either way and up to 1 m
// above or below it.
inline Installation randomInstallation(Chance& chance, bool isOffset) {
  OverviewCameraSetup setup;
  setup.sensorWidth = WIDTH;
  setup.sensorHeight = HEIGHT;
  setup.pan = chance.between(-180, 180);
  setup.tilt = chance.between(-50, -20);
  setup.roll = chance.between(-5, 5);
  setup.horizontalFov = chance.between(60, 110);
  const double halfWidth = std::tan(device::toRadians(setup.horizontalFov / 2));
  const double corner = std::hypot(halfWidth, halfWidth * HEIGHT / WIDTH);
  setup.distortion.k1 = chance.between(-0.12, 0.02) / (corner * corner);
  const double headHeight = chance.between(3, 10);
  setup.position = {0, 0, headHeight};
  if (isOffset) {
    setup.position = {chance.between(-2, 2), chance.between(-2, 2),
                      headHeight + chance.between(-1, 1)};
  }
  return {OverviewCamera(setup), headHeight, isOffset};
}

// The highest place of a column that shows ground a little below the horizon.
inline double groundEdge(const Installation& place, double x) {
  double y = 1;
  while (y > -1 && place.camera.lineOfSight({x, y}).tilt > -1.5) {
    y -= 0.01;
  }
  return y;
}

// As the page asks for them: near the corners, in the middle of the edges, then between.
inline std::vector<PointPair> exactPoints(const Installation& place, int count, Chance& chance) {
  constexpr double X[] = {-1, 1, -1, 1, 0, 0, -1, 1, 0, -0.5, 0.5, 0};
  constexpr double Y[] = {-1, -1, 1, 1, -1, 1, 0, 0, 0, 0.5, -0.5, 0.5};
  const auto near = [&](double value) {
    return std::clamp(value * 0.88 + chance.between(-0.1, 0.1), -1.0, 1.0);
  };
  std::vector<PointPair> points;
  for (int i = 0; i < count; ++i) {
    const double x = near(X[i]);
    const double top = place.isOffset ? groundEdge(place, x) : 1;
    const PicturePoint shown{x, -1 + (near(Y[i]) + 1) / 2 * (top + 1)};
    points.push_back({shown, place.headOf(shown)});
  }
  return points;
}

// pixels: deviation each way.
inline void addNoise(std::vector<PointPair>& points, double pixels, Chance& chance) {
  for (auto& [picture, head] : points) {
    picture.x = std::clamp(picture.x + chance.normal() * pixels * 2 / WIDTH, -1.0, 1.0);
    picture.y = std::clamp(picture.y + chance.normal() * pixels * 2 / HEIGHT, -1.0, 1.0);
  }
}

inline CalibrationTask taskFor(const Installation& place, std::vector<PointPair> points) {
  CalibrationTask task;
  task.width = WIDTH;
  task.height = HEIGHT;
  task.points = std::move(points);
  if (place.isOffset) {
    task.heights = {.camera = place.camera.getSetup().position.z, .head = place.headHeight};
  }
  return task;
}

}  // namespace truth

#endif
