#include "camera/callback_camera_container.h"

#include <dlfcn.h>
#include <gmodule.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <map>
#include <thread>

#include "base/mutex.h"
#include "camera/camera_container_factory.h"
#include "src/camera/fake_scene_module.h"
#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"

namespace {

FakeSceneModule& module() {
  return FakeSceneModule::get();
}

std::string named(const char* call, const video_scene_subscriber* subscriber) {
  return std::string(call) + " " + std::to_string(subscriber->channel);
}

video_scene_subscriber* create(int channel, data_format_t format, void* userData) {
  module().note("create " + std::to_string(channel));
  const LockGuard lock(module().mutex);
  if (module().failingCreates > 0) {
    --module().failingCreates;
    return nullptr;
  }
  auto subscriber = std::make_unique<video_scene_subscriber>();
  subscriber->channel = channel;
  subscriber->format = format;
  subscriber->userData = userData;
  module().subscribers.push_back(std::move(subscriber));
  return module().subscribers.back().get();
}

int destroy(video_scene_subscriber* subscriber) {
  module().note(named("delete", subscriber));
  const LockGuard lock(module().mutex);
  subscriber->isDeleted = true;
  subscriber->isSubscribed = false;
  return 0;
}

bool takesOneOf(int& count) {
  const LockGuard lock(module().mutex);
  return count > 0 && count-- > 0;
}

int subscribe(video_scene_subscriber* subscriber) {
  module().note(named("subscribe", subscriber));
  if (takesOneOf(module().failingSubscribes)) {
    return module().subscribeResult;
  }
  if (module().muteChannels.contains(subscriber->channel)) {
    module().waitForAnswer(*subscriber);
    return VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  if (module().whileSubscribing) {
    module().whileSubscribing(*subscriber);
  }
  const LockGuard lock(module().mutex);
  subscriber->isSubscribed = true;
  return 0;
}

int unsubscribe(video_scene_subscriber* subscriber) {
  module().note(named("unsubscribe", subscriber));
  if (takesOneOf(module().failingUnsubscribes)) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  if (module().cutShort(*subscriber)) {
    return 0;
  }
  if (module().whileUnsubscribing) {
    module().whileUnsubscribing(*subscriber);
  }
  const LockGuard lock(module().mutex);
  subscriber->isSubscribed = false;
  return 0;
}

int setOnDisconnect(video_scene_subscriber* subscriber,
                    video_scene_subscriber_disconnect_callback callback) {
  subscriber->onDisconnect = callback;
  return 0;
}

int setOnMessage(video_scene_subscriber* subscriber,
                 video_scene_subscriber_message_callback callback) {
  subscriber->onMessage = callback;
  return 0;
}

template <bool video_scene_subscriber::*MEMBER>
int setEnabled(video_scene_subscriber* subscriber, int enabled) {
  subscriber->*MEMBER = enabled != 0;
  return 0;
}

template <typename Function>
gpointer symbolOf(Function* function) {
  return reinterpret_cast<gpointer>(function);
}

const std::map<std::string, gpointer>& symbols() {
  using Subscriber = video_scene_subscriber;
  static const std::map<std::string, gpointer> TABLE = {
      {"create", symbolOf(&create)},
      {"delete", symbolOf(&destroy)},
      {"subscribe", symbolOf(&subscribe)},
      {"unsubscribe", symbolOf(&unsubscribe)},
      {"set_on_disconnect_callback", symbolOf(&setOnDisconnect)},
      {"set_on_message_arrived_callback", symbolOf(&setOnMessage)},
      {"set_bounding_box_enabled", symbolOf(&setEnabled<&Subscriber::hasBoundingBox>)},
      {"set_polygon_enabled", symbolOf(&setEnabled<&Subscriber::hasPolygon>)},
      {"set_velocity_enabled", symbolOf(&setEnabled<&Subscriber::hasVelocity>)},
      {"set_low_confident_enabled", symbolOf(&setEnabled<&Subscriber::hasLowConfident>)}};
  return TABLE;
}

}  // namespace

namespace {

// The threads that the system refuses this one.
thread_local int t_refusedThreads = 0;

}  // namespace

// Takes the place of the C library's.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument) noexcept {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto REAL = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (t_refusedThreads > 0) {
    --t_refusedThreads;
    return EAGAIN;
  }
  return REAL(thread, attributes, run, argument);
}

// The loader: it knows the one module only.
extern "C" {

GModule* g_module_open(const gchar* name, GModuleFlags) {
  if (name == nullptr || std::strstr(name, "video_scene_subscriber") == nullptr) {
    return nullptr;
  }
  module().note("open");
  return module().isAbsent ? nullptr : reinterpret_cast<GModule*>(&module());
}

gboolean g_module_close(GModule*) {
  module().note("close");
  return TRUE;
}

const gchar* g_module_error() {
  return "no such module";
}

gboolean g_module_symbol(GModule*, const gchar* name, gpointer* symbol) {
  const std::string prefix = "video_scene_subscriber_";
  const auto found = symbols().find(std::string(name).substr(prefix.size()));
  if (found == symbols().end()) {
    return FALSE;
  }
  *symbol = found->second;
  return TRUE;
}

}  // extern "C"

namespace {

using Texts = std::vector<std::string>;

constexpr const char* VERSIONS[] = {"1.0"};
constexpr std::int64_t PERIOD = 200'000;

constexpr int LARGEST_CAMERA = 4;

// Long enough for the timer to be due once and not twice.
constexpr std::int64_t ONE_PERIOD = PERIOD + 50'000;

class CallbackCameraContainerTest : public InitializedWrapperTest {
 protected:
  CallbackCameraContainerTest() { makeContainer(14); }
  ~CallbackCameraContainerTest() override {
    container.reset();
    EXPECT_EQ(module().alive(), 0);
  }

  // The container closes the module in the end.
  void makeContainer(int mask) {
    EXPECT_TRUE(VideoSceneSubscriber::initialize());
    container = std::make_unique<CallbackCameraContainer>(API_VersionHandler(VERSIONS, 1), mask);
    module().takeCalls();
  }

  void configure(std::initializer_list<int> cameras) {
    CameraConfigurationContainer configurations;
    for (const int camera : cameras) {
      CameraConfiguration::Guards guards;
      auto guard = std::make_unique<NotingGuard>("g" + std::to_string(camera), camera, camera,
                                                 producer, notes);
      guard->showsAge = true;
      guards.push_back(std::move(guard));
      configurations.insert({camera, 0, std::move(guards)});
    }
    container->updateWithNewConfiguration(std::move(configurations));
    notes.take();
    settle();
  }

  // Waits (really) until every attempt is over that is not held up by a mute service.
  void settle() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (int number = 1; number <= LARGEST_CAMERA; ++number) {
      auto* camera = dynamic_cast<CallbackCamera*>(container->getCamera({number, 0, {}}));
      if (camera == nullptr) {
        continue;
      }
      while (camera->getSubscription().isUnderWay() && !module().isWaiting(number - 1)) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "camera " << number;
        std::this_thread::yield();
      }
    }
  }

  // As time passes, attempts are over before it goes on.
  void wait(std::int64_t microseconds) {
    for (std::int64_t waited = 0; waited < microseconds; waited += TICK) {
      ASSERT_TRUE(clock.advanceAndSettle(TICK));
      settle();
    }
  }

  static void deliver(const video_scene_subscriber& subscriber, const FrameOf& frame) {
    subscriber.onMessage(frame.release(), subscriber.userData);
  }
  static void disconnect(const video_scene_subscriber& subscriber) {
    subscriber.onDisconnect(subscriber.userData);
  }

  RecordingProducer producer;
  Notes notes;
  std::unique_ptr<CallbackCameraContainer> container;
};

TEST_F(CallbackCameraContainerTest, SubscribesToTheCamerasChannel) {
  configure({2});
  EXPECT_EQ(module().takeCalls(), Texts({"create 1", "subscribe 1"}));
  const video_scene_subscriber* const subscriber = module().find(1);
  ASSERT_NE(subscriber, nullptr);
  EXPECT_EQ(subscriber->format, 2);
  EXPECT_NE(subscriber->onMessage, nullptr);
  EXPECT_NE(subscriber->onDisconnect, nullptr);
  EXPECT_TRUE(subscriber->isSubscribed);
}

TEST_F(CallbackCameraContainerTest, TheMaskTellsWhatTheFramesAreToHold) {
  for (int mask = 0; mask < 16; ++mask) {
    container.reset();
    makeContainer(mask);
    configure({1});
    const video_scene_subscriber* const subscriber = module().find(0);
    ASSERT_NE(subscriber, nullptr);
    EXPECT_EQ(subscriber->hasBoundingBox, (mask & 1) != 0) << mask;
    EXPECT_EQ(subscriber->hasPolygon, (mask & 2) != 0) << mask;
    EXPECT_EQ(subscriber->hasVelocity, (mask & 4) != 0) << mask;
    EXPECT_EQ(subscriber->hasLowConfident, (mask & 8) != 0) << mask;
  }
}

TEST_F(CallbackCameraContainerTest, TheWholeMaskIsKept) {
  configure({1});
  EXPECT_EQ(container->getCamera({1, 0, {}})->getPropertyMask(), 14);
  deliver(*module().find(0), {.time = 5, .ids = {3}, .confidence = 4095});
  EXPECT_EQ(notes.take(), Texts({"g1 frame 5: 3/0?"}));
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(CallbackCameraContainerTest, FramesReachTheirCamera) {
  configure({1, 2});
  deliver(*module().find(1), {.time = 5, .ids = {3}});
  deliver(*module().find(0), {.time = 6, .ids = {3, 4}});
  EXPECT_EQ(notes.take(), Texts({"g2 frame 5: 3/0", "g1 frame 6: 3/0 4/0"}));
}

TEST_F(CallbackCameraContainerTest, ANullFrameIsIgnored) {
  configure({1});
  const video_scene_subscriber* const subscriber = module().find(0);
  subscriber->onMessage(nullptr, subscriber->userData);
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(CallbackCameraContainerTest, ACameraNumberedZeroGetsNoSubscription) {
  configure({0});
  EXPECT_TRUE(module().takeCalls().empty());
  wait(ONE_PERIOD);
  EXPECT_TRUE(module().takeCalls().empty());
  EXPECT_TRUE(container->doesProfileExist(0));
}

TEST_F(CallbackCameraContainerTest, ACameraThatRemainsKeepsItsSubscription) {
  configure({1});
  module().takeCalls();
  configure({1});
  EXPECT_TRUE(module().takeCalls().empty());
  deliver(*module().find(0), {.time = 5});
  EXPECT_EQ(notes.take(), Texts({"g1 frame 5:"}));
}

TEST_F(CallbackCameraContainerTest, AnAspectRatioThatCouldNotBeReadIsReadWithTheNextConfiguration) {
  const std::string ratio = "root.ImageSource.I0.Sensor.AspectRatio";
  const auto ageAt = [&](std::int64_t time) {
    deliver(*module().find(0), {.time = time, .ids = {3}});
    return notes.take();
  };
  configure({1});
  EXPECT_EQ(ageAt(5), Texts({"g1 frame 5: 3/0"}));
  configure({1});
  EXPECT_EQ(ageAt(8), Texts({"g1 frame 8: 3/3"})) << "still 16:9";
  FakeParameters::set(ratio, "4:3");
  configure({1});
  EXPECT_EQ(ageAt(9), Texts({"g1 frame 9: 3/0"})) << "sizes under another ratio do not compare";
  FakeParameters::set(ratio, "1:1");
  configure({1});
  EXPECT_EQ(ageAt(12), Texts({"g1 frame 12: 3/3"})) << "it was read";
}

TEST_F(CallbackCameraContainerTest, ACameraThatGoesEndsItsSubscription) {
  configure({1, 2});
  module().takeCalls();
  configure({2});
  EXPECT_EQ(module().takeCalls(), Texts({"unsubscribe 0", "delete 0"}));
  EXPECT_EQ(module().alive(), 1);
}

TEST_F(CallbackCameraContainerTest, AFrameForACameraThatIsGoneIsFreed) {
  configure({1, 2});
  const video_scene_subscriber gone = *module().find(0);
  configure({2});
  deliver(gone, {.time = 5, .ids = {3}});
  disconnect(gone);
  EXPECT_TRUE(notes.take().empty());
  wait(ONE_PERIOD);
  EXPECT_EQ(module().find(0), nullptr);
}

TEST_F(CallbackCameraContainerTest, AFrameIsLetInWhileASubscriptionEnds) {
  // The module waits for the callback that is under way: without the lock it can end.
  configure({1, 2});
  module().whileUnsubscribing = [](video_scene_subscriber& subscriber) {
    std::thread([&] { deliver(subscriber, {.time = 5}); }).join();
  };
  configure({2});
  container->shutDown();
  container.reset();
  module().whileUnsubscribing = nullptr;
}

TEST_F(CallbackCameraContainerTest, ShuttingDownEndsAllSubscriptions) {
  configure({1, 2});
  module().takeCalls();
  container->shutDown();
  Texts calls = module().takeCalls();
  std::sort(calls.begin(), calls.end());
  EXPECT_EQ(calls.size() - std::count(calls.begin(), calls.end(), "close"), 4U);
  EXPECT_EQ(module().alive(), 0);
  EXPECT_NE(container->getCamera({1, 0, {}}), nullptr);
}

TEST_F(CallbackCameraContainerTest, FramesWhileNotRunningAreFreedWithoutParsing) {
  configure({1});
  const video_scene_subscriber subscriber = *module().find(0);
  container->shutDown();
  deliver(subscriber, {.time = 5, .ids = {3}});
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(CallbackCameraContainerTest, AfterShuttingDownNothingIsConnectedAgain) {
  configure({1});
  disconnect(*module().find(0));
  container->shutDown();
  module().takeCalls();
  wait(2 * ONE_PERIOD);
  const Texts calls = module().takeCalls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "create 0"), 0);
}

TEST_F(CallbackCameraContainerTest, TheModuleIsClosedAfterTheLastSubscriber) {
  configure({1});
  module().takeCalls();
  container->shutDown();
  container.reset();
  const Texts calls = module().takeCalls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back(), "close");
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "close"), 1);
}

TEST_F(CallbackCameraContainerTest, AFailedSubscriptionIsLoggedAndTriedAgain) {
  module().failingSubscribes = 2;
  configure({1});
  EXPECT_EQ(log.count("Could not subscribe to scene data. Code: -3\n"), 1);
  EXPECT_EQ(module().takeCalls(), Texts({"create 0", "subscribe 0", "delete 0"}));
  wait(ONE_PERIOD);
  EXPECT_EQ(log.count("Could not subscribe to scene data. Code: -3\n"), 2);
  wait(PERIOD);
  ASSERT_NE(module().find(0), nullptr);
  EXPECT_TRUE(module().find(0)->isSubscribed);
  module().takeCalls();
  wait(3 * PERIOD);
  EXPECT_TRUE(module().takeCalls().empty()) << "it succeeded";
  deliver(*module().find(0), {.time = 5});
  EXPECT_EQ(notes.take(), Texts({"g1 frame 5:"}));
}

TEST_F(CallbackCameraContainerTest, NothingIsTriedBefore200Milliseconds) {
  module().failingSubscribes = 1;
  configure({1});
  module().takeCalls();
  wait(PERIOD - 20'000);
  EXPECT_TRUE(module().takeCalls().empty());
}

TEST_F(CallbackCameraContainerTest, AFailedCreationIsTriedAgain) {
  module().failingCreates = 1;
  configure({1});
  EXPECT_EQ(module().takeCalls(), Texts({"create 0"}));
  wait(ONE_PERIOD);
  EXPECT_EQ(module().takeCalls(), Texts({"create 0", "subscribe 0"}));
}

TEST_F(CallbackCameraContainerTest, ADisconnectedCameraTellsItsGuardsAndIsConnectedAgain) {
  configure({1});
  deliver(*module().find(0), {.time = 5, .ids = {3}});
  notes.take();
  module().takeCalls();
  disconnect(*module().find(0));
  EXPECT_EQ(notes.take(), Texts({"g1 lost"}));
  EXPECT_TRUE(module().takeCalls().empty()) << "nothing is deleted in its own callback";
  wait(ONE_PERIOD);
  const Texts calls = module().takeCalls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "delete 0"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "create 0"), 1);
  EXPECT_EQ(calls.back(), "subscribe 0");
  EXPECT_EQ(module().alive(), 1);
  deliver(*module().find(0), {.time = 9, .ids = {3}});
  EXPECT_EQ(notes.take(), Texts({"g1 frame 9: 3/0"}));
}

TEST_F(CallbackCameraContainerTest, ReconnectionGoesOnUntilItSucceeds) {
  configure({1});
  disconnect(*module().find(0));
  module().failingCreates = 3;
  wait(ONE_PERIOD + 2 * PERIOD);
  EXPECT_EQ(module().alive(), 0);
  wait(2 * PERIOD);
  EXPECT_EQ(module().alive(), 1);
}

TEST_F(CallbackCameraContainerTest, ACameraThatGoesIsNotConnectedAgain) {
  configure({1, 2});
  disconnect(*module().find(0));
  configure({2});
  module().takeCalls();
  wait(2 * ONE_PERIOD);
  EXPECT_TRUE(module().takeCalls().empty());
}

TEST_F(CallbackCameraContainerTest, AnObserverThatSomebodyElseUnregistersIsReplaced) {
  // Ids may be shared: the end of one observer is that of the other.
  configure({1});
  disconnect(*module().find(0));
  module().failingCreates = 1000;
  wait(TICK);  // only an observer that is active can be unregistered
  for (const int lost : {0, 1, 2, 3}) {
    IntervalTimerObservable::unregisterObserver(lost);
    wait(5 * PERIOD);
    module().takeCalls();
    wait(2 * PERIOD);
    EXPECT_FALSE(module().takeCalls().empty()) << "without observer " << lost;
  }
  module().failingCreates = 0;
}

TEST_F(CallbackCameraContainerTest, ObserversThatAreAllLostAreReplacedWithTheNextLoss) {
  configure({1, 2});
  disconnect(*module().find(0));
  for (int id = 0; id < 4; ++id) {
    IntervalTimerObservable::unregisterObserver(id);
  }
  wait(TICK);
  for (int id = 0; id < 4; ++id) {
    IntervalTimerObservable::unregisterObserver(id);
  }
  wait(5 * PERIOD);
  module().takeCalls();
  disconnect(*module().find(1));
  wait(ONE_PERIOD);
  const Texts calls = module().takeCalls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "subscribe 0"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "subscribe 1"), 1);
}

TEST_F(CallbackCameraContainerTest, ObserversThatAreOutOfStepTryACameraOnceInAPeriod) {
  configure({1, 2});
  disconnect(*module().find(0));
  module().failingCreates = 1000;
  wait(TICK);  // only an observer that is active can be unregistered
  IntervalTimerObservable::unregisterObserver(0);
  wait(3 * PERIOD + PERIOD / 2);
  disconnect(*module().find(1));  // replaces the observer half a period after the other is due
  module().takeCalls();
  wait(10 * PERIOD);
  module().failingCreates = 0;
  const Texts calls = module().takeCalls();
  const auto attempts = std::count(calls.begin(), calls.end(), "create 0");
  EXPECT_GE(attempts, 9);
  EXPECT_LE(attempts, 11);
}

TEST_F(CallbackCameraContainerTest, AStreamThatEndsAfterShuttingDownIsNoLoss) {
  configure({1});
  const video_scene_subscriber subscriber = *module().find(0);
  container->shutDown();
  disconnect(subscriber);
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(CallbackCameraContainerTest, TwoCamerasAreConnectedAgainEach) {
  configure({1, 2});
  disconnect(*module().find(0));
  disconnect(*module().find(1));
  wait(ONE_PERIOD);
  ASSERT_NE(module().find(0), nullptr);
  ASSERT_NE(module().find(1), nullptr);
  EXPECT_EQ(module().alive(), 2);
  deliver(*module().find(0), {.time = 1});
  deliver(*module().find(1), {.time = 2});
  const Texts texts = notes.take();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g1 frame 1:"), 1);
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "g2 frame 2:"), 1);
}

// ---- A service that takes a subscription and does not answer ----

class MuteSceneServiceTest : public CallbackCameraContainerTest {
 protected:
  ~MuteSceneServiceTest() override {
    container.reset();
    module().muteChannels = {};
    module().whileSubscribing = nullptr;
  }

  // Whether the timer service has nobody to call: ids begin at 0 then.
  bool isTimerIdle() {
    wait(2 * TICK);
    return IntervalTimerObservable::registerObserver([](std::int32_t) {}, PERIOD) == 0;
  }

  static long count(const Texts& calls, const std::string& call) {
    return std::count(calls.begin(), calls.end(), call);
  }
};

TEST_F(MuteSceneServiceTest, HoldsUpNeitherTheConfigurationNorOtherCameras) {
  module().muteChannels = {0};
  configure({1, 2});
  EXPECT_TRUE(module().waitForMute(0));
  EXPECT_TRUE(container->doesProfileExist(1));
  deliver(*module().find(1), {.time = 5, .ids = {3}});
  EXPECT_EQ(notes.take(), Texts({"g2 frame 5: 3/0"}));
  EXPECT_TRUE(module().isWaiting(0));
}

TEST_F(MuteSceneServiceTest, CamerasDoNotWaitForEachOther) {
  module().muteChannels = {0, 1, 2, 3};
  configure({1, 2, 3, 4});
  for (const int channel : {0, 1, 2, 3}) {
    EXPECT_TRUE(module().waitForMute(channel)) << channel;
  }
}

TEST_F(MuteSceneServiceTest, HoldsUpNoTimerAndIsAskedOnceAtATime) {
  configure({1, 2});
  disconnect(*module().find(0));
  disconnect(*module().find(1));
  module().muteChannels = {0};
  module().takeCalls();
  wait(10 * PERIOD);
  EXPECT_TRUE(module().isWaiting(0));
  EXPECT_TRUE(module().find(1)->isSubscribed);
  const Texts calls = module().takeCalls();
  EXPECT_EQ(count(calls, "subscribe 0"), 1);
  EXPECT_EQ(count(calls, "subscribe 1"), 1);
}

TEST_F(MuteSceneServiceTest, IsAskedAgainWhenItsTimeIsOver) {
  module().muteChannels = {0};
  configure({1});
  ASSERT_TRUE(module().waitForMute(0));
  wait(10 * PERIOD);
  module().takeCalls();
  module().muteChannels = {};
  ASSERT_TRUE(module().cutShort(*module().find(0)));  // as by the module itself
  settle();
  EXPECT_EQ(log.count("Could not subscribe to scene data. Code: -1\n"), 1);
  wait(ONE_PERIOD);
  EXPECT_EQ(module().takeCalls(), Texts({"delete 0", "create 0", "subscribe 0"}));
  EXPECT_TRUE(module().find(0)->isSubscribed);
}

TEST_F(MuteSceneServiceTest, ACameraThatGoesCutsItsAttemptShort) {
  module().muteChannels = {0};
  configure({1, 2});
  ASSERT_TRUE(module().waitForMute(0));
  module().takeCalls();
  configure({2});
  EXPECT_EQ(module().takeCalls(), Texts({"unsubscribe 0", "delete 0"}));
  EXPECT_EQ(module().alive(), 1);
  EXPECT_TRUE(isTimerIdle()) << "its attempt is over, and no other is to come";
  wait(2 * ONE_PERIOD);
  EXPECT_TRUE(module().takeCalls().empty());
}

TEST_F(MuteSceneServiceTest, ACameraThatComesBackIsSubscribedAnew) {
  module().muteChannels = {0};
  configure({1, 2});
  ASSERT_TRUE(module().waitForMute(0));
  configure({2});
  module().muteChannels = {};
  configure({1, 2});
  deliver(*module().find(0), {.time = 5});
  EXPECT_EQ(notes.take(), Texts({"g1 frame 5:"}));
}

TEST_F(MuteSceneServiceTest, ShuttingDownCutsAllAttemptsShort) {
  module().muteChannels = {0, 1, 2, 3};
  configure({1, 2, 3, 4});
  for (const int channel : {0, 1, 2, 3}) {
    ASSERT_TRUE(module().waitForMute(channel));
  }
  container->shutDown();
  EXPECT_EQ(module().alive(), 0);
  const Texts calls = module().takeCalls();
  for (const char* call : {"unsubscribe 0", "unsubscribe 3", "delete 0", "delete 3"}) {
    EXPECT_EQ(count(calls, call), 1) << call;
  }
  EXPECT_EQ(calls.back(), "close");
  EXPECT_TRUE(isTimerIdle());
}

TEST_F(MuteSceneServiceTest, AnAttemptThatDoesNotWaitYetIsCutShortWhenItDoes) {
  module().muteChannels = {0};
  configure({1});
  ASSERT_TRUE(module().waitForMute(0));
  module().takeCalls();
  module().failingUnsubscribes = 2;
  container->shutDown();
  EXPECT_EQ(log.count("Scene provider in invalid running state (unsubscribe).\n"), 0);
  const Texts calls = module().takeCalls();
  EXPECT_EQ(count(calls, "unsubscribe 0"), 3);
  EXPECT_EQ(count(calls, "delete 0"), 1);
}

TEST_F(MuteSceneServiceTest, ASubscriptionThatSucceedsWhileItEndsIsEnded) {
  // The module has answered, and the end comes before the attempt knows.
  configure({1});
  disconnect(*module().find(0));
  std::thread ending;
  module().whileSubscribing = [&](video_scene_subscriber&) {
    ending = std::thread([&] { container->shutDown(); });
    // Another function of the module is called only when the end has come to this camera.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (count(module().takeCalls(), "unsubscribe 0") == 0 &&
           std::chrono::steady_clock::now() < deadline) {
      std::this_thread::yield();
    }
  };
  wait(ONE_PERIOD);
  ASSERT_TRUE(ending.joinable());
  ending.join();
  EXPECT_EQ(module().alive(), 0);
}

TEST_F(MuteSceneServiceTest, AStreamThatEndsBeforeItsAttemptIsAskedForAgain) {
  module().whileSubscribing = [](video_scene_subscriber& subscriber) {
    std::thread([&] { disconnect(subscriber); }).join();
  };
  configure({1});
  module().whileSubscribing = nullptr;
  module().takeCalls();
  wait(ONE_PERIOD);
  EXPECT_EQ(module().takeCalls(), Texts({"delete 0", "create 0", "subscribe 0"}));
  wait(ONE_PERIOD);
  EXPECT_TRUE(module().takeCalls().empty());
}

TEST_F(MuteSceneServiceTest, WhatIsCutShortOnPurposeIsNoFailure) {
  module().muteChannels = {0};
  configure({1, 2});
  ASSERT_TRUE(module().waitForMute(0));
  module().failingUnsubscribes = 2;
  log.clear();
  configure({2});
  container->shutDown();
  EXPECT_TRUE(log.lines().empty()) << log.lines().front().text;
}

TEST_F(MuteSceneServiceTest, AFailureThatIsNobodysWishIsLogged) {
  module().failingSubscribes = 1;
  configure({1});
  EXPECT_EQ(log.count("No valid scene provider available  (subscribe).\n"), 1);
  EXPECT_EQ(log.count("Could not subscribe to scene data. Code: -3\n"), 1);
}

TEST_F(MuteSceneServiceTest, ACameraThatWasRemovedWithAllOthersIsNotConnectedAgain) {
  configure({1});
  disconnect(*module().find(0));
  container->removeAllCameras();
  module().takeCalls();
  wait(2 * ONE_PERIOD);
  EXPECT_TRUE(module().takeCalls().empty());
  EXPECT_TRUE(isTimerIdle());
}

TEST_F(MuteSceneServiceTest, WithoutAThreadToBeHadTheAttemptIsMadeLater) {
  t_refusedThreads = 1;
  configure({1});
  EXPECT_EQ(t_refusedThreads, 0);
  EXPECT_TRUE(module().takeCalls().empty());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(
      log.lines()[0].text.starts_with("Could not start a thread to subscribe to scene data: "));
  wait(ONE_PERIOD);
  EXPECT_EQ(module().takeCalls(), Texts({"create 0", "subscribe 0"}));
}

// ---- A subscription on its own ----

TEST_F(MuteSceneServiceTest, NoAttemptBeginsAfterTheEnd) {
  SceneSubscription subscription;
  subscription.end();
  bool hasBegun = false;
  EXPECT_TRUE(subscription.start([&] { hasBegun = true; }));
  subscription.end();
  EXPECT_FALSE(hasBegun);
}

TEST_F(MuteSceneServiceTest, OnceTheEndHasBegunTheModuleIsNotAskedAnyMore) {
  SceneSubscription subscription;
  int result = -1;
  std::promise<void> hasBegun;
  subscription.start([&] {
    EXPECT_NE(subscription.obtainSubscriber(1, nullptr), nullptr);
    result = subscription.subscribe();
    hasBegun.set_value();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (result == 0 && std::chrono::steady_clock::now() < deadline) {
      result = subscription.subscribe();
    }
  });
  hasBegun.get_future().wait();
  subscription.end();
  EXPECT_EQ(result, VIDEO_SCENE_SUBSCRIBER_FAILED);
  EXPECT_EQ(module().alive(), 0);
}

TEST_F(MuteSceneServiceTest, WhatWasUnsubscribedWhileItWasAttemptedIsNotUnsubscribedAgain) {
  SceneSubscription subscription;
  std::promise<void> isAsked;
  std::promise<void> isUnsubscribed;
  module().whileSubscribing = [&](video_scene_subscriber&) {
    isAsked.set_value();
    isUnsubscribed.get_future().wait();
  };
  module().whileUnsubscribing = [&](video_scene_subscriber&) {
    module().whileUnsubscribing = nullptr;
    isUnsubscribed.set_value();
  };
  subscription.start([&] {
    subscription.obtainSubscriber(1, nullptr);
    subscription.subscribe();
  });
  isAsked.get_future().wait();
  subscription.end();
  const Texts calls = module().takeCalls();
  EXPECT_EQ(count(calls, "unsubscribe 0"), 1);
  EXPECT_EQ(calls.back(), "delete 0");
}

TEST_F(MuteSceneServiceTest, WithoutASubscriberNothingIsAsked) {
  SceneSubscription subscription;
  EXPECT_EQ(subscription.subscribe(), VIDEO_SCENE_SUBSCRIBER_FAILED);
  EXPECT_TRUE(module().takeCalls().empty());
}

// ---- A camera on its own ----

TEST_F(CallbackCameraContainerTest, AStoppedCameraDropsFrames) {
  CallbackCamera camera(1, 0, 1.0F, 14, {});
  camera.insertGuard(std::make_unique<NotingGuard>("g", 1, 1, producer, notes));
  notes.take();
  camera.handleMoteData(FrameOf{.time = 1}.make());
  EXPECT_EQ(notes.take(), Texts({"g frame 1:"}));
  camera.stop();
  camera.handleMoteData(FrameOf{.time = 2}.make());
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(CallbackCameraContainerTest, ACameraIgnoresAFrameWithoutData) {
  CallbackCamera camera(1, 0, 1.0F, 14, {});
  camera.insertGuard(std::make_unique<NotingGuard>("g", 1, 1, producer, notes));
  notes.take();
  camera.handleMoteData({});
  EXPECT_TRUE(notes.take().empty());
}

// ---- The choice of the family ----

class CameraContainerFactoryTest : public InitializedWrapperTest {
 protected:
  CameraContainerFactoryTest() { module().takeCalls(); }

  static void setVersion(const std::string& version) {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.Version", version);
  }

  std::unique_ptr<CameraContainer> create() const {
    return CameraContainerFactory::create(API_VersionHandler(VERSIONS, 1), 14);
  }
};

TEST_F(CameraContainerFactoryTest, FromVersion215OnCamerasAreCalledBack) {
  setVersion("2.15");
  const std::unique_ptr<CameraContainer> container = create();
  EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr);
}

TEST_F(CameraContainerFactoryTest, ALaterMajorVersionIsCalledBackToo) {
  setVersion("3.0");
  const std::unique_ptr<CameraContainer> container = create();
  EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr);
}

TEST_F(CameraContainerFactoryTest, WaitsForTheModule) {
  setVersion("2.15");
  module().isAbsent = true;
  std::unique_ptr<CameraContainer> container;
  std::thread waiting([&] { container = create(); });
  for (int attempt = 0; attempt < 5; ++attempt) {
    // The timer's thread and the one that waits.
    ASSERT_TRUE(clock.waitForSleepers(2));
    EXPECT_EQ(module().takeCalls(), Texts({"open"})) << attempt;
    ASSERT_TRUE(clock.advanceAndSettle(99'999, 2));
    EXPECT_TRUE(module().takeCalls().empty()) << "too early";
    if (attempt == 4) {
      module().isAbsent = false;
    }
    clock.advance(1);
  }
  waiting.join();
  EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr);
  EXPECT_EQ(LogCapture::count(LOG_WARNING,
                              "Failed to load video_scene_subsriber. Could not open "
                              "video_scene_subscriber module\n"),
            5);
}

TEST_F(CameraContainerFactoryTest, AVersionThatCannotBeReadIsReadAgainAtEachAttempt) {
  // Without a version the socket is tried, which is not there.
  std::unique_ptr<CameraContainer> container;
  std::thread waiting([&] { container = create(); });
  ASSERT_TRUE(clock.waitForSleepers(2));
  EXPECT_TRUE(module().takeCalls().empty());
  ASSERT_TRUE(clock.advanceAndSettle(100'000, 2));
  setVersion("2.15");
  clock.advance(100'000);
  waiting.join();
  EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr);
  EXPECT_EQ(module().takeCalls().front(), "open");
}

}  // namespace
