#include "world/people_generator.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

constexpr double WIDTH = 14;
constexpr double DEPTH = 10;

bool isOnEdge(const GroundPoint& point) {
  const double distance = std::min({point.x, point.y, WIDTH - point.x, DEPTH - point.y});
  return std::abs(distance) < 1.0;  // less than the way of one row
}

TEST(PeopleGeneratorTest, TheSameSeedGivesTheSamePeople) {
  const TrackSet one = generatePeople(5, 300);
  const TrackSet same = generatePeople(5, 300);
  const TrackSet other = generatePeople(6, 300);
  ASSERT_EQ(one.getTracks().size(), same.getTracks().size());
  for (double time = 0; time < 300; time += 1.7) {
    const std::vector<Person> a = one.at(time);
    const std::vector<Person> b = same.at(time);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
      EXPECT_EQ(a[i].position.x, b[i].position.x);
    }
  }
  EXPECT_NE(one.getTracks()[0].end(), other.getTracks()[0].end());
}

class GeneratedPeopleTest : public testing::TestWithParam<std::uint64_t> {
 protected:
  const TrackSet people = generatePeople(GetParam());
};

TEST_P(GeneratedPeopleTest, OneToSixAtOnce) {
  std::size_t most = 0;
  for (double time = 0; time < 3600; time += 0.5) {
    most = std::max(most, people.at(time).size());
  }
  EXPECT_GE(most, 3u);
  EXPECT_LE(most, 6u);
}

TEST_P(GeneratedPeopleTest, NobodyForAWhileAboutOnceAMinute) {
  double lastSeen = 0;
  double busySince = 0;
  for (double time = 0; time < 3600; time += 0.5) {
    if (people.at(time).empty()) {
      continue;
    }
    if (time - lastSeen >= 15) {
      EXPECT_GT(time - busySince, 40);
      busySince = time;
    }
    lastSeen = time;
    ASSERT_LT(time - busySince, 75);
  }
  EXPECT_GT(lastSeen, 3500);
}

TEST_P(GeneratedPeopleTest, WalkSmoothlyAtTheSpeedsOfPeople) {
  for (const Track& track : people.getTracks()) {
    const auto points = track.getPoints();
    for (std::size_t i = 1; i < points.size(); ++i) {
      const double seconds = points[i].time - points[i - 1].time;
      const double dx = points[i].position.x - points[i - 1].position.x;
      const double dy = points[i].position.y - points[i - 1].position.y;
      ASSERT_NEAR(seconds, 0.4, 0.03);
      ASSERT_LE(std::hypot(dx, dy) / seconds, 1.85);
      if (i + 1 < points.size()) {
        const double nextX = points[i + 1].position.x - points[i].position.x;
        const double nextY = points[i + 1].position.y - points[i].position.y;
        const double cosine =
            (dx * nextX + dy * nextY) / (std::hypot(dx, dy) * std::hypot(nextX, nextY));
        ASSERT_GT(cosine, -0.5) << "turns on the spot";
      }
    }
    const double length = track.end() - track.start();
    ASSERT_GT(length, 1);
    ASSERT_LT(length, 60);
  }
}

TEST_P(GeneratedPeopleTest, EnterAndLeaveOverTheEdges) {
  for (const Track& track : people.getTracks()) {
    EXPECT_TRUE(isOnEdge(track.getPoints().front().position));
    EXPECT_TRUE(isOnEdge(track.getPoints().back().position));
    for (const TrackPoint& point : track.getPoints()) {
      ASSERT_GE(point.position.x, 0);
      ASSERT_LE(point.position.x, WIDTH);
      ASSERT_GE(point.position.y, 0);
      ASSERT_LE(point.position.y, DEPTH);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, GeneratedPeopleTest, testing::Values(1, 2, 77));

}  // namespace
}  // namespace device
