#include "tracker/tracker_guard_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <memory>
#include <string>

#include "app/interval_timer_observable.h"
#include "base/json_auto_ptr.h"
#include "config/status_exception.h"
#include "src/tracker/tracker_fixture.h"
#include "tracker/tracker_area_guard.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TrackerGuardFactoryTest : public TrackerFixture {
 protected:
  TrackerGuardFactoryTest() {
    profile = JsonAutoPtr(json_loads(
        R"({"name": " Door ", "uid": 7, "camera": 1, "priority": 4,
            "triggers": [{"type": "includeArea",
                          "data": [[-0.25, -0.25], [-0.25, 0.25], [0.25, 0.25], [0.25, -0.25]]}],
            "filters": []})",
        0, nullptr));
  }

  void set(const char* key, const std::string& json) {
    json_object_set_new(profile.get(), key, json_loads(json.c_str(), JSON_DECODE_ANY, nullptr));
  }

  void remove(const char* key) { json_object_del(profile.get(), key); }

  // What the profile is refused with; empty when it is accepted.
  std::string refusal() {
    try {
      const TrackerGuardFactory factory(profile.get(), 0, boundaries);
      return "";
    } catch (const StatusException& e) {
      status = e.getStatus();
      return e.what();
    }
  }

  JsonAutoPtr profile;
  const DataBoundaries boundaries;
  StatusCode_e status = StatusCode_e::ok;
};

TEST_F(TrackerGuardFactoryTest, ReadsTheProfileAtOnce) {
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  EXPECT_TRUE(factory.isOk());
  EXPECT_EQ(factory.getName(), "Door");
  EXPECT_EQ(factory.getUid(), 7);
  EXPECT_EQ(factory.getCamera(), 1);
}

TEST_F(TrackerGuardFactoryTest, ThePriorityIsRequired) {
  remove("priority");
  EXPECT_EQ(refusal(), "Could not unpack data for the guard");
  EXPECT_EQ(status, StatusCode_e::missingParameter);
}

TEST_F(TrackerGuardFactoryTest, ThePriorityIsAnInteger) {
  set("priority", "\"high\"");
  EXPECT_EQ(refusal(), "Could not unpack data for the guard");
}

TEST_F(TrackerGuardFactoryTest, APriorityBeyond32BitsIsOutOfBounds) {
  for (const char* priority : {"2147483648", "-2147483649", "4294967297"}) {
    set("priority", priority);
    EXPECT_EQ(refusal(), "Incorrect parameter value for the guard") << priority;
    EXPECT_EQ(status, StatusCode_e::invalidParameter);
  }
  for (const char* priority : {"2147483647", "-2147483648"}) {
    set("priority", priority);
    EXPECT_EQ(refusal(), "") << priority;
  }
  set("priority", "4294967297");
  remove("uid");
  EXPECT_EQ(refusal(), "Could not unpack data for the guard");
  EXPECT_EQ(status, StatusCode_e::missingParameter);
}

TEST_F(TrackerGuardFactoryTest, OtherKeysOfTheGuardAreRequiredAsWell) {
  for (const char* key : {"name", "uid", "camera"}) {
    JsonAutoPtr whole(json_deep_copy(profile.get()));
    remove(key);
    EXPECT_EQ(refusal(), "Could not unpack data for the guard") << key;
    EXPECT_EQ(status, StatusCode_e::missingParameter);
    profile = whole;
  }
}

TEST_F(TrackerGuardFactoryTest, TheEventDurationIsOptional) {
  set("xinternalEventDuration", "2000000");
  EXPECT_EQ(refusal(), "");
  set("xinternalEventDuration", "\"long\"");
  EXPECT_EQ(refusal(), "Could not unpack data for the guard");
}

TEST_F(TrackerGuardFactoryTest, ANameOf15CharactersIsAcceptedOneOf16Refused) {
  set("name", "\"" + std::string(15, 'a') + "\"");
  EXPECT_EQ(refusal(), "");
  set("name", "\"" + std::string(16, 'a') + "\"");
  EXPECT_EQ(refusal(), "The name of the profile is not valid");
  EXPECT_EQ(status, StatusCode_e::invalidParameter);
}

TEST_F(TrackerGuardFactoryTest, AProfileWithAPerspectiveIsRefused) {
  const std::string message = "The guard contains 'perspective' tag, the json data is incoherent";
  set("perspective", R"([{"type": "bar", "height": 170, "data": [[0, 0], [0, 0.5]]}])");
  EXPECT_EQ(refusal(), message);
  EXPECT_EQ(status, StatusCode_e::contradiction);
  set("perspective", "{}");
  EXPECT_EQ(refusal(), message);
  set("perspective", "null");
  EXPECT_EQ(refusal(), message);
}

TEST_F(TrackerGuardFactoryTest, AnEmptyPerspectiveIsNone) {
  set("perspective", "[]");
  EXPECT_EQ(refusal(), "");
}

TEST_F(TrackerGuardFactoryTest, AProfileWithoutTriggersIsRefused) {
  set("triggers", "[]");
  EXPECT_EQ(refusal(), "Could not find any triggers");
  EXPECT_EQ(status, StatusCode_e::contradiction);
  remove("triggers");
  EXPECT_EQ(refusal(), "Could not find the 'triggers' tag");
  EXPECT_EQ(status, StatusCode_e::missingParameter);
}

TEST_F(TrackerGuardFactoryTest, AFenceIsAlwaysRefused) {
  set("triggers",
      R"([{"type": "fence", "alarmDirection": "both", "data": [[0, 0], [0, 0.5], [0.5, 0.5]]}])");
  EXPECT_EQ(refusal(), "The configuration contains too many fence triggers");
  EXPECT_EQ(status, StatusCode_e::contradiction);
}

// Limits that would let a fence pass: the tracker still has no use for it alone.
TEST_F(TrackerGuardFactoryTest, AProfileWithoutAnIncludeAreaIsRefused) {
  DataBoundaries withFences;
  withFences.fencesMax = 1;
  set("triggers",
      R"([{"type": "fence", "alarmDirection": "both", "data": [[0, 0], [0, 0.5], [0.5, 0.5]]}])");
  try {
    const TrackerGuardFactory factory(profile.get(), 0, withFences);
    FAIL() << "accepted";
  } catch (const StatusException& e) {
    EXPECT_STREQ(e.what(),
                 "The guard does not contain an include area, the json data is incoherent");
    EXPECT_EQ(e.getStatus(), StatusCode_e::contradiction);
  }
}

TEST_F(TrackerGuardFactoryTest, TheBaseChecksComeFirst) {
  set("filters", R"([{"type": "sizePerspective", "data": [10, 10], "active": true}])");
  EXPECT_EQ(refusal(), "A valid perspective is required too use the size perspective filter");
  EXPECT_EQ(status, StatusCode_e::contradiction);
}

TEST_F(TrackerGuardFactoryTest, PresetsNeedAMechanicalHead) {
  set("presets", "[]");
  EXPECT_EQ(refusal(), "");
  set("presets", "[3]");
  EXPECT_EQ(refusal(),
            "This device is a non-ptz device and the configuration should not contain any presets");
  EXPECT_EQ(status, StatusCode_e::contradiction);
}

// ---- The guard ----

class TrackerGuardTest : public TrackerGuardFactoryTest {
 protected:
  TrackerGuardTest() {
    IntervalTimerObservable::initialize(10'000);
    EXPECT_TRUE(clock.waitForSleepers(1));
    tracker = &Tracker::getInstance();
    EXPECT_TRUE(clock.waitForSleepers(2));
  }

  ~TrackerGuardTest() override {
    stop();
    IntervalTimerObservable::deinitialize();
  }

  // What the guard makes of one frame.
  static std::vector<int> trackedIn(Guard& guard, TrackingObject& object, std::int64_t time) {
    ParsedScene scene(time, false);
    scene.insertActiveObject(&object);
    guard.checkObjects(scene);
    std::vector<int> ids;
    for (const TrackedObject& one : dynamic_cast<TrackerAreaGuard&>(guard).getTrackedObjects()) {
      ids.push_back(one.id);
    }
    return ids;
  }
};

TEST_F(TrackerGuardTest, BuildsATrackerAreaGuard) {
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  const std::unique_ptr<Guard> guard = factory.createGuard();
  ASSERT_NE(dynamic_cast<TrackerAreaGuard*>(guard.get()), nullptr);
  EXPECT_EQ(guard->getName(), "Door");
  EXPECT_EQ(guard->getUid(), 7);
  EXPECT_EQ(guard->getCamera(), 1);
  EXPECT_EQ(guard->getPriority(), 4);
}

TEST_F(TrackerGuardTest, OneProfileBuildsSeveralGuards) {
  set("filters", R"([{"type": "timeShortLivedLimit", "data": 1, "active": true}])");
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  const std::unique_ptr<Guard> first = factory.createGuard();
  const std::unique_ptr<Guard> second = factory.createGuard();
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(second->getUid(), 7);
}

TEST_F(TrackerGuardTest, TheGuardWatchesTheIncludeArea) {
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  const std::unique_ptr<Guard> guard = factory.createGuard();
  TrackingObject inside(moteObject(1, clock.now()), 0, 1.0F);
  EXPECT_THAT(trackedIn(*guard, inside, clock.now()), ElementsAre(1));
  // 0.25 of the scene is 8 degrees.
  TrackingObject outside(moteObject(2, clock.now(), {.pan = CENTER_PAN + 14.0}), 0, 1.0F);
  EXPECT_THAT(trackedIn(*guard, outside, clock.now()), IsEmpty());
}

TEST_F(TrackerGuardTest, TheGuardHasTheExcludeAreas) {
  set("filters", R"([{"type": "excludeArea", "data": [[-1, -1], [-1, 1], [1, 1], [1, -1]]}])");
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  const std::unique_ptr<Guard> guard = factory.createGuard();
  TrackingObject object(moteObject(1, clock.now()), 0, 1.0F);
  EXPECT_THAT(trackedIn(*guard, object, clock.now()), IsEmpty());
}

TEST_F(TrackerGuardTest, TheGuardHasTheFilters) {
  set("filters", R"([{"type": "sizePercentage", "data": [50, 50], "active": true}])");
  const TrackerGuardFactory factory(profile.get(), 0, boundaries);
  const std::unique_ptr<Guard> guard = factory.createGuard();
  TrackingObject small(moteObject(1, clock.now()), 0, 1.0F);
  EXPECT_THAT(trackedIn(*guard, small, clock.now()), IsEmpty());
  TrackingObject large(moteObject(2, clock.now(), {.width = 40.0, .height = 20.0}), 0, 1.0F);
  EXPECT_THAT(trackedIn(*guard, large, clock.now()), ElementsAre(2));
}

}  // namespace
