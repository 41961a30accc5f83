// How long somebody waits who calibrates an overview camera.
#include <cmath>
#include <memory>

#include "bench/case.h"
#include "calibration/calibration.h"

namespace bench {

namespace {

using namespace device;
using namespace device::calibration;

// Points of the ground under a camera with a wide lens on a mast of 5 m.
CalibrationTask taskOf(int points, int wrong, bool seeksOffset) {
  OverviewCameraSetup setup;
  setup.tilt = -35;
  setup.horizontalFov = 90;
  setup.distortion.k1 = -0.05;
  const OverviewCamera camera(setup);
  CalibrationTask task;
  for (int i = 0; i < points; ++i) {
    const PicturePoint place{-0.9 + 0.6 * (i % 4), -0.9 + 0.6 * (i / 4)};
    Direction head = camera.lineOfSight(place);
    head.pan += i < wrong ? 10 : 0;
    task.points.push_back({place, head});
  }
  if (seeksOffset) {
    task.heights = MastHeights{};
  }
  return task;
}

Case caseOf(const std::string& name, int points, int wrong, bool seeksOffset) {
  return {"calibration/" + name, "camera", [=]() -> Batch {
            auto task = std::make_shared<CalibrationTask>(taskOf(points, wrong, seeksOffset));
            return [task] {
              return std::holds_alternative<Calibration>(calibrate(*task)) ? std::size_t{1}
                                                                           : std::size_t{0};
            };
          }};
}

}  // namespace

void addCalibrationCases(Cases& cases) {
  cases.push_back(caseOf("8 points", 8, 0, false));
  cases.push_back(caseOf("8 points, beside the head", 8, 0, true));
  cases.push_back(caseOf("12 points, 2 of them wrong", 12, 2, false));
}

}  // namespace bench
