#include "addon/libs/vigil_pack_lib/guard/area_guard.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"
#include "base/units.h"
#include "events/time_conversion.h"
#include "geometry/svg_doc.h"
#include "scene/tracking_object_external_data_no_merge.h"
#include "src/addon/objects.h"
#include "src/addon/recording_producer.h"
#include "src/events/wrapper_test_base.h"

namespace {

using Texts = std::vector<std::string>;
using enum AlarmDataStatus_e;

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr const char* KEY = "area_guard_7";
constexpr const char* PENDING = "hasPendingAlarm";
constexpr const char* HEADER = "<g transform=\"test\" >";
constexpr const char* EMPTY_DOCUMENT = "<svg><desc></desc></svg>";
constexpr const char* AREA_SVG =
    "<polygon class=\"includeArea\" points=\" -0.500,-0.500 -0.500,0.500 0.500,0.500"
    " 0.500,-0.500\" style=\"fill:#FF0000;fill-opacity:0.200000;stroke:#FF0000;"
    "stroke-width:0.005000;\"  />\n";
constexpr const char* RED =
    " style=\"fill:#FF0000;fill-opacity:0.200000;stroke:#FF0000;stroke-width:0.005000;\"  />\n";
constexpr const char* GREEN =
    " style=\"fill:#00FF00;fill-opacity:0.200000;stroke:#00FF00;stroke-width:0.005000;\"  />\n";

// The drawing of an object of 1024 by 1024 units around the middle, and around (-4096, 0).
constexpr const char* MIDDLE_SVG =
    "<polygon class=\"object\" points=\" -0.125,-0.125 0.125,-0.125 0.125,0.125 -0.125,0.125\"";
constexpr const char* LEFT_SVG =
    "<polygon class=\"object\" points=\" -1.125,-0.125 -0.875,-0.125 -0.875,0.125 -1.125,0.125\"";

// A guard of the middle quarter of the picture: -2048 to 2048 both ways.
class AreaGuardTest : public InitializedWrapperTest {
 protected:
  static constexpr std::int64_t DURATION = 5 * SECOND;

  explicit AreaGuardTest(bool isMechanical = false) {
    if (isMechanical) {
      FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
    }
    guard = makeGuard(producer);
  }

  static std::unique_ptr<AreaGuard> makeGuard(StateEventProducerI& producer,
                                              std::int64_t duration = DURATION,
                                              std::int32_t preset = PRESET_NOT_BOUND) {
    return std::make_unique<AreaGuard>(Polygon(-2048, 2048, -2048, 2048), "Door", 7, 1, duration,
                                       "SentrelVideo", producer, preset);
  }

  void addLifetimeFilter() {
    guard->addExclusionFilter(std::make_unique<ObjectLifetimeFilter>(1, true));
  }

  // An object that the guard sees move, one frame at each call.
  AlarmData see(TrackingObject& object, std::int64_t time, int x) {
    object.update(Observation{.id = object.getId(), .time = time}.at(x, 0));
    ParsedScene scene = sceneOf(time, {&object});
    return guard->updateObjectsAndGetAlarms(scene);
  }

  void frame(std::int64_t time, std::initializer_list<TrackingObject*> objects = {}) {
    ParsedScene scene = sceneOf(time, objects);
    guard->checkObjects(scene);
  }

  static bool isPending(const TrackingObject& object) {
    return object.getData(KEY)->getBool(PENDING);
  }

  static Texts drawings() {
    Texts texts;
    for (const FakeEvents::Sent& sent : FakeEvents::sentTo("xinternal_data")) {
      texts.push_back(std::get<std::string>(sent.keys.at("svgframe").value));
    }
    FakeEvents::clearSent();
    return texts;
  }

  static std::string document(std::initializer_list<std::string> elements) {
    SvgDoc document(HEADER);
    for (const std::string& element : elements) {
      document += element;
    }
    return document.toString();
  }

  RecordingProducer producer;
  std::unique_ptr<AreaGuard> guard;
};

// On a device whose own head moves.
class MechanicalAreaGuardTest : public AreaGuardTest {
 protected:
  MechanicalAreaGuardTest() : AreaGuardTest(true) {}
};

TEST_F(AreaGuardTest, AnObjectInTheAreaRaisesTheAlarmInEveryFrame) {
  TrackingObject object = tracked(Observation{.time = 0}.at(0, 0));
  for (std::int64_t time = 1; time < 4; ++time) {
    const AlarmData data = see(object, time, 0);
    EXPECT_TRUE(data.anyAlarm);
    EXPECT_TRUE(data.didTriggerAlarm(1));
  }
}

TEST_F(AreaGuardTest, AnObjectOutsideOnlyPasses) {
  TrackingObject object = tracked(Observation{}.at(4000, 0));
  const AlarmData data = see(object, 1, 4000);
  EXPECT_FALSE(data.anyAlarm);
  ASSERT_EQ(data.getObjects().size(), 1U);
  EXPECT_EQ(data.getObjects()[0].status, passes);
  EXPECT_FALSE(isPending(object));
}

TEST_F(AreaGuardTest, AnEmptySceneGivesNothing) {
  ParsedScene scene(1, false);
  const AlarmData data = guard->updateObjectsAndGetAlarms(scene);
  EXPECT_FALSE(data.anyAlarm);
  EXPECT_TRUE(data.getObjects().empty());
}

TEST_F(AreaGuardTest, ObjectsAreListedInTheScenesOrder) {
  guard->addExclusionFilter(std::make_unique<SizeFilterPercent>(10, 10, true));
  TrackingObject small = tracked(Observation{.id = 9}.at(0, 0, 20, 20));
  TrackingObject inside = tracked(Observation{.id = 3}.at(0, 0, 2000, 2000));
  TrackingObject outside = tracked(Observation{.id = 5}.at(-4000, 0, 1000, 2000));
  ParsedScene scene = sceneOf(1, {&small, &inside, &outside});
  const AlarmData data = guard->updateObjectsAndGetAlarms(scene);
  ASSERT_EQ(data.getObjects().size(), 3U);
  EXPECT_EQ(data.getObjects()[0].object, &small);
  EXPECT_EQ(data.getObjects()[0].status, filtered);
  EXPECT_EQ(data.getObjects()[1].object, &inside);
  EXPECT_EQ(data.getObjects()[1].status, alarm);
  EXPECT_EQ(data.getObjects()[2].object, &outside);
  EXPECT_EQ(data.getObjects()[2].status, passes);
  EXPECT_TRUE(data.anyAlarm);
}

TEST_F(AreaGuardTest, AnObjectHeldBackInTheAreaRaisesTheAlarmOnceAfterItHasLeft) {
  addLifetimeFilter();
  TrackingObject object = tracked(Observation{.time = 0}.at(4000, 0));
  EXPECT_FALSE(see(object, SECOND / 10, 0).anyAlarm);
  EXPECT_TRUE(isPending(object));
  EXPECT_FALSE(see(object, SECOND / 2, 4000).anyAlarm);
  EXPECT_TRUE(isPending(object));
  EXPECT_TRUE(see(object, SECOND, 4000).anyAlarm);
  EXPECT_FALSE(isPending(object));
  EXPECT_FALSE(see(object, 2 * SECOND, 4000).anyAlarm);
  EXPECT_FALSE(see(object, 3 * SECOND, 4000).anyAlarm);
}

TEST_F(AreaGuardTest, AHeldBackObjectIsMarkedFiltered) {
  addLifetimeFilter();
  TrackingObject object = tracked(Observation{.time = 0}.at(0, 0));
  const AlarmData data = see(object, 1, 0);
  ASSERT_EQ(data.getObjects().size(), 1U);
  EXPECT_EQ(data.getObjects()[0].status, filtered);
}

TEST_F(AreaGuardTest, FiltersJudgeWithThePresentObservation) {
  // Held back for its size in the frame before, large enough now.
  guard->addExclusionFilter(std::make_unique<SizeFilterPercent>(10, 10, true));
  TrackingObject object = tracked(Observation{}.at(0, 0, 20, 20));
  object.update(Observation{.time = 1}.at(0, 0, 2000, 2000));
  ParsedScene scene = sceneOf(1, {&object});
  EXPECT_TRUE(guard->updateObjectsAndGetAlarms(scene).anyAlarm);
}

TEST_F(AreaGuardTest, AnExcludedObjectNeverBecomesPending) {
  addLifetimeFilter();
  guard->addExcludeArea(Polygon(-3000, 0, -3000, 3000));
  TrackingObject object = tracked(Observation{.time = 0}.at(-1000, 0));
  EXPECT_FALSE(see(object, 1, -1000).anyAlarm);
  EXPECT_FALSE(isPending(object));
  EXPECT_FALSE(see(object, 2 * SECOND, -1000).anyAlarm);
  EXPECT_TRUE(see(object, 3 * SECOND, 1000).anyAlarm) << "the rest of the area counts";
}

TEST_F(AreaGuardTest, ItsMemoryIsNotMerged) {
  addLifetimeFilter();
  TrackingObject pending = tracked(Observation{.id = 1}.at(0, 0));
  TrackingObject other = tracked(Observation{.id = 2}.at(4000, 0));
  see(pending, 1, 0);
  see(other, 1, 4000);
  EXPECT_NE(dynamic_cast<TrackingObjectExternalDataNoMerge*>(other.getData(KEY)), nullptr);
  other.merge(pending, true);
  EXPECT_FALSE(isPending(other));
}

TEST_F(AreaGuardTest, TheAlarmIsHeldForTheEventDurationAfterTheLastFrameWithOne) {
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  EXPECT_TRUE(guard->isStateEventOngoing());
  frame(200, {&object});
  frame(200 + DURATION);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
  frame(201 + DURATION);
  EXPECT_EQ(producer.take(), Texts({"end 5000201"}));
  EXPECT_FALSE(guard->isStateEventOngoing());
}

TEST_F(AreaGuardTest, StoppingEndsTheAlarmAndClearsTheScreen) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  drawings();
  guard->stopAllEvents(200);
  EXPECT_EQ(producer.take(), Texts({"start 100", "end 200"}));
  EXPECT_EQ(drawings(), Texts({EMPTY_DOCUMENT}));
  guard->stopAllEvents(300);
  EXPECT_TRUE(producer.take().empty());
}

TEST_F(AreaGuardTest, ItsEndEndsTheAlarm) {
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  guard.reset();
  EXPECT_EQ(producer.take(), Texts({"start 100", "end"}));
  EXPECT_EQ(producer.unregistered.size(), 1U);
}

TEST_F(AreaGuardTest, LeavingAPresetEndsTheAlarm) {
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  guard->handleLeavingPreset(300);
  EXPECT_EQ(producer.take(), Texts({"start 100", "end 300"}));
}

TEST_F(MechanicalAreaGuardTest, CanBeBoundToAnotherPreset) {
  guard = makeGuard(producer, DURATION, 3);
  guard->handleArrivingAtPreset(4, 100);
  EXPECT_FALSE(guard->shouldDataBeProcessed(200));
  guard->updatePreset(4);
  EXPECT_TRUE(guard->shouldDataBeProcessed(200));
}

// ---- Test alarms ----

TEST_F(AreaGuardTest, ATestAlarmBeginsWithTheNextFrameWhateverIsSeen) {
  guard->sendAlarmEvent();
  EXPECT_TRUE(producer.take().empty());
  frame(100);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
  EXPECT_TRUE(guard->isStateEventOngoing());
}

TEST_F(AreaGuardTest, ATestAlarmEndsAfterTheEventDuration) {
  guard->sendAlarmEvent();
  frame(100);
  frame(100 + DURATION);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
  frame(101 + DURATION);
  EXPECT_EQ(producer.take(), Texts({"end 5000101"}));
  frame(102 + DURATION);
  EXPECT_TRUE(producer.take().empty());
}

TEST_F(AreaGuardTest, DuringATestAlarmObjectsAreNotEvaluated) {
  guard->sendAlarmEvent();
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  frame(200, {&object});
  EXPECT_EQ(object.getData(KEY), nullptr);
  frame(101 + DURATION, {&object});
  EXPECT_EQ(object.getData(KEY), nullptr) << "the frame that ends it is its own";
  EXPECT_EQ(producer.take(), Texts({"start 100", "end 5000101"}));
  frame(102 + DURATION, {&object});
  EXPECT_EQ(producer.take(), Texts({"start 5000102"}));
}

TEST_F(AreaGuardTest, ATestAlarmCanBeRepeated) {
  guard->sendAlarmEvent();
  frame(100);
  frame(101 + DURATION);
  producer.take();
  guard->sendAlarmEvent();
  frame(20 * SECOND);
  EXPECT_EQ(producer.take(), Texts({"start 20000000"}));
}

TEST_F(AreaGuardTest, ATestAlarmDrawsTheAreaAlone) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  guard->sendAlarmEvent();
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  EXPECT_EQ(drawings(), Texts({document({AREA_SVG})}));
  frame(101 + DURATION);
  EXPECT_EQ(drawings(), Texts({EMPTY_DOCUMENT}));
}

TEST_F(AreaGuardTest, ATestAlarmThatIsStoppedLeavesTheProfileAlive) {
  guard->sendAlarmEvent();
  frame(100);
  guard->stopAllEvents(200);
  EXPECT_EQ(producer.take(), Texts({"start 100", "end 200"}));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(300, {&object});
  EXPECT_EQ(producer.take(), Texts({"start 300"}));
  EXPECT_NE(object.getData(KEY), nullptr);
}

TEST_F(AreaGuardTest, ATestAlarmThatHasNotBegunSurvivesStopping) {
  guard->sendAlarmEvent();
  guard->stopAllEvents(50);
  frame(100);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
}

TEST_F(MechanicalAreaGuardTest, ATestAlarmRunsWhileTheHeadMoves) {
  guard = makeGuard(producer, DURATION, 3);
  guard->handleMovementEvent(true, 50);
  guard->sendAlarmEvent();
  frame(100);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
}

// ---- Drawings ----

TEST_F(AreaGuardTest, WithoutAViewerNothingIsDrawn) {
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  EXPECT_TRUE(drawings().empty());
}

TEST_F(AreaGuardTest, ObjectsInAlarmAreRedOthersGreenAndTheAreaIsDrawnDuringTheAlarm) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject left = tracked(Observation{.id = 1}.at(-4096, 0, 1024, 1024));
  TrackingObject middle = tracked(Observation{.id = 2}.at(0, 0, 1024, 1024));
  frame(100, {&left, &middle});
  EXPECT_EQ(drawings(),
            Texts({document({std::string(LEFT_SVG) + GREEN + MIDDLE_SVG + RED, AREA_SVG})}));
}

TEST_F(AreaGuardTest, WithoutAnAlarmTheAreaIsNotDrawn) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject left = tracked(Observation{}.at(-4096, 0, 1024, 1024));
  frame(100, {&left});
  EXPECT_EQ(drawings(), Texts({document({std::string(LEFT_SVG) + GREEN})}));
}

TEST_F(AreaGuardTest, WhileTheAlarmIsHeldTheAreaIsStillDrawn) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject middle = tracked(Observation{}.at(0, 0, 1024, 1024));
  frame(100, {&middle});
  drawings();
  frame(200);
  EXPECT_EQ(drawings(), Texts({document({AREA_SVG})}));
}

TEST_F(AreaGuardTest, ADoubtfulObjectIsGreen) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject object = tracked(Observation{.isConfident = false}.at(0, 0, 1024, 1024));
  AlarmData data;
  data.addObjectStatus(&object, alarm);
  EXPECT_EQ(guard->createVisualConfirmationSvg(data), std::string(MIDDLE_SVG) + GREEN);
}

TEST_F(AreaGuardTest, EachStatusHasItsColour) {
  TrackingObject object = tracked(Observation{}.at(0, 0, 1024, 1024));
  for (const AlarmDataStatus_e status : {alarm, passes, filtered}) {
    AlarmData data;
    data.addObjectStatus(&object, status);
    EXPECT_EQ(guard->createVisualConfirmationSvg(data),
              std::string(MIDDLE_SVG) + (status == alarm ? RED : GREEN));
  }
  EXPECT_EQ(guard->createVisualConfirmationSvg(AlarmData()), "");
}

TEST_F(AreaGuardTest, TwoEmptyFramesInARowGiveOneEmptyDocument) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  frame(100);
  frame(200);
  EXPECT_EQ(drawings(), Texts({EMPTY_DOCUMENT}));
  guard->stopAllEvents(300);
  EXPECT_TRUE(drawings().empty());
  frame(400);
  EXPECT_EQ(drawings(), Texts({EMPTY_DOCUMENT}));
}

TEST_F(AreaGuardTest, DrawingsCarryTheTimeOfTheirFrame) {
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  const std::int64_t time = clock.now() + 600 * SECOND;
  frame(time, {&object});
  const std::vector<FakeEvents::Sent> sent = FakeEvents::sentTo("xinternal_data");
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_NEAR(static_cast<double>(sent[0].time),
              static_cast<double>(utils::convertMonotonicToUTC_Time(time)), 60.0 * SECOND);
}

TEST_F(MechanicalAreaGuardTest, FramesThatAreNotProcessedDrawNothing) {
  guard = makeGuard(producer, DURATION, 3);
  ASSERT_TRUE(guard->enableVisualConfirmation(HEADER));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  frame(100, {&object});
  EXPECT_TRUE(drawings().empty());
  EXPECT_TRUE(producer.take().empty());
}

}  // namespace
