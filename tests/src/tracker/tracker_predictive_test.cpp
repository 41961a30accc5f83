// The tracker where the predictive way of following is chosen.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "scene/parsed_scene.h"
#include "src/tracker/late_head.h"
#include "src/tracker/moves.h"
#include "src/tracker/tracker_fixture.h"
#include "tracker/head_file.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using CameraState = Tracker::CameraState;

constexpr std::int64_t TICK = 50'000;
constexpr int CONTINUOUS = 3;

constexpr const char* PRODUCT = "TRK-100";
constexpr const char* IDENTIFIED = "The head answers after";

class TrackerPredictiveTest : public TrackerFixture {
 protected:
  TrackerPredictiveTest() {
    FakeParameters::set("Brand.ProdNbr", "OV-1000");
    FakeParameters::set("ImageSource.NbrOfSources", "1");
    FakeParameters::set("SentrelVideo.Following", "predictive");
    head.setUp(PRODUCT);
    head.setParameter("PTZ.Limit.L1.MinTilt", "-90");
    head.setParameter("PTZ.Limit.L1.MaxTilt", "20");
  }

  static following::HeadParameters plainHead() { return {}; }

  // Ready to be connected, with gains of an earlier run.
  void startConnecting() {
    Persistent::setCameraName(PRODUCT);
    start();
    tracker->setState(CameraState::connecting);
    FakeEvents::clearSent();
  }

  // The same, connected, of a head that is known.
  void startKnown() {
    HeadFile::store(PRODUCT, plainHead());
    startConnecting();
    tracker->connect();
    ASSERT_EQ(tracker->getState(), CameraState::running);
    ASSERT_TRUE(tracker->addCamera(1));
    FakePtzLibrary::clearMoves();
  }

  // A frame with one object that its guard hands over.
  void show(std::int32_t id, const Look& look = {}) {
    TrackingObject object(moteObject(id, clock.now(), look), 0, 1.0F);
    ParsedScene scene(clock.now(), false);
    scene.insertActiveObject(&object);
    tracker->see(1, scene);
    tracker->track(1, 1, object);
  }

  // Tunes until it is done; false when that takes more than three minutes.
  bool tune(LateHead& late) {
    for (int i = 0; i < 3600 && tracker->getState() == CameraState::autotuning; ++i) {
      FakePtzLibrary::clearMoves();
      tracker->autotune();
      late.take(FakePtzLibrary::moves());
      pass(TICK);
    }
    return tracker->getState() == CameraState::running;
  }

  bool isFileThere() const { return std::filesystem::exists(folder.path("head.json")); }

  static int logged(const std::string& beginning) {
    int count = 0;
    for (const LogLine& line : LogCapture::lines()) {
      count += line.text.starts_with(beginning) ? 1 : 0;
    }
    return count;
  }
};

// ---- Connecting ----

TEST_F(TrackerPredictiveTest, AKnownHeadIsFollowedWithAtOnce) {
  startKnown();
  EXPECT_THAT(sentStates(), ElementsAre("running"));
  show(3, {.pan = 30.0, .tilt = -24.0});
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_GT(moves[0].pan, 0.0);
  EXPECT_LT(moves[0].tilt, 0.0);
  EXPECT_EQ(moves[0].panKind, CONTINUOUS);
  EXPECT_THAT(sentSentreling(), ElementsAre(true));
}

TEST_F(TrackerPredictiveTest, AHeadThatIsNotKnownIsIdentifiedAndKept) {
  startConnecting();
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
  LateHead late;
  ASSERT_TRUE(tune(late));
  EXPECT_EQ(logged(IDENTIFIED), 1);
  const auto known = HeadFile::load(PRODUCT);
  ASSERT_TRUE(known);
  EXPECT_NEAR(known->pan.curve.fastest(), 100.0, 5.0);
  EXPECT_NEAR(known->pan.deadTime, 0.175, 0.05);
  EXPECT_THAT(sentStates(), ElementsAre("autotuning", "running"));
}

TEST_F(TrackerPredictiveTest, TheStaircaseFollowsTheRelayOfAHeadWithoutGains) {
  start();
  tracker->setState(CameraState::connecting);
  tracker->connect();
  LateHead late;
  ASSERT_TRUE(tune(late));
  std::string tunedFor;
  Persistent::getCameraName(tunedFor);
  EXPECT_EQ(tunedFor, PRODUCT);
  EXPECT_TRUE(HeadFile::load(PRODUCT));
}

TEST_F(TrackerPredictiveTest, AHeadThatCannotBeIdentifiedIsFollowedWithAllTheSame) {
  startConnecting();
  tracker->connect();
  LateHead late;
  late.gain = 0.0;
  ASSERT_TRUE(tune(late));
  EXPECT_FALSE(isFileThere());
  EXPECT_EQ(logged("The head could not be identified"), 1);
  ASSERT_TRUE(tracker->addCamera(1));
  show(3);
  setHead(0.0, CENTER_TILT);
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_GT(moves[0].pan, 0.0);
}

// It never gets to where it is tuned.
TEST_F(TrackerPredictiveTest, AHeadThatCannotBeIdentifiedForItStaysAwayIsFollowedWithAllTheSame) {
  startConnecting();
  tracker->connect();
  setHead(50.0, CENTER_TILT);
  for (int i = 0; i < 3600 && tracker->getState() == CameraState::autotuning; ++i) {
    tracker->autotune();
    pass(TICK);
  }
  ASSERT_EQ(tracker->getState(), CameraState::running);
  EXPECT_FALSE(tracker->isPredicting());
  EXPECT_FALSE(tracker->insight());
  ASSERT_TRUE(tracker->addCamera(1));
  show(3);
  setHead(0.0, CENTER_TILT);
  EXPECT_NEAR(step().at(0).pan, 10.0, 1e-9);  // ten degrees at a gain of 1
}

TEST_F(TrackerPredictiveTest, WhatIsKnownOfAnotherHeadIsNotTaken) {
  HeadFile::store("TRK-200", plainHead());
  startConnecting();
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

TEST_F(TrackerPredictiveTest, TheHeadsStopsAreKept) {
  head.setParameter("PTZ.Limit.L1.MinPan", "-30");
  head.setParameter("PTZ.Limit.L1.MaxPan", "30");
  startKnown();
  setHead(30.0, -24.0);
  for (int i = 0; i < 10; ++i) {
    pass(2 * TICK);
    show(3, {.pan = 40.0, .tilt = -24.0});
    const auto moves = step();
    ASSERT_THAT(moves, SizeIs(1));
    EXPECT_LE(moves[0].pan, 0.0);
  }
}

// ---- The other way ----

class OtherWayTest : public TrackerPredictiveTest,
                     public testing::WithParamInterface<const char*> {};

TEST_P(OtherWayTest, OnlyThatWordChangesAnything) {
  FakeParameters::set("SentrelVideo.Following", GetParam());
  startKnown();
  show(3);
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 10.0, 1e-9);  // ten degrees at a gain of 1
  EXPECT_EQ(moves[0].zoomKind, CONTINUOUS);
}

INSTANTIATE_TEST_SUITE_P(Words, OtherWayTest,
                         testing::Values("", "specified", "Predictive", "predictive "));

TEST_F(TrackerPredictiveTest, AHeadThatIsTunedOtherwiseLeavesNoFile) {
  FakeParameters::remove("SentrelVideo.Following");
  start();
  tracker->setState(CameraState::connecting);
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::autotuning);
  LateHead late;
  ASSERT_TRUE(tune(late));
  EXPECT_FALSE(isFileThere());
  EXPECT_EQ(logged(IDENTIFIED), 0);
}

// ---- Changes ----

TEST_F(TrackerPredictiveTest, AnotherWayIsTakenOnceTheHeadRests) {
  startKnown();
  show(3, {.pan = 30.0, .tilt = -24.0});
  step();
  FakeParameters::set("SentrelVideo.Following", "specified");
  for (int i = 0; i < 250; ++i) {
    pass(TICK);
    show(3, {.pan = 30.0, .tilt = -24.0});
    step();
    ASSERT_EQ(tracker->getState(), CameraState::running);
  }
  pass(6 * SECOND);  // nobody any more
  step();
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::running);
  setHead(0.0, CENTER_TILT);
  tracker->untrack(1, 3);
  show(4);
  EXPECT_NEAR(step().at(0).pan, 10.0, 1e-9);
}

TEST_F(TrackerPredictiveTest, ParametersThatCannotBeReadChangeNothing) {
  startKnown();
  FakeParameters::remove("SentrelVideo.Following");
  FakeParameters::remove("Brand.ProdNbr");
  pass(11 * SECOND);
  step();
  EXPECT_EQ(tracker->getState(), CameraState::running);
}

TEST_F(TrackerPredictiveTest, IsIdentifiedAnewWhenAsked) {
  startKnown();
  pass(11 * SECOND);
  step();
  EXPECT_EQ(tracker->getState(), CameraState::running);
  FakeParameters::set("SentrelVideo.Identify", "1");
  pass(11 * SECOND);
  step();
  ASSERT_EQ(tracker->getState(), CameraState::connecting);
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::autotuning);
  LateHead late;
  ASSERT_TRUE(tune(late));
  pass(11 * SECOND);
  step();
  EXPECT_EQ(tracker->getState(), CameraState::running);  // once
}

// The head turns at a third of what it did.
TEST_F(TrackerPredictiveTest, IsIdentifiedAnewWhenItMovesOtherwise) {
  startKnown();
  LateHead late;
  late.tilt = -24.0;
  late.gain = 0.3;
  for (int i = 0; i < 1200; ++i) {
    show(i / 80, {.pan = i / 80 % 2 == 0 ? 35.0 : -15.0, .tilt = -24.0});
    late.take(step());
    pass(TICK);
  }
  ASSERT_EQ(tracker->getState(), CameraState::running);
  for (int i = 0; i < 300 && tracker->getState() == CameraState::running; ++i) {
    late.take(step());
    pass(TICK);
  }
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  EXPECT_EQ(logged("The head moves otherwise"), 1);
  EXPECT_FALSE(isFileThere());  // a restart does not take it either
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

// ---- Safety ----

TEST_F(TrackerPredictiveTest, SwitchingOffStopsTheHead) {
  Persistent::setSentrelEnabled(true);
  startKnown();
  show(3, {.pan = 30.0, .tilt = -24.0});
  step();
  FakePtzLibrary::clearMoves();
  tracker->enableSentrel(false);
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop()));
}

TEST_F(TrackerPredictiveTest, CommandsThatFailAreGivenAgain) {
  startKnown();
  for (int i = 0; i < 30; ++i) {
    pass(TICK);
    show(3, {.pan = 30.0, .tilt = -24.0});
    FakePtzLibrary::failMoves(1, "mute");
    const auto moves = step();
    ASSERT_THAT(moves, SizeIs(1));
    EXPECT_GT(moves[0].pan, 50.0);
  }
}

// Somebody was followed, and nobody is there any more: the head stands and is told to be idle.
TEST_F(TrackerPredictiveTest, StandsAndTellsItWhenThereIsNobodyAnyMore) {
  startKnown();
  show(3, {.pan = 30.0, .tilt = -24.0});
  step();
  pass(6 * SECOND);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, CONTINUOUS, 0.0, CONTINUOUS, 0, CONTINUOUS)));
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
  EXPECT_THAT(step(), IsEmpty());
}

TEST_F(TrackerPredictiveTest, ACameraThatNobodyUsesAnyMoreTakesItsPeopleAlong) {
  startKnown();
  show(3, {.pan = 30.0, .tilt = -24.0});
  ASSERT_GT(step().at(0).pan, 0.0);
  tracker->removeCamera(1);
  EXPECT_EQ(step().at(0).pan, 0.0);
  const auto insight = tracker->insight();
  ASSERT_TRUE(insight.has_value());
  for (const PersonInsight& person : insight->people) {
    EXPECT_FALSE(person.isWanted);
  }
}

// ---- For those who look on ----

TEST_F(TrackerPredictiveTest, TellsWhatItKnowsOfTheHeadAndOfThePeople) {
  startKnown();
  auto insight = tracker->insight();
  ASSERT_TRUE(insight && insight->head);
  EXPECT_FALSE(insight->aim);
  EXPECT_EQ(insight->head->pan.deadTime, 0.25);  // those of plainHead
  EXPECT_EQ(insight->head->pan.speed, 100.0);
  EXPECT_EQ(insight->head->tilt.acceleration, 300.0);
  show(3, {.pan = 30.0, .tilt = -24.0});
  step();
  insight = tracker->insight();
  ASSERT_TRUE(insight && insight->aim);
  EXPECT_NEAR(insight->aim->pan, 30.0, 0.5);
  EXPECT_NEAR(insight->aim->ahead, 0.15, 1e-6);  // half the dead time, and half a period
  ASSERT_THAT(insight->people, SizeIs(1));
  EXPECT_TRUE(insight->people[0].isFollowed);
  EXPECT_GT(insight->people[0].x, 0.0);
  EXPECT_GT(insight->people[0].y, 0.0);
}

TEST_F(TrackerPredictiveTest, NobodyIsFollowedOnceTrackingIsSwitchedOff) {
  startKnown();
  show(3, {.pan = 30.0, .tilt = -24.0});
  step();
  ASSERT_TRUE(tracker->insight()->aim);
  tracker->enableSentrel(false);  // the tracker's thread sleeps, and takes no step any more
  const auto insight = tracker->insight();
  ASSERT_TRUE(insight);
  EXPECT_FALSE(insight->aim);
  ASSERT_THAT(insight->people, SizeIs(1));
  EXPECT_FALSE(insight->people[0].isFollowed);
}

TEST_F(TrackerPredictiveTest, NothingIsToldOfAHeadThatIsToBeIdentified) {
  startKnown();
  ASSERT_TRUE(tracker->insight()->head);
  FakeParameters::set("SentrelVideo.Identify", "1");
  pass(11 * SECOND);
  step();
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::autotuning);
  ASSERT_TRUE(tracker->insight());
  EXPECT_FALSE(tracker->insight()->head);
}

TEST_F(TrackerPredictiveTest, NothingIsToldWhileTheSpecifiedWayIsAtWork) {
  startKnown();
  ASSERT_TRUE(tracker->isPredicting());
  FakeParameters::set("SentrelVideo.Following", "specified");
  pass(11 * SECOND);
  step();
  tracker->connect();
  EXPECT_FALSE(tracker->insight());
  EXPECT_FALSE(tracker->isPredicting());
}

}  // namespace
