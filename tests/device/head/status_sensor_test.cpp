#include "head/status_sensor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace device {
namespace {

HeadStatus at(double pan, double tilt = 0) {
  HeadStatus status;
  status.pan = pan;
  status.tilt = tilt;
  return status;
}

// A head that pans at 10 degrees a second from 0 on, stepped in milliseconds.
class Moving {
 public:
  explicit Moving(const StatusSensorSetup& setup) : sensor(setup, at(0), 1) {}

  double toldAfter(double seconds) {
    for (; time < seconds - 1e-9; time += 0.001) {
      sensor.read(now());
      sensor.advance(0.001);
    }
    sensor.read(now());
    return sensor.told(now()).pan;
  }

  HeadStatus now() const { return at(10 * time); }

 private:
  double time = 0;
  StatusSensor sensor;
};

TEST(StatusSensorTest, WithoutFlawsItTellsWhatIs) {
  StatusSensor sensor({}, at(0), 1);
  EXPECT_EQ(sensor.untilReading(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(sensor.told(at(12.345678, -3.2)).pan, 12.345678);
  EXPECT_EQ(sensor.told(at(12.345678, -3.2)).tilt, -3.2);
}

TEST(StatusSensorTest, WhatItTellsIsOfTheAge) {
  Moving moving({.age = 0.3});
  EXPECT_DOUBLE_EQ(moving.toldAfter(0.2), 0);  // as at the start
  for (double time = 0.5; time < 3; time += 0.1) {
    EXPECT_NEAR(moving.toldAfter(time), 10 * (time - 0.3), 0.06);  // read every 5 ms
  }
}

TEST(StatusSensorTest, ItReadsOnceInAPeriod) {
  Moving moving({.period = 0.2});
  std::set<double> told;
  for (double time = 0.001; time < 1.9; time += 0.001) {
    told.insert(std::round(moving.toldAfter(time) * 1000) / 1000);
  }
  EXPECT_EQ(told.size(), 10u);  // 0, 2, 4, ... 18 degrees
}

TEST(StatusSensorTest, AgeAndPeriodAddUp) {
  Moving moving({.age = 0.3, .period = 0.2});
  double least = 1;
  double most = 0;
  for (double time = 1; time < 3; time += 0.001) {
    const double age = time - moving.toldAfter(time) / 10;
    least = std::min(least, age);
    most = std::max(most, age);
  }
  EXPECT_NEAR(least, 0.3, 0.005);
  EXPECT_NEAR(most, 0.5, 0.005);
}

TEST(StatusSensorTest, AnglesComeInSteps) {
  StatusSensor sensor({.step = 0.05}, at(0), 1);
  EXPECT_NEAR(sensor.told(at(10.07, -3.021)).pan, 10.05, 1e-12);
  EXPECT_NEAR(sensor.told(at(10.08, -3.03)).pan, 10.1, 1e-12);
  EXPECT_NEAR(sensor.told(at(10.08, -3.021)).tilt, -3.0, 1e-12);
}

TEST(StatusSensorTest, NoiseHasItsDeviation) {
  StatusSensor sensor({.noise = 0.2}, at(0), 1);
  constexpr int READINGS = 5000;
  double sum = 0;
  double squares = 0;
  double together = 0;
  for (int i = 0; i < READINGS; ++i) {
    const HeadStatus told = sensor.told(at(30, -20));
    sum += told.pan - 30;
    squares += (told.pan - 30) * (told.pan - 30) + (told.tilt + 20) * (told.tilt + 20);
    together += (told.pan - 30) * (told.tilt + 20);
  }
  EXPECT_NEAR(sum / READINGS, 0, 0.01);
  EXPECT_NEAR(std::sqrt(squares / (2 * READINGS)), 0.2, 0.005);
  EXPECT_NEAR(together / READINGS, 0, 0.003);
}

TEST(StatusSensorTest, PanStaysInItsRange) {
  StatusSensor sensor({.step = 0.5}, at(0), 1);
  EXPECT_EQ(sensor.told(at(179.9)).pan, -180);
  StatusSensor noisy({.noise = 1}, at(0), 1);
  for (int i = 0; i < 200; ++i) {
    const double pan = noisy.told(at(-179.9)).pan;
    ASSERT_GE(pan, -180);
    ASSERT_LT(pan, 180);
  }
}

}  // namespace
}  // namespace device
