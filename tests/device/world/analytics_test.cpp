#include "world/analytics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

namespace device {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

OverviewCamera cameraOf(int rotation = 0) {
  OverviewCameraSetup setup;
  setup.position = {0, 0, 9};
  setup.tilt = -11.5;
  setup.horizontalFov = rotation % 180 == 0 ? 36 : 21;
  setup.rotation = rotation;
  return OverviewCamera(setup);
}

std::vector<std::int32_t> idsOf(const Frame& frame) {
  std::vector<std::int32_t> ids;
  for (const FrameObject& object : frame.objects) {
    ids.push_back(object.id);
  }
  return ids;
}

// Where a receiver takes an object to be: its outline's centroid in the upright picture.
PicturePoint centreOf(const FrameObject& object, const OverviewCamera& camera) {
  double area = 0;
  PicturePoint sum;
  for (std::size_t i = 0; i < object.outline.size(); ++i) {
    const FramePoint& a = object.outline[i];
    const FramePoint& b = object.outline[(i + 1) % object.outline.size()];
    const double cross = static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
    area += cross;
    sum.x += (a.x + b.x) * cross;
    sum.y += (a.y + b.y) * cross;
  }
  return camera.toUpright({sum.x / (3 * area) / 4096, sum.y / (3 * area) / 4096});
}

class AnalyticsTest : public testing::Test {
 protected:
  Frame see(const std::vector<Person>& people) {
    time += 100000;
    return analytics.observe(camera, people, time);
  }

  static Person at(int id, double x, double y = 40, GroundPoint velocity = {}) {
    return {id, {x, y}, velocity};
  }

  OverviewCamera camera = cameraOf();
  Analytics analytics{1};
  std::int64_t time = 0;
};

TEST_F(AnalyticsTest, AnEmptyGround) {
  const Frame frame = see({});
  EXPECT_EQ(frame.timestamp, 100000);
  EXPECT_THAT(frame.objects, IsEmpty());
  EXPECT_THAT(frame.events, IsEmpty());
}

TEST_F(AnalyticsTest, ObjectsHaveIdsOfTheirOwnAndKeepThem) {
  EXPECT_THAT(idsOf(see({at(70, 0)})), ElementsAre(1));
  EXPECT_THAT(idsOf(see({at(70, 0.2), at(12, 5)})), ElementsAre(1, 2));
  EXPECT_THAT(idsOf(see({at(70, 0.4), at(12, 4.8)})), ElementsAre(1, 2));
}

TEST_F(AnalyticsTest, BeingSureOfOneMeansLowConfidenceOfTheOthers) {
  DetectionSetup setup;
  setup.sureOf = 12;
  analytics = Analytics(1, setup);
  const Frame frame = see({at(70, 0), at(12, 5)});
  ASSERT_THAT(idsOf(frame), ElementsAre(1, 2));
  const auto confidenceOf = [&](std::size_t i) { return frame.objects[i].confidence; };
  EXPECT_LT(std::min(confidenceOf(0), confidenceOf(1)), 4095);
  EXPECT_EQ(std::max(confidenceOf(0), confidenceOf(1)), 4096);
}

TEST_F(AnalyticsTest, WhoLeavesIsDeletedOnceAndComesBackAsAnother) {
  see({at(1, 0), at(2, 5)});
  const Frame left = see({at(2, 5)});
  EXPECT_THAT(idsOf(left), ElementsAre(2));
  EXPECT_THAT(left.events, ElementsAre(FrameEvent{FrameAction::deletion, {1}, {}}));
  EXPECT_THAT(see({at(2, 5)}).events, IsEmpty());
  EXPECT_THAT(idsOf(see({at(1, 0), at(2, 5)})), ElementsAre(2, 3));
}

TEST_F(AnalyticsTest, SeveralWhoLeaveAtOnceShareAnEvent) {
  see({at(1, 0), at(2, 5), at(3, -5)});
  EXPECT_THAT(see({at(2, 5)}).events, ElementsAre(FrameEvent{FrameAction::deletion, {1, 3}, {}}));
}

TEST_F(AnalyticsTest, WalkingOutOfThePictureEndsAnObject) {
  see({at(1, 12)});
  EXPECT_THAT(see({at(1, 20)}).events, ElementsAre(FrameEvent{FrameAction::deletion, {1}, {}}));
}

// Boxes are 0.5 m wide: at 0.2 m apart they share 60 % of their width, at 0.3 m 40 %.
TEST_F(AnalyticsTest, OutlinesThatMeetMergeAndAreSplitWhenTheyPart) {
  see({at(1, -1), at(2, 1)});
  EXPECT_THAT(see({at(1, -0.15), at(2, 0.15)}).events, IsEmpty());

  const Frame met = see({at(1, -0.1), at(2, 0.1)});
  EXPECT_THAT(idsOf(met), ElementsAre(1));
  EXPECT_THAT(met.events, ElementsAre(FrameEvent{FrameAction::merge, {1}, {2}},
                                      FrameEvent{FrameAction::deletion, {2}, {}}));

  const Frame still =
      see({at(1, 0.15), at(2, -0.15)});  // apart enough not to meet, but not to part
  EXPECT_THAT(idsOf(still), ElementsAre(1));
  EXPECT_THAT(still.events, IsEmpty());

  const Frame parted = see({at(1, 0.25), at(2, -0.25)});
  EXPECT_THAT(idsOf(parted), ElementsAre(1, 3));
  EXPECT_THAT(parted.events, ElementsAre(FrameEvent{FrameAction::split, {1}, {1, 3}}));
  EXPECT_GT(centreOf(parted.objects[0], camera).x, 0);  // the first person kept the id
}

// Told to merge from 30 % on, they part below 15 %: 0.35 m apart they share 30 %, 0.45 m 10 %.
TEST_F(AnalyticsTest, HowMuchHasToBeSharedIsTold) {
  DetectionSetup setup;
  setup.mergedFrom = 0.3;
  analytics = Analytics(1, setup);
  see({at(1, -1), at(2, 1)});
  EXPECT_THAT(idsOf(see({at(1, -0.15), at(2, 0.15)})), ElementsAre(1));
  EXPECT_THAT(idsOf(see({at(1, -0.2), at(2, 0.2)})), ElementsAre(1));
  EXPECT_THAT(idsOf(see({at(1, -0.225), at(2, 0.225)})), ElementsAre(1, 3));
}

TEST_F(AnalyticsTest, WhoNeverMergesStaysTwoInOnePlace) {
  DetectionSetup setup;
  setup.mergedFrom = 1;
  analytics = Analytics(1, setup);
  see({at(1, -1), at(2, 1)});
  const Frame met = see({at(1, 0), at(2, 0)});
  EXPECT_THAT(idsOf(met), ElementsAre(1, 2));
  EXPECT_THAT(met.events, IsEmpty());
  EXPECT_THAT(idsOf(see({at(1, 0), at(2, 0), at(3, 0)})), ElementsAre(1, 2, 3));
}

TEST_F(AnalyticsTest, WhatIsAbsorbedIsDeletedOnceWhenOthersLeaveInTheSamePicture) {
  see({at(1, -1), at(2, 1), at(3, 5)});
  EXPECT_THAT(see({at(1, -0.1), at(2, 0.1)}).events,
              ElementsAre(FrameEvent{FrameAction::deletion, {3}, {}},
                          FrameEvent{FrameAction::merge, {1}, {2}},
                          FrameEvent{FrameAction::deletion, {2}, {}}));
  EXPECT_THAT(see({at(1, -0.1), at(2, 0.1)}).events, IsEmpty());
}

TEST_F(AnalyticsTest, AMergedObjectIsAsWideAsBothAndMovesInTheMean) {
  see({at(1, -1), at(2, 1)});
  const Frame apart = see({at(1, -1, 40, {1, 0}), at(2, 1, 40, {-1, 0})});
  const Frame met = see({at(1, -0.1, 40, {1.5, 0}), at(2, 0.1, 40, {-1.5, 0})});
  ASSERT_THAT(met.objects, SizeIs(1));
  const auto width = [](const FrameObject& object) { return object.box[2].x - object.box[0].x; };
  EXPECT_NEAR(width(met.objects[0]), width(apart.objects[0]) * 1.4, 20);
  EXPECT_NEAR(met.objects[0].velocity.x, 0, 2);
  EXPECT_NEAR(centreOf(met.objects[0], camera).x, 0, 0.003);
}

TEST_F(AnalyticsTest, ThreeMeetAndPartInOneFrame) {
  see({at(1, -1), at(2, 0), at(3, 1)});
  const Frame met = see({at(1, -0.2), at(2, 0), at(3, 0.2)});
  EXPECT_THAT(idsOf(met), ElementsAre(1));
  EXPECT_THAT(met.events, ElementsAre(FrameEvent{FrameAction::merge, {1}, {2, 3}},
                                      FrameEvent{FrameAction::deletion, {2, 3}, {}}));
  const Frame parted = see({at(1, -2), at(2, 0), at(3, 2)});
  EXPECT_THAT(parted.events, ElementsAre(FrameEvent{FrameAction::split, {1}, {1, 4, 5}}));
  EXPECT_THAT(idsOf(parted), ElementsAre(1, 4, 5));
}

TEST_F(AnalyticsTest, TheObjectLivesWhileOneOfItsPeopleIsThere) {
  see({at(1, -1), at(2, 1)});
  see({at(1, -0.1), at(2, 0.1)});
  const Frame left = see({at(2, 0.1)});
  EXPECT_THAT(idsOf(left), ElementsAre(1));
  EXPECT_THAT(left.events, IsEmpty());
  EXPECT_THAT(see({}).events, ElementsAre(FrameEvent{FrameAction::deletion, {1}, {}}));
}

TEST_F(AnalyticsTest, WhoAppearsHiddenBehindAnotherHasNoObjectYet) {
  EXPECT_THAT(idsOf(see({at(1, 0), at(2, 0.1)})), ElementsAre(1));
  const Frame parted = see({at(1, 0), at(2, 2)});
  EXPECT_THAT(idsOf(parted), ElementsAre(1, 2));
  EXPECT_THAT(parted.events, ElementsAre(FrameEvent{FrameAction::split, {1}, {1, 2}}));
}

TEST_F(AnalyticsTest, ObjectsAreWhereThePeopleAre) {
  for (double x = -10; x <= 10; x += 2.5) {
    for (double y = 33; y <= 48; y += 5) {
      Analytics analytics(static_cast<std::uint64_t>(100 + x + y));
      const std::vector<Person> people{at(1, x, y)};
      const Frame frame = analytics.observe(camera, people, 0);
      ASSERT_THAT(frame.objects, SizeIs(1)) << x << " " << y;
      const PicturePoint truth = *camera.project({x, y, 0.9});
      const PicturePoint seen = centreOf(frame.objects[0], camera);
      EXPECT_NEAR(seen.x, truth.x, 2.0 / 960) << x << " " << y;
      EXPECT_NEAR(seen.y, truth.y, 8.0 / 540) << x << " " << y;
    }
  }
}

TEST_F(AnalyticsTest, BoxesHoldTheirOutlines) {
  const Frame frame = see({at(1, 0), at(2, 5), at(3, -13), at(4, 13)});
  for (const FrameObject& object : frame.objects) {
    ASSERT_GE(object.outline.size(), 8u);
    ASSERT_LE(object.outline.size(), 24u);
    const auto byX = [](const FramePoint& a, const FramePoint& b) { return a.x < b.x; };
    const auto byY = [](const FramePoint& a, const FramePoint& b) { return a.y < b.y; };
    const auto [left, right] =
        std::minmax_element(object.outline.begin(), object.outline.end(), byX);
    const auto [bottom, top] =
        std::minmax_element(object.outline.begin(), object.outline.end(), byY);
    EXPECT_THAT(object.box,
                ElementsAre(FramePoint{left->x, bottom->y}, FramePoint{left->x, top->y},
                            FramePoint{right->x, top->y}, FramePoint{right->x, bottom->y}));
    EXPECT_GE(left->x, -4096);
    EXPECT_LE(right->x, 4096);
  }
}

// 1 m/s across at 40.8 m from the lens is 1/40.8 per second of the focal length, which is half the
// picture's width over tan(18).
TEST_F(AnalyticsTest, VelocityIsInUnitsOfTheScene) {
  const Frame frame = see({at(1, 0, 40, {1, 0})});
  const double expected = 4096 / 40.8 / std::tan(toRadians(18));
  EXPECT_NEAR(frame.objects[0].velocity.x, expected, expected * 0.08);
  EXPECT_NEAR(frame.objects[0].velocity.y, 0, 2);
}

TEST_F(AnalyticsTest, ConfidenceIsLowNearTheEdge) {
  EXPECT_EQ(see({at(1, 0)}).objects[0].confidence, 4096);
  EXPECT_EQ(see({at(1, 12)}).objects[0].confidence, 4096);
  std::int32_t confidence = 4096;
  bool wasBetween = false;
  for (double x = 12.4; x < 13.3; x += 0.05) {
    Analytics fresh(4);
    const std::vector<Person> people{at(1, x)};
    const Frame frame = fresh.observe(camera, people, 0);
    ASSERT_THAT(frame.objects, SizeIs(1));
    EXPECT_LE(frame.objects[0].confidence, confidence);
    confidence = frame.objects[0].confidence;
    wasBetween = wasBetween || (confidence > 1024 && confidence < 4096);
  }
  EXPECT_TRUE(wasBetween);
  EXPECT_EQ(confidence, 1024);
}

TEST_F(AnalyticsTest, TheSameSeedGivesTheSameFrames) {
  Analytics one(42);
  Analytics same(42);
  Analytics other(43);
  bool differs = false;
  for (int i = 0; i < 50; ++i) {
    const std::vector<Person> people{at(1, -5 + 0.2 * i), at(2, 5 - 0.2 * i)};
    const Frame frame = one.observe(camera, people, i);
    ASSERT_EQ(frame, same.observe(camera, people, i));
    differs = differs || frame != other.observe(camera, people, i);
  }
  EXPECT_TRUE(differs);
}

// Vertices of the outline shake by 0.8 pixels, a standard deviation.
TEST_F(AnalyticsTest, NoiseIsAboutAPixel) {
  double sum = 0;
  double squares = 0;
  constexpr int FRAMES = 2000;
  for (int i = 0; i < FRAMES; ++i) {
    const double pixels = see({at(1, 0)}).objects[0].outline[0].x / 4096.0 * 960;
    sum += pixels;
    squares += pixels * pixels;
  }
  const double mean = sum / FRAMES;
  EXPECT_NEAR(std::sqrt(squares / FRAMES - mean * mean), 0.8, 0.1);
}

class RotatedAnalyticsTest : public testing::TestWithParam<int> {};

TEST_P(RotatedAnalyticsTest, AReceiverFindsPeopleWhereTheyAre) {
  const OverviewCamera camera = cameraOf(GetParam());
  Analytics analytics(8);
  for (double x = -6; x <= 6; x += 2) {
    const std::vector<Person> people{{static_cast<int>(x) + 100, {x, 41}, {1.2, 0}}};
    const Frame frame = analytics.observe(camera, people, 0);
    ASSERT_THAT(frame.objects, SizeIs(1));
    const Direction seen = camera.lineOfSight(centreOf(frame.objects[0], camera));
    EXPECT_NEAR(seen.pan, toDegrees(std::atan2(x, 41)), 0.1);
    EXPECT_NEAR(seen.tilt, toDegrees(std::atan2(0.9 - 9, std::hypot(x, 41))), 0.2);
    const FramePoint& velocity = frame.objects[0].velocity;
    const PicturePoint upright =
        camera.toUpright({static_cast<double>(velocity.x), static_cast<double>(velocity.y)});
    EXPECT_GT(upright.x, 100);  // to the right for a viewer
    EXPECT_LT(std::abs(upright.y), 20);
  }
}

INSTANTIATE_TEST_SUITE_P(Turns, RotatedAnalyticsTest, testing::Values(0, 90, 180, 270));

// Whatever people do, ids are unique in a frame, new ones are never old ones, and events speak of
// objects that were there.
TEST_F(AnalyticsTest, RandomWalksKeepTheBooksInOrder) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> step(-0.4, 0.4);
  std::vector<Person> people;
  for (int i = 0; i < 12; ++i) {
    people.push_back(at(i, -3 + 0.5 * i, 40));
  }
  std::set<std::int32_t> known;
  std::int32_t highest = 0;
  for (int i = 0; i < 1500; ++i) {
    for (Person& person : people) {
      person.position.x = std::clamp(person.position.x + step(random), -15.0, 15.0);
      person.position.y = std::clamp(person.position.y + step(random), 33.0, 48.0);
    }
    const Frame frame = see(people);
    std::set<std::int32_t> now;
    for (const std::int32_t id : idsOf(frame)) {
      ASSERT_TRUE(now.insert(id).second);
      ASSERT_TRUE(known.contains(id) || id > highest);
    }
    for (const FrameEvent& event : frame.events) {
      for (const std::int32_t id : event.from) {
        ASSERT_TRUE(known.contains(id));
        ASSERT_EQ(now.contains(id), event.action != FrameAction::deletion);
      }
      for (const std::int32_t id : event.to) {
        ASSERT_EQ(now.contains(id), event.action == FrameAction::split);
      }
    }
    known = now;
    highest = known.empty() ? highest : std::max(highest, *known.rbegin());
  }
  EXPECT_GT(highest, 50);
}

// One camera's analytics with flaws, asked ten times a second.
class FlawedAnalyticsTest : public testing::Test {
 protected:
  FlawedAnalyticsTest() {
    setup.vertexNoise = 0;
    setup.velocityNoise = 0;
  }

  void begin(std::uint64_t seed = 1) { analytics.emplace(seed, setup); }

  Frame see(const std::vector<Person>& people) {
    time += 100000;
    return analytics->observe(camera, people, time);
  }

  static Person at(double x, double y = 40, GroundPoint velocity = {}) {
    return {1, {x, y}, velocity};
  }

  OverviewCamera camera = cameraOf();
  DetectionSetup setup;
  std::optional<Analytics> analytics;
  std::int64_t time = 0;
};

// Pixels of foot and head beside where they are.
TEST_F(FlawedAnalyticsTest, FootAndHeadAreNoisyEachByItself) {
  setup.endNoise = 3;
  begin();
  const auto real = silhouetteOf(camera, at(0));
  ASSERT_TRUE(real);
  constexpr int PICTURES = 4000;
  double foot = 0;
  double head = 0;
  double together = 0;
  for (int i = 0; i < PICTURES; ++i) {
    const Frame frame = see({at(0)});
    ASSERT_EQ(frame.objects.size(), 1u);
    const double footOff = (frame.objects[0].box[0].y / 4096.0 - real->box.low.y) * 540;
    const double headOff = (frame.objects[0].box[1].y / 4096.0 - real->box.high.y) * 540;
    foot += footOff * footOff / PICTURES;
    head += headOff * headOff / PICTURES;
    together += footOff * headOff / PICTURES;
  }
  EXPECT_NEAR(std::sqrt(foot), 3, 0.15);
  EXPECT_NEAR(std::sqrt(head), 3, 0.15);
  EXPECT_NEAR(together, 0, 0.6);
}

TEST_F(FlawedAnalyticsTest, VertexNoiseIsAsLargeAsTold) {
  setup.vertexNoise = 2;
  begin();
  const auto real = silhouetteOf(camera, at(0));
  ASSERT_TRUE(real);
  ASSERT_EQ(real->outline.size(), 16u);
  double squares = 0;
  for (int i = 0; i < 1000; ++i) {
    const FrameObject object = see({at(0)}).objects.at(0);
    for (std::size_t vertex = 0; vertex < 16; ++vertex) {
      const double off = (object.outline[vertex].x / 4096.0 - real->outline[vertex].x) * 960;
      squares += off * off / 16000;
    }
  }
  EXPECT_NEAR(std::sqrt(squares), 2, 0.05);
}

// The gaps of somebody who is missed now and then, with a memory that is longer.
TEST_F(FlawedAnalyticsTest, WhoIsMissedKeepsItsIdForTheMemory) {
  setup.missed = 0.2;
  setup.memory = 3;
  begin();
  int pictures = 0;
  for (int i = 0; i < 1000; ++i) {
    const Frame frame = see({at(0)});
    EXPECT_THAT(frame.events, IsEmpty());
    if (!frame.objects.empty()) {
      EXPECT_THAT(idsOf(frame), ElementsAre(1));
      ++pictures;
    }
  }
  EXPECT_NEAR(pictures, 800, 40);
}

TEST_F(FlawedAnalyticsTest, WhoStaysAwayForLongerIsDeleted) {
  setup.memory = 1;
  begin();
  see({at(0)});
  for (int i = 0; i < 11; ++i) {
    EXPECT_THAT(see({}).events, IsEmpty()) << i;
  }
  const Frame late = see({});
  ASSERT_THAT(late.events, SizeIs(1));
  EXPECT_EQ(late.events[0].action, FrameAction::deletion);
  EXPECT_THAT(late.events[0].from, ElementsAre(1));
  EXPECT_THAT(idsOf(see({at(0)})), ElementsAre(2));
}

TEST_F(FlawedAnalyticsTest, AfterAGapTheIdMayBeNew) {
  setup.memory = 3;
  setup.newId = 0.3;
  begin();
  std::int32_t last = see({at(0)}).objects.at(0).id;
  int changed = 0;
  constexpr int GAPS = 1000;
  for (int gap = 0; gap < GAPS; ++gap) {
    for (int i = 0; i < 6; ++i) {
      see({});
    }
    const Frame back = see({at(0)});
    const std::int32_t id = back.objects.at(0).id;
    changed += id != last ? 1 : 0;
    if (id != last) {
      ASSERT_THAT(back.events, SizeIs(1));
      EXPECT_THAT(back.events[0].from, ElementsAre(last));
    }
    last = id;
  }
  EXPECT_NEAR(changed / static_cast<double>(GAPS), 0.3, 0.05);
}

TEST_F(FlawedAnalyticsTest, AShortGapChangesNoId) {
  setup.memory = 3;
  setup.newId = 1;
  begin();
  see({at(0)});
  for (int gap = 0; gap < 50; ++gap) {
    see({});
    EXPECT_THAT(idsOf(see({at(0)})), ElementsAre(1));
  }
}

// Two cross, again and again; each time one has the other's id afterwards or has not.
TEST_F(FlawedAnalyticsTest, WhoCrossMayExchangeTheirIds) {
  setup.swapped = 0.25;
  begin();
  int exchanged = 0;
  constexpr int CROSSINGS = 400;
  for (int crossing = 0; crossing < CROSSINGS; ++crossing) {
    const int one = 2 * crossing + 1;
    std::vector<std::int32_t> before;
    std::vector<std::int32_t> after;
    for (int i = -20; i <= 20; ++i) {
      const double x = i * 0.1;
      const Frame frame = see({{one, {x, 40}, {}}, {one + 1, {-x, 44}, {}}});
      if (frame.objects.size() == 2) {
        std::vector<std::int32_t>& ids = i < 0 ? before : after;
        ids = idsOf(frame);
        if (frame.objects[0].box[0].x > frame.objects[1].box[0].x) {
          std::swap(ids[0], ids[1]);
        }
      }
    }
    see({});
    ASSERT_EQ(before.size(), 2u);
    ASSERT_EQ(after.size(), 2u);
    // From left to right before; whoever was left is right now.
    exchanged += before[0] == after[0] ? 1 : 0;
  }
  EXPECT_NEAR(exchanged / static_cast<double>(CROSSINGS), 0.25, 0.07);
}

TEST_F(FlawedAnalyticsTest, VelocityMayComeFromPastPicturesOnly) {
  setup.velocity = VelocityKind::past;
  begin();
  // Stands, then walks: the true velocity is there at once, that of the past is not.
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(see({at(0, 40, {1.5, 0})}).objects.at(0).velocity.x, 0);
  }
  std::vector<int> reported;
  for (int i = 1; i < 12; ++i) {
    const Frame frame = see({at(0.15 * i, 40, {1.5, 0})});
    EXPECT_TRUE(frame.objects.at(0).hasVelocity);
    reported.push_back(frame.objects.at(0).velocity.x);
  }
  const auto from = camera.project({0, 40, 0.9});
  const auto to = camera.project({1.5, 40, 0.9});
  const double full = (to->x - from->x) * 4096;
  EXPECT_LT(reported[0], 0.3 * full);
  EXPECT_NEAR(reported[10], full, 0.03 * full);
}

TEST_F(FlawedAnalyticsTest, VelocityMayBeLeftOut) {
  setup.velocity = VelocityKind::none;
  begin();
  EXPECT_FALSE(see({at(0, 40, {1, 0})}).objects.at(0).hasVelocity);
}

TEST_F(FlawedAnalyticsTest, VelocityNoiseIsAsLargeAsTold) {
  setup.velocityNoise = 0.3;
  begin();
  const auto from = camera.project({-0.05, 40, 0.875});
  const auto to = camera.project({0.05, 40, 0.875});
  const double real = (to->x - from->x) * 4096 / 0.1;
  double squares = 0;
  for (int i = 0; i < 2000; ++i) {
    const double off = see({at(0, 40, {1, 0})}).objects.at(0).velocity.x / real - 1;
    squares += off * off / 2000;
  }
  EXPECT_NEAR(std::sqrt(squares), 0.3, 0.02);
}

TEST_F(FlawedAnalyticsTest, GhostsAreObjectsLikeOthers) {
  setup.ghosts.push_back({.kind = GhostKind::tree,
                          .middle = {5, 40},
                          .width = 3,
                          .length = 5,
                          .turn = 0,
                          .perMinute = 1.2,
                          .seconds = 5});
  begin();
  int pictures = 0;
  int deleted = 0;
  for (int i = 0; i < 40000; ++i) {
    const Frame frame = see({});
    pictures += static_cast<int>(frame.objects.size());
    deleted += static_cast<int>(frame.events.size());
  }
  EXPECT_NEAR(pictures / 40000.0, 0.1, 0.03);  // 1.2 times 5 s in a minute
  EXPECT_NEAR(deleted, 80, 20);
}

}  // namespace
}  // namespace device
