#include "camera/camera.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"

namespace {

using Texts = std::vector<std::string>;

class CameraTest : public InitializedWrapperTest {
 protected:
  std::unique_ptr<NotingGuard> makeGuard(const std::string& label, int uid, int priority = 1) {
    return std::make_unique<NotingGuard>(label, uid, 1, producer, notes, priority);
  }

  // Adds a guard without its first note.
  NotingGuard& insert(Camera& to, const std::string& label, int uid, int priority = 1) {
    auto guard = makeGuard(label, uid, priority);
    NotingGuard& reference = *guard;
    to.insertGuard(std::move(guard));
    notes.take();
    return reference;
  }
  NotingGuard& insert(const std::string& label, int uid, int priority = 1) {
    return insert(camera, label, uid, priority);
  }

  CameraConfiguration configurationOf(std::vector<std::unique_ptr<NotingGuard>> guards,
                                      int rotation = 0) {
    CameraConfiguration::Guards list;
    for (auto& guard : guards) {
      list.push_back(std::move(guard));
    }
    return {1, rotation, std::move(list)};
  }

  void replaceGuardsByOne(int uid) {
    std::vector<std::unique_ptr<NotingGuard>> guards;
    guards.push_back(makeGuard("new", uid));
    CameraConfiguration configuration = configurationOf(std::move(guards));
    camera.updateWithNewConfiguration(configuration);
  }

  static constexpr std::int64_t FIFTEEN_MINUTES = 900'000'000;

  RecordingProducer producer;
  Notes notes;
  TestCamera camera{1};
};

// ---- Frames ----

TEST_F(CameraTest, AFrameGoesToEveryGuard) {
  insert("a", 1);
  insert("b", 2);
  camera.handleMoteData(FrameOf{.time = 7, .ids = {3, 5}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 7: 3 5", "b frame 7: 3 5"}));
}

TEST_F(CameraTest, TheMostImportantGuardSpeaksLast) {
  insert("high", 1, 9);
  insert("low", 2, 1);
  insert("middle", 3, 5);
  camera.handleMoteData(FrameOf{.time = 7}.make());
  EXPECT_EQ(notes.take(), Texts({"low frame 7:", "middle frame 7:", "high frame 7:"}));
}

TEST_F(CameraTest, GuardsOfOnePriorityKeepTheirOrder) {
  for (const char* label : {"d", "a", "c", "b"}) {
    insert(label, label[0], 2);
  }
  insert("z", 1, 1);
  camera.handleMoteData(FrameOf{.time = 7}.make());
  EXPECT_EQ(notes.take(),
            Texts({"z frame 7:", "d frame 7:", "a frame 7:", "c frame 7:", "b frame 7:"}));
}

TEST_F(CameraTest, ObjectsLiveOnFromFrameToFrame) {
  insert("a", 1).showsAge = true;
  camera.handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  camera.handleMoteData(FrameOf{.time = 250, .ids = {3, 4}}.make());
  camera.handleMoteData(FrameOf{.time = 300, .ids = {4}, .deleted = {3}}.make());
  EXPECT_EQ(notes.take(),
            Texts({"a frame 100: 3/0", "a frame 250: 3/150 4/0", "a frame 300: 4/50 -3"}));
}

TEST_F(CameraTest, TheMaskTellsWhatIsRead) {
  insert("a", 1);
  camera.handleMoteData(FrameOf{.time = 1, .ids = {3}, .confidence = 4095}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 1: 3?"}));
  TestCamera withoutConfidence(1, 0, 6);
  EXPECT_EQ(withoutConfidence.getPropertyMask(), 6);
  insert(withoutConfidence, "b", 1);
  withoutConfidence.handleMoteData(FrameOf{.time = 1, .ids = {3}, .confidence = 4095}.make());
  EXPECT_EQ(notes.take(), Texts({"b frame 1: 3"}));
}

TEST_F(CameraTest, SizesFollowTheRotation) {
  insert("a", 1).showsSize = true;
  camera.handleMoteData(FrameOf{.time = 1, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 1: 3/400x800"}));
  TestCamera turned(1, 90);
  insert(turned, "b", 1).showsSize = true;
  turned.handleMoteData(FrameOf{.time = 1, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"b frame 1: 3/800x400"}));
}

TEST_F(CameraTest, AFrameThatCannotBeDecodedIsPassedOver) {
  insert("a", 1).showsAge = true;
  camera.handleMoteData(FrameOf{.time = 9'000'000, .ids = {3}}.make());
  notes.take();
  camera.handleMoteData(frameOf(std::vector<std::uint8_t>(40, 0)));
  EXPECT_TRUE(notes.take().empty()) << "no guard is asked, and none loses its objects";
  EXPECT_EQ(log.count(LOG_WARNING, "Could not decode scene.\n"), 1);
  EXPECT_EQ(log.lines().size(), 1U);
  camera.handleMoteData(FrameOf{.time = 9'000'150, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 9000150: 3/150"}));
}

// ---- Guards ----

TEST_F(CameraTest, FindsItsGuards) {
  const NotingGuard& guard = insert("a", 7);
  EXPECT_EQ(camera.getGuard(7), &guard);
  EXPECT_EQ(camera.getGuard(8), nullptr);
  EXPECT_TRUE(camera.doesProfileExist(7));
  EXPECT_FALSE(camera.doesProfileExist(8));
}

TEST_F(CameraTest, LetsItsGuardsGo) {
  insert("a", 7);
  insert("b", 8);
  camera.removeAllGuards();
  EXPECT_EQ(notes.take().size(), 2U);
  EXPECT_FALSE(camera.doesProfileExist(7));
}

TEST_F(CameraTest, AsksOneProfileForATestAlarm) {
  insert("a", 7);
  insert("b", 8);
  EXPECT_TRUE(camera.sendAlarmEvent(8));
  EXPECT_FALSE(camera.sendAlarmEvent(9));
  EXPECT_EQ(notes.take(), Texts({"b test alarm"}));
}

TEST_F(CameraTest, IsMeantByConfigurationsOfItsNumber) {
  EXPECT_TRUE(camera.matches({1, 0, {}}));
  EXPECT_TRUE(camera.matches({1, 270, {}}));
  EXPECT_FALSE(camera.matches({2, 0, {}}));
}

// ---- Visual confirmation ----

TEST_F(CameraTest, DrawsForOneProfile) {
  insert("a", 7);
  insert("b", 8);
  EXPECT_FALSE(camera.getVC_Data());
  EXPECT_TRUE(camera.enableVisualConfirmation(8, "<g>"));
  ASSERT_TRUE(camera.getVC_Data());
  EXPECT_EQ(camera.getVC_Data()->uid, 8);
  EXPECT_EQ(camera.getVC_Data()->svgHeader, "<g>");
  EXPECT_FALSE(camera.getGuard(7)->isVisualConfirmationAllowedToSend());
}

TEST_F(CameraTest, AnUnknownProfileIsNotDrawn) {
  insert("a", 7);
  EXPECT_FALSE(camera.enableVisualConfirmation(9, "<g>"));
  EXPECT_FALSE(camera.getVC_Data());
}

TEST_F(CameraTest, AnEventThatCannotBeDeclaredIsReported) {
  insert("a", 7);
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(camera.enableVisualConfirmation(7, "<g>"));
}

TEST_F(CameraTest, DrawingEndsForOneProfileOrForAll) {
  insert("a", 7);
  ASSERT_TRUE(camera.enableVisualConfirmation(7, "<g>"));
  camera.disableVisualConfirmation(8);
  EXPECT_TRUE(camera.getVC_Data());
  camera.disableVisualConfirmation(7);
  EXPECT_FALSE(camera.getVC_Data());
  ASSERT_TRUE(camera.enableVisualConfirmation(7, "<g>"));
  camera.disableVisualConfirmation();
  EXPECT_FALSE(camera.getVC_Data());
}

// ---- PTZ events ----

TEST_F(CameraTest, ANewGuardIsToldWhereTheHeadRests) {
  TestCamera resting(1, 0, 14, {.preset = 5, .movement = {}});
  EXPECT_EQ(resting.getCurrentPreset(), 5);
  resting.insertGuard(makeGuard("a", 1));
  EXPECT_EQ(notes.take(), Texts({"a startup 5"}));
  camera.insertGuard(makeGuard("b", 1));
  EXPECT_EQ(notes.take(), Texts({"b startup -3"}));
}

TEST_F(CameraTest, ArrivingIsPassedOn) {
  const NotingGuard& a = insert("a", 1);
  insert("b", 2);
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 99});
  EXPECT_EQ(notes.take(), Texts({"a arrive 4", "b arrive 4"}));
  EXPECT_EQ(a.lastTime, 99);
  EXPECT_EQ(camera.getCurrentPreset(), 4);
  camera.insertGuard(makeGuard("c", 3));
  EXPECT_EQ(notes.take(), Texts({"c startup 4"}));
}

TEST_F(CameraTest, LeavingThePresentPresetIsPassedOn) {
  const NotingGuard& a = insert("a", 1);
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 99});
  notes.take();
  camera.handlePTZ_PresetEvent({.onPreset = false, .presetToken = 4, .timestamp = 120});
  EXPECT_EQ(notes.take(), Texts({"a leave"}));
  EXPECT_EQ(a.lastTime, 120);
  EXPECT_EQ(camera.getCurrentPreset(), PRESET_NONE);
}

TEST_F(CameraTest, LeavingAnotherPresetDoesNothing) {
  insert("a", 1);
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 99});
  notes.take();
  camera.handlePTZ_PresetEvent({.onPreset = false, .presetToken = 5, .timestamp = 120});
  EXPECT_TRUE(notes.take().empty());
  EXPECT_EQ(camera.getCurrentPreset(), 4);
}

TEST_F(CameraTest, APresetEventWithoutATokenChangesNothing) {
  insert("a", 1);
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 99});
  notes.take();
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = -1, .timestamp = 100});
  camera.handlePTZ_PresetEvent({.onPreset = false, .presetToken = -1, .timestamp = 100});
  EXPECT_TRUE(notes.take().empty());
  EXPECT_EQ(camera.getCurrentPreset(), 4);
}

TEST_F(CameraTest, MovementIsPassedOn) {
  const NotingGuard& a = insert("a", 1);
  insert("b", 2);
  camera.handlePTZ_MovementEvent({.isMoving = true, .timestamp = 50});
  EXPECT_EQ(notes.take(), Texts({"a moving", "b moving"}));
  camera.handlePTZ_MovementEvent({.isMoving = false, .timestamp = 60});
  EXPECT_EQ(notes.take(), Texts({"a resting", "b resting"}));
  EXPECT_EQ(a.lastTime, 60);
}

// ---- A lost transport ----

TEST_F(CameraTest, ALostTransportForgetsObjectsAndTellsGuards) {
  NotingGuard& a = insert("a", 1);
  a.showsAge = true;
  camera.handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  notes.take();
  camera.handleTransportLoss();
  EXPECT_EQ(notes.take(), Texts({"a lost"}));
  EXPECT_EQ(a.lastTime, clock.now());
  camera.handleMoteData(FrameOf{.time = 200, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 200: 3/0"}));
}

TEST_F(CameraTest, ATimeThatIsSetBackIsALostTransport) {
  constexpr std::int64_t START = 5000000;
  insert("a", 1).showsAge = true;
  camera.handleMoteData(FrameOf{.time = START, .ids = {3}}.make());
  camera.handleMoteData(FrameOf{.time = START - 1000000, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 5000000: 3/0", "a frame 4000000: 3/-1000000"}));
  camera.handleMoteData(FrameOf{.time = START - 2000001, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a lost", "a frame 2999999: 3/0"}));
}

TEST_F(CameraTest, TheTimeBeginsAnewWithTheTransport) {
  insert("a", 1).showsAge = true;
  camera.handleMoteData(FrameOf{.time = 5000000, .ids = {3}}.make());
  camera.handleTransportLoss();
  notes.take();
  camera.handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"a frame 100: 3/0"}));
}

// ---- New configurations ----

TEST_F(CameraTest, NewGuardsTakeThePlaceOfTheOld) {
  insert("old", 1);
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("x", 1));
  guards.push_back(makeGuard("y", 2));
  CameraConfiguration configuration = configurationOf(std::move(guards));
  camera.updateWithNewConfiguration(configuration);
  const Texts expected({"x startup -3", "y startup -3", "old gone"});
  EXPECT_EQ(notes.take(), expected);
  camera.handleMoteData(FrameOf{.time = 7}.make());
  EXPECT_EQ(notes.take(), Texts({"x frame 7:", "y frame 7:"}));
}

TEST_F(CameraTest, NewGuardsAreToldWhereTheHeadRests) {
  camera.handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 99});
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("x", 1));
  CameraConfiguration configuration = configurationOf(std::move(guards));
  camera.updateWithNewConfiguration(configuration);
  EXPECT_EQ(notes.take(), Texts({"x startup 4"}));
}

TEST_F(CameraTest, ADrawingGoesOnUnderTheSameUid) {
  insert("old", 1);
  insert("other", 2);
  ASSERT_TRUE(camera.enableVisualConfirmation(1, "<g kept>"));
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("y", 2));
  guards.push_back(makeGuard("x", 1));
  CameraConfiguration configuration = configurationOf(std::move(guards));
  camera.updateWithNewConfiguration(configuration);
  ASSERT_TRUE(camera.getVC_Data());
  EXPECT_EQ(camera.getVC_Data()->uid, 1);
  EXPECT_EQ(camera.getVC_Data()->svgHeader, "<g kept>");
  wait(200'000);
  EXPECT_EQ(activeTopics(), Texts({"xinternal_data"}));
  FakeEvents::clearSent();
}

TEST_F(CameraTest, ADrawingThatGoesOnKeepsItsTime) {
  insert("old", 1);
  ASSERT_TRUE(camera.enableVisualConfirmation(1, "<g>"));
  const std::int64_t start = clock.now();
  clock.set(start + FIFTEEN_MINUTES - 1);
  replaceGuardsByOne(1);
  ASSERT_TRUE(camera.getVC_Data());
  EXPECT_TRUE(camera.getGuard(1)->isVisualConfirmationAllowedToSend());
  clock.set(start + FIFTEEN_MINUTES + 1);
  EXPECT_FALSE(camera.getGuard(1)->isVisualConfirmationAllowedToSend());
}

TEST_F(CameraTest, ADrawingWhoseTimeIsOverDoesNotBeginAgain) {
  insert("old", 1);
  ASSERT_TRUE(camera.enableVisualConfirmation(1, "<g>"));
  clock.set(clock.now() + FIFTEEN_MINUTES + 1);
  replaceGuardsByOne(1);
  EXPECT_FALSE(camera.getVC_Data());
  EXPECT_FALSE(camera.getGuard(1)->isVisualConfirmationAllowedToSend());
}

TEST_F(CameraTest, ADrawingOfAProfileThatIsGoneEnds) {
  insert("old", 1);
  ASSERT_TRUE(camera.enableVisualConfirmation(1, "<g>"));
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("y", 2));
  CameraConfiguration configuration = configurationOf(std::move(guards));
  camera.updateWithNewConfiguration(configuration);
  EXPECT_FALSE(camera.getVC_Data());
  wait(200'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(CameraTest, UnderTheSameRotationObjectsStayKnown) {
  camera.handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("x", 1));
  guards[0]->showsAge = true;
  CameraConfiguration configuration = configurationOf(std::move(guards));
  camera.updateWithNewConfiguration(configuration);
  notes.take();
  camera.handleMoteData(FrameOf{.time = 250, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"x frame 250: 3/150"}));
}

TEST_F(CameraTest, ANewRotationIsTakenOverAndForgetsObjects) {
  camera.handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  std::vector<std::unique_ptr<NotingGuard>> guards;
  guards.push_back(makeGuard("x", 1));
  guards[0]->showsAge = true;
  guards[0]->showsSize = true;
  CameraConfiguration configuration = configurationOf(std::move(guards), 90);
  camera.updateWithNewConfiguration(configuration);
  notes.take();
  camera.handleMoteData(FrameOf{.time = 250, .ids = {3}}.make());
  EXPECT_EQ(notes.take(), Texts({"x frame 250: 3/0/800x400"}));
}

}  // namespace
