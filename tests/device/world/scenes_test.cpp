#include "world/scenes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "world/visibility.h"
#include "world/walk.h"

namespace device {
namespace {

double distanceOf(const GroundPoint& point) {
  return std::hypot(point.x, point.y);
}

double speedOf(const Person& person) {
  return std::hypot(person.velocity.x, person.velocity.y);
}

TEST(WalkTest, WaysAndStops) {
  const Track track = Walk(10, {0, 0}).to({3, 4}, 2).stand(5).to({3, 0}, 1).track(7);
  EXPECT_EQ(track.getId(), 7);
  EXPECT_DOUBLE_EQ(track.end(), 10 + 2.5 + 5 + 4);
  EXPECT_NEAR(track.at(11.25)->position.x, 1.5, 1e-9);
  EXPECT_NEAR(track.at(15)->position.y, 4, 1e-9);
  EXPECT_NEAR(speedOf(*track.at(15)), 0, 1e-9);
  EXPECT_NEAR(track.at(18.5)->position.y, 3, 1e-9);
}

class SceneTest : public testing::TestWithParam<std::string> {};

TEST_P(SceneTest, TheSameSeedGivesTheSamePeople) {
  const Scene one = makeScene(GetParam(), 3);
  const Scene same = makeScene(GetParam(), 3);
  const Scene other = makeScene(GetParam(), 4);
  ASSERT_FALSE(one.people.empty());
  ASSERT_EQ(one.people.getTracks().size(), same.people.getTracks().size());
  EXPECT_EQ(one.people.end(), same.people.end());
  EXPECT_NE(one.people.end(), other.people.end());
}

TEST_P(SceneTest, ItLastsAnHour) {
  EXPECT_GE(makeScene(GetParam(), 1).people.end(), 3500);
}

INSTANTIATE_TEST_SUITE_P(All, SceneTest, testing::ValuesIn(sceneNames()),
                         [](const auto& info) { return info.param; });

TEST(ScenesTest, WideIsFromThreeToThirtyMetresWithFastTurns) {
  const Scene scene = makeScene("wide", 1);
  double nearest = 1000;
  double farthest = 0;
  double fastest = 0;  // degrees a second
  for (double time = 0; time < 3600; time += 0.2) {
    for (const Person& person : scene.people.at(time)) {
      const double distance = distanceOf(person.position);
      nearest = std::min(nearest, distance);
      farthest = std::max(farthest, distance);
      const double turning =
          person.velocity.x * person.position.y - person.velocity.y * person.position.x;
      fastest = std::max(fastest, toDegrees(std::abs(turning) / (distance * distance)));
    }
  }
  EXPECT_NEAR(nearest, 3, 0.05);
  EXPECT_NEAR(farthest, 30, 0.5);
  EXPECT_NEAR(fastest, toDegrees(5.3 / 3), 3);  // 101 degrees a second
}

TEST(ScenesTest, FarIsFar) {
  const Scene scene = makeScene("far", 1);
  for (double time = 0; time < 3600; time += 1) {
    for (const Person& person : scene.people.at(time)) {
      ASSERT_GT(distanceOf(person.position), 22);  // 25 cos 25 on the way between two ends
      ASSERT_LT(distanceOf(person.position), 60.5);
      ASSERT_LT(std::abs(directionOf({person.position.x, person.position.y, 0}).pan), 25.5);
    }
  }
}

TEST(ScenesTest, TheCrowdIsAlwaysSixty) {
  const Scene scene = makeScene("crowd", 1);
  for (double time = 0; time < 3500; time += 7.3) {
    ASSERT_EQ(scene.people.at(time).size(), 60u) << time;
  }
}

TEST(ScenesTest, RunnerAndCyclistAreAloneAndFast) {
  for (const auto& [name, slowest, fastest] :
       {std::tuple("runner", 4.0, 6.0), std::tuple("cyclist", 5.0, 9.0)}) {
    const Scene scene = makeScene(name, 1);
    double least = 100;
    double most = 0;
    for (double time = 0; time < 3600; time += 0.5) {
      const auto people = scene.people.at(time);
      ASSERT_LE(people.size(), 1u);
      for (const Person& person : people) {
        least = std::min(least, speedOf(person));
        most = std::max(most, speedOf(person));
      }
    }
    EXPECT_NEAR(least, slowest, 0.2);
    EXPECT_NEAR(most, fastest, 0.3);
  }
}

TEST(ScenesTest, SomebodyWaitsForAMinute) {
  const Scene scene = makeScene("waiting", 1);
  const Track& first = scene.people.getTracks()[0];
  double still = 0;
  for (double time = first.start(); time < first.end(); time += 0.1) {
    still += speedOf(*first.at(time)) < 0.01 ? 0.1 : 0;
  }
  EXPECT_NEAR(still, 59.2, 0.3);  // less 0.4 s at either end, where the mean still moves
}

TEST(ScenesTest, SomebodyHidesBehindTheVan) {
  const Scene scene = makeScene("hiding", 1);
  ASSERT_FALSE(scene.scenery.empty());
  const Track& first = scene.people.getTracks()[0];
  double hidden = 0;
  for (double time = first.start(); time < first.end(); time += 0.1) {
    const Visibility seen = visibilityOf({0, 0, 5}, *first.at(time), scene.scenery);
    hidden += seen.share < 0.3 ? 0.1 : 0;
  }
  EXPECT_GE(hidden, 10);
  EXPECT_LE(hidden, 30);
}

}  // namespace
}  // namespace device
