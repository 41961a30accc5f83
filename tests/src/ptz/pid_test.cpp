#include "ptz/pid.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/units.h"
#include "fakes/fake_clock.h"
#include "fakes/log_capture.h"

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

struct Gains {
  double kp = -1.0;
  double ki = -1.0;
  double kd = -1.0;
};

class PidTest : public testing::Test {
 protected:
  static Pid make(double kp, double ki, double kd, Pid::ControlType type = Pid::ControlType::PID,
                  double gainScale = 1.0) {
    return Pid(type, kp, ki, kd, gainScale, -100.0, 100.0, 2.0, 3.0);
  }

  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  static Gains liveGains(const Pid& pid) {
    Gains gains;
    pid.getPid(gains.kp, gains.ki, gains.kd);
    return gains;
  }

  static Gains tunedGains(const Pid& pid) {
    Gains gains;
    pid.getAutotunePid(gains.kp, gains.ki, gains.kd);
    return gains;
  }

  static Pid::AutotunePeriods periods(const std::vector<Pid::AutotunePeriod>& list) {
    Pid::AutotunePeriods result;
    for (const Pid::AutotunePeriod& period : list) {
      result.push_back(std::make_unique<Pid::AutotunePeriod>(period));
    }
    return result;
  }

  // Feeds values to a running autotune, one every 100 ms.
  void feed(Pid& pid, const std::vector<double>& values) {
    for (const double value : values) {
      double relay = 0.0;
      pid.autotuneRun(value, relay);
      pass(100'000);
    }
  }

  FakeClock clock;
  const LogCapture log;
};

TEST_F(PidTest, StartsInactiveAndEnabledWithItsGains) {
  const Pid pid = make(1.5, 0.25, 0.125);
  EXPECT_FALSE(pid.isActive());
  EXPECT_TRUE(pid.isEnabled());
  EXPECT_FALSE(pid.isAutotuned());
  EXPECT_EQ(pid.output(), 0.0);
  EXPECT_EQ(pid.getOutputValue(), 0.0);
  EXPECT_EQ(pid.getIntegral(), 0.0);
  EXPECT_EQ(pid.getLastError(), 0.0);
  EXPECT_EQ(pid.getUltimateGain(), 0.0);
  EXPECT_EQ(pid.getUltimatePeriod(), 0.0);
  EXPECT_EQ(liveGains(pid).kp, 1.5);
  EXPECT_EQ(liveGains(pid).ki, 0.25);
  EXPECT_EQ(liveGains(pid).kd, 0.125);
  EXPECT_EQ(tunedGains(pid).kp, 0.0);
  EXPECT_EQ(tunedGains(pid).ki, 0.0);
  EXPECT_EQ(tunedGains(pid).kd, 0.0);
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

TEST_F(PidTest, TheFirstUpdateAfterActivateOutputsTheProportionalPartOnly) {
  Pid pid = make(2.0, 5.0, 7.0);
  pid.activate();
  pid.update(10.0);
  EXPECT_DOUBLE_EQ(pid.output(), 20.0);
  EXPECT_DOUBLE_EQ(pid.getIntegral(), 0.0);
}

TEST_F(PidTest, TheFirstUpdateClampsTheProportionalPart) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.activate();
  pid.update(60.0);
  EXPECT_DOUBLE_EQ(pid.output(), 100.0);
  pid.reset();
  pid.update(-60.0);
  EXPECT_DOUBLE_EQ(pid.output(), -100.0);
}

// p = 8; integral = 0.5 * (4 + 0.5 * |4 - 10|) * 0.5 = 1.75; d = 0.25 * (4 - 10) / 0.5 = -3.
TEST_F(PidTest, AStepAddsIntegralAndDerivative) {
  Pid pid = make(2.0, 0.5, 0.25);
  pid.activate();
  pid.update(10.0);
  pass(SECOND / 2);
  pid.update(4.0);
  EXPECT_DOUBLE_EQ(pid.getIntegral(), 1.75);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 8.0 + 1.75 - 3.0);
  EXPECT_DOUBLE_EQ(pid.getLastError(), 4.0);
}

// Not the usual trapezoid: a growing and a falling error add alike.
TEST_F(PidTest, TheIntegralAddsHalfTheMagnitudeOfTheChange) {
  Pid growing = make(0.0, 1.0, 0.0);
  growing.update(4.0);
  Pid falling = make(0.0, 1.0, 0.0);
  falling.update(8.0);
  pass(SECOND);
  growing.update(6.0);
  falling.update(6.0);
  EXPECT_DOUBLE_EQ(growing.getIntegral(), 7.0);
  EXPECT_DOUBLE_EQ(falling.getIntegral(), 7.0);
}

TEST_F(PidTest, HalfTheChangeIsComputedInSinglePrecision) {
  Pid pid = make(0.0, 1.0, 0.0);
  pid.update(0.0);
  pass(SECOND);
  pid.update(0.1);
  const double half = 0.5F * std::fabs(static_cast<float>(0.1));
  EXPECT_NE(half, 0.05);
  EXPECT_EQ(pid.getIntegral(), 0.1 + half);
}

TEST_F(PidTest, AProportionalPartOf100ForcesTheIntegralToZeroOrBelow) {
  Pid pid = make(1.0, 10.0, 0.0);
  pid.update(50.0);
  pass(SECOND / 10);
  pid.update(50.0);
  EXPECT_DOUBLE_EQ(pid.getIntegral(), 50.0);
  pass(SECOND / 10);
  pid.update(100.0);
  EXPECT_LE(pid.getIntegral(), 0.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 100.0);
}

TEST_F(PidTest, TheIntegralIsBoundedByTheHeadroomBelow) {
  Pid pid = make(1.0, 10.0, 0.0);
  pid.update(-60.0);
  pass(SECOND);
  pid.update(-60.0);
  EXPECT_DOUBLE_EQ(pid.getIntegral(), -40.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), -100.0);
}

TEST_F(PidTest, TheSumIsClamped) {
  Pid pid = make(1.0, 0.0, 10.0);
  pid.update(0.0);
  pass(SECOND);
  pid.update(50.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 100.0);
  pass(SECOND);
  pid.update(-50.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), -100.0);
}

TEST_F(PidTest, OutputIsZeroWhileInactiveThoughUpdateKeepsComputing) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.update(10.0);
  EXPECT_EQ(pid.output(), 0.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 20.0);
}

TEST_F(PidTest, OutputIsZeroWhileNotEnabled) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.activate();
  pid.setEnabled(false);
  pid.update(10.0);
  EXPECT_EQ(pid.output(), 0.0);
  pid.setEnabled(true);
  EXPECT_DOUBLE_EQ(pid.output(), 20.0);
}

TEST_F(PidTest, ASmallCommandWithASmallErrorIsSuppressed) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.activate();
  pid.update(1.4);
  EXPECT_EQ(pid.output(), 0.0);
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 2.8);
}

TEST_F(PidTest, ALargeCommandWithASmallErrorIsPassedOn) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.activate();
  pid.update(-1.9);
  EXPECT_DOUBLE_EQ(pid.output(), -3.8);
}

TEST_F(PidTest, ASmallCommandWithALargeErrorIsPassedOn) {
  Pid pid = make(0.5, 0.0, 0.0);
  pid.activate();
  pid.update(-4.0);
  EXPECT_DOUBLE_EQ(pid.output(), -2.0);
}

TEST_F(PidTest, TheDeadBandsExcludeTheirBounds) {
  Pid atErrorBound = make(1.0, 0.0, 0.0);
  atErrorBound.activate();
  atErrorBound.update(2.0);
  EXPECT_DOUBLE_EQ(atErrorBound.output(), 2.0);
  Pid atOutputBound = make(2.0, 0.0, 0.0);
  atOutputBound.activate();
  atOutputBound.update(1.5);
  EXPECT_DOUBLE_EQ(atOutputBound.output(), 3.0);
}

TEST_F(PidTest, SettledMeansErrorAndRawOutputInsideTheirDeadBands) {
  Pid pid = make(2.0, 0.0, 0.0);
  pid.update(1.4);
  EXPECT_TRUE(pid.isSettled());
  pid.update(1.5);
  EXPECT_FALSE(pid.isSettled());
  Pid weak = make(0.1, 0.0, 0.0);
  weak.update(1.9);
  EXPECT_TRUE(weak.isSettled());
  weak.update(2.0);
  EXPECT_FALSE(weak.isSettled());
}

TEST_F(PidTest, ActivatingAnActiveControllerChangesNothing) {
  Pid pid = make(0.0, 1.0, 0.0);
  pid.activate();
  pid.update(5.0);
  pass(SECOND);
  pid.update(5.0);
  pid.activate();
  EXPECT_DOUBLE_EQ(pid.getIntegral(), 5.0);
  EXPECT_DOUBLE_EQ(pid.getLastError(), 5.0);
}

TEST_F(PidTest, InactivateKeepsTheHistoryAndActivateClearsIt) {
  Pid pid = make(1.0, 1.0, 1.0);
  pid.activate();
  pid.update(5.0);
  pass(SECOND);
  pid.update(5.0);
  pid.inactivate();
  EXPECT_FALSE(pid.isActive());
  EXPECT_DOUBLE_EQ(pid.getIntegral(), 5.0);
  EXPECT_DOUBLE_EQ(pid.getLastError(), 5.0);
  pid.activate();
  EXPECT_EQ(pid.getIntegral(), 0.0);
  EXPECT_EQ(pid.getLastError(), 0.0);
  pass(SECOND);
  pid.update(7.0);
  EXPECT_DOUBLE_EQ(pid.output(), 7.0);
}

TEST_F(PidTest, ResetClearsTheHistoryOfAnActiveController) {
  Pid pid = make(1.0, 1.0, 1.0);
  pid.activate();
  pid.update(5.0);
  pass(SECOND);
  pid.update(5.0);
  pid.reset();
  EXPECT_TRUE(pid.isActive());
  EXPECT_EQ(pid.getIntegral(), 0.0);
  EXPECT_EQ(pid.getLastError(), 0.0);
  pass(SECOND);
  pid.update(7.0);
  EXPECT_DOUBLE_EQ(pid.output(), 7.0);
}

TEST_F(PidTest, SetPidReplacesTheLiveGains) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.setPid(3.0, 0.5, 0.25);
  EXPECT_EQ(liveGains(pid).kp, 3.0);
  EXPECT_EQ(liveGains(pid).ki, 0.5);
  EXPECT_EQ(liveGains(pid).kd, 0.25);
  pid.activate();
  pid.update(4.0);
  EXPECT_DOUBLE_EQ(pid.output(), 12.0);
}

// ---- Every term works against the motion: a plant whose value moves with the command. ----

TEST_F(PidTest, TheProportionalTermDrivesTheErrorToZeroFromBothSides) {
  for (const double start : {30.0, -30.0}) {
    Pid pid = make(1.0, 0.0, 0.0);
    pid.activate();
    double position = start;
    for (int step = 0; step < 200; ++step) {
      pid.update(0.0 - position);
      position += pid.getOutputValue() * 0.1;
      pass(100'000);
    }
    EXPECT_NEAR(position, 0.0, 1e-6);
  }
}

// A constant drift leaves a proportional controller behind by drift / kp; the integral takes it
// away.
TEST_F(PidTest, TheIntegralTermTakesAwayWhatADriftLeaves) {
  const auto finalError = [this](double ki) {
    Pid pid = make(1.0, ki, 0.0);
    pid.activate();
    double position = 0.0;
    for (int step = 0; step < 1000; ++step) {
      pid.update(0.0 - position);
      position += (pid.getOutputValue() + 5.0) * 0.1;
      pass(100'000);
    }
    return std::fabs(position);
  };
  EXPECT_NEAR(finalError(0.0), 5.0, 1e-3);
  EXPECT_LT(finalError(0.2), 0.1);
}

TEST_F(PidTest, TheDerivativeTermOpposesTheChangeOfTheError) {
  Pid pid = make(0.0, 0.0, 2.0);
  pid.update(10.0);
  pass(SECOND);
  pid.update(4.0);  // the error falls: brake
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), -12.0);
  pass(SECOND);
  pid.update(9.0);  // the error grows: push
  EXPECT_DOUBLE_EQ(pid.getOutputValue(), 10.0);
}

// ---- Autotune ----

TEST_F(PidTest, AutotuneThatWasNeverStartedIsFinished) {
  Pid pid = make(1.0, 0.0, 0.0);
  double relay = 42.0;
  EXPECT_TRUE(pid.autotuneRun(1.0, relay));
  EXPECT_EQ(relay, 42.0);
  EXPECT_FALSE(pid.isAutotuned());
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

TEST_F(PidTest, TheRelayPushesBackTowardsTheSetpoint) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(10.0, 35.0);
  double relay = 0.0;
  EXPECT_FALSE(pid.autotuneRun(10.5, relay));
  EXPECT_EQ(relay, -35.0);
  EXPECT_FALSE(pid.autotuneRun(9.5, relay));
  EXPECT_EQ(relay, 35.0);
  EXPECT_FALSE(pid.autotuneRun(10.0, relay));
  EXPECT_EQ(relay, 35.0);
}

TEST_F(PidTest, AutotuneEndsAfterMoreThan25Seconds) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  pass(25 * SECOND);
  double relay = 0.0;
  EXPECT_FALSE(pid.autotuneRun(1.0, relay));
  EXPECT_EQ(relay, -35.0);
  pass(1);
  relay = 42.0;
  EXPECT_TRUE(pid.autotuneRun(1.0, relay));
  EXPECT_EQ(relay, 42.0);
  EXPECT_FALSE(pid.isAutotuned());
}

// Low 0, high 10: band 1, middle 5, so a rise counts above 6 and a fall below 4.
TEST_F(PidTest, PeriodsLieBetweenRisesThroughAHysteresis) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  feed(pid, {0.0, 10.0, 3.0, 0.0, 7.0, 9.0, 4.0, 3.9, 0.0, 6.0, 6.1, 0.0});
  const Pid::AutotunePeriods found = pid.getAutotunePeriods();
  ASSERT_EQ(found.size(), 2U);
  // From 10.0 (sample 1) to 7.0 (sample 4).
  EXPECT_DOUBLE_EQ(found[0]->period, 0.3);
  EXPECT_EQ(found[0]->max, 10.0);
  EXPECT_EQ(found[0]->min, 0.0);
  // From 7.0 (sample 4) to 6.1 (sample 10): 6.0 is not above, 4.0 not below.
  EXPECT_DOUBLE_EQ(found[1]->period, 0.6);
  EXPECT_EQ(found[1]->max, 9.0);
  EXPECT_EQ(found[1]->min, 0.0);
}

TEST_F(PidTest, ARiseWithoutAFallBeforeIsNoPeriod) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  feed(pid, {0.0, 10.0, 5.0, 10.0, 5.0, 10.0});
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

// The fall is the last sample: the walk stops there.
TEST_F(PidTest, AFallAtTheEndBeginsNothing) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  feed(pid, {0.0, 10.0, 0.0, 10.0, 0.0});
  EXPECT_EQ(pid.getAutotunePeriods().size(), 1U);
}

TEST_F(PidTest, AConstantValueHasNoPeriods) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  feed(pid, std::vector<double>(50, 3.0));
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

TEST_F(PidTest, AutoTuneClearDropsTheSamples) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 35.0);
  feed(pid, {0.0, 10.0, 0.0, 10.0, 0.0});
  pid.autoTuneClear();
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

TEST_F(PidTest, AnalysisOfNPlus1PeriodsIsRefusedWithTheOutputsUntouched) {
  double meanAmplitude = -1.0;
  double meanPeriod = -2.0;
  double sdAmplitude = -3.0;
  double sdPeriod = -4.0;
  EXPECT_FALSE(Pid::analyzeAutotunePeriods(periods({{0, 1, 1}, {0, 1, 1}, {0, 1, 1}}), 2,
                                           meanAmplitude, meanPeriod, sdAmplitude, sdPeriod));
  EXPECT_EQ(meanAmplitude, -1.0);
  EXPECT_EQ(meanPeriod, -2.0);
  EXPECT_EQ(sdAmplitude, -3.0);
  EXPECT_EQ(sdPeriod, -4.0);
}

// Amplitudes 2 and 4, periods 1 and 3: means 3 and 2, deviations 1 and 1 with the divisor n.
TEST_F(PidTest, AnalysisOfNPlus2PeriodsUsesTheLastNOnly) {
  double meanAmplitude = 0.0;
  double meanPeriod = 0.0;
  double sdAmplitude = 0.0;
  double sdPeriod = 0.0;
  EXPECT_TRUE(Pid::analyzeAutotunePeriods(
      periods({{0, 1000, 1000}, {0, 1000, 1000}, {-1, 1, 1}, {0, 4, 3}}), 2, meanAmplitude,
      meanPeriod, sdAmplitude, sdPeriod));
  EXPECT_DOUBLE_EQ(meanAmplitude, 3.0);
  EXPECT_DOUBLE_EQ(meanPeriod, 2.0);
  EXPECT_DOUBLE_EQ(sdAmplitude, 1.0);
  EXPECT_DOUBLE_EQ(sdPeriod, 1.0);
}

TEST_F(PidTest, TuningRuleOfAFullController) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(2.0, 1.0);
  EXPECT_NEAR(pid.getUltimateGain(), 12.732395447351628, 1e-12);
  EXPECT_DOUBLE_EQ(pid.getUltimatePeriod(), 1.0);
  EXPECT_NEAR(tunedGains(pid).kp, 2.5464790894703255, 1e-12);
  EXPECT_DOUBLE_EQ(tunedGains(pid).ki, 0.25);
  EXPECT_DOUBLE_EQ(tunedGains(pid).kd, 1.0 / 6.0);
}

// The live gains are changed by whoever accepts the tuned ones.
TEST_F(PidTest, TuningLeavesTheLiveGainsAlone) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(2.0, 1.0);
  EXPECT_EQ(liveGains(pid).kp, 1.0);
}

TEST_F(PidTest, TheIntegralAndDerivativeOfAFullControllerDependOnThePeriodAlone) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(8.0, 3.0);
  EXPECT_DOUBLE_EQ(tunedGains(pid).ki, 0.75);
  EXPECT_DOUBLE_EQ(tunedGains(pid).kd, 0.5);
}

TEST_F(PidTest, TuningRuleOfAProportionalController) {
  Pid pid = make(1.0, 0.0, 0.0, Pid::ControlType::P);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(2.0, 2.0);
  EXPECT_NEAR(tunedGains(pid).kp, 20.0 / M_PI, 1e-12);
  EXPECT_EQ(tunedGains(pid).ki, 0.0);
  EXPECT_EQ(tunedGains(pid).kd, 0.0);
}

TEST_F(PidTest, TuningRuleOfAProportionalIntegralController) {
  Pid pid = make(1.0, 0.0, 0.0, Pid::ControlType::PI);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(2.0, 2.0);
  EXPECT_NEAR(tunedGains(pid).kp, 0.45 * 40.0 / M_PI, 1e-12);
  EXPECT_NEAR(tunedGains(pid).ki, 0.54 * 40.0 / M_PI / 2.0, 1e-12);
  EXPECT_EQ(tunedGains(pid).kd, 0.0);
}

TEST_F(PidTest, TheGainScaleDividesTheUltimateGain) {
  Pid pid = make(1.0, 0.0, 0.0, Pid::ControlType::P, 25.0);
  pid.autotuneStart(0.0, 10.0);
  pid.setAutotuneValues(2.0, 2.0);
  EXPECT_NEAR(pid.getUltimateGain(), 40.0 / M_PI / 25.0, 1e-12);
}

// A head that turns as fast as it is told, but shows it 0.3 s later. Behind a relay of 10 deg/s it
// swings with four times the delay as its period and 10 * 0.3 degrees to each side, give or take
// what the sampling of 50 ms adds.
TEST_F(PidTest, ARelayFindsTheOscillationOfADelayedIntegrator) {
  constexpr int DELAY_STEPS = 6;
  constexpr double STEP = 0.05;
  Pid pid = make(1.0, 0.0, 0.0);
  std::deque<double> pending(DELAY_STEPS, 0.0);
  double position = 0.3;
  pid.autotuneStart(0.0, 10.0);
  bool isFinished = false;
  int steps = 0;
  while (!isFinished && steps < 1000) {
    double relay = 0.0;
    isFinished = pid.autotuneRun(position, relay);
    pending.push_back(relay);
    position += pending.front() * STEP;
    pending.pop_front();
    pass(50'000);
    ++steps;
  }
  ASSERT_TRUE(pid.isAutotuned());
  EXPECT_LT(steps * STEP, 25.0);
  EXPECT_NEAR(pid.getUltimatePeriod(), 1.2, 0.25);
  const double amplitude = 40.0 / (M_PI * 0.5 * pid.getUltimateGain());
  EXPECT_NEAR(amplitude, 6.0, 1.0);
  EXPECT_NEAR(tunedGains(pid).kp, 0.2 * pid.getUltimateGain(), 1e-12);
}

// Periods 1 s long whose amplitudes are twice their mean's share away on either side: a quarter is
// the limit and does not succeed.
class SpreadTest : public PidTest, public testing::WithParamInterface<std::pair<double, bool>> {
 protected:
  // Alternates between two amplitudes, sampled every 250 ms, until the run finishes. The middle of
  // the swing stays at 0.
  bool runTo25Seconds(Pid& pid, double small, double large) {
    pid.autotuneStart(0.0, 10.0);
    for (int i = 0; i < 200; ++i) {
      const double amplitude = (i / 4) % 2 == 0 ? large : small;
      const double wave[] = {amplitude, 0.0, -amplitude, 0.0};
      double relay = 0.0;
      if (pid.autotuneRun(wave[i % 4], relay)) {
        return true;
      }
      pass(250'000);
    }
    return false;
  }
};

// Of amplitudes 1 - d and 1 + d the mean is 1 and the deviation d.
TEST_P(SpreadTest, OscillationsThatVaryByAQuarterOrMoreNeverSucceed) {
  const auto [deviation, succeeds] = GetParam();
  Pid pid = make(1.0, 0.0, 0.0);
  const std::int64_t start = clock.now();
  EXPECT_TRUE(runTo25Seconds(pid, 1.0 - deviation, 1.0 + deviation));
  EXPECT_EQ(pid.isAutotuned(), succeeds);
  EXPECT_EQ(clock.now() - start > 25 * SECOND, !succeeds);
}

INSTANTIATE_TEST_SUITE_P(Deviations, SpreadTest,
                         testing::Values(std::pair(0.0, true), std::pair(0.2, true),
                                         std::pair(0.25, false), std::pair(0.4, false)));

TEST_F(PidTest, PeriodsThatVaryByAQuarterOrMoreNeverSucceed) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  bool isFinished = false;
  for (int i = 0; i < 400 && !isFinished; ++i) {
    const double wave[] = {1.0, 0.0, -1.0, 0.0};
    double relay = 0.0;
    isFinished = pid.autotuneRun(wave[i % 4], relay);
    pass((i / 4) % 2 == 0 ? 100'000 : 300'000);
  }
  EXPECT_TRUE(isFinished);
  EXPECT_FALSE(pid.isAutotuned());
}

// Twelve periods are needed to look at ten of them.
TEST_F(PidTest, ASteadyOscillationSucceedsWithTheTwelfthPeriod) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  int steps = 0;
  bool isFinished = false;
  while (!isFinished && steps < 200) {
    const double wave[] = {1.0, 0.0, -1.0, 0.0};
    double relay = 0.0;
    isFinished = pid.autotuneRun(wave[steps % 4], relay);
    pass(100'000);
    ++steps;
  }
  EXPECT_EQ(steps, 12 * 4 + 1);
  EXPECT_DOUBLE_EQ(pid.getUltimatePeriod(), 0.4);
  // Peak to peak 2.
  EXPECT_NEAR(pid.getUltimateGain(), 40.0 / M_PI, 1e-12);
}

TEST_F(PidTest, ALaterStartForgetsTheRunBefore) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  const double wave[] = {1.0, 0.0, -1.0, 0.0};
  for (int i = 0; i < 49; ++i) {
    double relay = 0.0;
    pid.autotuneRun(wave[i % 4], relay);
    pass(100'000);
  }
  ASSERT_TRUE(pid.isAutotuned());
  pid.autotuneStart(0.0, 10.0);
  EXPECT_FALSE(pid.isAutotuned());
  EXPECT_TRUE(pid.getAutotunePeriods().empty());
}

TEST_F(PidTest, AFailedAutotuneLogsItsSamples) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  feed(pid, {1.5, -2.25});
  const std::int64_t end = clock.now();
  pid.printAutotuneDebug("PAN ");
  const std::vector<LogLine> lines = LogCapture::lines();
  ASSERT_EQ(lines.size(), 3U);
  const auto sampleLine = [](const char* value, std::int64_t time) {
    return std::string("value:") + value + " time:" + std::to_string(time);
  };
  const auto withoutLineFeed = [](std::string text) {
    if (text.ends_with('\n')) {
      text.pop_back();
    }
    return text;
  };
  EXPECT_EQ(withoutLineFeed(lines[0].text), "PAN : autotune failed!");
  EXPECT_EQ(withoutLineFeed(lines[1].text), sampleLine("1.500000", end - 200'000));
  EXPECT_EQ(withoutLineFeed(lines[2].text), sampleLine("-2.250000", end - 100'000));
  for (const LogLine& line : lines) {
    EXPECT_EQ(line.priority, LOG_INFO);
  }
}

TEST_F(PidTest, ASuccessfulAutotuneLogsNothing) {
  Pid pid = make(1.0, 0.0, 0.0);
  pid.autotuneStart(0.0, 10.0);
  const double wave[] = {1.0, 0.0, -1.0, 0.0};
  for (int i = 0; i < 49; ++i) {
    double relay = 0.0;
    pid.autotuneRun(wave[i % 4], relay);
    pass(100'000);
  }
  ASSERT_TRUE(pid.isAutotuned());
  pid.printAutotuneDebug("PAN ");
  EXPECT_TRUE(LogCapture::lines().empty());
}

}  // namespace
