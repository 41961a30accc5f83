#include "head/command_link.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace device {
namespace {

HeadCommand panTo(double angle) {
  return {.pan = {MoveKind::absolute, angle}, .tilt = {}, .zoom = {}};
}

// The times that commands took that were sent so long after each other that none could be held back
// by the one before.
std::vector<double> delaysOf(const CommandLinkSetup& setup, std::uint64_t seed, int count) {
  CommandLink link(setup, seed);
  std::vector<double> delays;
  for (int i = 0; i < count; ++i) {
    link.send(panTo(i));
    delays.push_back(*link.untilNext());
    link.take();
  }
  return delays;
}

TEST(CommandLinkTest, WithoutJitterEveryCommandTakesTheLatency) {
  for (const double delay : delaysOf({.latency = 0.15}, 1, 20)) {
    EXPECT_DOUBLE_EQ(delay, 0.15);
  }
}

TEST(CommandLinkTest, DelaysSpreadEvenlyAroundTheLatency) {
  const std::vector<double> delays = delaysOf({.latency = 0.3, .jitter = 0.06}, 1, 10000);
  double sum = 0;
  double squares = 0;
  for (const double delay : delays) {
    ASSERT_GE(delay, 0.24);
    ASSERT_LE(delay, 0.36);
    sum += delay;
    squares += (delay - 0.3) * (delay - 0.3);
  }
  EXPECT_NEAR(sum / 10000, 0.3, 0.002);
  EXPECT_NEAR(std::sqrt(squares / 10000), 0.12 / std::sqrt(12), 0.001);
}

TEST(CommandLinkTest, TheSeedDecidesTheDelays) {
  const CommandLinkSetup setup{.latency = 0.3, .jitter = 0.06};
  EXPECT_EQ(delaysOf(setup, 4, 5), delaysOf(setup, 4, 5));
  EXPECT_NE(delaysOf(setup, 4, 5), delaysOf(setup, 5, 5));
}

TEST(CommandLinkTest, NoCommandOvertakesAnother) {
  CommandLink link({.latency = 0.2, .jitter = 0.2}, 1);
  int next = 0;
  for (int sent = 0; sent < 500; ++sent) {
    link.send(panTo(sent));
    link.advance(0.02);
    while (link.untilNext() == 0.0) {
      ASSERT_EQ(link.take().pan.value, next++);
    }
  }
  EXPECT_GT(next, 450);
}

TEST(CommandLinkTest, NoCommandArrivesBeforeItWasSent) {
  const std::vector<double> delays = delaysOf({.latency = 0.01, .jitter = 0.1}, 1, 200);
  EXPECT_EQ(*std::min_element(delays.begin(), delays.end()), 0);
}

TEST(CommandLinkTest, WhatIsDroppedNeverArrives) {
  CommandLink link({.latency = 0.1}, 1);
  link.send(panTo(1));
  link.drop();
  EXPECT_FALSE(link.untilNext());
}

}  // namespace
}  // namespace device
