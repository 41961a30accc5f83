#include "ptz/regulator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <string>

#include "base/units.h"
#include "fakes/fake_clock.h"
#include "fakes/log_capture.h"

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

struct Speeds {
  double pan = 0.0;
  double tilt = 0.0;
  double zoom = 0.0;
};

class RegulatorTest : public testing::Test {
 protected:
  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  Speeds speeds() const {
    Speeds result;
    regulator.getSpeeds(result.pan, result.tilt, result.zoom);
    return result;
  }

  bool isActive() const { return regulator.getState() == Regulator::State::active; }

  FakeClock clock;
  const LogCapture log;
  Regulator regulator;
};

TEST_F(RegulatorTest, StartsInactiveAtRest) {
  EXPECT_FALSE(isActive());
  EXPECT_EQ(regulator.getTargetPan(), 0.0);
  EXPECT_EQ(regulator.getTargetTilt(), 0.0);
  EXPECT_EQ(regulator.getTargetZoom(), 1.0);
  EXPECT_EQ(regulator.getSmoothedZoom(), 1.0);
  EXPECT_FALSE(regulator.isZoomEngaged());
  EXPECT_TRUE(regulator.isZoomEnabled());
  EXPECT_EQ(speeds().pan, 0.0);
  EXPECT_EQ(speeds().tilt, 0.0);
  EXPECT_EQ(speeds().zoom, 0.0);
}

TEST_F(RegulatorTest, ThePanAndTiltLoopsStartAsProportionalControllers) {
  double kp = 0.0;
  double ki = -1.0;
  double kd = -1.0;
  regulator.getPanPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 1.0);
  EXPECT_EQ(ki, 0.0);
  EXPECT_EQ(kd, 0.0);
  kp = 0.0;
  ki = kd = -1.0;
  regulator.getTiltPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 1.0);
  EXPECT_EQ(ki, 0.0);
  EXPECT_EQ(kd, 0.0);
}

TEST_F(RegulatorTest, GainsOfOneLoopAreItsOwn) {
  regulator.setPanPid(2.0, 0.25, 0.5);
  regulator.setTiltPid(3.0, 0.125, 0.75);
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  regulator.getPanPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 2.0);
  EXPECT_EQ(ki, 0.25);
  EXPECT_EQ(kd, 0.5);
  regulator.getTiltPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 3.0);
  EXPECT_EQ(ki, 0.125);
  EXPECT_EQ(kd, 0.75);
  regulator.updateTargetPosition(10.0, 10.0, 1.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().pan, 20.0);
  EXPECT_DOUBLE_EQ(speeds().tilt, 30.0);
}

TEST_F(RegulatorTest, ATargetActivates) {
  regulator.updateTargetPosition(10.0, 20.0, 3.0);
  EXPECT_TRUE(isActive());
  EXPECT_EQ(regulator.getTargetPan(), 10.0);
  EXPECT_EQ(regulator.getTargetTilt(), 20.0);
  EXPECT_EQ(regulator.getTargetZoom(), 3.0);
}

TEST_F(RegulatorTest, TargetsAreClamped) {
  regulator.updateTargetPosition(400.0, -120.0, 0.5);
  EXPECT_EQ(regulator.getTargetPan(), 360.0);
  EXPECT_EQ(regulator.getTargetTilt(), -95.0);
  EXPECT_EQ(regulator.getTargetZoom(), 1.0);
  regulator.updateTargetPosition(-400.0, 120.0, 9.0);
  EXPECT_EQ(regulator.getTargetPan(), -360.0);
  EXPECT_EQ(regulator.getTargetTilt(), 95.0);
  EXPECT_EQ(regulator.getTargetZoom(), 6.0);
}

TEST_F(RegulatorTest, ATargetZoomOf9EngagesZoom) {
  regulator.updateTargetPosition(0.0, 0.0, 9.0);
  EXPECT_TRUE(regulator.isZoomEngaged());
}

TEST_F(RegulatorTest, ATargetZoomOfExactly1Point1DoesNotEngageZoom) {
  regulator.updateTargetPosition(0.0, 0.0, 0.5);
  EXPECT_FALSE(regulator.isZoomEngaged());
  regulator.updateTargetPosition(0.0, 0.0, 1.1);
  EXPECT_FALSE(regulator.isZoomEngaged());
  regulator.updateTargetPosition(0.0, 0.0, static_cast<double>(1.1F));
  EXPECT_FALSE(regulator.isZoomEngaged());
  regulator.updateTargetPosition(0.0, 0.0, std::nextafter(static_cast<double>(1.1F), 2.0));
  EXPECT_TRUE(regulator.isZoomEngaged());
}

TEST_F(RegulatorTest, NothingClearsEngagedZoom) {
  regulator.updateTargetPosition(0.0, 0.0, 2.0);
  regulator.updateTargetPosition(0.0, 0.0, 1.0);
  regulator.inactivate();
  EXPECT_TRUE(regulator.isZoomEngaged());
}

TEST_F(RegulatorTest, ThePanErrorGoesTheShortWayRound) {
  regulator.updateTargetPosition(350.0, 0.0, 1.0);
  regulator.updateCurrentPosition(10.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().pan, -20.0);
}

TEST_F(RegulatorTest, TheTiltErrorIsPlain) {
  regulator.updateTargetPosition(0.0, -30.0, 1.0);
  regulator.updateCurrentPosition(0.0, 20.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().tilt, -50.0);
}

TEST_F(RegulatorTest, MeasuredPositionsAreClamped) {
  regulator.setTiltPid(0.5, 0.0, 0.0);
  regulator.updateTargetPosition(360.0, 0.0, 1.0);
  regulator.updateCurrentPosition(500.0, -500.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().pan, 0.0);
  EXPECT_DOUBLE_EQ(speeds().tilt, 47.5);
}

// Both at rest: the set value is the smoothed zoom; 20 * (1.25 - 1) and 20 * (1.25 - 6).
TEST_F(RegulatorTest, TheMeasuredZoomIsClamped) {
  regulator.updateTargetPosition(0.0, 0.0, 1.5);
  regulator.updateCurrentPosition(0.0, 0.0, -3.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 10.0);
  pass(SECOND / 10);
  regulator.updateCurrentPosition(0.0, 0.0, 60.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, -90.0);
}

TEST_F(RegulatorTest, SpeedsInsideBothDeadBandsAreSuppressed) {
  regulator.updateTargetPosition(1.9, -1.9, 1.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(speeds().pan, 0.0);
  EXPECT_EQ(speeds().tilt, 0.0);
  regulator.updateTargetPosition(2.0, -2.0, 1.0);
  pass(SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().pan, 2.0);
  EXPECT_DOUBLE_EQ(speeds().tilt, -2.0);
}

// 20 * 0.35 is not below 7.0; the error dead band of 0.4 alone does not suppress.
TEST_F(RegulatorTest, TheZoomLoopsDeadBands) {
  regulator.updateTargetPosition(0.0, 0.0, 1.3);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(speeds().zoom, 0.0);
  regulator.updateTargetPosition(0.0, 0.0, 1.3);
  regulator.inactivate();
  regulator.updateTargetPosition(0.0, 0.0, 1.375);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 7.5);
}

// 0.4 in single precision: 13421773 / 2^25.
TEST_F(RegulatorTest, TheZoomLoopsErrorDeadBandIsOfSinglePrecision) {
  EXPECT_EQ(Regulator::ZOOM_ERROR_DEADBAND, 13421773.0 / 33554432.0);
  EXPECT_EQ(Regulator::ZOOM_ERROR_DEADBAND, 0.4000000059604645);
}

TEST_F(RegulatorTest, SmoothingStartsFromTheNewTargetWithoutARamp) {
  regulator.updateTargetPosition(0.0, 0.0, 3.0);
  EXPECT_EQ(regulator.getSmoothedZoom(), 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 3.0);
  EXPECT_EQ(regulator.getSmoothedZoom(), 3.0);
}

TEST_F(RegulatorTest, ZoomingInIsSmoothedSlowly) {
  regulator.updateTargetPosition(0.0, 0.0, 3.0);
  regulator.updateTargetPosition(0.0, 0.0, 4.0);
  EXPECT_EQ(regulator.getSmoothedZoom(), 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 3.0);
  EXPECT_DOUBLE_EQ(regulator.getSmoothedZoom(),
                   3.0 * 0.8499999940395355 + 4.0 * 0.15000000596046448);
  EXPECT_NEAR(regulator.getSmoothedZoom(), 3.15, 1e-6);
}

TEST_F(RegulatorTest, ZoomingOutIsSmoothedQuickly) {
  regulator.updateTargetPosition(0.0, 0.0, 3.0);
  regulator.updateTargetPosition(0.0, 0.0, 2.0);
  regulator.updateCurrentPosition(0.0, 0.0, 3.0);
  EXPECT_DOUBLE_EQ(regulator.getSmoothedZoom(), 2.25);
}

TEST_F(RegulatorTest, ANewActivationBeginsSmoothingAnew) {
  regulator.updateTargetPosition(0.0, 0.0, 6.0);
  regulator.inactivate();
  regulator.updateTargetPosition(0.0, 0.0, 2.0);
  EXPECT_EQ(regulator.getSmoothedZoom(), 2.0);
}

// The zoom's set value shows in its speed, 20 * (set value - measured zoom).
TEST_F(RegulatorTest, ZoomGoesOutWhileTheHeadMovesFast) {
  regulator.updateTargetPosition(30.0, 0.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 4.0);
  ASSERT_DOUBLE_EQ(speeds().pan, 30.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 20.0 * (1.0 - 4.0));
  EXPECT_EQ(regulator.getSmoothedZoom(), 3.0);
}

TEST_F(RegulatorTest, ZoomIsReducedWhileTheHeadMoves) {
  regulator.updateTargetPosition(0.0, -10.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  ASSERT_DOUBLE_EQ(speeds().tilt, -10.0);
  EXPECT_NEAR(speeds().zoom, 20.0 * (0.9 * 3.0 - 1.0), 1e-12);
  EXPECT_EQ(regulator.getSmoothedZoom(), 3.0);
}

TEST_F(RegulatorTest, ZoomReductionExcludesItsBounds) {
  regulator.updateTargetPosition(5.0, 0.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 40.0);
  regulator.inactivate();
  regulator.updateTargetPosition(0.0, 25.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 20.0 * (3.0 * 0.75 - 1.0));
}

TEST_F(RegulatorTest, TheFasterAxisReducesZoom) {
  regulator.updateTargetPosition(10.0, 20.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().zoom, 20.0 * (3.0 * 0.8 - 1.0));
}

TEST_F(RegulatorTest, GoesInactiveWhenSettledWithoutATargetFor1Point6Seconds) {
  regulator.updateTargetPosition(0.0, 0.0, 1.0);
  pass(SECOND * 3 / 2);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_TRUE(isActive());
  pass(SECOND / 10);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_FALSE(isActive());
}

class UnsettledTest : public RegulatorTest {
 protected:
  void staysActiveFor7Seconds(double pan, double tilt, double zoom) {
    for (int i = 0; i < 70; ++i) {
      pass(SECOND / 10);
      regulator.updateCurrentPosition(pan, tilt, zoom);
      ASSERT_TRUE(isActive()) << i;
    }
    pass(SECOND / 10);
    regulator.updateCurrentPosition(pan, tilt, zoom);
    EXPECT_FALSE(isActive());
  }
};

TEST_F(UnsettledTest, StaysActiveUntil7SecondsWithThePanOutsideItsDeadBand) {
  regulator.updateTargetPosition(2.0, 0.0, 1.0);
  staysActiveFor7Seconds(0.0, 0.0, 1.0);
}

TEST_F(UnsettledTest, StaysActiveUntil7SecondsWithTheTiltOutsideItsDeadBand) {
  regulator.updateTargetPosition(0.0, 2.0, 1.0);
  staysActiveFor7Seconds(0.0, 0.0, 1.0);
}

TEST_F(UnsettledTest, StaysActiveUntil7SecondsWithTheZoomOutsideItsDeadBand) {
  regulator.updateTargetPosition(0.0, 0.0, 2.0);
  staysActiveFor7Seconds(0.0, 0.0, 1.0);
}

TEST_F(RegulatorTest, AZoomLoopThatIsNotEnabledIsLeftOutOfSettling) {
  regulator.setZoomEnabled(false);
  EXPECT_FALSE(regulator.isZoomEnabled());
  regulator.updateTargetPosition(0.0, 0.0, 3.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(speeds().zoom, 0.0);
  EXPECT_TRUE(isActive());
  pass(SECOND * 16 / 10);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_FALSE(isActive());
}

TEST_F(RegulatorTest, ATargetRenewsTheTime) {
  regulator.updateTargetPosition(0.0, 0.0, 1.0);
  pass(SECOND);
  regulator.updateTargetPosition(0.0, 0.0, 1.0);
  pass(SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_TRUE(isActive());
}

// Activated without a target: nothing is stale, whatever the time.
TEST_F(RegulatorTest, WithoutAnyTargetNothingGoesStale) {
  regulator.activate();
  EXPECT_TRUE(isActive());
  pass(100 * SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_TRUE(isActive());
}

TEST_F(RegulatorTest, TheSpeedsOfTheLastStepStayAndThoseAfterItAreZero) {
  regulator.updateTargetPosition(20.0, 0.0, 1.0);
  pass(8 * SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_FALSE(isActive());
  EXPECT_DOUBLE_EQ(speeds().pan, 20.0);
  pass(SECOND / 10);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(speeds().pan, 0.0);
}

TEST_F(RegulatorTest, WhileInactiveSmoothingGoesOn) {
  regulator.updateTargetPosition(0.0, 0.0, 3.0);
  regulator.updateTargetPosition(0.0, 0.0, 2.0);
  regulator.inactivate();
  EXPECT_FALSE(isActive());
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(regulator.getSmoothedZoom(), 2.25);
  EXPECT_EQ(speeds().zoom, 0.0);
}

// A second target keeps the loops' history, an activation clears it: with a derivative gain alone
// the first step after clearing gives nothing.
TEST_F(RegulatorTest, OnlyAnActivationClearsTheErrorHistory) {
  regulator.setPanPid(0.0, 0.0, 1.0);
  regulator.updateTargetPosition(0.0, 0.0, 1.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  regulator.updateTargetPosition(10.0, 0.0, 1.0);
  pass(SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_DOUBLE_EQ(speeds().pan, 10.0);
  regulator.inactivate();
  regulator.updateTargetPosition(50.0, 0.0, 1.0);
  pass(SECOND);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(speeds().pan, 0.0);
}

TEST_F(RegulatorTest, LerpMixes) {
  EXPECT_DOUBLE_EQ(Regulator::lerp(2.0, 6.0, 0.0), 2.0);
  EXPECT_DOUBLE_EQ(Regulator::lerp(2.0, 6.0, 1.0), 6.0);
  EXPECT_DOUBLE_EQ(Regulator::lerp(2.0, 6.0, 0.25), 3.0);
}

TEST_F(RegulatorTest, ToStringShowsTheSpeeds) {
  EXPECT_EQ(regulator.toString(), "pan speed:  0.00, tilt speed:  0.00, zoom speed:  0.00");
  regulator.updateTargetPosition(20.5, -30.25, 1.0);
  regulator.updateCurrentPosition(0.0, 0.0, 1.0);
  EXPECT_EQ(regulator.toString(), "pan speed:  20.50, tilt speed: -30.25, zoom speed:  0.00");
}

// ---- A head that turns as fast as it is told, degrees per second being percent of full speed ----

TEST_F(RegulatorTest, AHeadComesToRestAtItsTargetAcrossTheSeam) {
  double pan = 170.0;
  double tilt = -40.0;
  regulator.updateTargetPosition(-170.0, -20.0, 1.0);
  for (int step = 0; step < 60; ++step) {
    regulator.updateCurrentPosition(pan, tilt, 1.0);
    pan += speeds().pan * 0.1;
    tilt += speeds().tilt * 0.1;
    pan = pan > 180.0 ? pan - 360.0 : pan;
    pass(SECOND / 10);
  }
  EXPECT_NEAR(pan, -170.0, 3.0);
  EXPECT_NEAR(tilt, -20.0, 3.0);
}

// ---- Autotune ----

class RelayTest : public RegulatorTest {
 protected:
  static constexpr double STEP = 0.05;

  struct Axis {
    std::deque<double> pending = std::deque<double>(4, 0.0);
    double position = 0.0;

    void drive(double speed) {
      pending.push_back(speed);
      position += pending.front() * STEP;
      pending.pop_front();
    }
  };

  // Until finished or for 30 s; whether it finished. An axis that does not turn keeps its place.
  bool swing(bool panTurns, bool tiltTurns) {
    for (int step = 0; step < 600; ++step) {
      double panSpeed = 0.0;
      double tiltSpeed = 0.0;
      if (regulator.autotuneRun(pan.position, tilt.position, panSpeed, tiltSpeed)) {
        return true;
      }
      if (panTurns) {
        pan.drive(panSpeed);
      }
      if (tiltTurns) {
        tilt.drive(tiltSpeed);
      }
      pass(50'000);
    }
    return false;
  }

  Axis pan;
  Axis tilt;
};

TEST_F(RelayTest, BothLoopsAreTunedBesideEachOther) {
  tilt.position = -45.0;
  regulator.autotuneStart(0.0, 35.0, -45.0, 35.0);
  EXPECT_TRUE(swing(true, true));
  EXPECT_TRUE(regulator.autotuned());
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  regulator.getPanAutotunePid(&kp, &ki, &kd);
  EXPECT_GT(kp, 0.0);
  EXPECT_NEAR(kd, ki / 0.25 / 6.0, 1e-12);
  double tiltKp = 0.0;
  regulator.getTiltAutotunePid(&tiltKp, &ki, &kd);
  EXPECT_NEAR(tiltKp, kp, 0.05 * kp);
  // The live gains stay.
  regulator.getPanPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 1.0);
  EXPECT_TRUE(LogCapture::lines().empty());
  EXPECT_FALSE(isActive());
}

TEST_F(RelayTest, ItIsFinishedWhenBothLoopsAre) {
  const std::int64_t start = clock.now();
  regulator.autotuneStart(0.0, 35.0, 0.0, 35.0);
  EXPECT_TRUE(swing(true, false));
  EXPECT_GT(clock.now() - start, 25 * SECOND);
  EXPECT_FALSE(regulator.autotuned());
  EXPECT_EQ(LogCapture::count("PAN : autotune failed!"), 0);
  EXPECT_EQ(
      LogCapture::count("TILT: autotune failed!") + LogCapture::count("TILT: autotune failed!\n"),
      1);
}

TEST_F(RelayTest, PidDebugTellsOfBothLoopsThatFailed) {
  regulator.pidDebug();
  EXPECT_EQ(
      LogCapture::count("PAN : autotune failed!") + LogCapture::count("PAN : autotune failed!\n"),
      1);
  EXPECT_EQ(
      LogCapture::count("TILT: autotune failed!") + LogCapture::count("TILT: autotune failed!\n"),
      1);
}

TEST_F(RelayTest, RelaySpeedsOppose) {
  regulator.autotuneStart(10.0, 35.0, -45.0, 20.0);
  double panSpeed = 0.0;
  double tiltSpeed = 0.0;
  EXPECT_FALSE(regulator.autotuneRun(11.0, -46.0, panSpeed, tiltSpeed));
  EXPECT_EQ(panSpeed, -35.0);
  EXPECT_EQ(tiltSpeed, 20.0);
}

}  // namespace
