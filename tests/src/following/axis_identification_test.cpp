#include "following/axis_identification.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "base/units.h"
#include "following/simulated_head.h"
#include "following/tuning.h"
#include "support/rounds.h"

namespace following {
namespace {

using simulation::HeadKind;
using simulation::Random;
using simulation::recordAxis;
using simulation::SimulatedHead;

double meanSpeedError(const AxisModel& model, const HeadKind& kind) {
  double sum = 0.0;
  for (const SpeedLevel& level : model.curve.levels()) {
    sum += std::abs(level.speed / kind.speedAt(level.percent) - 1.0);
  }
  return sum / static_cast<double>(model.curve.levels().size());
}

// ---- The staircase ----

TEST(StaircaseTest, TakesTenSecondsWithAlternatingSigns) {
  const Staircase staircase;
  EXPECT_NEAR(staircase.duration(), 10.0, 1e-9);
  EXPECT_EQ(staircase.command(0.0), 0);
  EXPECT_EQ(staircase.command(0.65), 100);
  EXPECT_EQ(staircase.command(1.55), -60);
  EXPECT_EQ(staircase.command(9.9), 0);
  EXPECT_FALSE(staircase.command(10.01));
  double last = 0.0;
  for (const Staircase::Step& step : staircase.steps()) {
    EXPECT_LE(step.percent * last, 0.0);
    last = step.percent == 0 ? last : step.percent;
  }
}

// 60 deg/s at 35 %: 154 deg in 0.9 s at 100 %, 82 in 0.8 s at 60 %, 48 in 0.8 s at 35 %,
// 27 in 0.8 s at 20 %.
TEST(StaircaseTest, LeavesOutWhatWouldMeetTheStops) {
  const Staircase staircase(60.0, 35.0);
  for (const Staircase::Step& step : staircase.steps()) {
    EXPECT_LE(std::abs(step.percent), 20);
  }
  EXPECT_EQ(staircase.steps().size(), 9U);
  EXPECT_EQ(Staircase(60.0, 1e9).steps().size(), 12U);
}

// ---- The record ----

TEST(AxisRecordTest, KeepsValuesThatDifferFromTheOneBefore) {
  AxisRecord record;
  for (int i = 0; i < 10; ++i) {
    record.addStatus(i * 50'000, i / 3);
  }
  ASSERT_EQ(record.samples().size(), 4U);
  EXPECT_EQ(record.samples()[1].time, 150'000);
  EXPECT_EQ(record.samples()[3].degrees, 3.0);
}

TEST(AxisRecordTest, UnwrapsThePan) {
  AxisRecord record;
  record.addStatus(0, 170.0);
  record.addStatus(50'000, -170.0);
  record.addStatus(100'000, -150.0);
  EXPECT_NEAR(record.samples()[2].degrees, 210.0, 1e-9);
}

TEST(AxisRecordTest, WhatCannotBeIsUnsound) {
  AxisRecord notFinite;
  notFinite.addStatus(0, std::nan(""));
  EXPECT_FALSE(notFinite.isSound());
  AxisRecord backwards;
  backwards.addStatus(100, 1.0);
  backwards.addStatus(50, 2.0);
  EXPECT_FALSE(backwards.isSound());
  AxisRecord commandsBackwards;
  commandsBackwards.addCommand(100, 10);
  commandsBackwards.addCommand(50, 20);
  EXPECT_FALSE(commandsBackwards.isSound());
  AxisRecord tooMuch;
  for (std::size_t i = 0; i <= AxisRecord::MOST_COMMANDS; ++i) {
    tooMuch.addCommand(static_cast<std::int64_t>(i), static_cast<int>(i % 2));
  }
  EXPECT_FALSE(tooMuch.isSound());
  EXPECT_EQ(identify(tooMuch).refusal, Refusal::unsound);
  tooMuch.clear();
  EXPECT_TRUE(tooMuch.isSound());
  EXPECT_TRUE(tooMuch.commands().empty());
}

// ---- The fit ----

// A head of 55 ms in all that is fresh and exact.
TEST(AxisIdentificationTest, ExactHeadIsFoundExactly) {
  HeadKind kind;
  kind.latency = 0.055;
  for (const double relay : {4.0, 0.0}) {
    const AxisIdentification found = identify(recordAxis(kind, 1, false, {relay}));
    ASSERT_TRUE(found.isBelieved());
    EXPECT_NEAR(found.model.deadTime, 0.055, 0.0005);
    EXPECT_NEAR(found.model.acceleration, 300.0, 0.6);
    EXPECT_EQ(found.model.curve.step(), 1);
    ASSERT_EQ(found.model.curve.levels().size(), 10U);
    EXPECT_LT(meanSpeedError(found.model, kind), 0.001);
    for (const SpeedLevel& level : found.model.curve.levels()) {
      EXPECT_NEAR(level.speed, kind.speedAt(level.percent), 0.001 * level.speed);
    }
  }
}

HeadKind anyHead(Random& random) {
  HeadKind kind;
  kind.fullSpeed = 30.0 * std::pow(15.0, random.uniform(0.0, 1.0));
  kind.acceleration = kind.fullSpeed * random.uniform(2.0, 5.0);
  kind.latency = random.uniform(0.05, 0.5);
  kind.latencyJitter = kind.latency * random.uniform(0.0, 0.2);
  kind.speedStep = random.chance(0.5) ? 1.0 : 5.0;
  kind.deadZone = random.chance(0.5) ? 0.0 : 2.0;
  kind.curve = random.uniform(1.0, 1.5);
  kind.play = random.uniform(0.0, 0.1);
  kind.statusAge = random.uniform(0.0, 0.3);
  kind.statusPeriod = 0.05 * std::floor(random.uniform(1.0, 5.0));
  kind.statusStep = random.uniform(0.01, 0.1);
  return kind;
}

// Levels of the staircase that this head tells apart and that are not in its curve.
int leftOut(const AxisModel& model, const HeadKind& kind) {
  int count = 0;
  double below = 0.0;
  for (const int percent : {2, 3, 4, 6, 10, 12, 20, 35, 60, 100}) {
    const double speed = kind.speedAt(percent);
    const bool isIts = percent % model.curve.step() == 0 && speed > below && speed > 0.1;
    const auto levels = model.curve.levels();
    const bool isFound = std::ranges::count(levels, percent, &SpeedLevel::percent) != 0;
    count += isIts && !isFound ? 1 : 0;
    below = std::max(below, speed);
  }
  return count;
}

// The mean error of the speeds of one head is bounded, and the dead time, and the steps are found;
// a head whose slowest levels drown in the play and the steps of its status may miss the speeds.
TEST(AxisIdentificationTest, TwoHundredHeadsAreFound) {
  Random random(2024);
  int missed = 0;
  int incomplete = 0;
  for (std::uint64_t i = 0; i < 200; ++i) {
    const HeadKind kind = anyHead(random);
    const AxisIdentification found = identify(recordAxis(kind, 5000 + i, false));
    const double deadTime = SimulatedHead(kind, 5000 + i, 0.0, -35.0).deadTime();
    ASSERT_TRUE(found.isBelieved()) << i;
    EXPECT_NEAR(found.model.deadTime, deadTime, 0.035) << i;
    EXPECT_EQ(found.model.curve.step(), static_cast<int>(kind.speedStep)) << i;
    const double error = meanSpeedError(found.model, kind);
    missed += error > 0.10 ? 1 : 0;
    EXPECT_LT(error, 0.11) << i;
    const int left = leftOut(found.model, kind);
    incomplete += left > 0 ? 1 : 0;
    EXPECT_LE(left, 2) << i;
  }
  EXPECT_LE(missed, 1);
  EXPECT_LE(incomplete, 20);
}

// The same heads' tilt, which stays within 35 degrees: fast ones have their greatest levels from
// pan. Where tilt tells little, pan stands in.
TEST(AxisIdentificationTest, TiltOfTwoHundredHeadsIsFound) {
  Random random(2024);
  int missed = 0;
  int late = 0;
  int incomplete = 0;
  for (std::uint64_t i = 0; i < 200; ++i) {
    const HeadKind kind = anyHead(random);
    const HeadIdentification found = simulation::identifyHead(kind, 5000 + i);
    const AxisModel& tilt = found.tilt.model;
    // Of the record that it was told by.
    const std::uint64_t seed = found.isTiltPans ? 5000 + i : 5001 + i;
    const double off = std::abs(tilt.deadTime - SimulatedHead(kind, seed, 0.0, -35.0).deadTime());
    ASSERT_TRUE(found.tilt.isBelieved()) << i;
    late += off > 0.035 ? 1 : 0;
    EXPECT_LT(off, 0.05) << i;
    EXPECT_EQ(tilt.curve.step(), static_cast<int>(kind.speedStep)) << i;
    const double error = meanSpeedError(tilt, kind);
    missed += error > 0.10 ? 1 : 0;
    EXPECT_LT(error, 0.11) << i;
    EXPECT_NEAR(tilt.curve.fastest(), kind.fullSpeed, 0.13 * kind.fullSpeed) << i;
    const int left = leftOut(tilt, kind);
    incomplete += left > 0 ? 1 : 0;
    EXPECT_LE(left, 2) << i;
  }
  EXPECT_LE(missed, 1);
  EXPECT_LE(late, 2);
  EXPECT_LE(incomplete, 25);
}

TEST(AxisIdentificationTest, JitterOfTheLinkIsNotTakenForSpeed) {
  HeadKind kind;
  kind.latency = 0.3;
  kind.latencyJitter = 0.06;
  kind.curve = 1.5;
  kind.statusAge = 0.3;
  kind.statusPeriod = 0.2;
  kind.statusStep = 0.1;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const AxisIdentification found = identify(recordAxis(kind, seed, false));
    ASSERT_TRUE(found.isBelieved());
    for (const SpeedLevel& level : found.model.curve.levels()) {
      if (level.percent >= 20) {
        EXPECT_NEAR(level.speed, kind.speedAt(level.percent), 0.06 * level.speed) << seed;
      }
    }
    EXPECT_NEAR(found.model.acceleration, 300.0, 30.0) << seed;
  }
}

TEST(AxisIdentificationTest, SameRecordGivesTheSame) {
  const HeadKind kind;
  const AxisIdentification first = identify(recordAxis(kind, 3, false));
  const AxisIdentification second = identify(recordAxis(kind, 3, false));
  EXPECT_EQ(first.model.deadTime, second.model.deadTime);
  EXPECT_EQ(first.model.acceleration, second.model.acceleration);
  EXPECT_EQ(first.misfit, second.misfit);
}

// ---- What is not believed ----

AxisRecord staircaseWith(const std::function<double(double, int)>& status) {
  AxisRecord record;
  record.beginStaircase(0);
  const Staircase staircase;
  for (std::int64_t now = 0;; now += 50'000) {
    const double seconds = units::toSeconds(now);
    const auto percent = staircase.command(seconds + 1e-6);
    if (!percent) {
      return record;
    }
    record.addCommand(now, *percent);
    record.addStatus(now, status(seconds, *percent));
  }
}

TEST(AxisIdentificationTest, StatusThatIsFrozenIsRefused) {
  EXPECT_EQ(identify(staircaseWith([](double, int) { return 12.0; })).refusal, Refusal::noMotion);
}

TEST(AxisIdentificationTest, StatusThatIsNoiseIsRefused) {
  Random random(4);
  EXPECT_FALSE(
      identify(staircaseWith([&](double, int) { return random.uniform(-90, 90); })).isBelieved());
  EXPECT_FALSE(
      identify(staircaseWith([&](double, int) { return random.uniform(-1, 1); })).isBelieved());
}

TEST(AxisIdentificationTest, AxisThatSomethingElseMovesIsRefused) {
  EXPECT_FALSE(identify(staircaseWith([](double seconds, int) {
                 return 40.0 * std::sin(2.0 * seconds);
               })).isBelieved());
}

TEST(AxisIdentificationTest, AxisThatTurnsTheOtherWayIsRefused) {
  double position = 0.0;
  EXPECT_FALSE(identify(staircaseWith([&](double, int percent) {
                 return position -= percent * 0.05;
               })).isBelieved());
}

TEST(AxisIdentificationTest, EmptyAndShortRecordsAreRefused) {
  EXPECT_EQ(identify(AxisRecord()).refusal, Refusal::tooShort);
  AxisRecord record;
  record.addCommand(0, 100);
  record.addStatus(0, 1.0);
  EXPECT_EQ(identify(record).refusal, Refusal::tooShort);
}

TEST(AxisIdentificationTest, ValuesBeyondAllHeadsAreRefused) {
  AxisRecord record;
  const int percents[] = {100, -60, 35, -20, 0};
  for (int i = 0; i < 100; ++i) {
    record.addCommand(i * 50'000, percents[i / 20]);
    record.addStatus(i * 50'000, i % 2 == 0 ? 1e300 : -1e308);
  }
  EXPECT_FALSE(identify(record).isBelieved());
}

TEST(AxisIdentificationTest, AnyRecordGivesFiniteModelsOrIsRefused) {
  Random random(77);
  for (int round = 0; round < rounds(60); ++round) {
    AxisRecord record;
    std::int64_t now = 0;
    const double scale = std::pow(10.0, random.uniform(-3, 6));
    for (int i = 0; i < 120; ++i) {
      now += static_cast<std::int64_t>(random.uniform(0, 200'000));
      if (random.chance(0.3)) {
        record.addCommand(now, static_cast<int>(random.uniform(-101, 101)));
      }
      record.addStatus(now, random.uniform(-scale, scale));
    }
    const AxisIdentification found = identify(record);
    if (found.isBelieved()) {
      EXPECT_TRUE(found.model.isPlausible());
    }
  }
}

TEST(HeadIdentificationTest, TiltThatMeetsItsEndTakesPansResult) {
  HeadKind kind;
  kind.latency = 0.15;
  // At 100 percent the tilt goes 90 degrees: from -20 against its end at 20.
  const auto head = simulation::identifyHead(kind, 3, {4.0, -20.0, 1000.0});
  ASSERT_TRUE(head.pan.isBelieved());
  EXPECT_TRUE(head.isTiltPans);
  EXPECT_EQ(head.tilt.model.acceleration, head.pan.model.acceleration);
}

TEST(HeadIdentificationTest, EndStopIsNotTakenForAnAcceleration) {
  HeadKind kind;
  kind.latency = 0.3;
  kind.latencyJitter = 0.06;
  kind.curve = 1.5;
  kind.statusAge = 0.3;
  kind.statusPeriod = 0.2;
  kind.statusStep = 0.1;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const auto head = simulation::identifyHead(kind, seed, {4.0, -35.0, 1000.0});
    EXPECT_LT(head.tilt.model.acceleration, 450.0) << seed;
  }
}

// 35 degrees of room: at 100 deg/s the levels of 100 and 60 percent (90 and 48 degrees) are left
// out.
TEST(HeadIdentificationTest, LevelsThatTiltHasNoRoomForAreLikePans) {
  HeadKind kind;
  kind.latency = 0.15;
  const auto tilt = recordAxis(kind, 4, true);
  EXPECT_NEAR(*speedInRelay(tilt), 35.0, 5.0);
  EXPECT_EQ(identify(tilt).model.curve.levels().back().percent, 35);
  const auto head = identifyHead(recordAxis(kind, 3, false), tilt);
  EXPECT_FALSE(head.isTiltPans);
  EXPECT_EQ(head.tilt.model.curve.levels().back().percent, 100);
  EXPECT_NEAR(head.tilt.model.curve.fastest(), 100.0, 1.0);
  EXPECT_NEAR(head.tilt.model.curve.speed(60), 60.0, 0.6);
}

TEST(HeadIdentificationTest, TiltWithRoomIsFittedByItself) {
  HeadKind slow;
  slow.fullSpeed = 30.0;
  slow.acceleration = 120.0;
  HeadKind slower = slow;
  slower.fullSpeed = 20.0;
  const auto head = identifyHead(recordAxis(slow, 1, false), recordAxis(slower, 2, true));
  EXPECT_FALSE(head.isTiltPans);
  EXPECT_NEAR(head.tilt.model.curve.fastest(), 20.0, 0.1);
  EXPECT_NEAR(head.pan.model.curve.fastest(), 30.0, 0.1);
}

}  // namespace
}  // namespace following
