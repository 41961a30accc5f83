#include "addon/libs/vigil_pack_lib/guard/guard.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "src/addon/objects.h"
#include "src/addon/recording_producer.h"
#include "src/events/wrapper_test_base.h"

namespace {

using Texts = std::vector<std::string>;

// A guard whose trigger rule is the test's.
class TestGuard : public Guard {
 public:
  TestGuard(StateEventProducerI& producer, std::int32_t preset = PRESET_NOT_BOUND,
            std::int64_t eventDuration = 5'000'000)
      : Guard("Door", 7, 2, eventDuration, "SentrelVideo", producer, preset) {}

  void checkObjects(ParsedScene& scene) override { Guard::checkObjects(scene, "<area/>"); }
  void sendAlarmEvent() override {}
  AlarmData updateObjectsAndGetAlarms(ParsedScene& scene) override {
    evaluated.push_back(scene.getTimestamp());
    AlarmData data;
    data.anyAlarm = alarm;
    return data;
  }
  void stopAllEvents(std::int64_t time) override { stopped.push_back(time); }

  std::vector<std::int64_t> evaluated;
  std::vector<std::int64_t> stopped;
  bool alarm = false;
};

// Notes under its name when it is asked, and answers as told.
class NotingFilter : public ExclusionFilter {
 public:
  NotingFilter(std::string name, bool answer, Texts& notes, int* alive = nullptr)
      : name(std::move(name)), answer(answer), notes(notes), alive(alive) {
    if (alive != nullptr) {
      ++*alive;
    }
  }
  NotingFilter(const NotingFilter&) = delete;
  ~NotingFilter() override {
    if (alive != nullptr) {
      --*alive;
    }
  }

  bool canObjectTriggerAlarm(TrackingObject&) override {
    notes.push_back("ask " + name);
    return answer;
  }
  void updateFilterData(TrackingObject&) override { notes.push_back("update " + name); }
  std::unique_ptr<ExclusionFilter> clone() const override {
    return std::make_unique<NotingFilter>(name, answer, notes, alive);
  }

 private:
  std::string name;
  bool answer;
  Texts& notes;
  int* alive;
};

// The device's answers are kept for the life of the process: each test runs in one of its own.
class GuardTest : public InitializedWrapperTest {
 protected:
  static void makeMechanical() { FakeParameters::set("root.Properties.PTZ.PTZ", "yes"); }

  static void frame(Guard& guard, std::int64_t time) {
    ParsedScene scene(time, false);
    guard.checkObjects(scene);
  }

  RecordingProducer producer;
};

TEST_F(GuardTest, KnowsItsProfile) {
  const TestGuard guard(producer);
  EXPECT_EQ(guard.getName(), "Door");
  EXPECT_EQ(guard.getUid(), 7);
  EXPECT_EQ(guard.getCamera(), 2);
  EXPECT_EQ(guard.getPriority(), 1);
  EXPECT_EQ(producer.registered, Texts({"2 Camera2Profile7 SentrelVideo (Door)"}));
}

TEST_F(GuardTest, ItsEndUnregistersItsEvent) {
  { const TestGuard guard(producer); }
  EXPECT_EQ(producer.unregistered.size(), 1U);
}

TEST_F(GuardTest, LetsExactlyConfidentObjectsThroughWithItsBuiltInFilterAlone) {
  const TestGuard guard(producer);
  TrackingObject confident = tracked(Observation{.isConfident = true}.at(0, 0));
  TrackingObject doubtful = tracked(Observation{.isConfident = false}.at(0, 0));
  EXPECT_TRUE(guard.canObjectTriggerAlarm(confident));
  EXPECT_FALSE(guard.canObjectTriggerAlarm(doubtful));
}

TEST_F(GuardTest, TheBuiltInFilterIsAskedFirst) {
  Texts notes;
  TestGuard guard(producer);
  guard.addExclusionFilter(std::make_unique<NotingFilter>("a", true, notes));
  TrackingObject doubtful = tracked(Observation{.isConfident = false}.at(0, 0));
  EXPECT_FALSE(guard.canObjectTriggerAlarm(doubtful));
  EXPECT_TRUE(notes.empty());
}

TEST_F(GuardTest, FiltersAreAskedInOrderUntilOneRefuses) {
  Texts notes;
  TestGuard guard(producer);
  guard.addExclusionFilter(std::make_unique<NotingFilter>("a", true, notes));
  guard.addExclusionFilter(std::make_unique<NotingFilter>("b", false, notes));
  guard.addExclusionFilter(std::make_unique<NotingFilter>("c", true, notes));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  EXPECT_FALSE(guard.canObjectTriggerAlarm(object));
  EXPECT_EQ(notes, Texts({"ask a", "ask b"}));
}

TEST_F(GuardTest, AnObjectThatAllFiltersPassMayTrigger) {
  Texts notes;
  TestGuard guard(producer);
  guard.addExclusionFilter(std::make_unique<NotingFilter>("a", true, notes));
  guard.addExclusionFilter(std::make_unique<NotingFilter>("b", true, notes));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  EXPECT_TRUE(guard.canObjectTriggerAlarm(object));
  EXPECT_EQ(notes, Texts({"ask a", "ask b"}));
}

TEST_F(GuardTest, EveryFilterIsFedInOrder) {
  Texts notes;
  TestGuard guard(producer);
  guard.addExclusionFilter(std::make_unique<NotingFilter>("a", false, notes));
  guard.addExclusionFilter(std::make_unique<NotingFilter>("b", true, notes));
  TrackingObject object = tracked(Observation{}.at(0, 0));
  guard.updateFilterData(object);
  EXPECT_EQ(notes, Texts({"update a", "update b"}));
}

TEST_F(GuardTest, ANullFilterIsIgnored) {
  TestGuard guard(producer);
  guard.addExclusionFilter(nullptr);
  TrackingObject object = tracked(Observation{}.at(0, 0));
  guard.updateFilterData(object);
  EXPECT_TRUE(guard.canObjectTriggerAlarm(object));
}

TEST_F(GuardTest, OwnsItsFilters) {
  Texts notes;
  int alive = 0;
  {
    TestGuard guard(producer);
    guard.addExclusionFilter(std::make_unique<NotingFilter>("a", true, notes, &alive));
    guard.addExclusionFilter(std::make_unique<NotingFilter>("b", true, notes, &alive));
    EXPECT_EQ(alive, 2);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(GuardTest, AnObjectsStatusTellsWhyItRaisesNoAlarm) {
  EXPECT_EQ(Guard::createAlarmStatus(true, true), AlarmDataStatus_e::alarm);
  EXPECT_EQ(Guard::createAlarmStatus(true, false), AlarmDataStatus_e::alarm);
  EXPECT_EQ(Guard::createAlarmStatus(false, true), AlarmDataStatus_e::passes);
  EXPECT_EQ(Guard::createAlarmStatus(false, false), AlarmDataStatus_e::filtered);
}

TEST_F(GuardTest, AFrameDrivesTheAlarmEvent) {
  TestGuard guard(producer);
  guard.alarm = true;
  frame(guard, 100);
  guard.alarm = false;
  frame(guard, 5'000'100);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
  frame(guard, 5'000'101);
  EXPECT_EQ(producer.take(), Texts({"end 5000101"}));
}

TEST_F(GuardTest, ANegativeEventDurationCountsAsZero) {
  TestGuard guard(producer, PRESET_NOT_BOUND, -1'000'000);
  guard.alarm = true;
  frame(guard, 100);
  guard.alarm = false;
  frame(guard, 100);
  EXPECT_EQ(producer.take(), Texts({"start 100"}));
  frame(guard, 101);
  EXPECT_EQ(producer.take(), Texts({"end 101"}));
}

TEST_F(GuardTest, ADeviceWithoutAMechanicalHeadProcessesEveryFrame) {
  TestGuard guard(producer, 3);
  frame(guard, 10);
  guard.handleMovementEvent(true, 100);
  frame(guard, 20);
  guard.handleLeavingPreset(200);
  frame(guard, 30);
  EXPECT_EQ(guard.evaluated, std::vector<std::int64_t>({10, 20, 30}));
}

TEST_F(GuardTest, AGuardOfAPresetWaitsForTheHeadToRestThere) {
  makeMechanical();
  TestGuard guard(producer, 3);
  frame(guard, 10);
  guard.handleArrivingAtPreset(2, 100);
  frame(guard, 150);
  EXPECT_TRUE(guard.evaluated.empty()) << "at another preset";
  guard.handleArrivingAtPreset(3, 200);
  frame(guard, 199);
  EXPECT_TRUE(guard.evaluated.empty()) << "stamped before the arrival";
  frame(guard, 200);
  EXPECT_EQ(guard.evaluated, std::vector<std::int64_t>({200}));
  guard.handleMovementEvent(true, 300);
  frame(guard, 400);
  EXPECT_EQ(guard.evaluated.size(), 1U) << "while it moves";
  guard.handleMovementEvent(false, 500);
  frame(guard, 500);
  EXPECT_EQ(guard.evaluated.size(), 2U);
}

TEST_F(GuardTest, AGuardOfAnyPresetWaitsForTheNextArrivalAfterLeaving) {
  makeMechanical();
  TestGuard guard(producer, PRESET_ANY);
  EXPECT_FALSE(guard.shouldDataBeProcessed(1'000));
  guard.handleArrivingAtPreset(2, 100);
  EXPECT_FALSE(guard.shouldDataBeProcessed(99));
  EXPECT_TRUE(guard.shouldDataBeProcessed(100));
  guard.handleLeavingPreset(200);
  EXPECT_FALSE(guard.shouldDataBeProcessed(300));
  guard.handleArrivingAtPreset(5, 400);
  EXPECT_TRUE(guard.shouldDataBeProcessed(400));
}

TEST_F(GuardTest, AGuardThatIsNotBoundProcessesWhereverTheHeadRests) {
  makeMechanical();
  TestGuard guard(producer, PRESET_NOT_BOUND);
  EXPECT_TRUE(guard.shouldDataBeProcessed(0));
  guard.handleMovementEvent(true, 100);
  EXPECT_FALSE(guard.shouldDataBeProcessed(200));
  guard.handleMovementEvent(false, 300);
  EXPECT_FALSE(guard.shouldDataBeProcessed(299));
  EXPECT_TRUE(guard.shouldDataBeProcessed(300));
}

TEST_F(GuardTest, TheStartupPresetIsWhereTheHeadRests) {
  makeMechanical();
  TestGuard guard(producer, 3);
  EXPECT_FALSE(guard.shouldDataBeProcessed(0));
  guard.handleStartupPreset(3);
  EXPECT_TRUE(guard.shouldDataBeProcessed(0));
  EXPECT_TRUE(guard.stopped.empty());
}

TEST_F(GuardTest, RandomPresetEventsFollowTheGatingRule) {
  makeMechanical();
  std::mt19937 random(77);
  std::uniform_int_distribution<int> presets(-3, 3);
  std::uniform_int_distribution<int> events(0, 4);
  std::uniform_int_distribution<int> times(0, 20);
  int processed = 0;
  for (int run = 0; run < 300; ++run) {
    const int bound = std::max(presets(random), -2);
    TestGuard guard(producer, bound);
    int current = -3;
    int arrival = 0;
    int movement = 0;
    bool moving = false;
    for (int step = 0; step < 20; ++step) {
      const int time = times(random);
      switch (events(random)) {
        case 0:
          current = presets(random);
          guard.handleStartupPreset(current);
          break;
        case 1:
          current = presets(random);
          arrival = time;
          guard.handleArrivingAtPreset(current, time);
          break;
        case 2:
          current = -3;
          guard.handleLeavingPreset(time);
          break;
        default:
          moving = !moving;
          movement = time;
          guard.handleMovementEvent(moving, time);
      }
      for (int now = 0; now <= 20; now += 5) {
        bool expected = now >= arrival && current == bound;
        if (bound == -1) {
          expected = now >= arrival && current != -3;
        }
        if (bound == -2 && now >= movement) {
          expected = true;
        }
        if (moving) {
          expected = false;
        }
        ASSERT_EQ(guard.shouldDataBeProcessed(now), expected)
            << "bound to " << bound << ", at " << current;
        processed += expected ? 1 : 0;
      }
    }
  }
  EXPECT_GT(processed, 0);
}

TEST_F(GuardTest, LeavingAndMovingStopAllEvents) {
  TestGuard guard(producer, 3);
  guard.handleArrivingAtPreset(3, 100);
  EXPECT_TRUE(guard.stopped.empty());
  guard.handleLeavingPreset(200);
  guard.handleMovementEvent(true, 300);
  guard.handleMovementEvent(false, 400);
  EXPECT_EQ(guard.stopped, std::vector<std::int64_t>({200, 300, 400}));
}

TEST_F(GuardTest, ALostTransportStopsAllEvents) {
  TestGuard guard(producer);
  guard.handleTransportLoss(500);
  EXPECT_EQ(guard.stopped, std::vector<std::int64_t>({500}));
}

TEST_F(GuardTest, TellsWhetherItDraws) {
  TestGuard guard(producer);
  EXPECT_FALSE(guard.isVisualConfirmationAllowedToSend());
  EXPECT_FALSE(guard.getVC_Data().enabled);
  EXPECT_TRUE(guard.enableVisualConfirmation("<g header>"));
  EXPECT_TRUE(guard.isVisualConfirmationAllowedToSend());
  const VisualConfirmationData data = guard.getVC_Data();
  EXPECT_EQ(data.uid, 7);
  EXPECT_EQ(data.svgHeader, "<g header>");
  EXPECT_TRUE(data.enabled);
  guard.disableVisualConfirmation();
  EXPECT_FALSE(guard.isVisualConfirmationAllowedToSend());
  EXPECT_FALSE(guard.getVC_Data().enabled);
}

TEST_F(GuardTest, AnEventThatCannotBeDeclaredIsReported) {
  TestGuard guard(producer);
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(guard.enableVisualConfirmation("<g>"));
}

TEST_F(GuardTest, DrawingsEndFifteenMinutesAfterTheLastEnabling) {
  TestGuard guard(producer);
  ASSERT_TRUE(guard.enableVisualConfirmation("<g>"));
  const std::int64_t start = clock.now();
  clock.set(start + 900'000'000);
  EXPECT_TRUE(guard.isVisualConfirmationAllowedToSend());
  clock.set(start + 900'000'001);
  EXPECT_FALSE(guard.isVisualConfirmationAllowedToSend());
}

}  // namespace
