#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <vector>

#include "head/head.h"
#include "model/model.h"
#include "support/source_folder.h"

// A relay on each axis, as an application uses it to learn how a head behaves, must make every head
// oscillate quickly and evenly enough.
namespace device {
namespace {

constexpr double RELAY_PERCENT = 35;
constexpr double SAMPLE_INTERVAL = 0.05;  // seconds
constexpr double TIME_LIMIT = 25;         // seconds
constexpr std::size_t PERIODS_NEEDED = 12;
constexpr std::size_t PERIODS_JUDGED = 10;

struct Sample {
  double time;
  double value;
};

struct Period {
  double length;
  double swing;
};

struct Spread {
  double mean;
  double deviation;
};

// From one rising crossing of the band around the middle (a tenth of the swing to either side) to
// the next; between them the value has been below the band.
std::vector<Period> periodsOf(const std::vector<Sample>& samples) {
  double low = 9999.9;
  double high = -9999.9;
  for (const Sample& sample : samples) {
    low = std::min(low, sample.value);
    high = std::max(high, sample.value);
  }
  const double upper = (high + low) / 2 + (high - low) / 10;
  const double lower = (high + low) / 2 - (high - low) / 10;
  std::vector<Period> periods;
  std::optional<std::size_t> rise;
  bool wasBelow = true;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].value < lower) {
      wasBelow = true;
    }
    if (samples[i].value <= upper || !wasBelow) {
      continue;
    }
    wasBelow = false;
    if (rise) {
      double least = 9999.9;
      double most = -9999.9;
      for (std::size_t k = *rise; k < i; ++k) {
        least = std::min(least, samples[k].value);
        most = std::max(most, samples[k].value);
      }
      periods.push_back({samples[i].time - samples[*rise].time, most - least});
    }
    rise = i;
  }
  return periods;
}

template <typename Field>
Spread spreadOf(const std::vector<Period>& periods, Field field) {
  const std::size_t first = periods.size() - PERIODS_JUDGED;
  double sum = 0;
  for (std::size_t i = first; i < periods.size(); ++i) {
    sum += periods[i].*field;
  }
  const double mean = sum / PERIODS_JUDGED;
  double squares = 0;
  for (std::size_t i = first; i < periods.size(); ++i) {
    squares += std::pow(periods[i].*field - mean, 2);
  }
  return {mean, std::sqrt(squares / PERIODS_JUDGED)};
}

bool isRegular(const std::vector<Period>& periods) {
  if (periods.size() < PERIODS_NEEDED) {
    return false;
  }
  const Spread length = spreadOf(periods, &Period::length);
  const Spread swing = spreadOf(periods, &Period::swing);
  return length.deviation < length.mean / 4 && swing.deviation < swing.mean / 4;
}

double relay(double setpoint, double value) {
  return setpoint < value ? -RELAY_PERCENT : RELAY_PERCENT;
}

struct Learned {
  std::optional<double> panTime;  // seconds until the oscillation of the axis was regular
  std::optional<double> tiltTime;
};

// jitter: seconds by which samples and commands may come late.
Learned learn(Head& head, double jitter) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> late(0, jitter);
  const HeadStatus start = head.status();
  std::vector<Sample> pan;
  std::vector<Sample> tilt;
  Learned learned;
  for (double time = 0; time < TIME_LIMIT;) {
    const HeadStatus status = head.status();
    pan.push_back({time, status.pan});
    tilt.push_back({time, status.tilt});
    if (!learned.panTime && isRegular(periodsOf(pan))) {
      learned.panTime = time;
    }
    if (!learned.tiltTime && isRegular(periodsOf(tilt))) {
      learned.tiltTime = time;
    }
    const double onTheWay = late(random);
    head.step(onTheWay);
    head.command({.pan = {MoveKind::continuous, relay(start.pan, status.pan)},
                  .tilt = {MoveKind::continuous, relay(start.tilt, status.tilt)},
                  .zoom = {MoveKind::continuous, 0}});
    const double pause = SAMPLE_INTERVAL + late(random);
    head.step(pause);
    time += onTheWay + pause;
  }
  return learned;
}

class AutotuneTest : public testing::TestWithParam<const char*> {
 protected:
  static Head headAtStart() {
    Head head(loadModel(modelsFolder(), GetParam()).head);
    head.command({.pan = {MoveKind::absolute, 0},
                  .tilt = {MoveKind::absolute, -45},
                  .zoom = {MoveKind::absolute, 1}});
    head.step(10);
    return head;
  }
};

TEST_P(AutotuneTest, BothAxesOscillateRegularlyInTime) {
  Head head = headAtStart();
  const Learned learned = learn(head, 0);
  EXPECT_TRUE(learned.panTime);
  EXPECT_TRUE(learned.tiltTime);
}

TEST_P(AutotuneTest, BothAxesOscillateRegularlyWhenCommandsComeLate) {
  Head head = headAtStart();
  const Learned learned = learn(head, 0.015);
  EXPECT_TRUE(learned.panTime);
  EXPECT_TRUE(learned.tiltTime);
}

TEST_P(AutotuneTest, ZoomCheckPositionIsReachedInTime) {
  Head head(loadModel(modelsFolder(), GetParam()).head);
  head.command({.pan = {MoveKind::absolute, 0},
                .tilt = {MoveKind::absolute, -45},
                .zoom = {MoveKind::absolute, 100}});
  head.step(100 * SAMPLE_INTERVAL);
  EXPECT_FALSE(head.status().moving());
  EXPECT_NEAR(head.status().pan, 0, 0.5);
  EXPECT_NEAR(head.status().tilt, -45, 0.5);
  EXPECT_EQ(head.status().zoom, 100);
}

INSTANTIATE_TEST_SUITE_P(Heads, AutotuneTest,
                         testing::Values("fixed", "ordinary", "slow-head", "fast-head", "k47",
                                         "mechanical", "compass"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
}  // namespace device
