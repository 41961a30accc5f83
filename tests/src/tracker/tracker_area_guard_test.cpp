#include "tracker/tracker_area_guard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"
#include "events/dummy_event_producer.h"
#include "src/tracker/tracker_fixture.h"
#include "tracker/head_file.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The include area is the middle of the picture: pan 2 to 18, tilt -24 to -16.
constexpr double OUTSIDE_PAN = CENTER_PAN + 14.0;

class TrackerAreaGuardTest : public TrackerFixture {
 protected:
  TrackerAreaGuardTest() : producer(DummyEventProducer::getInstance()) {}

  ~TrackerAreaGuardTest() override {
    guards.clear();
    stop();
    DummyEventProducer::releaseInstance();
  }

  // Its own reference keeps the tracker when the test's is given back.
  TrackerAreaGuard& makeGuard(int uid = 7, int priority = 1, int preset = PRESET_NOT_BOUND) {
    guards.push_back(std::make_unique<TrackerAreaGuard>(
        Polygon(-8 * PAN_UNITS, 8 * PAN_UNITS, -4 * TILT_UNITS, 4 * TILT_UNITS), "Profile", uid, 1,
        5'000'000, priority, "SentrelVideo", producer, preset));
    return *guards.back();
  }

  void startWithTracker() {
    start();
    tracker->setState(Tracker::CameraState::running);
    FakePtzLibrary::clearMoves();
  }

  // An object as the next frame shows it.
  void see(int id, const Look& look = {}) { seeAt(id, clock.now(), look); }

  void seeAt(int id, std::int64_t timestamp, const Look& look = {}) {
    const MoteObject seen = moteObject(id, timestamp, look);
    auto& object = objects[id];
    if (object) {
      object->update(seen);
    } else {
      object = std::make_unique<TrackingObject>(seen, 0, 1.0F);
    }
  }

  // A frame with the objects of these ids, and with others deleted.
  void frame(TrackerAreaGuard& guard, const std::vector<int>& ids,
             const std::vector<int>& deleted = {}) {
    ParsedScene scene(clock.now(), false);
    for (const int id : ids) {
      scene.insertActiveObject(objects.at(id).get());
    }
    for (const int id : deleted) {
      scene.insertDeletedObject(std::move(objects.at(id)));
      objects.erase(id);
    }
    guard.checkObjects(scene);
    pass(STEP);
  }

  static std::vector<int> tracked(const TrackerAreaGuard& guard) {
    std::vector<int> ids;
    for (const TrackedObject& object : guard.getTrackedObjects()) {
      ids.push_back(object.id);
    }
    return ids;
  }

  // The pan that the tracker follows now, off the head's pan of 0; nothing while it does not follow
  // anybody. Long after the target before, so that that one is not taken for a target.
  std::vector<double> followedPan() {
    setHead(0.0, CENTER_TILT);
    pass(8 * SECOND);
    step();
    pass(STEP);
    std::vector<double> pans;
    for (const FakePtzLibrary::Move& move : step()) {
      pans.push_back(move.pan);
    }
    return pans;
  }

  // How often the camera's mounting was looked up.
  static int lookups() {
    const std::vector<std::string> calls = FakePtzMath::calls();
    return static_cast<int>(std::count(calls.begin(), calls.end(), "get_remote_center 1"));
  }

  StateEventProducerI& producer;
  std::map<int, std::unique_ptr<TrackingObject>> objects;
  std::vector<std::unique_ptr<TrackerAreaGuard>> guards;
};

// ---- Handing over ----

TEST_F(TrackerAreaGuardTest, AnObjectInsideIsHandedOver) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  EXPECT_THAT(guard.getTrackedObjects(), IsEmpty());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  EXPECT_TRUE(guard.getTrackedObjects()[0].seen);
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(10.0, 1e-9)));
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, AnObjectOutsideIsNot) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3, {.pan = OUTSIDE_PAN});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_THAT(followedPan(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, ItRaisesTheAlarmLikeAnAreaGuard) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  EXPECT_TRUE(guard.isStateEventOngoing());
}

TEST_F(TrackerAreaGuardTest, ObjectsAreHandedOverInOrder) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(5);
  see(2);
  see(9);
  frame(guard, {5, 2, 9});
  EXPECT_THAT(tracked(guard), ElementsAre(5, 2, 9));
  see(9);
  see(5);
  frame(guard, {9, 5});
  EXPECT_THAT(tracked(guard), ElementsAre(5, 9));
}

TEST_F(TrackerAreaGuardTest, AnObjectThatLeavesIsTakenBack) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  see(3, {.pan = OUTSIDE_PAN});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_THAT(followedPan(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, AnEmptySceneTakesAllBack) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  see(4);
  frame(guard, {3, 4});
  EXPECT_THAT(tracked(guard), SizeIs(2));
  frame(guard, {});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_THAT(followedPan(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, ADeletedObjectIsTakenBack) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  frame(guard, {}, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_THAT(followedPan(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, AnObjectThatOnlyLiesInAnExcludeAreaIsTakenBack) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  guard.addExcludeArea(Polygon(3 * PAN_UNITS, 9 * PAN_UNITS, -5 * TILT_UNITS, 5 * TILT_UNITS));
  see(3, {.width = 2.0});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  see(3, {.pan = CENTER_PAN + 5.0, .width = 2.0});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_THAT(followedPan(), IsEmpty());
}

// ---- Objects that a filter holds back at first ----

TEST_F(TrackerAreaGuardTest, AnObjectThatMayNotTriggerIsNotHandedOver) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3, {.isConfident = false});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, AnObjectThatWasInsideIsFollowedOnceItMayTriggerEvenOutside) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3, {.isConfident = false});
  frame(guard, {3});
  see(3, {.pan = OUTSIDE_PAN, .isConfident = false});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  see(3, {.pan = OUTSIDE_PAN});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  see(3, {.pan = OUTSIDE_PAN});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, AnObjectThatWasNeverInsideIsNotFollowedOnceItMayTrigger) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3, {.pan = OUTSIDE_PAN, .isConfident = false});
  frame(guard, {3});
  see(3, {.pan = OUTSIDE_PAN});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
}

// ---- Time stamps ----

TEST_F(TrackerAreaGuardTest, AnObjectIsHandedOverOnceForOneFrameButStays) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  const std::int64_t timestamp = clock.now();
  seeAt(3, timestamp);
  frame(guard, {3});
  seeAt(3, timestamp, {.pan = CENTER_PAN + 5.0});
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(10.0, 1e-9)));
  seeAt(3, timestamp + 1, {.pan = CENTER_PAN + 5.0});
  frame(guard, {3});
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(15.0, 1e-9)));
}

TEST_F(TrackerAreaGuardTest, ATimeStampOf0IsATimeStamp) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  seeAt(3, 0);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(10.0, 1e-9)));
  seeAt(3, 0);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
}

// ---- Several guards ----

TEST_F(TrackerAreaGuardTest, ThePriorityOfTheGuardRanksItsObjects) {
  startWithTracker();
  TrackerAreaGuard& low = makeGuard(1, 1);
  TrackerAreaGuard& high = makeGuard(2, 5);
  EXPECT_EQ(low.getPriority(), 1);
  EXPECT_EQ(high.getPriority(), 5);
  tracker->setWidestView({5.0, 5.0});
  see(1, {.pan = CENTER_PAN - 6.0, .width = 2.0});
  frame(low, {1});
  see(2, {.pan = CENTER_PAN + 6.0, .width = 2.0});
  frame(high, {2});
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(16.0, 1e-9)));
}

TEST_F(TrackerAreaGuardTest, TheLastGuardToSpeakGivesThePriority) {
  startWithTracker();
  TrackerAreaGuard& low = makeGuard(1, 1);
  TrackerAreaGuard& high = makeGuard(2, 5);
  tracker->setWidestView({5.0, 5.0});
  see(1, {.pan = CENTER_PAN - 6.0, .width = 2.0});
  see(2, {.pan = CENTER_PAN + 6.0, .width = 2.0});
  frame(low, {1, 2});
  frame(high, {2});
  EXPECT_THAT(followedPan(), ElementsAre(testing::DoubleNear(16.0, 1e-9)));
}

TEST_F(TrackerAreaGuardTest, OneGuardsExcludeAreaDoesNotPullAnothersTarget) {
  startWithTracker();
  TrackerAreaGuard& follower = makeGuard(1);
  TrackerAreaGuard& excluder = makeGuard(2);
  excluder.addExcludeArea(
      Polygon(-16 * PAN_UNITS, 16 * PAN_UNITS, -8 * TILT_UNITS, 8 * TILT_UNITS));
  see(3);
  frame(follower, {3});
  frame(excluder, {3});
  EXPECT_THAT(tracked(excluder), IsEmpty());
  EXPECT_THAT(followedPan(), SizeIs(1));
}

// ---- The camera ----

TEST_F(TrackerAreaGuardTest, ItAddsItsCameraForItsLife) {
  startWithTracker();
  makeGuard();
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  guards.clear();
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(TrackerAreaGuardTest, ACameraThatCannotBeAddedIsTriedAgainOnceASecond) {
  startWithTracker();
  FakePtzMath::removeCenter(1);
  TrackerAreaGuard& guard = makeGuard();
  EXPECT_EQ(lookups(), 1);
  for (int i = 0; i < 10; ++i) {
    frame(guard, {});  // the last one 0.9 s after the guard was made
    EXPECT_EQ(lookups(), 1);
  }
  frame(guard, {});
  EXPECT_EQ(lookups(), 2);
  FakePtzMath::setCenter(1, CENTER_PAN, CENTER_TILT);
  frame(guard, {});
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
  pass(SECOND);
  see(3);
  frame(guard, {3});
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  EXPECT_THAT(followedPan(), SizeIs(1));
  pass(SECOND);
  frame(guard, {});
  EXPECT_EQ(lookups(), 4);  // of the camera that is mounted now: once more for its channel
}

TEST_F(TrackerAreaGuardTest, ItRemovesTheCameraOnlyWhenItAddedIt) {
  startWithTracker();
  makeGuard(1);
  FakeParameters::remove("Image.I0.Appearance.Resolution");
  FakePtzMath::removeCenter(1);
  ASSERT_EQ(FakePtzMath::contextsAlive(), 1);
  // A user of a channel that is there already needs no geometry; so take the channel away first.
  guards.clear();
  TrackerAreaGuard& without = makeGuard(2);
  FakeParameters::set("Image.I0.Appearance.Resolution", "2048x1024");
  FakePtzMath::setCenter(1, CENTER_PAN, CENTER_TILT);
  ASSERT_TRUE(tracker->addCamera(1));
  EXPECT_THAT(tracked(without), IsEmpty());
  guards.clear();
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  tracker->removeCamera(1);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(TrackerAreaGuardTest, ItsObjectsGoWithItThoughTheChannelStays) {
  startWithTracker();
  ASSERT_TRUE(tracker->addCamera(1));
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  guards.clear();
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  EXPECT_THAT(followedPan(), IsEmpty());
}

TEST_F(TrackerAreaGuardTest, ItHoldsTheTracker) {
  startWithTracker();
  makeGuard();
  tracker->setState(Tracker::CameraState::stopped);
  Tracker::releaseInstance();
  tracker = nullptr;
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 0);
  clock.free();
  guards.clear();
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 1);
}

// ---- Breaks ----

TEST_F(TrackerAreaGuardTest, StoppingAllEventsTakesAllObjectsBack) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  guard.stopAllEvents(clock.now());
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_FALSE(guard.isStateEventOngoing());
  EXPECT_THAT(followedPan(), IsEmpty());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
}

TEST_F(TrackerAreaGuardTest, AfterALossOfTheTransportOneFrameIsSkipped) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  guard.handleTransportLoss(clock.now());
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_FALSE(guard.isStateEventOngoing());
  EXPECT_THAT(followedPan(), IsEmpty());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
}

// The tracker's own head must not shut the eyes of the camera that guides it.
TEST_F(TrackerAreaGuardTest, MovementsOfARemoteHeadDoNotStopTheInput) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  guard.handleMovementEvent(true, clock.now());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
}

TEST_F(TrackerAreaGuardTest, MovementsOfAMechanicalHeadDo) {
  FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  guard.handleMovementEvent(true, clock.now());
  EXPECT_THAT(tracked(guard), IsEmpty());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  guard.handleMovementEvent(false, clock.now());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
}

TEST_F(TrackerAreaGuardTest, AGuardThatIsBoundToAPresetWaitsForIt) {
  FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard(7, 1, 3);
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), IsEmpty());
  guard.handleArrivingAtPreset(3, clock.now());
  see(3);
  frame(guard, {3});
  EXPECT_THAT(tracked(guard), ElementsAre(3));
  guard.handleLeavingPreset(clock.now());
  EXPECT_THAT(tracked(guard), IsEmpty());
}

// ---- One verdict a frame ----

// Counts how often it is fed and asked; the counts outlive the guard.
class CountingFilter : public ExclusionFilter {
 public:
  struct Counts {
    int updates = 0;
    int questions = 0;
  };

  explicit CountingFilter(Counts& counts) : counts(counts) {}

  bool canObjectTriggerAlarm(TrackingObject&) override {
    ++counts.questions;
    return true;
  }
  std::unique_ptr<ExclusionFilter> clone() const override {
    return std::make_unique<CountingFilter>(*this);
  }
  void updateFilterData(TrackingObject&) override { ++counts.updates; }

 private:
  Counts& counts;
};

TEST_F(TrackerAreaGuardTest, AlarmAndTrackingShareTheVerdictOfAFrame) {
  startWithTracker();
  CountingFilter::Counts counts;
  TrackerAreaGuard& guard = makeGuard();
  guard.addExclusionFilter(std::make_unique<CountingFilter>(counts));
  see(1);
  see(2, {.pan = OUTSIDE_PAN});
  frame(guard, {1, 2});
  EXPECT_EQ(2, counts.updates);
  EXPECT_EQ(2, counts.questions);
  EXPECT_THAT(tracked(guard), ElementsAre(1));
  guards.clear();
}

TEST_F(TrackerAreaGuardTest, DuringATestAlarmObjectsAreStillJudgedForTracking) {
  startWithTracker();
  CountingFilter::Counts counts;
  TrackerAreaGuard& guard = makeGuard();
  guard.addExclusionFilter(std::make_unique<CountingFilter>(counts));
  see(1);
  see(2);
  frame(guard, {1, 2});
  guard.sendAlarmEvent();
  see(1, {.pan = OUTSIDE_PAN});
  see(2);
  frame(guard, {1, 2});
  EXPECT_EQ(4, counts.updates);
  EXPECT_THAT(tracked(guard), ElementsAre(2));
  guards.clear();
}

TEST_F(TrackerAreaGuardTest, AnObjectIsTrackedByItsOwnVerdictWhateverItsPlaceInTheFrame) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  for (const bool isTestAlarm : {false, true}) {
    for (const std::vector<int>& order :
         {std::vector{1, 2, 3}, {3, 2, 1}, {2, 3, 1}, {1, 3, 2}, {2, 1}, {3, 2}}) {
      if (isTestAlarm) {
        guard.sendAlarmEvent();
      }
      see(1);
      see(2, {.pan = OUTSIDE_PAN});
      see(3);
      frame(guard, order);
      std::vector<int> inside = order;
      std::erase(inside, 2);
      EXPECT_THAT(tracked(guard), testing::UnorderedElementsAreArray(inside));
    }
  }
}

TEST_F(TrackerAreaGuardTest, ObjectsAreFoundInWhateverOrderAFrameNamesThem) {
  startWithTracker();
  TrackerAreaGuard& guard = makeGuard();
  for (const int id : {1, 2, 3, 4}) {
    see(id);
  }
  frame(guard, {1, 2, 3, 4});
  for (const std::vector<int>& order :
       {std::vector<int>{4, 3, 2, 1}, std::vector<int>{2, 1, 4, 3}, std::vector<int>{3, 4, 1, 2}}) {
    for (const int id : order) {
      see(id);
    }
    frame(guard, order);
    EXPECT_THAT(tracked(guard), ElementsAre(1, 2, 3, 4));
  }
  see(4);
  see(2);
  frame(guard, {4, 2});
  EXPECT_THAT(tracked(guard), ElementsAre(2, 4));
}

// ---- Who is who ----

TEST_F(TrackerAreaGuardTest, ObjectsAreSeenBeforeTheyAreHandedOverAndGoneOnWithWhenTheyAreHidden) {
  FakeParameters::set("SentrelVideo.Following", "predictive");
  HeadFile::store("TRK-100", {});
  head.setUp("TRK-100");
  startConnected("TRK-100");
  TrackerAreaGuard& guard = makeGuard();
  see(3, {.tilt = -23.0});
  see(4, {.pan = OUTSIDE_PAN, .tilt = -23.0});
  frame(guard, {3, 4});
  setHead(0.0, -23.0);
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_GT(moves[0].pan, 0.0);
  frame(guard, {4});
  EXPECT_THAT(tracked(guard), IsEmpty());
  EXPECT_GT(step().at(0).pan, 0.0);  // goes on to where he was
}

class ShortLivedTest : public TrackerAreaGuardTest, public testing::WithParamInterface<bool> {};

// Somebody is 3 for 0.8 s and 4 from then on; a second after he came he is no short-lived one any
// more, where the tracker knows that both are he. The alarm is 4's own, and waits.
TEST_P(ShortLivedTest, WhoIsKnownUnderAnotherNumberNeedNotLiveAsLongAgain) {
  const bool isPredictive = GetParam();
  FakeParameters::set("SentrelVideo.Following", isPredictive ? "predictive" : "specified");
  HeadFile::store("TRK-100", {});
  head.setUp("TRK-100");
  startConnected("TRK-100");
  TrackerAreaGuard& guard = makeGuard();
  guard.addExclusionFilter(std::make_unique<ObjectLifetimeFilter>(1, true));
  const auto walk = [&](int id, int pictures) {
    for (int i = 0; i < pictures; ++i) {
      see(id, {.tilt = -23.0});
      frame(guard, {id});
    }
  };
  const auto pictures = static_cast<int>(SECOND * 4 / 5 / STEP);
  walk(3, pictures);
  EXPECT_THAT(tracked(guard), IsEmpty());
  walk(4, pictures / 2);
  if (isPredictive) {
    EXPECT_THAT(tracked(guard), ElementsAre(4));
  } else {
    EXPECT_THAT(tracked(guard), IsEmpty());
  }
  EXPECT_FALSE(guard.isStateEventOngoing());
}

INSTANTIATE_TEST_SUITE_P(BothWays, ShortLivedTest, testing::Bool());

}  // namespace
