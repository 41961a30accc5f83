#include "calibration/calibration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/rounds.h"
#include "truth.h"

namespace device::calibration {
namespace {

using truth::Chance;
using truth::Installation;

const Calibration& foundIn(const CalibrationResult& result) {
  const auto* refused = std::get_if<Refusal>(&result);
  if (refused != nullptr) {
    ADD_FAILURE() << nameOf(refused->reason) << ": " << refused->text;
    static const Calibration NONE{};
    return NONE;
  }
  return std::get<Calibration>(result);
}

Refusal refusedIn(const CalibrationResult& result) {
  const auto* refused = std::get_if<Refusal>(&result);
  return refused != nullptr ? *refused : Refusal{RefusalReason::badInput, "not refused", {}, {}};
}

CalibrationTask squareTask(std::vector<PointPair> points) {
  CalibrationTask task;
  task.width = 1000;
  task.height = 1000;
  task.points = std::move(points);
  return task;
}

// The direction of what is half as far from the axis as what is at 45 degrees.
const double HALF_WAY = toDegrees(std::atan(0.5));

// 90 degrees across: what is 45 degrees from the axis is at the edge.
std::vector<PointPair> pointsOfQuarterTurn() {
  return {{{0, 0}, {0, 0}},           {{1, 0}, {45, 0}},   {{-1, 0}, {-45, 0}},
          {{0, 1}, {0, 45}},          {{0, -1}, {0, -45}}, {{0.5, 0}, {HALF_WAY, 0}},
          {{0, -0.5}, {0, -HALF_WAY}}};
}

TEST(CalibrationTest, FindsACameraThatLooksWhereTheHeadDoes) {
  const Calibration found = foundIn(calibrate(squareTask(pointsOfQuarterTurn())));
  EXPECT_NEAR(found.camera.pan, 0, 1e-6);
  EXPECT_NEAR(found.camera.tilt, 0, 1e-6);
  EXPECT_NEAR(found.camera.roll, 0, 1e-6);
  EXPECT_NEAR(found.camera.horizontalFov, 90, 1e-6);
  EXPECT_NEAR(found.camera.distortion, 0, 1e-7);
  EXPECT_EQ(found.camera.offsetX, 0);
  EXPECT_EQ(found.camera.offsetY, 0);
  for (const PointResidual& residual : found.residuals) {
    EXPECT_NEAR(residual.degrees, 0, 1e-6);
    EXPECT_FALSE(residual.isOutlier);
  }
}

// A camera that leans to its right by a quarter turn has below to its right.
TEST(CalibrationTest, FindsTheRoll) {
  const Calibration found = foundIn(calibrate(squareTask({{{0, 0}, {0, 0}},
                                                          {{0, 1}, {45, 0}},
                                                          {{0, -1}, {-45, 0}},
                                                          {{-1, 0}, {0, 45}},
                                                          {{0.5, 0}, {0, -HALF_WAY}},
                                                          {{1, 0}, {0, -45}}})));
  EXPECT_NEAR(found.camera.roll, 90, 1e-6);
  EXPECT_NEAR(found.camera.pan, 0, 1e-6);
  EXPECT_NEAR(found.camera.tilt, 0, 1e-6);
}

// Of a camera at the ceiling, upside down, behind the seam of the pan.
TEST(CalibrationTest, FindsACameraUpsideDown) {
  const Calibration found = foundIn(calibrate(squareTask({{{0, 0}, {-180, 0}},
                                                          {{1, 0}, {135, 0}},
                                                          {{-1, 0}, {-135, 0}},
                                                          {{0, -1}, {180, 45}},
                                                          {{0, -0.5}, {180, HALF_WAY}},
                                                          {{0, 1}, {180, -45}}})));
  EXPECT_NEAR(std::abs(found.camera.roll), 180, 1e-6);
  EXPECT_NEAR(std::abs(found.camera.pan), 180, 1e-6);
  EXPECT_NEAR(found.camera.horizontalFov, 90, 1e-6);
}

// With k = -0.05, a pinhole's 1 is shown at 0.95 and its 0.5 at 0.49375. Right 1 and up 1 are the
// square root of 2 away, and shown at nine tenths of it.
TEST(CalibrationTest, FindsTheDistortion) {
  const double slant = toDegrees(std::atan(1 / std::numbers::sqrt2));
  const Calibration found = foundIn(calibrate(squareTask({{{0.49375, 0}, {HALF_WAY, 0}},
                                                          {{0.95, 0}, {45, 0}},
                                                          {{-0.95, 0}, {-45, 0}},
                                                          {{0, 0.95}, {0, 45}},
                                                          {{0, -0.95}, {0, -45}},
                                                          {{0.9, 0.9}, {45, slant}},
                                                          {{-0.9, -0.9}, {-45, -slant}},
                                                          {{0, -0.49375}, {0, -HALF_WAY}}})));
  EXPECT_NEAR(found.camera.distortion, -0.05, 1e-6);
  EXPECT_NEAR(found.camera.horizontalFov, 90, 1e-5);
}

// Both 5 m above the ground, the camera 3 m to the right and 1 m ahead, looking 45 degrees down:
// what it has in its middle lies 5 m ahead of it.
TEST(CalibrationTest, FindsTheOffset) {
  OverviewCameraSetup setup;
  setup.position = {3, 1, 5};
  setup.tilt = -45;
  setup.horizontalFov = 80;
  const Installation place{OverviewCamera(setup), 5, true};
  Chance chance(1);
  std::vector<PointPair> points = truth::exactPoints(place, 8, chance);
  points.push_back({{0, 0}, directionOf({3, 6, -5})});
  const Calibration found = foundIn(calibrate(truth::taskFor(place, points)));
  EXPECT_NEAR(found.camera.offsetX, 3, 1e-5);
  EXPECT_NEAR(found.camera.offsetY, 1, 1e-5);
  EXPECT_NEAR(found.camera.tilt, -45, 1e-5);
  EXPECT_NEAR(found.camera.cameraHeight, 5, 0);
  EXPECT_LT(place.worstError(found.camera), 1e-4);
}

TEST(CalibrationTest, ExactPointsGiveTheExactCamera) {
  for (int seed = 0; seed < 100; ++seed) {
    Chance chance(static_cast<std::uint64_t>(seed));
    const bool isOffset = seed % 2 == 1;
    const Installation place = truth::randomInstallation(chance, isOffset);
    const int count = 5 + seed % 8;
    const auto result = calibrate(truth::taskFor(place, truth::exactPoints(place, count, chance)));
    if (count < 8 && std::holds_alternative<Refusal>(result)) {
      EXPECT_EQ(refusedIn(result).reason, RefusalReason::undetermined) << seed;
      continue;
    }
    EXPECT_LT(place.worstError(foundIn(result).camera), 1e-3) << seed;
  }
}

// Straight down pan and roll are the same turn; the directions are right all the same.
TEST(CalibrationTest, FindsCamerasThatLookStraightDownOrUp) {
  for (const double tilt : {-90.0, -89.9, -75.0, 0.0, 30.0, 90.0}) {
    OverviewCameraSetup setup;
    setup.tilt = tilt;
    setup.pan = 100;
    setup.horizontalFov = 70;
    setup.position = {0, 0, 5};
    const Installation place{OverviewCamera(setup), 5, false};
    Chance chance(3);
    const auto points = truth::exactPoints(place, 8, chance);
    EXPECT_LT(place.worstError(foundIn(calibrate(truth::taskFor(place, points))).camera), 1e-3)
        << tilt;
  }
}

// What a calibration of clicked points misses at the picture's worst place, for many cameras.
std::vector<double> errorsOf(bool isOffset, double pixels, int cameras) {
  std::vector<double> errors;
  for (int seed = 0; seed < cameras; ++seed) {
    Chance chance(static_cast<std::uint64_t>(seed) + 1000);
    const Installation place = truth::randomInstallation(chance, isOffset);
    std::vector<PointPair> points = truth::exactPoints(place, 8, chance);
    truth::addNoise(points, pixels, chance);
    const auto result = calibrate(truth::taskFor(place, points));
    errors.push_back(place.worstError(foundIn(result).camera));
    for (const PointResidual& residual : foundIn(result).residuals) {
      EXPECT_FALSE(residual.isOutlier) << seed;
    }
  }
  std::ranges::sort(errors);
  return errors;
}

TEST(CalibrationTest, EightClicksTwoPixelsOffGiveThreeTenthsOfADegree) {
  EXPECT_LT(errorsOf(false, 2 / std::numbers::sqrt2, 200).back(), 0.3);
}

TEST(CalibrationTest, EightClicksTwoPixelsOffBesideTheHeadGiveThreeTenthsOfADegree) {
  EXPECT_LT(errorsOf(true, 2 / std::numbers::sqrt2, 200).back(), 0.3);
}

// Two pixels to either side and up or down as well, which is 2.8 pixels: always in the head's
// place, and for 19 of 20 cameras beside it.
TEST(CalibrationTest, EightClicksTwoPixelsOffEachWayNearlyAlwaysGiveIt) {
  EXPECT_LT(errorsOf(false, 2, 200).back(), 0.3);
  EXPECT_LT(errorsOf(true, 2, 200)[189], 0.3);
}

// The errors of the middle's direction and of the worst place are as large as they are told to be.
TEST(CalibrationTest, TellsHowUncertainItIs) {
  for (const bool isOffset : {false, true}) {
    double tilts = 0;
    double fields = 0;
    double offsets = 0;
    constexpr int CAMERAS = 200;
    for (int seed = 0; seed < CAMERAS; ++seed) {
      Chance chance(static_cast<std::uint64_t>(seed) + 5000);
      const Installation place = truth::randomInstallation(chance, isOffset);
      std::vector<PointPair> points = truth::exactPoints(place, 10, chance);
      truth::addNoise(points, 2, chance);
      const Calibration found = foundIn(calibrate(truth::taskFor(place, points)));
      const OverviewCameraSetup& real = place.camera.getSetup();
      const auto squared = [](double value) { return value * value / CAMERAS; };
      tilts += squared((found.camera.tilt - real.tilt) / found.deviations.tilt);
      fields += squared((found.camera.horizontalFov - real.horizontalFov) /
                        found.deviations.horizontalFov);
      if (isOffset) {
        offsets += squared((found.camera.offsetX - real.position.x) / found.deviations.offset);
      }
      EXPECT_LT(place.worstError(found.camera), 5 * found.deviations.worst) << seed;
    }
    // 200 squares of deviation 1 have the mean 1 with a deviation of 0.1; where the residuals are
    // larger than told, they are told larger.
    EXPECT_GT(tilts, 0.6);
    EXPECT_LT(tilts, 1.4);
    EXPECT_GT(fields, 0.6);
    EXPECT_LT(fields, 1.4);
    EXPECT_LT(offsets, 1.4);  // the worse of both is told
  }
}

TEST(CalibrationTest, NamesPointsThatAreWrong) {
  for (int seed = 0; seed < rounds(60); ++seed) {
    Chance chance(static_cast<std::uint64_t>(seed));
    const Installation place = truth::randomInstallation(chance, seed % 2 == 1);
    std::vector<PointPair> points = truth::exactPoints(place, 11, chance);
    truth::addNoise(points, 2, chance);
    const std::size_t wrong = static_cast<std::size_t>(seed) % 11;
    points[wrong].picture.x += points[wrong].picture.x > 0 ? -0.1 : 0.1;  // 96 pixels
    const Calibration found = foundIn(calibrate(truth::taskFor(place, points)));
    ASSERT_EQ(found.residuals.size(), 11U);
    for (std::size_t i = 0; i < 11; ++i) {
      EXPECT_EQ(found.residuals[i].isOutlier, i == wrong) << seed << ' ' << i;
    }
    EXPECT_GT(found.residuals[wrong].degrees, 1.5) << seed;
    EXPECT_LT(place.worstError(found.camera), 0.6) << seed;
  }
}

TEST(CalibrationTest, NamesTwoPointsThatWereExchanged) {
  Chance chance(7);
  const Installation place = truth::randomInstallation(chance, false);
  std::vector<PointPair> points = truth::exactPoints(place, 10, chance);
  truth::addNoise(points, 2, chance);
  std::swap(points[8].head, points[9].head);
  const Calibration found = foundIn(calibrate(truth::taskFor(place, points)));
  ASSERT_EQ(found.residuals.size(), 10U);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(found.residuals[i].isOutlier, i >= 8) << i;
  }
}

TEST(CalibrationTest, RefusesPointsThatContradictEachOtherAndNamesTheSuspects) {
  Chance chance(4);
  const Installation place = truth::randomInstallation(chance, false);
  std::vector<PointPair> points = truth::exactPoints(place, 5, chance);
  points[2].head.pan += 20;
  const Refusal few = refusedIn(calibrate(truth::taskFor(place, points)));
  EXPECT_EQ(few.reason, RefusalReason::residualsTooBig);
  EXPECT_EQ(few.degrees.size(), 5U);

  // Of six points one is a little wrong: without another one the rest agrees, too.
  for (const std::uint64_t seed : {0U, 1U, 3U, 5U}) {
    Chance own(seed);
    const Installation other = truth::randomInstallation(own, false);
    std::vector<PointPair> six = truth::exactPoints(other, 6, own);
    six[2].picture.y -= 15 * 2.0 / truth::HEIGHT;
    const Refusal unclear = refusedIn(calibrate(truth::taskFor(other, six)));
    EXPECT_EQ(unclear.reason, RefusalReason::residualsTooBig) << seed;
    EXPECT_GT(unclear.points.size(), 1U) << seed;
    EXPECT_EQ(std::ranges::count(unclear.points, 2U), 1) << seed;
  }

  // All heads' directions come from elsewhere: nothing agrees.
  std::vector<PointPair> random = truth::exactPoints(place, 12, chance);
  for (PointPair& point : random) {
    point.head = {chance.between(-180, 180), chance.between(-90, 90)};
  }
  const Refusal none = refusedIn(calibrate(truth::taskFor(place, random)));
  EXPECT_TRUE(none.reason == RefusalReason::residualsTooBig ||
              none.reason == RefusalReason::noConvergence);
}

TEST(CalibrationTest, RefusesTooFewAndTooManyPoints) {
  std::vector<PointPair> points = pointsOfQuarterTurn();
  points.resize(3);
  EXPECT_EQ(refusedIn(calibrate(squareTask(points))).reason, RefusalReason::tooFewPoints);
  EXPECT_EQ(refusedIn(calibrate(squareTask({}))).reason, RefusalReason::tooFewPoints);
  // Seven clicks on three places are three.
  const std::vector<PointPair> three = points;
  points.insert(points.end(), three.begin(), three.end());
  points.push_back({{0.001, 0.001}, {0, 0}});
  EXPECT_EQ(refusedIn(calibrate(squareTask(points))).reason, RefusalReason::tooFewPoints);
  EXPECT_EQ(refusedIn(calibrate(squareTask(std::vector<PointPair>(13)))).reason,
            RefusalReason::tooManyPoints);

  Chance chance(2);
  const Installation place = truth::randomInstallation(chance, true);
  EXPECT_EQ(
      refusedIn(calibrate(truth::taskFor(place, truth::exactPoints(place, 4, chance)))).reason,
      RefusalReason::tooFewPoints);
}

// Places of a camera's picture, with the head's true directions to them.
Refusal refusalFor(const std::vector<PicturePoint>& places, bool isOffset = false) {
  Chance chance(11);
  const Installation place = truth::randomInstallation(chance, isOffset);
  std::vector<PointPair> points;
  for (const PicturePoint& shown : places) {
    points.push_back({shown, place.headOf(shown)});
  }
  return refusedIn(calibrate(truth::taskFor(place, points)));
}

TEST(CalibrationTest, RefusesPointsOnALine) {
  std::vector<PicturePoint> diagonal;
  std::vector<PicturePoint> level;
  for (int i = 0; i < 8; ++i) {
    const double along = -0.9 + 0.25 * i;
    diagonal.push_back({along, along * 0.9 + (i % 2) * 0.02});
    level.push_back({along, -0.5 + (i % 3) * 0.02});
  }
  EXPECT_EQ(refusalFor(diagonal).reason, RefusalReason::onALine);
  EXPECT_EQ(refusalFor(level).reason, RefusalReason::onALine);
  EXPECT_EQ(refusalFor(level, true).reason, RefusalReason::onALine);
}

TEST(CalibrationTest, RefusesPointsInACorner) {
  std::vector<PicturePoint> corner;
  for (int i = 0; i < 9; ++i) {
    corner.push_back({0.1 + 0.4 * (i % 3), 0.1 + 0.4 * (i / 3)});
  }
  EXPECT_EQ(refusalFor(corner).reason, RefusalReason::inACorner);
}

// The field angle and the distortion do the same to all of them.
TEST(CalibrationTest, RefusesPointsThatAreAllAsFarFromTheMiddle) {
  EXPECT_EQ(refusedIn(calibrate(squareTask({{{0, 0}, {0, 0}},
                                            {{1, 0}, {45, 0}},
                                            {{-1, 0}, {-45, 0}},
                                            {{0, 1}, {0, 45}},
                                            {{0, -1}, {0, -45}}})))
                .reason,
            RefusalReason::undetermined);
}

// All over the lower half: the distortion and the field would be guessed for the rest.
TEST(CalibrationTest, RefusesWhatLeavesPartOfThePictureUncertainAndNamesIt) {
  const Refusal refused =
      refusalFor({{-0.5, -0.9}, {0.1, -0.8}, {0.6, -0.95}, {-0.3, -0.35}, {0.4, -0.3}});
  EXPECT_EQ(refused.reason, RefusalReason::undetermined);
  EXPECT_NE(refused.text.find("upper"), std::string::npos) << refused.text;
}

TEST(CalibrationTest, RefusesPointsAboveTheHorizonWhereAnOffsetIsSought) {
  Chance chance(5);
  const Installation place = truth::randomInstallation(chance, true);
  CalibrationTask task = truth::taskFor(place, truth::exactPoints(place, 8, chance));
  task.points[3].head.tilt = -0.5;
  task.points[6].head.tilt = 20;
  const Refusal refused = refusedIn(calibrate(task));
  EXPECT_EQ(refused.reason, RefusalReason::notOnTheGround);
  EXPECT_EQ(refused.points, (std::vector<std::size_t>{3, 6}));
}

TEST(CalibrationTest, RefusesNumbersThatAreNoneOrOutOfTheirRanges) {
  const double bad[] = {std::numeric_limits<double>::quiet_NaN(),
                        std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity(), 1000, -1000};
  const auto reasonOf = [](auto&& spoil) {
    CalibrationTask task = squareTask(pointsOfQuarterTurn());
    spoil(task);
    return refusedIn(calibrate(task)).reason;
  };
  for (const double value : bad) {
    using enum RefusalReason;
    EXPECT_EQ(reasonOf([&](auto& task) { task.points[1].picture.x = value; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.points[1].picture.y = value; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.points[1].head.pan = value; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.points[1].head.tilt = value; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.clickDeviation = value; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.heights = {.camera = value}; }), badInput);
    EXPECT_EQ(reasonOf([&](auto& task) { task.heights = {.head = value}; }), badInput);
  }
  EXPECT_EQ(reasonOf([](auto& task) { task.width = 0; }), RefusalReason::badInput);
  EXPECT_EQ(reasonOf([](auto& task) { task.height = -1; }), RefusalReason::badInput);
  EXPECT_EQ(reasonOf([](auto& task) { task.clickDeviation = 0; }), RefusalReason::badInput);
  EXPECT_EQ(refusedIn(calibrate([] {
              CalibrationTask task = squareTask(pointsOfQuarterTurn());
              task.points[1].picture.x = 2;
              return task;
            }()))
                .points,
            (std::vector<std::size_t>{1}));
}

TEST(CalibrationTest, EveryReasonHasAName) {
  for (int reason = 0; reason <= static_cast<int>(RefusalReason::residualsTooBig); ++reason) {
    EXPECT_STRNE(nameOf(static_cast<RefusalReason>(reason)), "");
  }
}

}  // namespace
}  // namespace device::calibration
