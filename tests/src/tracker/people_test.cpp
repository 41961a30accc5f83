#include "tracker/people.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "base/units.h"
#include "fakes/fake_clock.h"
#include "fakes/log_capture.h"

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t FRAME = 100'000;
constexpr double MAST = 5.0;     // m
constexpr double HEIGHT = 1.7;   // m, of everybody
constexpr double FOCAL = 805.5;  // px

double degrees(double radians) {
  return radians * 180.0 / std::numbers::pi;
}

double panOf(double x, double y) {
  return degrees(std::atan2(x, y));
}

double tiltOf(double x, double y, double height) {
  return -degrees(std::atan2(MAST - height, std::hypot(x, y)));
}

// Somebody at a place of the ground, as a camera below the head sees him.
People::Seen at(std::int32_t id, double x, double y, double height = HEIGHT) {
  People::Seen seen;
  seen.id = id;
  seen.box.sighting = {panOf(x, y), tiltOf(x, y, 0.0), tiltOf(x, y, height)};
  seen.box.pan = panOf(x, y);
  seen.box.tilt = tiltOf(x, y, height / 2.0);
  seen.box.width = degrees(0.5 / std::hypot(x, y, MAST));
  seen.box.height = seen.box.sighting.headTilt - seen.box.sighting.footTilt;
  return seen;
}

class PeopleTest : public testing::Test {
 protected:
  PeopleTest() { clock.set(1000 * SECOND); }

  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  // A picture of this moment; those of the numbers are handed over.
  void show(std::int32_t channel, const std::vector<People::Seen>& seen,
            const std::vector<std::int32_t>& handedOver, int priority = 1) {
    people.see(clock.now(), channel, clock.now(), FOCAL, seen);
    for (const std::int32_t id : handedOver) {
      people.want(channel, id, priority, clock.now());
    }
  }

  std::optional<FollowedSubject> choose(double pan = 0.0, double tilt = -35.0) {
    return people.choose(pan, tilt, clock.now(), clock.now());
  }

  // Whom the head is to look at, by pan; not a number when nobody.
  double chosenPan() {
    const auto chosen = choose();
    return chosen ? chosen->subject.pan : std::numeric_limits<double>::quiet_NaN();
  }

  // Somebody who stands at a place for some pictures, the last of this moment.
  void stand(std::int32_t channel, std::int32_t id, double x, double y, int pictures = 15) {
    for (int i = 0; i < pictures; ++i) {
      pass(FRAME);
      show(channel, {at(id, x, y)}, {id});
    }
  }

  FakeClock clock;
  const LogCapture log;
  People people{Installation()};
};

TEST_F(PeopleTest, SomebodyWhoIsHandedOverIsFollowed) {
  stand(0, 7, 3.0, 6.0);
  const auto chosen = choose();
  ASSERT_TRUE(chosen);
  EXPECT_NEAR(chosen->subject.pan, panOf(3.0, 6.0), 0.05);
  EXPECT_NEAR(chosen->subject.tilt, tiltOf(3.0, 6.0, HEIGHT / 2.0), 0.05);
  EXPECT_NEAR(chosen->gap, 0.0, 1e-9);
}

TEST_F(PeopleTest, SomebodyWhoIsOnlySeenIsNot) {
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    show(0, {at(7, 3.0, 6.0)}, {});
  }
  EXPECT_FALSE(choose());
  EXPECT_EQ(people.getIdentities().people().size(), 1u);
}

// At a metre a second to the right from (0, 6): a second later he is at (1, 6).
TEST_F(PeopleTest, IsWhereHeWillBe) {
  for (int i = 0; i <= 30; ++i) {
    show(0, {at(7, -3.0 + 0.1 * i, 6.0)}, {7});
    pass(FRAME);
  }
  clock.set(clock.now() - FRAME);
  const auto chosen = people.choose(0.0, -35.0, clock.now(), clock.now() + SECOND);
  ASSERT_TRUE(chosen);
  EXPECT_NEAR(chosen->subject.pan, panOf(1.0, 6.0), 0.3);
}

TEST_F(PeopleTest, HeIsLetGoWhenAPictureShowsHimAndNoGuardHandsHimOver) {
  stand(0, 7, 3.0, 6.0);
  pass(FRAME);
  show(0, {at(7, 3.0, 6.0)}, {});
  EXPECT_TRUE(choose());  // the guards may not have come to him yet
  pass(FRAME);
  show(0, {at(7, 3.0, 6.0)}, {});
  EXPECT_FALSE(choose());
}

// At a picture's edge nobody is handed over, well as he is seen to go on.
TEST_F(PeopleTest, IsGoneOnWithWhileTheAnalyticsAreNotSureOfHim) {
  stand(0, 7, 3.0, 6.0);
  choose();
  People::Seen unsure = at(7, 3.0, 6.0);
  unsure.isSure = false;
  for (int i = 0; i < 39; ++i) {
    pass(FRAME);
    show(0, {unsure}, {});
    EXPECT_TRUE(choose()) << i;
  }
  pass(2 * FRAME);
  show(0, {unsure}, {});
  EXPECT_FALSE(choose());
}

// ---- Who is who ----

TEST_F(PeopleTest, IsGoneOnWithForFourSecondsWhileNoPictureShowsHim) {
  stand(0, 7, 3.0, 6.0);
  choose();
  for (int i = 0; i < 39; ++i) {
    pass(FRAME);
    show(0, {}, {});
  }
  const auto chosen = choose();
  ASSERT_TRUE(chosen);
  EXPECT_NEAR(chosen->gap, 3.9, 1e-6);
  pass(2 * FRAME);
  EXPECT_FALSE(choose());
}

// Somebody walks behind a pole for two seconds; the head may choose between him, under another
// number, and somebody nearer to it.
TEST_F(PeopleTest, ComesBackUnderANewNumberAsTheSamePerson) {
  for (int i = 0; i < 20; ++i) {
    pass(FRAME);
    show(0, {at(7, -3.0 + 0.1 * i, 6.0)}, {7});
  }
  choose();
  const std::int64_t identity = people.getIdentities().people().front().identity;
  pass(2 * SECOND - FRAME);
  for (int i = 40; i < 46; ++i) {
    pass(FRAME);
    show(0, {at(8, -3.0 + 0.1 * i, 6.0)}, {8});
  }
  ASSERT_EQ(people.getIdentities().people().size(), 1u);
  EXPECT_EQ(people.getIdentities().people().front().identity, identity);
  EXPECT_NEAR(chosenPan(), panOf(1.5, 6.0), 1.0);
}

TEST_F(PeopleTest, ANewNumberDoesNotLoseThePlaceInTheChoice) {
  for (int i = 0; i < 20; ++i) {
    pass(FRAME);
    show(0, {at(7, -8.0 + 0.1 * i, 2.0)}, {7});
  }
  EXPECT_NEAR(chosenPan(), panOf(-6.1, 2.0), 1.0);
  // Meanwhile there is somebody right before the head.
  for (int i = 20; i < 40; ++i) {
    pass(FRAME);
    show(0, {at(1, 8.0, 3.0)}, {1});
    choose();
  }
  for (int i = 40; i < 46; ++i) {
    pass(FRAME);
    show(0, {at(8, -8.0 + 0.1 * i, 2.0), at(1, 8.0, 3.0)}, {8, 1});
  }
  EXPECT_NEAR(people.choose(70.0, -35.0, clock.now(), clock.now())->subject.pan, panOf(-3.5, 2.0),
              2.0);
}

// He may be the one who is lost, which shows with the next picture.
TEST_F(PeopleTest, AFirstGlimpseDoesNotEndTheSearchForWhoIsLost) {
  stand(0, 7, 3.0, 6.0);
  choose();
  pass(SECOND);
  show(0, {at(8, -1.0, 6.0)}, {8});
  EXPECT_NEAR(chosenPan(), panOf(3.0, 6.0), 1.0);
  pass(FRAME);
  show(0, {at(8, -1.0, 6.0)}, {8});
  EXPECT_NEAR(chosenPan(), (panOf(3.0, 6.0) + panOf(-1.0, 6.0)) / 2.0, 1.0);
}

// Two come back from behind something, where they have changed places: some pictures more tell by
// their heights who is who. Until then the head does not take the one who is where the other one
// was lost; they are too far apart for one frame.
TEST_F(PeopleTest, WhoMayBeTheLostOneIsNotTakenForHimByHisPlace) {
  people.selection().setMaxObjectSize({6.0, 20.0});
  for (int i = 0; i < 20; ++i) {
    pass(FRAME);
    show(0, {at(1, 0.0, 6.0, 1.85), at(2, 0.4, 6.0, 1.55)}, {1, 2});
    ASSERT_NEAR(chosenPan(), panOf(0.0, 6.0), 0.5);
  }
  const std::int64_t followed = people.getIdentities().whoIs(0, 1)->identity;
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    show(0, {}, {});
    ASSERT_TRUE(choose());
  }
  for (int i = 0; i < 8; ++i) {
    pass(FRAME);
    show(0, {at(8, 0.4, 6.0, 1.85), at(9, 0.0, 6.0, 1.55)}, {8, 9});
    EXPECT_EQ(people.getIdentities().whoIs(0, 9)->isWaiting, i >= 1 && i < 4) << i;
    choose();
  }
  ASSERT_EQ(people.getIdentities().whoIs(0, 8)->identity, followed);
  EXPECT_NEAR(chosenPan(), panOf(0.4, 6.0), 0.5);
}

TEST_F(PeopleTest, AGuardMayTakeItsTimeOverANewNumber) {
  stand(0, 7, 3.0, 6.0);
  choose();
  pass(SECOND);
  for (int i = 0; i < 20; ++i) {
    pass(FRAME);
    show(0, {at(8, 3.0, 6.0)}, {});
    EXPECT_TRUE(choose()) << i;
  }
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(8, 3.0, 6.0)}, {});
  }
  EXPECT_FALSE(choose());
}

TEST_F(PeopleTest, TwoCamerasThatSeeHimAtOnceSeeOne) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(7, 3.0, 6.0)}, {7});
    show(1, {at(3, 3.05, 6.0)}, {3});
  }
  EXPECT_EQ(people.getIdentities().people().size(), 1u);
  const auto chosen = choose();
  ASSERT_TRUE(chosen);
  EXPECT_LT(chosen->subject.width, 6.0);  // half a metre at eight
}

TEST_F(PeopleTest, IsHandedOverByTheNextCamera) {
  stand(0, 7, 3.0, 6.0);
  stand(1, 4, 3.05, 6.0, 10);
  EXPECT_EQ(people.getIdentities().people().size(), 1u);
  EXPECT_NEAR(chosenPan(), panOf(3.0, 6.0), 1.0);
}

// While the feet are cut off they are where a known height puts them, which tells nothing of it.
TEST_F(PeopleTest, AFootThatFollowsFromTheHeightDoesNotConfirmTheHeight) {
  stand(0, 7, 3.0, 6.0);
  const int known = people.getIdentities().people().front().height.weight;
  for (int i = 0; i < 5; ++i) {
    pass(FRAME);
    People::Seen cut = at(7, 3.0, 6.0);
    cut.box.isFootCut = true;
    show(0, {cut}, {7});
  }
  ASSERT_EQ(people.getIdentities().people().size(), 1u);
  EXPECT_EQ(people.getIdentities().people().front().height.weight, known);
  EXPECT_NEAR(people.getIdentities().people().front().filter.state().mean(1), 6.0, 0.1);
}

TEST_F(PeopleTest, ThoseInSightArePreferredToWhoIsLost) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -1.0, 6.0), at(2, 1.0, 6.0)}, {1, 2});
  }
  EXPECT_NEAR(chosenPan(), 0.0, 0.5);  // both together
  for (int i = 0; i < 6; ++i) {
    pass(FRAME);
    show(0, {at(2, 1.0, 6.0)}, {2});
  }
  EXPECT_NEAR(chosenPan(), panOf(1.0, 6.0), 0.5);
}

TEST_F(PeopleTest, AStrangerWhoIsLostIsNotChosen) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0), at(2, 9.0, 2.0)}, {1, 2});
  }
  EXPECT_NEAR(people.choose(77.0, -30.0, clock.now(), clock.now())->subject.pan, panOf(9.0, 2.0),
              0.5);
  for (int i = 0; i < 6; ++i) {
    pass(FRAME);
    show(0, {at(2, 9.0, 2.0)}, {2});
  }
  for (int i = 0; i < 2; ++i) {
    pass(FRAME);
    show(0, {at(2, 9.0, 2.0)}, {});
  }
  EXPECT_FALSE(choose());
}

// Pictures of one camera come half a second after those of another.
TEST_F(PeopleTest, WhoIsSeenByASlowerCameraAloneIsInSight) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {});
    const std::int64_t earlier = clock.now() - SECOND / 2;
    people.see(clock.now(), 1, earlier, FOCAL, std::vector{at(2, 9.0, 2.0)});
    people.want(1, 2, 1, earlier);
  }
  EXPECT_NEAR(chosenPan(), panOf(9.0, 2.0), 0.5);
}

// Ten pictures a second, and fewer than two: between two of them nobody is lost.
TEST_F(PeopleTest, WhoIsSeenByACameraOfFewPicturesAloneIsInSight) {
  for (int i = 0; i < 60; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {1}, 1);
    if (i % 6 == 0) {
      show(1, {at(2, 9.0, 2.0)}, {2}, 5);
    }
  }
  EXPECT_NEAR(chosenPan(), panOf(9.0, 2.0), 0.5);  // half a second after the last one
}

// Its last picture had a stranger in it, and there are none any more.
TEST_F(PeopleTest, WhoIsSeenByACameraThatFellSilentIsNotChosenAnew) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {1}, 5);
    show(1, {at(2, 9.0, 2.0)}, {2}, 1);
    EXPECT_LT(chosenPan(), 0.0);
  }
  for (int i = 0; i < 16; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {1}, 5);
    EXPECT_LT(chosenPan(), 0.0);
  }
  for (int i = 0; i < 2; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {});
  }
  EXPECT_FALSE(choose());
}

// What a picture's time is refused for is not believed of those in it either.
TEST_F(PeopleTest, WhoIsHandedOverByAPictureThatIsNotBelievedIsNotInSight) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0), at(2, 9.0, 2.0)}, {1, 2});
  }
  const std::int64_t beyond = clock.now() + 3 * SECOND;
  people.see(clock.now(), 0, beyond, FOCAL, std::vector{at(2, 9.0, 2.0)});
  people.want(0, 2, 5, beyond);
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0)}, {1});
  }
  EXPECT_NEAR(people.choose(77.0, -30.0, clock.now(), clock.now())->subject.pan, panOf(-9.0, 2.0),
              0.5);
}

// ---- Cameras that go ----

TEST_F(PeopleTest, WhoWasHandedOverByACameraThatGoesIsLetGoAtOnce) {
  stand(0, 7, 3.0, 6.0);
  ASSERT_TRUE(choose());
  people.forgetCamera(1);
  EXPECT_TRUE(choose());
  people.forgetCamera(0);
  EXPECT_FALSE(choose());
  EXPECT_FALSE(people.insight(clock.now(), clock.now()).at(0).isWanted);
}

TEST_F(PeopleTest, WhatHasNoPlaceGoesWithItsCamera) {
  People::Seen high = at(7, 3.0, 6.0);
  high.box.sighting.footTilt = 5.0;
  for (int i = 0; i < 5; ++i) {
    pass(FRAME);
    show(0, {high}, {7});
  }
  ASSERT_TRUE(choose());
  people.forgetCamera(0);
  EXPECT_FALSE(choose());
}

// ---- Choosing, as it is for every way of following ----

TEST_F(PeopleTest, TheHighestPriorityIsChosen) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0), at(2, 9.0, 2.0)}, {1}, 1);
    people.want(0, 2, 5, clock.now());
  }
  EXPECT_NEAR(people.choose(-77.0, -30.0, clock.now(), clock.now())->subject.pan, panOf(9.0, 2.0),
              0.5);
}

TEST_F(PeopleTest, ThePriorityIsTheOneToldLast) {
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -9.0, 2.0), at(2, 9.0, 2.0)}, {1, 2});
  }
  people.want(0, 2, 5, clock.now());
  EXPECT_NEAR(people.choose(-77.0, -30.0, clock.now(), clock.now())->subject.pan, panOf(9.0, 2.0),
              0.5);
  people.want(0, 1, 7, clock.now());
  EXPECT_NEAR(people.choose(77.0, -30.0, clock.now(), clock.now())->subject.pan, panOf(-9.0, 2.0),
              0.5);
}

// The turn of somebody goes on under his new number: four seconds of five are over.
TEST_F(PeopleTest, TakesTurnsByPersonNotByNumber) {
  people.selection().setSwitchObject(true);
  people.selection().setTimePerObject(5);
  const auto show15 = [this](std::int32_t left, int pictures) {
    for (int i = 0; i < pictures; ++i) {
      pass(FRAME);
      show(0, {at(left, -9.0, 2.0), at(2, 9.0, 2.0)}, {left, 2});
      choose();
    }
  };
  show15(1, 40);
  EXPECT_NEAR(chosenPan(), panOf(-9.0, 2.0), 0.5);
  show15(8, 8);
  EXPECT_NEAR(chosenPan(), panOf(-9.0, 2.0), 0.5);
  show15(8, 6);
  EXPECT_NEAR(chosenPan(), panOf(9.0, 2.0), 0.5);
}

TEST_F(PeopleTest, ThoseWhoDoNotFitIntoTheWidestViewAreNoGroup) {
  people.selection().setMaxObjectSize({20.0, 20.0});
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {at(1, -3.0, 6.0), at(2, 3.0, 6.0)}, {1, 2});
  }
  EXPECT_NEAR(std::abs(chosenPan()), panOf(3.0, 6.0), 0.5);
}

// A lorry is no person: the frame holds all of it.
TEST_F(PeopleTest, WhatIsMuchLargerThanAPersonIsFramedAsItIsSeen) {
  People::Seen lorry = at(1, 0.0, 12.0);
  lorry.box.width = 25.0;
  lorry.box.height = 14.0;
  for (int i = 0; i < 15; ++i) {
    pass(FRAME);
    show(0, {lorry}, {1});
  }
  const auto chosen = choose();
  ASSERT_TRUE(chosen);
  EXPECT_EQ(chosen->subject.width, 25.0);
  EXPECT_EQ(chosen->subject.height, 14.0);
}

// ---- Without a place on the ground ----

TEST_F(PeopleTest, WhatHasNoFootIsFollowedByItsBearing) {
  People::Seen bird = at(1, 0.0, 12.0);
  bird.box.sighting.footTilt = 5.0;
  bird.box.sighting.headTilt = 8.0;
  bird.box.pan = 12.0;
  bird.box.tilt = 6.5;
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    show(0, {bird}, {1});
  }
  const auto chosen = choose();
  ASSERT_TRUE(chosen);
  EXPECT_NEAR(chosen->subject.pan, 12.0, 0.01);
  EXPECT_NEAR(chosen->subject.tilt, 6.5, 0.01);
  EXPECT_TRUE(people.getIdentities().people().empty());
  for (int i = 0; i < 2; ++i) {
    pass(FRAME);
    show(0, {bird}, {});
  }
  EXPECT_FALSE(choose());
}

TEST_F(PeopleTest, AFootThatIsCutOffFollowsFromTheHead) {
  stand(0, 7, 0.0, 3.0);
  People::Seen cut = at(7, 0.0, 2.0);
  cut.box.sighting.footTilt += 6.0;  // where the picture ends
  cut.box.isFootCut = true;
  for (int i = 0; i < 20; ++i) {
    pass(FRAME);
    show(0, {cut}, {7});
  }
  EXPECT_NEAR(people.getIdentities().people().front().filter.state().mean(1), 2.0, 0.1);
}

TEST_F(PeopleTest, LegsThatAreHiddenAreKnownFromHowTallHeIs) {
  stand(0, 7, 0.0, 6.0, 30);
  People::Seen hidden = at(7, 0.0, 6.0);
  hidden.box.sighting.footTilt = tiltOf(0.0, 6.0, 0.8);  // behind a wall
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    show(0, {hidden}, {7});
  }
  EXPECT_NEAR(people.getIdentities().people().front().filter.state().mean(1), 6.0, 0.15);
}

// ---- What cannot be ----

TEST_F(PeopleTest, AFrameThatComesTwiceCountsOnce) {
  stand(0, 7, 3.0, 6.0, 5);
  people.see(clock.now() + 20'000, 0, clock.now(), FOCAL, std::vector{at(7, 3.0, 6.0)});
  EXPECT_EQ(people.getIdentities().people().front().pictures, 5);
}

// The guards have not come to him yet when the picture is there again.
TEST_F(PeopleTest, AFrameThatComesTwiceLetsNobodyGo) {
  stand(0, 7, 3.0, 6.0);
  pass(FRAME);
  const std::int64_t time = clock.now();
  for (int i = 0; i < 3; ++i) {
    show(0, {at(7, 3.0, 6.0)}, {});
    people.see(clock.now() + 10'000 * i, 0, time, FOCAL, std::vector{at(7, 3.0, 6.0)});
  }
  EXPECT_TRUE(choose());
}

TEST_F(PeopleTest, PicturesWhoseTimesLieAreLeftOutAndToldOnce) {
  for (int i = 0; i < 10; ++i) {
    pass(FRAME);
    people.see(clock.now(), 0, clock.now() + 3600 * SECOND, FOCAL, std::vector{at(7, 3.0, 6.0)});
    people.want(0, 7, 1, clock.now() + 3600 * SECOND);
    people.see(clock.now(), 1, clock.now() - 3600 * SECOND, FOCAL, std::vector{at(7, 3.0, 6.0)});
    people.want(1, 7, 1, clock.now() - 3600 * SECOND);
  }
  EXPECT_FALSE(choose());
  EXPECT_EQ(LogCapture::count(
                "The times of camera 1's pictures cannot be, nobody is followed by them.\n"),
            1);
  EXPECT_EQ(LogCapture::count(
                "The times of camera 2's pictures cannot be, nobody is followed by them.\n"),
            1);
}

TEST_F(PeopleTest, NumbersThatAreNotFiniteAreLeftOut) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  stand(0, 7, 3.0, 6.0);
  for (const double wrong : {nan, infinity, -infinity}) {
    for (int i = 0; i < 5; ++i) {
      pass(FRAME);
      People::Seen seen = at(7, 3.0, 6.0);
      seen.box.sighting.footTilt = wrong;
      People::Seen other = at(9, 3.0, 6.0);
      other.box.sighting = {wrong, wrong, wrong};
      other.box.pan = wrong;
      other.box.height = wrong;
      show(0, {seen, other}, {7, 9});
      const auto chosen = choose();
      ASSERT_TRUE(!chosen || std::isfinite(chosen->subject.pan));
      ASSERT_TRUE(!chosen || std::isfinite(chosen->subject.width));
    }
  }
}

TEST_F(PeopleTest, MoreThanThereIsRoomForAreLeftOut) {
  std::vector<People::Seen> crowd;
  std::vector<std::int32_t> numbers;
  for (int i = 0; i < 400; ++i) {
    crowd.push_back(at(i, -20.0 + 0.1 * i, 10.0));
    crowd.back().box.sighting.footTilt = i % 2 == 0 ? crowd.back().box.sighting.footTilt : 5.0;
    numbers.push_back(i);
  }
  for (int i = 0; i < 5; ++i) {
    pass(FRAME);
    show(0, crowd, numbers);
    EXPECT_TRUE(choose());
  }
  EXPECT_LE(people.getIdentities().people().size(), People::CAPACITY);
}

// ---- For those who look on ----

TEST_F(PeopleTest, InsightTellsWhereEverybodyWillBe) {
  for (int i = 0; i < 30; ++i) {
    pass(FRAME);
    // A metre a second to the right, beside somebody who is only seen.
    show(0, {at(7, -3.0 + 0.1 * i, 6.0), at(8, 2.0, -7.0)}, {7});
  }
  ASSERT_TRUE(choose(0.0, -35.0));
  const auto told = people.insight(clock.now(), clock.now() + SECOND / 2);
  ASSERT_EQ(told.size(), 2U);
  const bool isFirst = told[0].isWanted;
  const PersonInsight& walks = told[isFirst ? 0 : 1];
  const PersonInsight& stands = told[isFirst ? 1 : 0];
  EXPECT_NEAR(walks.x, -0.1 + 0.5, 0.1);
  EXPECT_NEAR(walks.y, 6.0, 0.1);
  EXPECT_NEAR(walks.velocityX, 1.0, 0.15);
  EXPECT_NEAR(walks.height, HEIGHT, 0.05);
  EXPECT_TRUE(walks.isFollowed);
  EXPECT_EQ(walks.unseen, 0.0);
  EXPECT_NEAR(stands.x, 2.0, 0.1);
  EXPECT_NEAR(stands.y, -7.0, 0.1);
  EXPECT_FALSE(stands.isWanted);
  EXPECT_FALSE(stands.isFollowed);
  EXPECT_NE(walks.identity, stands.identity);
  // The further ahead, the less is known.
  const auto later = people.insight(clock.now(), clock.now() + 2 * SECOND);
  EXPECT_GT(later[0].varianceX, told[0].varianceX);
  EXPECT_GT(told[0].varianceX, 0.0);
  EXPECT_LT(told[0].covariance * told[0].covariance, told[0].varianceX * told[0].varianceY);
}

TEST_F(PeopleTest, InsightIsOfThoseWhoAreStillLookedFor) {
  stand(0, 7, 0.0, 8.0);
  pass(3 * SECOND);
  const auto told = people.insight(clock.now(), clock.now());
  ASSERT_EQ(told.size(), 1U);
  EXPECT_NEAR(told[0].unseen, 3.0, 1e-9);
  pass(2 * SECOND);
  EXPECT_TRUE(people.insight(clock.now(), clock.now()).empty());
}

}  // namespace
