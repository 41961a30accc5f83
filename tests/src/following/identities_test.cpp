#include "following/identities.h"

#include <gtest/gtest.h>

#include <Eigen/LU>
#include <cmath>
#include <optional>
#include <vector>

#include "following/simulated_head.h"

namespace following {
namespace {

using Seen = Identities::Seen;

constexpr std::int64_t FRAME = 100'000;
const Viewpoint VIEWPOINT;

// Somebody at a place, as a camera at the head sees him.
Seen seen(std::int32_t id, double x, double y, double height = 1.7) {
  const double degree = 180.0 / M_PI;
  const double r = std::hypot(x, y);
  return {id,
          {std::atan2(x, y) * degree, -std::atan2(5.0, r) * degree,
           -std::atan2(5.0 - height, r) * degree}};
}

// Feeds frames of one camera, arriving at once.
class People {
 public:
  explicit People(std::size_t capacity = Identities::USUAL_CAPACITY) : identities(capacity) {}

  bool frame(const std::vector<Seen>& all, std::int32_t channel = 0) {
    return identities.takePicture(now, channel, now, VIEWPOINT, all);
  }
  void pass() { now += FRAME; }

  std::int64_t who(std::int32_t id, std::int32_t channel = 0) const {
    const Person* person = identities.whoIs(channel, id);
    return person == nullptr ? 0 : person->identity;
  }

  Identities identities;
  std::int64_t now = 1'000'000'000;
};

TEST(IdentitiesTest, EverybodyGetsAnIdentityThatStays) {
  People people;
  for (int i = 0; i < 10; ++i, people.pass()) {
    people.frame({seen(5, 0.1 * i, 6.0), seen(7, 3.0, 6.0)});
  }
  EXPECT_EQ(people.who(5), 1);
  EXPECT_EQ(people.who(7), 2);
  EXPECT_EQ(people.who(6), 0);
  EXPECT_EQ(people.identities.people().size(), 2U);
  const Person* person = people.identities.find(1);
  ASSERT_NE(person, nullptr);
  EXPECT_NEAR(person->filter.state().mean(2), 1.0, 0.05);
  EXPECT_EQ(person->pictures, 10);
}

TEST(IdentitiesTest, HeightIsAveragedFromAUsualOne) {
  BodyHeight height;
  height.take(1.9);
  EXPECT_NEAR(height.metres, 1.7 + 0.2 / 4, 1e-12);
  for (int i = 0; i < 200; ++i) {
    height.take(1.9);
  }
  EXPECT_EQ(height.weight, BodyHeight::MOST_WEIGHT);
  EXPECT_NEAR(height.metres, 1.9, 1e-3);
}

TEST(IdentitiesTest, NewNumberAfterAnOcclusionIsTheSamePerson) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(5, 0.12 * i, 6.0)});
  }
  const std::int64_t identity = people.who(5);
  for (int i = 20; i < 40; ++i, people.pass()) {
    people.frame({});
  }
  EXPECT_NE(people.identities.find(identity), nullptr);
  people.frame({seen(6, 0.12 * 40, 6.0)});
  EXPECT_NE(people.who(6), identity) << "at the first picture nothing is known of his way";
  people.pass();
  people.frame({seen(6, 0.12 * 41, 6.0)});
  EXPECT_EQ(people.who(6), identity);
  EXPECT_EQ(people.identities.people().size(), 1U);
}

TEST(IdentitiesTest, StrangerWhoGoesAnotherWayIsNotTaken) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(5, 0.12 * i, 6.0)});
  }
  for (int i = 0; i < 5; ++i, people.pass()) {
    people.frame({});
  }
  // Where he is expected, at the same speed, but back.
  for (int i = 0; i < 8; ++i, people.pass()) {
    people.frame({seen(6, 3.0 - 0.15 * i, 6.0)});
  }
  EXPECT_NE(people.who(6), people.who(5));
}

TEST(IdentitiesTest, HeightsTellPeopleApart) {
  People people;
  for (int i = 0; i < 30; ++i, people.pass()) {
    people.frame({seen(1, 0.1 * i, 6.0, 1.9), seen(2, 0.1 * i, 6.3, 1.5)});
  }
  const std::int64_t tall = people.who(1);
  const std::int64_t small = people.who(2);
  for (int i = 30; i < 45; ++i, people.pass()) {
    people.frame({});
  }
  for (int i = 45; i < 55; ++i, people.pass()) {
    people.frame({seen(3, 0.1 * i, 6.0, 1.9), seen(4, 0.1 * i, 6.3, 1.5)});
  }
  EXPECT_EQ(people.who(3), tall);
  EXPECT_EQ(people.who(4), small);
}

// Both come back at one place: only their heights differ.
TEST(IdentitiesTest, HeightAloneDecidesWhereTwoComeBackTogether) {
  People people;
  for (int i = 0; i < 30; ++i, people.pass()) {
    people.frame({seen(1, 0.1 * i, 6.0, 1.9), seen(2, 0.1 * i, 6.1, 1.5)});
  }
  const std::int64_t tall = people.who(1);
  const std::int64_t small = people.who(2);
  for (int i = 30; i < 45; ++i, people.pass()) {
    people.frame({});
  }
  for (int i = 45; i < 55; ++i, people.pass()) {
    people.frame({seen(3, 0.1 * i, 6.1, 1.9), seen(4, 0.1 * i, 6.0, 1.5)});
  }
  EXPECT_EQ(people.who(3), tall);
  EXPECT_EQ(people.who(4), small);
}

TEST(IdentitiesTest, CheapestPairIsJoinedFirst) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(1, 0.0, 6.0 + 0.1 * i), seen(2, 0.6, 6.0 + 0.1 * i)});
  }
  const std::int64_t first = people.who(1);
  const std::int64_t second = people.who(2);
  for (int i = 20; i < 25; ++i, people.pass()) {
    people.frame({});
  }
  for (int i = 25; i < 30; ++i, people.pass()) {
    people.frame({seen(8, 0.6, 6.0 + 0.1 * i), seen(9, 0.0, 6.0 + 0.1 * i)});
  }
  EXPECT_EQ(people.who(9), first);
  EXPECT_EQ(people.who(8), second);
}

// ---- What a pair costs ----

// What is known of somebody by his pictures alone.
struct Track {
  void see(std::int64_t time, const Seen& each) {
    const double speed = filter ? filter->speed() : FIRST_SPEED;
    position = locate(VIEWPOINT, each.sighting, speed);
    const GroundFilter::Measurement measurement{time, position->place, position->covariance};
    if (filter) {
      filter->update(measurement);
    } else {
      filter.emplace(measurement);
      born = time;
    }
    if (position->height) {
      height.take(*position->height);
    }
    lastSeen = time;
    ++pictures;
  }

  std::optional<GroundFilter> filter;
  std::optional<GroundPosition> position;
  BodyHeight height;
  std::int64_t born = 0;
  std::int64_t lastSeen = 0;
  int pictures = 0;
};

struct Comparison {
  double apart;     // m
  double reach;     // m
  double distance;  // squared deviations
  double gapCost;
  double cost;
};

Comparison compare(const Track& lost, const Track& young) {
  const double elapsed = static_cast<double>(young.lastSeen - lost.lastSeen) / 1e6;
  const double gap = static_cast<double>(young.born - lost.lastSeen) / 1e6;
  const auto expected = GroundFilter::predict(lost.filter->state(), young.lastSeen);
  const auto& found = young.filter->state();
  const Eigen::Vector4d off = expected.mean - found.mean;
  Eigen::Matrix4d spread = expected.covariance + found.covariance;
  spread.topLeftCorner<2, 2>() += 49.0 * young.position->perPixel;
  const double deviation = young.position->heightDeviation;
  Comparison all{};
  all.apart = off.head<2>().norm();
  all.reach = 1.0 + 1.2 * elapsed;
  all.distance = off.dot(spread.fullPivLu().solve(off));
  all.gapCost = 0.3 * gap;
  all.cost = all.distance + std::log(spread.determinant()) +
             std::pow(young.height.metres - lost.height.metres, 2.0) /
                 (0.0144 + deviation * deviation / young.pictures) +
             all.gapCost;
  return all;
}

struct Meeting {
  Comparison compared;
  bool isJoined;
};

// Somebody is seen at the first place, so often; nobody for so long (s); then under another number
// twice at the second. He stands, the pictures lie so far apart (microseconds).
Meeting meet(const Seen& first, int pictures, double gap, const Seen& second, std::int64_t frame) {
  People people;
  Track lost;
  Track young;
  for (int i = 0; i < pictures; ++i, people.now += frame) {
    people.frame({first});
    lost.see(people.now, first);
  }
  people.now = lost.lastSeen + static_cast<std::int64_t>(gap * 1e6);
  for (int i = 0; i < 2; ++i, people.now += frame) {
    people.frame({second});
    young.see(people.now, second);
  }
  return {compare(lost, young), people.who(second.id) == people.who(first.id)};
}

TEST(IdentitiesTest, WhoIsMoreThanEighteenSquaredDeviationsOffIsSomebodyElse) {
  int within = 0;
  int beyond = 0;
  for (double x = 0.0; x < 2.0; x += 0.005) {
    const Meeting met = meet(seen(1, 0.0, 1.0), 20, 0.1, seen(2, x, 1.0), FRAME);
    const Comparison& compared = met.compared;
    if (compared.distance > 19.0) {
      break;
    }
    ASSERT_LT(compared.cost, 5.0) << x << ": nothing else parts them";
    ASSERT_LT(compared.apart, compared.reach);
    EXPECT_EQ(met.isJoined, compared.distance <= 18.0) << x;
    within += compared.distance > 17.0 && compared.distance <= 18.0 ? 1 : 0;
    beyond += compared.distance > 18.0 ? 1 : 0;
  }
  EXPECT_GT(within, 0);
  EXPECT_GT(beyond, 0);
}

TEST(IdentitiesTest, PairThatCostsFiveIsNone) {
  int within = 0;
  int beyond = 0;
  for (double height = 0.6; height < 2.5; height += 0.002) {
    const Meeting met = meet(seen(1, 0.0, 6.0, 1.0), 20, 0.3, seen(2, 0.0, 6.0, height), FRAME);
    ASSERT_LT(met.compared.distance, 18.0);
    EXPECT_EQ(met.isJoined, met.compared.cost < 5.0) << height;
    within += met.compared.cost > 4.5 && met.compared.cost < 5.0 ? 1 : 0;
    beyond += met.compared.cost > 5.0 && met.compared.cost < 5.5 ? 1 : 0;
  }
  EXPECT_GT(within, 0);
  EXPECT_GT(beyond, 0);
}

// After 3.5 s it is 1.05 dearer, which decides for some.
TEST(IdentitiesTest, GapMakesAPairDearer) {
  int decided = 0;
  for (double height = 0.6; height < 2.5; height += 0.002) {
    const Meeting met = meet(seen(1, 0.0, 6.0, 1.0), 20, 3.5, seen(2, 0.0, 6.0, height), FRAME);
    EXPECT_NEAR(met.compared.gapCost, 1.05, 1e-9);
    EXPECT_EQ(met.isJoined, met.compared.cost < 5.0) << height;
    const bool isDecided = met.compared.cost >= 5.0 && met.compared.cost < 5.0 + 1.05;
    decided += isDecided ? 1 : 0;
  }
  EXPECT_GT(decided, 0);
}

// Of somebody who was seen for a moment little is known, but nobody runs off that fast.
TEST(IdentitiesTest, NobodyGetsFurtherThanAMetreAndWhatHeWalks) {
  int within = 0;
  int beyond = 0;
  for (double way = 0.0; way < 4.0; way += 0.02) {
    const Meeting met = meet(seen(1, 0.0, 16.0), 2, 0.6, seen(2, 0.0, 16.0 + way), FRAME);
    const Comparison& compared = met.compared;
    EXPECT_NEAR(compared.reach, 1.84, 1e-9);  // 0.7 s after the last picture
    if (compared.apart > 2.0) {
      break;
    }
    ASSERT_LT(compared.cost, 5.0) << way << ": nothing else parts them";
    ASSERT_LT(compared.distance, 18.0);
    EXPECT_EQ(met.isJoined, compared.apart <= compared.reach) << way;
    within += compared.apart > 1.7 && compared.apart <= compared.reach ? 1 : 0;
    beyond += compared.apart > compared.reach ? 1 : 0;
  }
  EXPECT_GT(within, 0);
  EXPECT_GT(beyond, 0);
}

TEST(IdentitiesTest, NewNumberIsComparedForASecond) {
  for (const auto& [frame, isJoined] : {std::pair(980'000, true), std::pair(1'020'000, false)}) {
    EXPECT_EQ(meet(seen(1, 0.0, 6.0), 20, 1.2, seen(2, 0.0, 6.0), frame).isJoined, isJoined);
  }
}

TEST(IdentitiesTest, WhoIsLostForFourSecondsIsForgotten) {
  People people;
  for (int i = 0; i < 10; ++i, people.pass()) {
    people.frame({seen(5, 0.0, 6.0)});
  }
  const std::int64_t identity = people.who(5);
  people.identities.expire(people.now + 3'800'000);
  EXPECT_NE(people.identities.find(identity), nullptr);
  people.identities.expire(people.now + 4'000'000);
  EXPECT_EQ(people.identities.find(identity), nullptr);
  EXPECT_EQ(people.who(5), 0);
  people.now += 4'000'000;
  people.frame({seen(5, 0.0, 6.0)});
  EXPECT_NE(people.who(5), identity) << "the camera gave the number to somebody else";
}

// Nobody looks for him any more, but who turns up where he must be by now is he.
TEST(IdentitiesTest, WhoIsLostIsKnownAgainForSixSeconds) {
  for (const auto& [gap, isKnown] :
       {std::pair(4.5, true), std::pair(5.8, true), std::pair(6.3, false)}) {
    People people;
    for (int i = 0; i < 20; ++i, people.pass()) {
      people.frame({seen(5, 0.0, 30.0 + 0.05 * i, 1.8)});
    }
    const std::int64_t identity = people.who(5);
    const std::int64_t lost = people.now - FRAME;
    const double way = 30.95 + 0.5 * gap;
    people.now = lost + static_cast<std::int64_t>(gap * 1e6);
    people.identities.expire(people.now - FRAME);
    EXPECT_EQ(people.identities.find(identity), nullptr);
    people.frame({seen(6, 0.0, way, 1.8)});
    people.pass();
    people.frame({seen(6, 0.0, way + 0.05, 1.8)});
    EXPECT_EQ(people.who(6) == identity, isKnown) << gap;
    if (isKnown) {
      const Person* person = people.identities.find(identity);
      ASSERT_NE(person, nullptr);
      EXPECT_EQ(person->pictures, 22);
      EXPECT_LT(person->born, lost);
      EXPECT_NEAR(person->filter.state().mean(1), way + 0.05, 0.5);
    }
  }
}

TEST(IdentitiesTest, OfManyWhoAreLostTheLongestLostAreNotKnownAgain) {
  People people;
  const auto place = [](std::int32_t id) {
    return seen(id, 3.0 * (id % 9) - 12.0, 4.0 + 3.0 * (id / 9));
  };
  constexpr auto MOST = static_cast<std::int32_t>(Identities::MOST_REMEMBERED);
  for (int i = 0; i < 20; ++i, people.pass()) {
    std::vector<Seen> all;
    for (std::int32_t id = 0; id < MOST + 1; ++id) {
      if (id > 0 || i < 19) {
        all.push_back(place(id));
      }
    }
    people.frame(all);
  }
  const std::int64_t longest = people.who(0);
  const std::int64_t another = people.who(1);
  people.now += 4'300'000;
  for (int i = 0; i < 6; ++i, people.pass()) {
    Seen first = place(0);
    Seen second = place(1);
    first.id = 1000;
    second.id = 1001;
    people.frame({first, second});
  }
  EXPECT_NE(people.who(1000), longest);
  EXPECT_EQ(people.who(1001), another);
}

// Two came back side by side, so that hardly anything speaks for one way round: more pictures tell.
TEST(IdentitiesTest, PairThatAnotherOneComesNearToWaitsForMorePictures) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(1, 0.0, 6.0), seen(2, 0.3, 6.0)});
  }
  const std::int64_t first = people.who(1);
  const std::int64_t second = people.who(2);
  people.now += 1'000'000;
  for (int i = 0; i < 5; ++i, people.pass()) {
    EXPECT_NE(people.who(8), first) << i;
    EXPECT_NE(people.who(9), second) << i;
    people.frame({seen(8, 0.0, 6.0), seen(9, 0.3, 6.0)});
  }
  EXPECT_EQ(people.who(8), first);
  EXPECT_EQ(people.who(9), second);
}

// But not for longer than 0.7 s, where pictures are few.
TEST(IdentitiesTest, PairThatAnotherOneComesNearToDoesNotWaitForLong) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(1, 0.0, 6.0), seen(2, 0.3, 6.0)});
  }
  const std::int64_t first = people.who(1);
  people.now += 1'000'000;
  for (int i = 0; i < 4; ++i, people.now += 250'000) {
    EXPECT_NE(people.who(8), first) << i;
    people.frame({seen(8, 0.0, 6.0), seen(9, 0.3, 6.0)});
  }
  EXPECT_EQ(people.who(8), first);
}

// Nor until he is compared no more: at two pictures a second the second one is the last that tells,
// at three the third one.
TEST(IdentitiesTest, PairThatAnotherOneComesNearToIsJoinedWhilePicturesOfFewStillTell) {
  for (const auto& [frame, pictures] : {std::pair(500'000, 2), std::pair(340'000, 3)}) {
    People people;
    for (int i = 0; i < 20; ++i, people.pass()) {
      people.frame({seen(1, 0.0, 6.0), seen(2, 0.3, 6.0)});
    }
    const std::int64_t first = people.who(1);
    const std::int64_t second = people.who(2);
    people.now += 1'000'000;
    for (int i = 0; i < pictures; ++i, people.now += frame) {
      EXPECT_NE(people.who(8), first) << frame << ' ' << i;
      people.frame({seen(8, 0.0, 6.0), seen(9, 0.3, 6.0)});
    }
    EXPECT_EQ(people.who(8), first) << frame;
    EXPECT_EQ(people.who(9), second) << frame;
  }
}

// A pixel is half a metre of ground there.
TEST(IdentitiesTest, WhoIsFarAwayIsKnownAgainAsWell) {
  const Meeting met = meet(seen(1, 0.0, 50.0), 30, 3.0, seen(2, 0.0, 50.0), FRAME);
  EXPECT_GT(met.compared.cost, 5.0) << "the place is known too badly for a pair nearby";
  EXPECT_TRUE(met.isJoined);
}

TEST(IdentitiesTest, NumberThatIsGivenAgainAfterFourSecondsIsSomebodyElse) {
  People people;
  for (int i = 0; i < 10; ++i, people.pass()) {
    people.frame({seen(5, 0.0, 6.0)});
  }
  const std::int64_t identity = people.who(5);
  people.now += 4'100'000;
  people.frame({seen(5, 0.0, 6.0)});
  EXPECT_NE(people.who(5), identity);
}

TEST(IdentitiesTest, NumberThatComesBackTakesItsTrackBack) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(5, 0.1 * i, 6.0)});
  }
  const std::int64_t identity = people.who(5);
  for (int i = 20; i < 23; ++i, people.pass()) {
    people.frame({});
  }
  for (int i = 23; i < 28; ++i, people.pass()) {
    people.frame({seen(6, 0.1 * i, 6.1)});
  }
  ASSERT_EQ(people.who(6), identity) << "a stranger beside the way";
  for (int i = 28; i < 32; ++i, people.pass()) {
    people.frame({seen(6, 0.1 * i, 6.9), seen(5, 0.1 * i, 6.0)});
  }
  EXPECT_EQ(people.who(5), identity);
  EXPECT_NE(people.who(6), identity);
  EXPECT_NEAR(people.identities.find(identity)->filter.state().mean(1), 6.0, 0.05);
}

TEST(IdentitiesTest, HandOverToAnotherCameraIsTheSamePerson) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(5, 0.12 * i, 6.0)}, 0);
  }
  const std::int64_t identity = people.who(5, 0);
  for (int i = 20; i < 25; ++i, people.pass()) {
    people.frame({}, 0);
    people.frame({seen(5, 0.12 * i, 6.05)}, 1);
  }
  EXPECT_EQ(people.who(5, 1), identity);
  EXPECT_EQ(people.identities.people().size(), 1U);
  const auto& state = people.identities.find(identity)->filter.state();
  EXPECT_LT(std::abs(state.mean(3)), 0.2) << "a step of the mounting is no velocity";
}

// Half a degree at nearly eight metres: 0.2 m along the line of sight.
// By 0.7 degrees each, at 24 m: three metres on the ground.
TEST(IdentitiesTest, CamerasThatAreMountedApartHandOverFarAway) {
  const auto tilted = [](Seen each, double by) {
    each.sighting.footTilt += by;
    each.sighting.headTilt += by;
    return each;
  };
  for (const auto& [apart, isSame] : {std::pair(1.4, true), std::pair(4.0, false)}) {
    People people;
    for (int i = 0; i < 20; ++i, people.pass()) {
      people.frame({tilted(seen(5, -2.0 + 0.1 * i, 24.0), -apart / 2)});
    }
    const std::int64_t identity = people.who(5);
    for (int i = 20; i < 30; ++i, people.pass()) {
      people.frame({tilted(seen(5, -2.0 + 0.1 * i, 24.0), apart / 2)}, 1);
    }
    EXPECT_EQ(people.who(5, 1) == identity, isSame) << apart;
  }
}

TEST(IdentitiesTest, CamerasThatAreMountedApartHandOverWithoutAKick) {
  People people;
  for (int i = 0; i < 30; ++i, people.pass()) {
    people.frame({seen(5, 0.12 * i - 2.0, 6.0)}, 0);
  }
  const std::int64_t identity = people.who(5, 0);
  double kick = 0.0;
  for (int i = 30; i < 45; ++i, people.pass()) {
    people.frame({seen(8, 0.12 * i - 2.0, 6.2)}, 1);
    const Person* person = people.identities.find(identity);
    kick = std::max(kick, std::abs(person->filter.state().mean(3)));
  }
  EXPECT_EQ(people.who(8, 1), identity);
  RecordProperty("kick", std::to_string(kick));
  EXPECT_LT(kick, 0.2);
}

TEST(IdentitiesTest, TwoCamerasThatSeeOnePersonAtOnceAreOneTrack) {
  People people;
  for (int i = 0; i < 10; ++i, people.pass()) {
    people.frame({seen(5, 0.12 * i, 6.0)}, 0);
    people.frame({seen(900, 0.12 * i + 0.04, 6.05)}, 1);
  }
  EXPECT_EQ(people.identities.people().size(), 1U);
  EXPECT_EQ(people.who(900, 1), people.who(5, 0));
  // The first one leads: the other one's mounting does not pull the person about.
  EXPECT_NEAR(people.identities.people()[0].filter.state().mean(1), 6.0, 0.01);
  const std::int64_t identity = people.who(5, 0);
  for (int i = 10; i < 30; ++i, people.pass()) {
    people.frame({seen(900, 0.12 * i + 0.04, 6.05)}, 1);
  }
  EXPECT_EQ(people.who(900, 1), identity) << "the other one goes on alone";
  EXPECT_NEAR(people.identities.find(identity)->filter.state().mean(1), 6.05, 0.02);
}

TEST(IdentitiesTest, TwoCamerasOfFewPicturesThatSeeOnePersonAreOneTrack) {
  People people;
  for (int i = 0; i < 12; ++i) {
    const double way = 0.1 * i;
    people.frame({seen(5, way, 6.0)});
    people.now += 200'000;
    people.frame({seen(9, way + 0.05, 6.0)}, 1);
    people.now += 200'000;
  }
  EXPECT_EQ(people.identities.people().size(), 1U);
  EXPECT_EQ(people.who(9, 1), people.who(5));
}

// The slow one has seen him often enough only when he is no newcomer any more to the other.
TEST(IdentitiesTest, CameraOfFewPicturesThatSeesAPersonFirstAndAFastOneAreOneTrack) {
  for (const int few : {4, 5, 8}) {  // pictures of the fast one for each
    People people;
    for (int i = 0; i <= 3 * few; ++i, people.pass()) {
      if (i % few == 0) {
        people.frame({seen(9, 0.1 * i, 6.0)}, 1);
      }
      if (i > 0) {
        people.frame({seen(5, 0.1 * i, 6.05)}, 0);
      }
    }
    EXPECT_EQ(people.who(9, 1), people.who(5)) << few;
    EXPECT_EQ(people.identities.people().size(), 1U) << few;
  }
}

// Whom the fast one shows no more he may have been, but nobody sees both.
TEST(IdentitiesTest, CameraOfFewPicturesAndAFastOneThatShowsNobodyAreNotComparedAsOne) {
  People people;
  for (int i = 0; i <= 15; ++i, people.pass()) {
    if (i % 5 == 0) {
      people.frame({seen(9, 0.1 * i, 6.0)}, 1);
    }
    if (i > 0 && i <= 8) {
      people.frame({seen(5, 0.1 * i, 6.05)}, 0);
    }
  }
  EXPECT_NE(people.who(9, 1), people.who(5));
}

TEST(IdentitiesTest, TwoPeopleOfOneCameraAreNeverOne) {
  People people;
  for (int i = 0; i < 20; ++i, people.pass()) {
    people.frame({seen(1, 0.1 * i, 20.0), seen(2, 0.1 * i, 20.1)});
  }
  EXPECT_EQ(people.identities.people().size(), 2U);
}

TEST(IdentitiesTest, CamerasThatTurnOutToSeeTwoPeopleAreTwoTracks) {
  People people;
  for (int i = 0; i < 10; ++i, people.pass()) {
    people.frame({seen(5, 0.1 * i, 6.0)}, 0);
    people.frame({seen(9, 0.1 * i, 6.1)}, 1);
  }
  ASSERT_EQ(people.identities.people().size(), 1U);
  const std::int64_t identity = people.who(5, 0);
  for (int i = 10; i < 40; ++i, people.pass()) {
    people.frame({seen(5, 0.1 * i, 6.0)}, 0);
    people.frame({seen(9, 2.0 - 0.1 * i, 6.1)}, 1);
  }
  EXPECT_EQ(people.who(5, 0), identity);
  EXPECT_NE(people.who(9, 1), identity);
  EXPECT_NEAR(people.identities.find(identity)->filter.state().mean(2), 1.0, 0.1);
}

TEST(IdentitiesTest, StampsThatLieAreRefused) {
  People people;
  const std::vector<Seen> all{seen(1, 0.0, 6.0)};
  Identities& identities = people.identities;
  EXPECT_FALSE(identities.takePicture(people.now, 0, people.now + 200'000, VIEWPOINT, all));
  EXPECT_FALSE(identities.takePicture(people.now, 0, people.now - 4'100'000, VIEWPOINT, all));
  EXPECT_FALSE(identities.takePicture(people.now, 0, INT64_MAX, VIEWPOINT, all));
  EXPECT_FALSE(identities.takePicture(people.now, 0, INT64_MIN, VIEWPOINT, all));
  EXPECT_TRUE(identities.people().empty());
  EXPECT_TRUE(identities.takePicture(people.now, 0, people.now + 90'000, VIEWPOINT, all));
}

TEST(IdentitiesTest, ThingsWithoutAPlaceOnTheGroundAreLeftOut) {
  People people;
  Seen bird = seen(1, 0.0, 6.0);
  bird.sighting.footTilt = 5.0;
  Seen broken = seen(2, 0.0, 6.0);
  broken.sighting.pan = std::nan("");
  people.frame({bird, broken, seen(3, 1.0, 6.0)});
  EXPECT_EQ(people.identities.people().size(), 1U);
}

TEST(IdentitiesTest, FullStorageMakesRoomByTheLongestLost) {
  People people(2);
  people.frame({seen(1, 0.0, 6.0), seen(2, 3.0, 6.0)});
  people.frame({seen(3, -3.0, 6.0)});
  EXPECT_EQ(people.who(3), 0) << "nobody is lost";
  people.pass();
  people.frame({seen(2, 3.0, 6.0)});
  people.pass();
  people.frame({seen(2, 3.0, 6.0), seen(3, -3.0, 6.0)});
  EXPECT_EQ(people.who(1), 0);
  EXPECT_NE(people.who(2), 0);
  EXPECT_NE(people.who(3), 0);
}

// Sixty people who mill about; whatever happens, numbers and storage stay what they say.
TEST(IdentitiesTest, CrowdsKeepEverythingConsistent) {
  simulation::Random random(12);
  People people(40);
  std::int32_t next = 60;
  std::vector<std::int32_t> ids(60);
  for (std::size_t i = 0; i < ids.size(); ++i) {
    ids[i] = static_cast<std::int32_t>(i);
  }
  for (int round = 0; round < 300; ++round, people.pass()) {
    for (std::int32_t channel = 0; channel < 3; ++channel) {
      std::vector<Seen> all;
      for (std::size_t i = 0; i < ids.size(); ++i) {
        if (random.chance(0.4)) {
          continue;
        }
        if (random.chance(0.02)) {
          ids[i] = ++next;
        }
        const double angle = 0.1 * static_cast<double>(i) + 0.01 * round;
        all.push_back(seen(ids[i], 8.0 * std::sin(angle), 8.0 * std::cos(angle)));
      }
      people.frame(all, channel);
      for (const Person& person : people.identities.people()) {
        ASSERT_TRUE(person.filter.state().mean.allFinite());
        ASSERT_EQ(people.identities.find(person.identity), &person);
      }
      ASSERT_LE(people.identities.people().size(), 40U);
    }
  }
}

}  // namespace
}  // namespace following
