#include "tracker/tracker_guard_factory.h"

#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "base/json_auto_ptr.h"
#include "config/persistent.h"
#include "config/status_exception.h"
#include "fakes/fake_ptz_library.h"
#include "src/addon/objects.h"
#include "src/addon/profiles.h"
#include "src/events/wrapper_test_base.h"
#include "support/temporary_folder.h"
#include "tracker/tracker_area_guard.h"

namespace {

struct Refusal {
  std::string message;
  int status = 0;
  bool operator==(const Refusal&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
  return out << refusal.status << " " << refusal.message;
}

const Refusal ACCEPTED;

class TrackerGuardFactoryTest : public InitializedWrapperTest {
 protected:
  TrackerGuardFactoryTest() {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    Persistent::setPathForTest(folder.path("settings.json"));
  }

  Refusal parse(const Profile& profile) {
    const JsonAutoPtr document(json_loads(profile.text().c_str(), 0, nullptr));
    if (!document) {
      throw std::runtime_error(profile.text());
    }
    factory.reset();
    try {
      factory = std::make_unique<TrackerGuardFactory>(document.get(), 0, boundaries);
    } catch (const StatusException& exception) {
      return {exception.what(), static_cast<int>(exception.getStatus())};
    }
    return ACCEPTED;
  }

  TemporaryFolder folder;
  DataBoundaries boundaries;
  std::unique_ptr<TrackerGuardFactory> factory;
};

TEST_F(TrackerGuardFactoryTest, ReadsTheProfileAtOnce) {
  ASSERT_EQ(parse(Profile()), ACCEPTED);
  EXPECT_TRUE(factory->isOk());
  EXPECT_EQ(factory->getUid(), 7);
  EXPECT_EQ(factory->getCamera(), 1);
}

TEST_F(TrackerGuardFactoryTest, ThePriorityIsRequired) {
  const Refusal expected{"Could not unpack data for the guard", 4};
  Profile profile;
  profile.priority = "";
  EXPECT_EQ(parse(profile), expected);
  profile.priority = R"("high")";
  EXPECT_EQ(parse(profile), expected);
}

TEST_F(TrackerGuardFactoryTest, TheEventDurationIsOptional) {
  Profile profile;
  profile.eventDuration = "1000";
  EXPECT_EQ(parse(profile), ACCEPTED);
  profile.eventDuration = "true";
  EXPECT_EQ(parse(profile), (Refusal{"Could not unpack data for the guard", 4}));
}

TEST_F(TrackerGuardFactoryTest, NamesAreCheckedAndTrimmed) {
  Profile profile;
  profile.name = R"("0123456789abcdef")";
  EXPECT_EQ(parse(profile), (Refusal{"The name of the profile is not valid", 8}));
  profile.name = R"("  Gate ")";
  ASSERT_EQ(parse(profile), ACCEPTED);
  EXPECT_EQ(factory->getName(), "Gate");
}

TEST_F(TrackerGuardFactoryTest, APerspectiveThatHoldsAnythingIsRefused) {
  const Refusal expected{"The guard contains 'perspective' tag, the json data is incoherent", 16};
  for (const char* perspective :
       {R"([{"type":"bar","height":3,"data":[[0,0],[0,1]]}])", "[1]", "{}", "null", "3", "false"}) {
    Profile profile;
    profile.perspective = perspective;
    EXPECT_EQ(parse(profile), expected) << perspective;
  }
}

TEST_F(TrackerGuardFactoryTest, AnEmptyPerspectiveMeansThatThereIsNone) {
  Profile profile;
  profile.perspective = "[]";
  EXPECT_EQ(parse(profile), ACCEPTED);
}

TEST_F(TrackerGuardFactoryTest, AnIncludeAreaIsRequired) {
  boundaries.fencesMax = 1;
  boundaries.verticesMin = 2;
  Profile profile;
  profile.triggers = R"([{"type":"fence","data":[[0,0],[0,1]],"alarmDirection":"both"}])";
  EXPECT_EQ(
      parse(profile),
      (Refusal{"The guard does not contain an include area, the json data is incoherent", 16}));
}

TEST_F(TrackerGuardFactoryTest, TheChecksOfEveryProfileComeFirst) {
  Profile profile;
  profile.filters = R"([{"type":"sizePerspective","data":[5,5],"active":true}])";
  EXPECT_EQ(parse(profile),
            (Refusal{"A valid perspective is required too use the size perspective filter", 16}));
  profile.filters = R"([{"type":"sizePerspective","data":[5,5],"active":true},)"
                    R"({"type":"sizePercentage","data":[5,5],"active":true}])";
  EXPECT_EQ(parse(profile), (Refusal{"Only one type of size filter can be active", 16}));
}

TEST_F(TrackerGuardFactoryTest, BuildsATrackersGuardOfTheProfile) {
  ASSERT_EQ(parse(Profile()), ACCEPTED);
  std::unique_ptr<Guard> guard = factory->createGuard();
  ASSERT_NE(dynamic_cast<TrackerAreaGuard*>(guard.get()), nullptr);
  EXPECT_EQ(guard->getName(), "Door");
  EXPECT_EQ(guard->getUid(), 7);
  EXPECT_EQ(guard->getCamera(), 1);
  EXPECT_EQ(guard->getPriority(), 3);
  clock.free();
  guard.reset();
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 1) << "the last guard lets the tracker go";
}

TEST_F(TrackerGuardFactoryTest, DeclaresTheAlarmEventsOfTheProfile) {
  ASSERT_EQ(parse(Profile()), ACCEPTED);
  std::unique_ptr<Guard> guard = factory->createGuard();
  const std::vector<std::string> topics = activeTopics();
  EXPECT_NE(std::find(topics.begin(), topics.end(), "Camera1Profile7"), topics.end());
  EXPECT_NE(std::find(topics.begin(), topics.end(), "Camera1ProfileANY"), topics.end());
  clock.free();
}

TEST_F(TrackerGuardFactoryTest, OneProfileBuildsSeveralGuards) {
  Profile profile;
  profile.filters = R"([{"type":"timeShortLivedLimit","data":1,"active":true},)"
                    R"({"type":"excludeArea","data":[[-1,-1],[-1,1],[0,1],[0,-1]]}])";
  ASSERT_EQ(parse(profile), ACCEPTED);
  std::unique_ptr<Guard> first = factory->createGuard();
  const std::unique_ptr<Guard> second = factory->createGuard();
  factory.reset();
  clock.free();
  first.reset();
  TrackingObject left = tracked(Observation{.id = 1}.at(-1000, 0));
  TrackingObject right = tracked(Observation{.id = 2}.at(1000, 0));
  EXPECT_FALSE(second->canObjectTriggerAlarm(right));
  left.update(Observation{.id = 1, .time = 1'000'000}.at(-1000, 0));
  right.update(Observation{.id = 2, .time = 1'000'000}.at(1000, 0));
  ParsedScene scene = sceneOf(1'000'000, {&left, &right});
  const AlarmData data = second->updateObjectsAndGetAlarms(scene);
  EXPECT_FALSE(data.didTriggerAlarm(1));
  EXPECT_TRUE(data.didTriggerAlarm(2));
}

}  // namespace
