#include "world/frame_link.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "base/units.h"

namespace device {
namespace {

constexpr int PICTURES = 20000;

struct Received {
  double time;     // seconds, when it came
  int number;      // of the picture, from 0, one each 0.1 s
  double stamped;  // seconds by which its time stamp is off
};

// Everything that comes of pictures taken each 0.1 s, looked for each 10 ms. The picture's number
// travels as the id of its only object.
std::vector<Received> sentThrough(const FrameLinkSetup& setup, int pictures = PICTURES,
                                  std::uint64_t seed = 1) {
  FrameLink link(setup, seed, 0);
  std::vector<Received> received;
  for (int tick = 0; tick < pictures * 10 + 200; ++tick) {
    const double now = tick * 0.01;
    if (tick % 10 == 0 && tick / 10 < pictures) {
      Frame frame{.timestamp = tick * 10000LL, .objects = {}, .events = {}};
      frame.objects.push_back({.id = tick / 10, .box = {}, .outline = {}, .velocity = {}});
      link.send(now, frame);
    }
    for (const Frame& frame : link.take(now)) {
      const int number = frame.objects.at(0).id;
      received.push_back({now, number, units::toSeconds(frame.timestamp) - number * 0.1});
    }
  }
  return received;
}

double share(int count) {
  return count / static_cast<double>(PICTURES);
}

TEST(FrameLinkTest, WithoutFlawsAFrameIsThereAtOnce) {
  EXPECT_TRUE(FrameLinkSetup().isOff());
  const auto received = sentThrough({}, 50);
  ASSERT_EQ(received.size(), 50u);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(received[i].number, i);
    EXPECT_NEAR(received[i].time, i * 0.1, 1e-9);
    EXPECT_NEAR(received[i].stamped, 0, 1e-9);
  }
}

TEST(FrameLinkTest, FramesAreLateByAgeAndJitter) {
  const auto received = sentThrough({.age = 0.25, .ageJitter = 0.04});
  ASSERT_EQ(received.size(), static_cast<std::size_t>(PICTURES));
  double sum = 0;
  double least = 1;
  double most = 0;
  for (const Received& frame : received) {
    const double late = frame.time - frame.number * 0.1;
    sum += late / PICTURES;
    least = std::min(least, late);
    most = std::max(most, late);
  }
  EXPECT_NEAR(sum, 0.25 + 0.005, 0.002);  // half a look more
  EXPECT_NEAR(least, 0.22, 0.011);
  EXPECT_NEAR(most, 0.29, 0.011);
}

TEST(FrameLinkTest, FramesAreLost) {
  const auto received = sentThrough({.lost = 0.15});
  EXPECT_NEAR(share(static_cast<int>(received.size())), 0.85, 0.01);
}

TEST(FrameLinkTest, FramesComeTwice) {
  std::map<int, int> times;
  for (const Received& frame : sentThrough({.doubled = 0.1})) {
    ++times[frame.number];
  }
  const auto twice = std::count_if(times.begin(), times.end(),
                                   [](const auto& entry) { return entry.second == 2; });
  EXPECT_EQ(times.size(), static_cast<std::size_t>(PICTURES));
  EXPECT_NEAR(share(static_cast<int>(twice)), 0.1, 0.01);
}

TEST(FrameLinkTest, FramesComeBehindTheNextOne) {
  const auto received = sentThrough({.swapped = 0.1});
  int swapped = 0;
  for (std::size_t i = 1; i < received.size(); ++i) {
    swapped += received[i].number < received[i - 1].number ? 1 : 0;
    ASSERT_GE(received[i].number, received[i - 1].number - 1);
  }
  // A frame is held only when none is held already: of 10 frames one, and not the one after it.
  EXPECT_NEAR(share(swapped), 0.1 / 1.1, 0.01);
}

TEST(FrameLinkTest, JitterAloneLetsNoneOvertake) {
  const auto received = sentThrough({.age = 0.3, .ageJitter = 0.3}, 2000);
  for (std::size_t i = 1; i < received.size(); ++i) {
    ASSERT_EQ(received[i].number, received[i - 1].number + 1);
  }
}

TEST(FrameLinkTest, TimeStampsAreOff) {
  double sum = 0;
  double squares = 0;
  for (const Received& frame : sentThrough({.stampOffset = 0.01, .stampJitter = 0.02})) {
    ASSERT_LE(std::abs(frame.stamped - 0.01), 0.0200011);
    sum += frame.stamped / PICTURES;
    squares += (frame.stamped - 0.01) * (frame.stamped - 0.01) / PICTURES;
  }
  EXPECT_NEAR(sum, 0.01, 0.0003);
  EXPECT_NEAR(std::sqrt(squares), 0.04 / std::sqrt(12), 0.0002);
}

TEST(FrameLinkTest, TheSeedDecides) {
  const FrameLinkSetup setup{.lost = 0.5};
  const auto numbers = [&](std::uint64_t seed) {
    std::vector<int> list;
    for (const Received& frame : sentThrough(setup, 100, seed)) {
      list.push_back(frame.number);
    }
    return list;
  };
  EXPECT_EQ(numbers(3), numbers(3));
  EXPECT_NE(numbers(3), numbers(4));
}

}  // namespace
}  // namespace device
