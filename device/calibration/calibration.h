#ifndef DEVICE_CALIBRATION_CALIBRATION_H
#define DEVICE_CALIBRATION_CALIBRATION_H

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "calibration/calibrated_camera.h"
#include "world/direction.h"
#include "world/overview_camera.h"

// How an overview camera hangs beside a head, from places of its picture on which the head was
// centred. Arithmetic only; any thread.
namespace device::calibration {

constexpr std::size_t FEWEST_POINTS = 4;
constexpr std::size_t FEWEST_POINTS_WITH_OFFSET = 5;
constexpr std::size_t MOST_POINTS = 12;
constexpr double FLATTEST = -0.6;  // degrees, the head's tilt to a point on the ground at the most

struct PointPair {
  PicturePoint picture;  // -1 to 1 to the right and up, of the picture as a viewer sees it
  Direction head;        // in which the head has the same point in its picture's middle
};

// Where both stand; the points are then points of the ground.
struct MastHeights {
  double camera = 5;  // metres above the ground, 0.5 to 200
  double head = 5;
};

struct CalibrationTask {
  int width = 1920;  // pixels of the picture
  int height = 1080;
  double clickDeviation = 2;  // pixels, each way, of clicking and centring together
  std::vector<PointPair> points;

  // Told: the camera's offset from the head is sought, too. Otherwise they are taken to hang
  // together, or what is seen to be far away.
  std::optional<MastHeights> heights;
};

struct PointResidual {
  double degrees = 0;      // between the head's direction and that of the place by the calibration
  bool isOutlier = false;  // it had no part in the calibration
};

// Deviations of what was found, as the points' own deviation and layout leave them.
struct CalibrationDeviations {
  double pan = 0;  // degrees
  double tilt = 0;
  double roll = 0;
  double horizontalFov = 0;
  double distortion = 0;
  double offset = 0;   // metres, the worse one
  double worst = 0;    // degrees, of the head's direction to the picture's worst place
  PicturePoint place;  // which that is
};

struct Calibration {
  CalibratedCamera camera;
  CalibrationDeviations deviations;
  std::vector<PointResidual> residuals;  // of each point
  double clickDeviation = 0;             // pixels, each way, as the residuals show it
};

enum class RefusalReason {
  badInput,         // a number is not finite or out of its range
  tooFewPoints,     // or too few different places
  tooManyPoints,    //
  onALine,          // the places
  inACorner,        // the places cover too little of the picture
  notOnTheGround,   // an offset is sought, and the head looks to the horizon or above
  undetermined,     // too uncertain somewhere in the picture
  noConvergence,    //
  residualsTooBig,  // the points contradict each other, and which are wrong is not clear
};

struct Refusal {
  RefusalReason reason;
  std::string text;                 // for the user
  std::vector<std::size_t> points;  // which are to blame, from 0; none when no single ones are
  std::vector<double> degrees;      // residuals of all points, where there is a best fit
};

using CalibrationResult = std::variant<Calibration, Refusal>;

// Least squares in the picture. Where the residuals are larger than the clicking explains, the
// fewest points are left out whose absence lets the others agree (P. J. Rousseeuw, 1984: least
// trimmed squares, here over all subsets). Up to three, and only where one subset alone does.
CalibrationResult calibrate(const CalibrationTask& task);

// "onALine" and so on, as enumerated.
const char* nameOf(RefusalReason reason);

}  // namespace device::calibration

#endif
