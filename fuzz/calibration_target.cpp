// Points of an overview camera's picture and directions of a head, whatever they are.
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <variant>

#include "calibration/calibration.h"
#include "fuzz/input.h"
#include "fuzz/require.h"

namespace {

using namespace device;
using namespace device::calibration;
using fuzz::require;

// Mostly what may be, now and then any number there is.
double value(fuzz::Input& input, double scale) {
  const double usual = static_cast<double>(input.word()) / 32768.0 * scale;
  return input.byte() < 250 ? usual
                            : std::bit_cast<double>(static_cast<std::uint64_t>(input.longNumber()));
}

// Points that a camera shows, which are then moved by as much as the input says.
CalibrationTask taskOf(fuzz::Input& input) {
  CalibrationTask task;
  OverviewCameraSetup setup;
  setup.pan = value(input, 180);
  setup.tilt = value(input, 90);
  setup.roll = value(input, 180);
  setup.horizontalFov = 20 + std::abs(value(input, 120));
  const OverviewCamera camera(setup);
  const double noise = input.byte() / 255.0;
  if (input.flag()) {
    task.heights = {.camera = std::abs(value(input, 20)), .head = std::abs(value(input, 20))};
  }
  if (input.flag()) {
    task.width = input.number();
    task.height = input.number();
  }
  for (int i = input.between(0, 14); i > 0; --i) {
    const PicturePoint place{value(input, 1), value(input, 1)};
    Direction head = camera.lineOfSight(place);
    head.pan += noise * value(input, 10);
    head.tilt += noise * value(input, 10);
    task.points.push_back({place, head});
  }
  return task;
}

void checkDirection(const Direction& direction) {
  require(std::isfinite(direction.pan) && std::abs(direction.pan) <= 180, "pan is an angle");
  require(std::isfinite(direction.tilt) && std::abs(direction.tilt) <= 90, "tilt is an angle");
}

void checkFound(const CalibrationTask& task, const Calibration& found) {
  const CalibratedCamera& camera = found.camera;
  require(camera.horizontalFov > 0 && camera.horizontalFov < 180, "a lens has a field");
  require(std::isfinite(camera.distortion) && std::isfinite(camera.roll) &&
              std::isfinite(camera.offsetX) && std::isfinite(camera.offsetY),
          "what is found is finite");
  require(found.deviations.worst <= 0.5, "what is uncertain is refused");
  require(found.residuals.size() == task.points.size(), "every point has a residual");
  std::size_t outliers = 0;
  for (const PointResidual& residual : found.residuals) {
    require(std::isfinite(residual.degrees), "a residual is finite");
    outliers += residual.isOutlier ? 1 : 0;
  }
  require(outliers <= 3, "few points are left out", std::to_string(outliers));
  for (const double x : {-1.0, 0.0, 1.0}) {
    for (const double y : {-1.0, 0.0, 1.0}) {
      checkDirection(toHead(camera, {x, y}));
    }
  }
}

void checkRefusal(const CalibrationTask& task, const Refusal& refused) {
  require(!refused.text.empty() && *nameOf(refused.reason) != 0, "a refusal has a reason");
  for (const std::size_t point : refused.points) {
    require(point < task.points.size(), "a point that is blamed is one");
  }
  require(refused.degrees.empty() || refused.degrees.size() == task.points.size(),
          "residuals are those of all points");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const CalibrationTask task = taskOf(input);
  const CalibrationResult result = calibrate(task);
  if (const auto* found = std::get_if<Calibration>(&result)) {
    checkFound(task, *found);
  } else {
    checkRefusal(task, std::get<Refusal>(result));
  }
  return 0;
}
