#include "camera/camera_container.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>

#include "events/time_conversion.h"
#include "geometry/svg_doc.h"
#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"

namespace {

using Texts = std::vector<std::string>;

constexpr double MINUTE = 60e6;

class CameraContainerTest : public InitializedWrapperTest {
 protected:
  explicit CameraContainerTest(bool isMechanical = false) {
    if (isMechanical) {
      FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
    }
    container = std::make_unique<TestContainer>(notes);
  }

  CameraConfiguration::Guards guardsOf(std::initializer_list<int> uids, int camera) {
    CameraConfiguration::Guards guards;
    for (const int uid : uids) {
      guards.push_back(
          std::make_unique<NotingGuard>("g" + std::to_string(uid), uid, camera, producer, notes));
    }
    return guards;
  }

  // Cameras by number, each with one guard of the uid ten times that number.
  void configure(std::initializer_list<int> cameras, int rotation = 0) {
    CameraConfigurationContainer configurations;
    for (const int camera : cameras) {
      configurations.insert({camera, rotation, guardsOf({camera * 10}, camera)});
    }
    container->updateWithNewConfiguration(std::move(configurations));
  }

  // Both cameras remain; the first has no guard any more.
  void move(int uid, int toCamera) {
    CameraConfigurationContainer configurations;
    configurations.insert({1, 0, {}});
    configurations.insert({toCamera, 0, guardsOf({uid}, toCamera)});
    container->updateWithNewConfiguration(std::move(configurations));
  }

  static bool isLogged(const std::string& beginning) {
    const std::vector<LogLine> lines = LogCapture::lines();
    return std::any_of(lines.begin(), lines.end(), [&](const LogLine& line) {
      return line.text.starts_with(beginning) && line.text.ends_with("\n");
    });
  }

  Camera* camera(int number) const { return container->getCamera({number, 0, {}}); }

  RecordingProducer producer;
  Notes notes;
  std::unique_ptr<TestContainer> container;
};

class MechanicalCameraContainerTest : public CameraContainerTest {
 protected:
  MechanicalCameraContainerTest() : CameraContainerTest(true) {}

  static FakeEvents::Subscription subscriptionTo(const std::string& topic) {
    for (const FakeEvents::Subscription& subscription : FakeEvents::subscriptions()) {
      for (const auto& [name, key] : subscription.keys) {
        const auto* const text = std::get_if<std::string>(&key.value);
        if (text != nullptr && *text == topic) {
          return subscription;
        }
      }
    }
    ADD_FAILURE() << "no subscription to " << topic;
    return {};
  }

  static void deliver(const std::string& topic, const FakeEvents::Keys& keys,
                      std::int64_t utc = 0) {
    FakeEvents::deliver(subscriptionTo(topic).id, keys, utc);
    EXPECT_EQ(FakeEvents::eventsAlive(), 0) << "events are freed in every case";
  }

  static FakeEvents::Key keyOf(const FakeEvents::Value& value) {
    FakeEvents::Key key;
    key.value = value;
    return key;
  }

  static void deliverPreset(bool onPreset, int token, std::int64_t utc = 0) {
    deliver("PTZPresets", {{"on_preset", keyOf(onPreset)}, {"PresetToken", keyOf(token)}}, utc);
  }
};

// ---- The set of cameras ----

TEST_F(CameraContainerTest, IsEmptyAtFirst) {
  EXPECT_TRUE(CameraContainer::isEmpty());
  EXPECT_EQ(camera(1), nullptr);
}

TEST_F(CameraContainerTest, MakesTheCamerasOfAConfiguration) {
  configure({1, 2}, 90);
  EXPECT_EQ(notes.take(), Texts({"create 1 90 1.0 14", "g10 startup -3", "create 2 90 1.0 14",
                                 "g20 startup -3"}));
  EXPECT_FALSE(CameraContainer::isEmpty());
  ASSERT_NE(camera(1), nullptr);
  EXPECT_EQ(camera(1)->getCameraNbr(), 1);
  EXPECT_TRUE(container->doesProfileExist(20));
  EXPECT_FALSE(container->doesProfileExist(30));
}

TEST_F(CameraContainerTest, ACameraThatRemainsGetsNewGuards) {
  configure({1});
  Camera* const before = camera(1);
  before->handleMoteData(FrameOf{.time = 100, .ids = {3}}.make());
  notes.take();
  configure({1});
  EXPECT_EQ(notes.take(), Texts({"g10 startup -3", "g10 gone"}));
  EXPECT_EQ(camera(1), before);
}

TEST_F(CameraContainerTest, ACameraRemainsUnderANewRotation) {
  configure({1});
  const Camera* const before = camera(1);
  configure({1}, 180);
  EXPECT_EQ(camera(1), before);
}

TEST_F(CameraContainerTest, ACameraThatNoConfigurationNamesGoes) {
  configure({1, 2});
  notes.take();
  configure({2});
  EXPECT_EQ(camera(1), nullptr);
  EXPECT_FALSE(container->doesProfileExist(10));
  EXPECT_TRUE(container->doesProfileExist(20));
  const Texts texts = notes.take();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g10 gone"), 1);
}

TEST_F(CameraContainerTest, RemovesAllCameras) {
  configure({1, 2});
  notes.take();
  container->removeAllCameras();
  EXPECT_EQ(notes.take().size(), 2U);
  EXPECT_TRUE(CameraContainer::isEmpty());
}

TEST_F(CameraContainerTest, ItsEndRemovesAllCameras) {
  configure({1, 2});
  notes.take();
  container.reset();
  EXPECT_EQ(notes.take().size(), 2U);
  EXPECT_TRUE(CameraContainer::isEmpty());
}

TEST_F(CameraContainerTest, AsksOneProfileForATestAlarm) {
  configure({1, 2});
  notes.take();
  EXPECT_TRUE(container->sendAlarmEvent(20));
  EXPECT_FALSE(container->sendAlarmEvent(30));
  EXPECT_EQ(notes.take(), Texts({"g20 test alarm"}));
}

TEST_F(CameraContainerTest, ShuttingDownStopsTheTransportsAndKeepsTheCameras) {
  configure({1});
  notes.take();
  container->shutDown();
  EXPECT_EQ(notes.take(), Texts({"shut down"}));
  EXPECT_NE(camera(1), nullptr);
}

// ---- Aspect ratios ----

TEST_F(CameraContainerTest, TheAspectRatioIsThatOfTheSensor) {
  FakeParameters::set("root.ImageSource.I1.Sensor.AspectRatio", "4:3");
  FakeParameters::set("root.Image.I1.Appearance.Resolution", "1920x1080");
  EXPECT_FLOAT_EQ(TestContainer::readAspectRatio(2), 4.0F / 3.0F);
}

TEST_F(CameraContainerTest, ElseTheAspectRatioIsThatOfThePicture) {
  FakeParameters::set("root.Image.I0.Appearance.Resolution", "1000x500");
  EXPECT_FLOAT_EQ(TestContainer::readAspectRatio(1), 2.0F);
}

TEST_F(CameraContainerTest, ElseTheAspectRatioIsSixteenToNine) {
  EXPECT_FLOAT_EQ(TestContainer::readAspectRatio(1), 16.0F / 9.0F);
  FakeParameters::set("root.ImageSource.I0.Sensor.AspectRatio", "16");
  FakeParameters::set("root.Image.I0.Appearance.Resolution", "0x0");
  EXPECT_FLOAT_EQ(TestContainer::readAspectRatio(1), 16.0F / 9.0F);
}

// ---- Cameras that go ----

// Tells when it is asked to stop, and when it has gone.
class NotingCamera : public TestCamera {
 public:
  NotingCamera(std::int32_t cameraNbr, Notes& notes) : TestCamera(cameraNbr), notes(notes) {}
  ~NotingCamera() override { notes.add("gone"); }

  void stop() override {
    TestCamera::stop();
    notes.add("stop");
  }

 private:
  Notes& notes;
};

TEST_F(CameraContainerTest, CamerasThatGoAreAllToldBeforeAnyIsWaitedFor) {
  for (const int camera : {1, 2, 3}) {
    container->insertCamera(std::make_unique<NotingCamera>(camera, notes));
  }
  configure({3});
  EXPECT_EQ(notes.take(), Texts({"stop", "stop", "gone", "gone", "g30 startup -3"}));
}

TEST_F(CameraContainerTest, WhenAllGoTheyAreAllToldBeforeAnyIsWaitedFor) {
  for (const int camera : {1, 2}) {
    container->insertCamera(std::make_unique<NotingCamera>(camera, notes));
  }
  container->removeAllCameras();
  EXPECT_EQ(notes.take(), Texts({"stop", "stop", "gone", "gone"}));
}

// ---- Visual confirmation ----

TEST_F(CameraContainerTest, DrawsForOneProfileOfAllCameras) {
  configure({1, 2});
  EXPECT_EQ(container->getVisualConfIdNbr(), -1);
  EXPECT_FALSE(container->isVisualConfEnabled());
  EXPECT_TRUE(container->enableVisualConfirmation(10));
  EXPECT_EQ(container->getVisualConfIdNbr(), 10);
  EXPECT_TRUE(container->enableVisualConfirmation(20));
  EXPECT_EQ(container->getVisualConfIdNbr(), 20);
  EXPECT_TRUE(container->isVisualConfEnabled());
  EXPECT_FALSE(camera(1)->getVC_Data()) << "one drawing at a time";
}

TEST_F(CameraContainerTest, DrawingsMapTheConfigurationToThePicture) {
  configure({1});
  ASSERT_TRUE(container->enableVisualConfirmation(10));
  const double identity[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(camera(1)->getVC_Data()->svgHeader, createSVGTransform(identity));
}

TEST_F(CameraContainerTest, AnUnknownProfileIsNotDrawn) {
  configure({1});
  EXPECT_FALSE(container->enableVisualConfirmation(99));
  EXPECT_FALSE(container->isVisualConfEnabled());
}

TEST_F(CameraContainerTest, AnEventThatCannotBeDeclaredIsReported) {
  configure({1});
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(container->enableVisualConfirmation(10));
}

TEST_F(CameraContainerTest, AfterAnEventThatCouldNotBeDeclaredItIsDeclaredByTheNextRequest) {
  configure({1});
  FakeEvents::failDeclares(2);
  EXPECT_FALSE(container->enableVisualConfirmation(10));
  EXPECT_FALSE(container->isVisualConfEnabled());
  EXPECT_FALSE(container->enableVisualConfirmation(10)) << "nothing would be drawn";
  EXPECT_TRUE(container->enableVisualConfirmation(10));
  EXPECT_TRUE(camera(1)->getGuard(10)->isVisualConfirmationAllowedToSend());
  EXPECT_EQ(activeTopics(), Texts({"xinternal_data"}));
}

TEST_F(CameraContainerTest, AProfileThatMovesToAnotherCameraKeepsItsDrawing) {
  configure({1, 2});
  ASSERT_TRUE(container->enableVisualConfirmation(10));
  const std::int64_t start = clock.now();
  clock.set(start + 300'000'000);
  move(10, 2);
  EXPECT_FALSE(camera(1)->getVC_Data());
  ASSERT_TRUE(camera(2)->getVC_Data());
  EXPECT_EQ(camera(2)->getVC_Data()->uid, 10);
  EXPECT_EQ(camera(2)->getVC_Data()->enabledSince, start) << "and its time";
  wait(200'000);
  EXPECT_EQ(activeTopics(), Texts({"xinternal_data"}));
}

TEST_F(CameraContainerTest, AProfileThatMovesToANewCameraKeepsItsDrawing) {
  configure({1});
  ASSERT_TRUE(container->enableVisualConfirmation(10));
  CameraConfigurationContainer configurations;
  configurations.insert({2, 0, guardsOf({10}, 2)});
  container->updateWithNewConfiguration(std::move(configurations));
  EXPECT_EQ(camera(1), nullptr);
  EXPECT_EQ(container->getVisualConfIdNbr(), 10);
}

TEST_F(CameraContainerTest, ADrawingWhoseTimeIsOverDoesNotMove) {
  configure({1, 2});
  ASSERT_TRUE(container->enableVisualConfirmation(10));
  clock.set(clock.now() + 900'000'001);
  move(10, 2);
  EXPECT_FALSE(container->isVisualConfEnabled());
}

TEST_F(CameraContainerTest, DrawingEndsForOneProfileOrForAll) {
  configure({1, 2});
  ASSERT_TRUE(container->enableVisualConfirmation(20));
  container->disableVisualConfirmation(10);
  EXPECT_EQ(container->getVisualConfIdNbr(), 20);
  container->disableVisualConfirmation(20);
  EXPECT_EQ(container->getVisualConfIdNbr(), -1);
  ASSERT_TRUE(container->enableVisualConfirmation(20));
  container->disableVisualConfirmation();
  EXPECT_FALSE(container->isVisualConfEnabled());
}

// ---- PTZ events ----

TEST_F(CameraContainerTest, AFixedDeviceSubscribesToNothing) {
  EXPECT_TRUE(FakeEvents::subscriptions().empty());
  EXPECT_FALSE(TestContainer::s_canReceivePTZ_Callbacks);
}

TEST_F(CameraContainerTest, PassesEventsToEveryCamera) {
  configure({1, 2});
  notes.take();
  container->handlePTZ_PresetEvent({.onPreset = true, .presetToken = 4, .timestamp = 1});
  container->handlePTZ_MovementEvent({.isMoving = true, .timestamp = 2});
  EXPECT_EQ(notes.take(), Texts({"g10 arrive 4", "g20 arrive 4", "g10 moving", "g20 moving"}));
}

TEST_F(MechanicalCameraContainerTest, SubscribesToPresetsAndMovement) {
  EXPECT_TRUE(TestContainer::s_canReceivePTZ_Callbacks);
  for (const char* topic : {"PTZPresets", "Move"}) {
    const FakeEvents::Keys keys = subscriptionTo(topic).keys;
    bool isOfController = false;
    for (const auto& [name, key] : keys) {
      const auto* const text = std::get_if<std::string>(&key.value);
      EXPECT_TRUE(key.nameSpace == "tns1" || key.nameSpace == "tnsorva") << name;
      if (text != nullptr && *text == "PTZController") {
        isOfController = true;
      }
    }
    EXPECT_TRUE(isOfController) << topic;
  }
}

// The event service may come up last, and what is refused once may be granted later.
TEST_F(MechanicalCameraContainerTest, SubscriptionsThatAreRefusedAreAskedForAgain) {
  container.reset();
  FakeEvents::reset();
  FakeEvents::failHandlers(1);
  container = std::make_unique<TestContainer>(notes);
  EXPECT_TRUE(FakeEvents::subscriptions().empty());
  EXPECT_TRUE(isLogged("Could not subscribe to PTZ events"));
  FakeEvents::failSubscribes(1);
  while (FakeEvents::subscriptions().size() < 2) {
    g_main_context_iteration(nullptr, TRUE);
  }
  configure({1});
  notes.take();
  deliverPreset(true, 4);
  EXPECT_EQ(notes.take(), Texts({"g10 arrive 4"}));
  EXPECT_FALSE(g_main_context_iteration(nullptr, FALSE));  // nothing is left to be asked for
  container.reset();
  for (const FakeEvents::Subscription& subscription : FakeEvents::subscriptions()) {
    EXPECT_TRUE(subscription.unsubscribed);
  }
}

TEST_F(MechanicalCameraContainerTest, ASubscriptionThatIsGoneIsNotAskedForAgain) {
  container.reset();
  FakeEvents::reset();
  FakeEvents::failHandlers(1);
  container = std::make_unique<TestContainer>(notes);
  container.reset();
  g_main_context_iteration(nullptr, TRUE);  // until the timer is due
  EXPECT_TRUE(FakeEvents::subscriptions().empty());
  EXPECT_EQ(FakeEvents::handlersMade(), FakeEvents::handlersFreed());
}

TEST_F(MechanicalCameraContainerTest, PresetEventsReachTheGuards) {
  configure({1});
  notes.take();
  deliverPreset(true, 4);
  EXPECT_EQ(notes.take(), Texts({"g10 arrive 4"}));
  deliverPreset(false, 5);
  EXPECT_TRUE(notes.take().empty());
  deliverPreset(false, 4);
  EXPECT_EQ(notes.take(), Texts({"g10 leave"}));
  deliverPreset(true, -1);
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(MechanicalCameraContainerTest, EventTimesBecomeMonotonic) {
  configure({1});
  const auto* const guard = dynamic_cast<NotingGuard*>(camera(1)->getGuard(10));
  const std::int64_t utc = utils::utcTime() - 500'000'000;
  deliverPreset(true, 4, utc);
  EXPECT_NEAR(static_cast<double>(guard->lastTime),
              static_cast<double>(utils::convertUTC_ToMonotonicTime(utc)), MINUTE);
  deliver("Move", {{"is_moving", keyOf(true)}}, utc - 300'000'000);
  EXPECT_NEAR(static_cast<double>(guard->lastTime),
              static_cast<double>(utils::convertUTC_ToMonotonicTime(utc - 300'000'000)), MINUTE);
}

// By an hour, say: no frame of the hour to come would be young enough for the guards.
TEST_F(MechanicalCameraContainerTest, AnEventFromBeforeTheWallClockWasSetBackIsOfNow) {
  constexpr std::int64_t HOUR = 3'600'000'000;
  configure({1});
  const auto* const guard = dynamic_cast<NotingGuard*>(camera(1)->getGuard(10));
  const std::int64_t before = utils::monotonicTime();
  deliverPreset(true, 4, utils::utcTime() + HOUR);
  EXPECT_GE(guard->lastTime, before);
  EXPECT_LE(guard->lastTime, utils::monotonicTime());
  deliver("Move", {{"is_moving", keyOf(false)}}, utils::utcTime() + HOUR);
  EXPECT_GE(guard->lastTime, before);
  EXPECT_LE(guard->lastTime, utils::monotonicTime());
}

TEST_F(MechanicalCameraContainerTest, MovementEventsReachTheGuards) {
  configure({1});
  notes.take();
  deliver("Move", {{"is_moving", keyOf(true)}});
  deliver("Move", {{"is_moving", keyOf(false)}});
  EXPECT_EQ(notes.take(), Texts({"g10 moving", "g10 resting"}));
}

TEST_F(MechanicalCameraContainerTest, EventsThatCannotBeReadAreLoggedAndDropped) {
  configure({1});
  notes.take();
  deliver("PTZPresets", {{"PresetToken", keyOf(4)}});
  EXPECT_TRUE(isLogged("Failed to unpack 'on_preset' in a PTZ event, message: "));
  deliver("PTZPresets", {{"on_preset", keyOf(true)}});
  EXPECT_TRUE(isLogged("Failed to unpack 'PresetToken' in a PTZ event, message: "));
  deliver("Move", {});
  EXPECT_TRUE(isLogged("Failed to unpack 'is_moving' in a PTZ event, message: "));
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(MechanicalCameraContainerTest, LaterCamerasAndGuardsKnowWhereTheHeadRests) {
  deliverPreset(true, 4);
  configure({1});
  EXPECT_EQ(notes.take(), Texts({"create 1 0 1.0 14", "g10 startup 4"}));
  configure({1});
  EXPECT_EQ(notes.take(), Texts({"g10 startup 4", "g10 gone"}));
  deliverPreset(false, 4);
  notes.take();
  configure({1, 2});
  const Texts texts = notes.take();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g10 startup -3"), 1);
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g20 startup -3"), 1);
}

TEST_F(MechanicalCameraContainerTest, LaterGuardsKnowThatTheHeadMoves) {
  deliver("Move", {{"is_moving", keyOf(true)}});
  configure({1});
  const Texts texts = notes.take();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g10 moving"), 1);
}

TEST_F(MechanicalCameraContainerTest, ShuttingDownEndsTheSubscriptions) {
  configure({1});
  const std::vector<FakeEvents::Subscription> before = FakeEvents::subscriptions();
  ASSERT_EQ(before.size(), 2U);
  container->shutDown();
  for (const FakeEvents::Subscription& subscription : FakeEvents::subscriptions()) {
    EXPECT_TRUE(subscription.unsubscribed);
  }
  EXPECT_FALSE(TestContainer::s_canReceivePTZ_Callbacks);
}

TEST_F(MechanicalCameraContainerTest, EventsAreDroppedWhereTheyAreNotWanted) {
  configure({1});
  notes.take();
  TestContainer::s_canReceivePTZ_Callbacks = false;
  deliverPreset(true, 4);
  deliver("Move", {{"is_moving", keyOf(true)}});
  EXPECT_TRUE(notes.take().empty());
  EXPECT_EQ(camera(1)->getCurrentPreset(), PRESET_NONE);
}

}  // namespace
