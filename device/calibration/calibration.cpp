#include "calibration/calibration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

#include "base/text.h"
#include "calibration/camera_fit.h"
#include "calibration/point_layout.h"
#include "world/lens_distortion.h"

namespace device::calibration {

namespace {

constexpr int LEAST_SIDE = 16;  // pixels
constexpr int GREATEST_SIDE = 65536;
constexpr double LEAST_HEIGHT = 0.5;  // metres
constexpr double GREATEST_HEIGHT = 200;
constexpr double GREATEST_CLICK = 100;  // pixels
constexpr double LEAST_BREADTH = 0.03;  // picture diagonals
constexpr double LEAST_COVER = 0.5;     // of the width or of the height
constexpr double MOST_UNCERTAIN = 0.5;  // degrees, deviation
constexpr double UNLIKELY = 3.7;        // deviations of a normal distribution: one in 10000
constexpr std::size_t MOST_OUTLIERS = 3;
constexpr int GRID = 4;  // places to each side of the picture's middle

using Indices = std::vector<std::size_t>;

struct Candidate {
  FitTask task;
  CameraFit fit;
  Indices kept;
};

bool isWithin(double value, double low, double high) {
  return std::isfinite(value) && value >= low && value <= high;
}

std::string numbersOf(const Indices& points) {
  std::string text;
  for (const std::size_t point : points) {
    text += (text.empty() ? "" : ", ") + std::to_string(point + 1);
  }
  return text;
}

Refusal refusal(RefusalReason reason, std::string text, Indices points = {}) {
  return {reason, std::move(text), std::move(points), {}};
}

std::size_t fewestFor(const CalibrationTask& task) {
  return task.heights ? FEWEST_POINTS_WITH_OFFSET : FEWEST_POINTS;
}

bool isUsable(const PointPair& point) {
  return isWithin(point.picture.x, -1, 1) && isWithin(point.picture.y, -1, 1) &&
         isWithin(point.head.pan, -360, 360) && isWithin(point.head.tilt, -90, 90);
}

template <typename Predicate>
Indices indicesOf(const std::vector<PointPair>& points, Predicate&& isMeant) {
  Indices found;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (isMeant(points[i])) {
      found.push_back(i);
    }
  }
  return found;
}

std::optional<Refusal> checkNumbers(const CalibrationTask& task) {
  using enum RefusalReason;
  if (!isWithin(task.width, LEAST_SIDE, GREATEST_SIDE) ||
      !isWithin(task.height, LEAST_SIDE, GREATEST_SIDE)) {
    return refusal(badInput, "The picture's size is not known.");
  }
  if (!isWithin(task.clickDeviation, 0, GREATEST_CLICK) || task.clickDeviation == 0) {
    return refusal(badInput, "The deviation of clicking must be above 0 and at most 100 pixels.");
  }
  if (task.heights && (!isWithin(task.heights->camera, LEAST_HEIGHT, GREATEST_HEIGHT) ||
                       !isWithin(task.heights->head, LEAST_HEIGHT, GREATEST_HEIGHT))) {
    return refusal(badInput, "The heights above the ground must be 0.5 to 200 metres.");
  }
  Indices bad = indicesOf(task.points, [](const PointPair& point) { return !isUsable(point); });
  if (!bad.empty()) {
    const std::string numbers = numbersOf(bad);
    return refusal(badInput, "Not a place of the picture, or no direction: point " + numbers + ".",
                   std::move(bad));
  }
  return std::nullopt;
}

std::optional<Refusal> checkGround(const CalibrationTask& task) {
  Indices high =
      indicesOf(task.points, [](const PointPair& point) { return point.head.tilt > FLATTEST; });
  if (!task.heights || high.empty()) {
    return std::nullopt;
  }
  const std::string numbers = numbersOf(high);
  return refusal(RefusalReason::notOnTheGround,
                 "To find how far the camera stands from the head, all points must lie on the "
                 "ground, well below the horizon; not so: point " +
                     numbers + ".",
                 std::move(high));
}

std::optional<Refusal> checkLayout(const CalibrationTask& task, const Indices& kept) {
  using enum RefusalReason;
  std::vector<PicturePoint> places;
  for (const std::size_t i : kept) {
    places.push_back(task.points[i].picture);
  }
  const PointLayout layout = layoutOf(places, static_cast<double>(task.width) / task.height);
  if (layout.places < fewestFor(task)) {
    return refusal(tooFewPoints, "At least " + std::to_string(fewestFor(task)) +
                                     " points in different places are needed.");
  }
  if (layout.breadth < LEAST_BREADTH) {
    return refusal(onALine,
                   "The points lie on a line. Add some to both sides of it, as far from it as the "
                   "picture allows.");
  }
  if (layout.width < LEAST_COVER && layout.height < LEAST_COVER) {
    return refusal(inACorner,
                   "The points lie in one part of the picture. Add some near its other edges.");
  }
  return std::nullopt;
}

FitTask fitTaskFor(const CalibrationTask& task, const Indices& kept) {
  FitTask fit;
  const double aspect = static_cast<double>(task.width) / task.height;
  for (const std::size_t i : kept) {
    const PointPair& point = task.points[i];
    const SpacePoint sight = unitVector(point.head);
    fit.points.push_back({.place = {point.picture.x, point.picture.y / aspect},
                          .sight = {sight.x, sight.y, sight.z}});
  }
  fit.deviation = task.clickDeviation / (task.width / 2.0);
  fit.seeksOffset = task.heights.has_value();
  if (task.heights) {
    fit.heights = {.head = task.heights->head, .camera = task.heights->camera};
  }
  return fit;
}

std::optional<Candidate> candidateOf(const CalibrationTask& task, Indices kept) {
  FitTask fitTask = fitTaskFor(task, kept);
  std::optional<CameraFit> fit = fitCamera(fitTask);
  if (!fit) {
    return std::nullopt;
  }
  return Candidate{std::move(fitTask), std::move(*fit), std::move(kept)};
}

int freedomOf(const Candidate& candidate) {
  return 2 * static_cast<int>(candidate.kept.size()) - candidate.task.unknownCount();
}

// E. B. Wilson and M. M. Hilferty, 1931: what a sum of squares of so many deviations seldom
// exceeds.
bool isConsistent(const Candidate& candidate) {
  const double freedom = freedomOf(candidate);
  const double spread = 2 / (9 * freedom);
  const double root = 1 - spread + UNLIKELY * std::sqrt(spread);
  return candidate.fit.misfit <= freedom * root * root * root;
}

// The turn about the optical axis that axesOf of the camera in the world has.
CalibratedCamera cameraOf(const CalibrationTask& task, const CameraFit& fit) {
  const Vector3<double> right = fit.axes.row(0);
  const Vector3<double> forward = fit.axes.row(1);
  const Direction axis = directionOf({forward.x(), forward.y(), forward.z()});
  const SpacePoint levelRight = unitVector({axis.pan + 90, 0});
  const SpacePoint levelUp = unitVector({axis.pan, axis.tilt + 90});
  const double across = right.dot(Vector3<double>(levelRight.x, levelRight.y, levelRight.z));
  const double above = right.dot(Vector3<double>(levelUp.x, levelUp.y, levelUp.z));
  CalibratedCamera camera;
  camera.pan = axis.pan;
  camera.tilt = axis.tilt;
  camera.roll = toDegrees(std::atan2(-above, across));
  camera.width = task.width;
  camera.height = task.height;
  camera.horizontalFov = toDegrees(2 * std::atan(1 / fit.focal));
  camera.distortion = fit.distortion;
  if (task.heights) {
    camera.offsetX = fit.offsetX * task.heights->head;
    camera.offsetY = fit.offsetY * task.heights->head;
    camera.cameraHeight = task.heights->camera;
    camera.headHeight = task.heights->head;
  }
  return camera;
}

// A lens whose picture folds within its corners is none.
bool isLens(const CalibratedCamera& camera) {
  const LensDistortion lens{.k1 = camera.distortion};
  const double reach = reachOf(lens);
  const double halfWidth = std::tan(toRadians(camera.horizontalFov / 2));
  const double corner = std::hypot(halfWidth, halfWidth * camera.height / camera.width);
  return std::isinf(reach) || corner < distorted(lens, reach);
}

// The residuals' own deviation counts where it is larger than the one that was told.
double inflationOf(const Candidate& candidate) {
  return std::max(1.0, candidate.fit.misfit / freedomOf(candidate));
}

// A turn about the camera's own axes moves its pan, tilt and roll by as much as its axes' lengths
// across them say.
void addAxisDeviations(const Candidate& candidate, const CalibratedCamera& camera,
                       CalibrationDeviations& deviations) {
  constexpr double STEP = 1e-6;  // radians
  const auto turnedBy = [&](int axis, double step) {
    CameraFit moved = candidate.fit;
    Vector3<double> turn = Vector3<double>::Zero();
    turn[axis] = step;
    for (int column = 0; column < 3; ++column) {
      moved.axes.col(column) = turned<double>(candidate.fit.axes.col(column), turn);
    }
    CalibrationTask plain;
    plain.width = camera.width;
    plain.height = camera.height;
    return cameraOf(plain, moved);
  };
  const int count = candidate.task.unknownCount();
  Eigen::VectorXd pan = Eigen::VectorXd::Zero(count);
  Eigen::VectorXd tilt = pan;
  Eigen::VectorXd roll = pan;
  for (int axis = 0; axis < 3; ++axis) {
    const CalibratedCamera after = turnedBy(axis, STEP);
    const CalibratedCamera before = turnedBy(axis, -STEP);
    pan[axis] = normalizedPan(after.pan - before.pan) / (2 * STEP);
    tilt[axis] = (after.tilt - before.tilt) / (2 * STEP);
    roll[axis] = normalizedPan(after.roll - before.roll) / (2 * STEP);
  }
  const double inflation = inflationOf(candidate);
  const auto deviationBy = [&](const Eigen::VectorXd& derivatives) {
    return std::sqrt(inflation * varianceOf(candidate.fit, derivatives));
  };
  deviations.pan = deviationBy(pan);
  deviations.tilt = deviationBy(tilt);
  deviations.roll = deviationBy(roll);
}

void addLensDeviations(const Candidate& candidate, const CalibratedCamera& camera,
                       CalibrationDeviations& deviations) {
  const double inflation = inflationOf(candidate);
  const auto deviationOf = [&](int unknown) {
    return std::sqrt(inflation * (*candidate.fit.covariance)(unknown, unknown));
  };
  // fov = 2 atan(1 / f), by the logarithm of f.
  const double focal = candidate.fit.focal;
  deviations.horizontalFov = deviationOf(FOCAL) * toDegrees(2 * focal / (focal * focal + 1));
  deviations.distortion = deviationOf(DISTORTION);
  if (candidate.task.seeksOffset) {
    deviations.offset = std::max(deviationOf(OFFSET_X), deviationOf(OFFSET_Y)) * camera.headHeight;
  }
}

// False where a part of the picture is not told at all.
bool addWorst(const Candidate& candidate, const CalibratedCamera& camera,
              CalibrationDeviations& deviations) {
  const double inflation = inflationOf(candidate);
  for (int column = -GRID; column <= GRID; ++column) {
    for (int row = -GRID; row <= GRID; ++row) {
      const PicturePoint place{static_cast<double>(column) / GRID, static_cast<double>(row) / GRID};
      const SpacePoint sight = unitVector(toHead(camera, place));
      const auto variance =
          directionVariance(candidate.task, candidate.fit, {sight.x, sight.y, sight.z});
      if (!variance || !std::isfinite(*variance)) {
        return false;
      }
      const double deviation = toDegrees(std::sqrt(inflation * *variance));
      if (deviation > deviations.worst) {
        deviations.worst = deviation;
        deviations.place = place;
      }
    }
  }
  return true;
}

std::optional<CalibrationDeviations> deviationsOf(const Candidate& candidate,
                                                  const CalibratedCamera& camera) {
  CalibrationDeviations deviations;
  if (!candidate.fit.covariance || !addWorst(candidate, camera, deviations)) {
    return std::nullopt;
  }
  addAxisDeviations(candidate, camera, deviations);
  addLensDeviations(candidate, camera, deviations);
  return deviations;
}

std::vector<PointResidual> residualsOf(const CalibrationTask& task, const CalibratedCamera& camera,
                                       const Indices& kept) {
  std::vector<PointResidual> residuals;
  for (std::size_t i = 0; i < task.points.size(); ++i) {
    const PointPair& point = task.points[i];
    residuals.push_back({.degrees = angleBetween(toHead(camera, point.picture), point.head),
                         .isOutlier = std::ranges::find(kept, i) == kept.end()});
  }
  return residuals;
}

std::string whereIs(const PicturePoint& place) {
  const std::string vertical = place.y > 0.3 ? "upper " : place.y < -0.3 ? "lower " : "";
  const std::string horizontal = place.x > 0.3 ? "right" : place.x < -0.3 ? "left" : "middle";
  return vertical + horizontal;
}

CalibrationResult resultOf(const CalibrationTask& task, const Candidate& candidate) {
  using enum RefusalReason;
  const CalibratedCamera camera = cameraOf(task, candidate.fit);
  if (!isLens(camera)) {
    return refusal(noConvergence, "No lens shows the points where they were clicked.");
  }
  const auto deviations = deviationsOf(candidate, camera);
  if (!deviations) {
    return refusal(undetermined, "The points do not tell how the camera hangs. Spread them more.");
  }
  if (deviations->worst > MOST_UNCERTAIN) {
    return refusal(
        undetermined,
        text::formatted("In the picture's %s part, directions would be uncertain by %.1f "
                        "degrees. Add points there.",
                        whereIs(deviations->place).c_str(), deviations->worst));
  }
  const double freedom = freedomOf(candidate);
  return Calibration{
      .camera = camera,
      .deviations = *deviations,
      .residuals = residualsOf(task, camera, candidate.kept),
      .clickDeviation = task.clickDeviation * std::sqrt(candidate.fit.misfit / freedom)};
}

// Calls for every choice of some of all, in order.
template <typename Take>
void forEachChoice(std::size_t all, std::size_t some, Take&& take) {
  std::vector<bool> isChosen(all, false);
  std::fill_n(isChosen.begin(), some, true);
  do {
    take(isChosen);
  } while (std::prev_permutation(isChosen.begin(), isChosen.end()));
}

// The candidates that agree when so many points are left out.
std::vector<Candidate> agreeingWithout(const CalibrationTask& task, std::size_t count) {
  std::vector<Candidate> agreeing;
  forEachChoice(task.points.size(), count, [&](const std::vector<bool>& isLeftOut) {
    Indices kept;
    for (std::size_t i = 0; i < isLeftOut.size(); ++i) {
      if (!isLeftOut[i]) {
        kept.push_back(i);
      }
    }
    if (checkLayout(task, kept)) {
      return;
    }
    auto candidate = candidateOf(task, std::move(kept));
    if (candidate && isConsistent(*candidate)) {
      agreeing.push_back(std::move(*candidate));
    }
  });
  return agreeing;
}

// Without one of the candidates' points, others agree.
Indices leftOutBy(const CalibrationTask& task, const std::vector<Candidate>& candidates) {
  Indices points;
  for (std::size_t i = 0; i < task.points.size(); ++i) {
    const bool isLeftOut = std::ranges::any_of(candidates, [&](const Candidate& candidate) {
      return std::ranges::find(candidate.kept, i) == candidate.kept.end();
    });
    if (isLeftOut) {
      points.push_back(i);
    }
  }
  return points;
}

Refusal contradiction(const CalibrationTask& task, const Candidate& best, Indices suspects) {
  std::string text = "The points contradict each other by more than clicking explains.";
  if (suspects.empty()) {
    text += " Check that the head was centred on the same place for each.";
  } else {
    text += " One of these is wrong, or several: " + numbersOf(suspects) + ".";
  }
  Refusal refused = refusal(RefusalReason::residualsTooBig, std::move(text), std::move(suspects));
  for (const PointResidual& residual : residualsOf(task, cameraOf(task, best.fit), best.kept)) {
    refused.degrees.push_back(residual.degrees);
  }
  return refused;
}

CalibrationResult withoutOutliers(const CalibrationTask& task, const Candidate& best) {
  const std::size_t spare = task.points.size() - std::min(task.points.size(), fewestFor(task) + 1);
  for (std::size_t count = 1; count <= std::min(spare, MOST_OUTLIERS); ++count) {
    const std::vector<Candidate> agreeing = agreeingWithout(task, count);
    if (agreeing.size() == 1) {
      return resultOf(task, agreeing.front());
    }
    if (!agreeing.empty()) {
      return contradiction(task, best, leftOutBy(task, agreeing));
    }
  }
  return contradiction(task, best, {});
}

std::optional<Refusal> checkTask(const CalibrationTask& task) {
  using enum RefusalReason;
  if (auto refused = checkNumbers(task)) {
    return refused;
  }
  if (task.points.size() > MOST_POINTS) {
    return refusal(tooManyPoints, "At most 12 points are taken.");
  }
  if (auto refused = checkGround(task)) {
    return refused;
  }
  Indices all(task.points.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return checkLayout(task, all);
}

}  // namespace

CalibrationResult calibrate(const CalibrationTask& task) {
  if (auto refused = checkTask(task)) {
    return std::move(*refused);
  }
  Indices all(task.points.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  const auto best = candidateOf(task, all);
  if (!best) {
    return refusal(RefusalReason::noConvergence, "No camera was found that shows the points.");
  }
  return isConsistent(*best) ? resultOf(task, *best) : withoutOutliers(task, *best);
}

const char* nameOf(RefusalReason reason) {
  using enum RefusalReason;
  switch (reason) {
    case badInput:
      return "badInput";
    case tooFewPoints:
      return "tooFewPoints";
    case tooManyPoints:
      return "tooManyPoints";
    case onALine:
      return "onALine";
    case inACorner:
      return "inACorner";
    case notOnTheGround:
      return "notOnTheGround";
    case undetermined:
      return "undetermined";
    case noConvergence:
      return "noConvergence";
    case residualsTooBig:
      return "residualsTooBig";
  }
  return "";
}

}  // namespace device::calibration
