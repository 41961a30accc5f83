#include "subscriber/scene_subscriber.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/local_socket.h"
#include "base/mutex.h"
#include "scene.h"
#include "scene/scene_encoder.h"
#include "support/patience.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

constexpr std::chrono::seconds LONG_ENOUGH{30};
constexpr data_format_t FORMAT = DATA_FORMAT_SCENE;

Bytes sceneFrame(std::int32_t object, std::size_t values = 0) {
  SceneEncoder encoder;
  encoder.beginObject(object);
  encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, std::vector<std::int32_t>(values, object));
  return encoder.bytes();
}

// The head and the payload as they travel; the time is one that must not matter.
Bytes packet(std::uint32_t length, const Bytes& payload) {
  Bytes bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(length >> shift));
  }
  bytes.insert(bytes.end(), 8, 0xa5);
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return bytes;
}

Bytes packet(const Bytes& payload) {
  return packet(static_cast<std::uint32_t>(payload.size()), payload);
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// What the service sees of one subscription.
struct Served {
  FileDescriptor stream;
  std::string request;

  void send(const Bytes& bytes) const { EXPECT_TRUE(local_socket::sendAll(stream.get(), bytes)); }
};

class SubscriptionService {
 public:
  explicit SubscriptionService(const std::string& path) : listener(local_socket::listenAt(path)) {
    EXPECT_TRUE(listener.isOpen());
    EXPECT_EQ(0, fcntl(listener.get(), F_SETFL, 0));  // accept is to wait
  }

  // Accepts one subscription, reads its line and answers.
  std::future<Served> serve(std::string answer) {
    return std::async(std::launch::async, [this, answer = std::move(answer)] {
      Served served{FileDescriptor(accept(listener.get(), nullptr, nullptr)), ""};
      std::uint8_t byte = 0;
      while (byte != '\n' && local_socket::receiveAll(served.stream.get(), {&byte, 1})) {
        served.request += static_cast<char>(byte);
      }
      served.send(Bytes(answer.begin(), answer.end()));
      return served;
    });
  }

 private:
  FileDescriptor listener;
};

// Collects what the callbacks are told.
class Receiver {
 public:
  static void onMessage(char* data, void* userData) {
    auto* self = static_cast<Receiver*>(userData);
    const std::size_t size = scene_area_size(data);
    const auto* first = reinterpret_cast<const std::uint8_t*>(data);
    Bytes frame(first, first + size);
    std::free(data);
    if (self->during) {
      self->during();
    }
    const LockGuard lock(self->mutex);
    self->frames.push_back(std::move(frame));
    self->changed.notifyAll();
  }

  static void onDisconnect(void* userData) {
    auto* self = static_cast<Receiver*>(userData);
    const LockGuard lock(self->mutex);
    ++self->disconnects;
    self->changed.notifyAll();
  }

  std::vector<Bytes> waitForFrames(std::size_t count) {
    const LockGuard lock(mutex);
    EXPECT_TRUE(waitUntil([&] { return frames.size() >= count; }, changed, mutex, LONG_ENOUGH));
    return frames;
  }

  void waitForDisconnect() {
    const LockGuard lock(mutex);
    EXPECT_TRUE(waitUntil([&] { return disconnects > 0; }, changed, mutex, LONG_ENOUGH));
  }

  std::vector<Bytes> getFrames() {
    const LockGuard lock(mutex);
    return frames;
  }

  int countDisconnects() {
    const LockGuard lock(mutex);
    return disconnects;
  }

  std::function<void()> during;

 private:
  Mutex mutex;
  Condition changed;
  std::vector<Bytes> frames;
  int disconnects = 0;
};

class SceneSubscriberTest : public testing::Test {
 protected:
  SceneSubscriberTest() { listen(subscriber); }

  void listen(SceneSubscriber& subscriber) {
    EXPECT_EQ(0, subscriber.setMessageCallback(&Receiver::onMessage));
    EXPECT_EQ(0, subscriber.setDisconnectCallback(&Receiver::onDisconnect));
  }

  Served subscribe() {
    std::future<Served> served = service.serve("OK\n");
    EXPECT_EQ(0, subscriber.subscribe());
    return served.get();
  }

  // Subscribes anew as soon as the old subscription has come to its end.
  Served subscribeAgain() {
    std::future<Served> served = service.serve("OK\n");
    const auto deadline = std::chrono::steady_clock::now() + LONG_ENOUGH;
    int result = VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
    while (result == VIDEO_SCENE_SUBSCRIBER_BAD_STATE &&
           std::chrono::steady_clock::now() < deadline) {
      result = subscriber.subscribe();
      std::this_thread::yield();
    }
    EXPECT_EQ(0, result);
    return served.get();
  }

  TemporaryFolder folder;
  const std::string path = folder / "subscriber";
  SubscriptionService service{path};
  Receiver receiver;
  SceneSubscriber subscriber{path, 0, FORMAT, &receiver};
};

TEST_F(SceneSubscriberTest, AsksForItsChannelAndProperties) {
  SceneSubscriber other(path, 3, FORMAT, nullptr);
  const auto requestOf = [&] {
    std::future<Served> served = service.serve("OK\n");
    EXPECT_EQ(0, other.subscribe());
    std::string request = served.get().request;
    EXPECT_EQ(0, other.unsubscribe());
    return request;
  };
  EXPECT_EQ("SUBSCRIBE 3 0\n", requestOf());
  other.setEnabled(SceneSubscriber::BOUNDING_BOX, true);
  EXPECT_EQ("SUBSCRIBE 3 1\n", requestOf());
  other.setEnabled(SceneSubscriber::POLYGON, true);
  other.setEnabled(SceneSubscriber::VELOCITY, true);
  other.setEnabled(SceneSubscriber::LOW_CONFIDENT, true);
  EXPECT_EQ("SUBSCRIBE 3 15\n", requestOf());
  other.setEnabled(SceneSubscriber::BOUNDING_BOX, false);
  EXPECT_EQ("SUBSCRIBE 3 14\n", requestOf());
}

TEST_F(SceneSubscriberTest, WithoutAServiceThereIsNoProvider) {
  SceneSubscriber lonely(folder / "nobody", 0, FORMAT, nullptr);
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER, lonely.subscribe());
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, lonely.unsubscribe());
}

TEST_F(SceneSubscriberTest, AnUnknownChannelHasNoProvider) {
  std::future<Served> served = service.serve("NO\n");
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER, subscriber.subscribe());
  served.get();
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.unsubscribe());
}

TEST_F(SceneSubscriberTest, AnyOtherAnswerIsAFailure) {
  for (const char* answer : {"OK?", "\n\n\n", ""}) {
    std::future<Served> served = service.serve(answer);
    std::future<int> result =
        std::async(std::launch::async, [this] { return subscriber.subscribe(); });
    served.get();  // and ends the stream
    EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_FAILED, result.get()) << answer;
  }
}

TEST_F(SceneSubscriberTest, AServiceThatDoesNotAnswerIsAFailure) {
  SceneSubscriber hasty(path, 0, FORMAT, nullptr, std::chrono::milliseconds(50));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_FAILED, hasty.subscribe());
}

// A subscriber whose attempt waits for an answer that does not come.
class MuteServiceTest : public SceneSubscriberTest {
 protected:
  MuteServiceTest() {
    listen(patient);
    std::future<Served> serving = service.serve("");
    attempt = std::async(std::launch::async, [this] { return patient.subscribe(); });
    served = serving.get();  // the service has been asked
  }
  ~MuteServiceTest() override { patient.unsubscribe(); }

  SceneSubscriber patient{path, 0, FORMAT, &receiver, LONG_ENOUGH};
  std::future<int> attempt;
  Served served;
};

TEST_F(MuteServiceTest, AnAttemptIsCutShort) {
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_OK, patient.unsubscribe());
  EXPECT_EQ(std::future_status::ready, attempt.wait_for(LONG_ENOUGH / 3));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_FAILED, attempt.get());
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, patient.unsubscribe());
  EXPECT_EQ(0, receiver.countDisconnects());
}

TEST_F(MuteServiceTest, AnAnswerThatEndsAfterTheCutDoesNotCount) {
  served.send({'O', 'K'});
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_OK, patient.unsubscribe());
  send(served.stream.get(), "\n", 1, MSG_NOSIGNAL);
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_FAILED, attempt.get());
}

TEST_F(MuteServiceTest, AnAnswerThatIsCompleteWhenTheAttemptIsCutDoesNotCount) {
  // What has been received stays readable after the cut: the attempt reads it all when it comes
  // after the cut, and else the cut finds a subscription to end.
  for (int round = 0; round < 200; ++round) {
    SceneSubscriber subscriber(path, 0, FORMAT, &receiver, LONG_ENOUGH);
    std::future<Served> serving = service.serve("");
    std::future<int> attempt =
        std::async(std::launch::async, [&] { return subscriber.subscribe(); });
    const Served served = serving.get();
    served.send({'O', 'K', '\n'});
    EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_OK, subscriber.unsubscribe());
    const int result = attempt.get();
    // Either way it is over: nobody may believe to be subscribed.
    EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.unsubscribe()) << result;
  }
}

TEST_F(MuteServiceTest, NothingElseIsPossibleDuringAnAttempt) {
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, patient.subscribe());
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, patient.setMessageCallback(nullptr));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, patient.setEnabled(SceneSubscriber::POLYGON, true));
  EXPECT_EQ(std::future_status::timeout, attempt.wait_for(std::chrono::seconds(0)));
}

TEST_F(MuteServiceTest, AnotherSubscriberIsNotHeldUp) {
  const Served served = subscribe();
  served.send(packet(sceneFrame(1)));
  EXPECT_THAT(receiver.waitForFrames(1), ElementsAre(sceneFrame(1)));
  EXPECT_EQ(0, subscriber.unsubscribe());
  EXPECT_EQ(std::future_status::timeout, attempt.wait_for(std::chrono::seconds(0)));
}

TEST_F(MuteServiceTest, AfterAnAttemptThatWasCutShortTheNextOneSucceeds) {
  patient.unsubscribe();
  attempt.get();
  std::future<Served> serving = service.serve("OK\n");
  ASSERT_EQ(0, patient.subscribe());
  const Served served = serving.get();
  served.send(packet(sceneFrame(2)));
  EXPECT_THAT(receiver.waitForFrames(1), ElementsAre(sceneFrame(2)));
}

TEST_F(SceneSubscriberTest, AnAnswerThatTricklesInIsAFailure) {
  // Each byte comes within the time-out, the whole does not.
  SceneSubscriber hasty(path, 0, FORMAT, nullptr, std::chrono::milliseconds(300));
  std::future<Served> serving = service.serve("");
  std::future<int> attempt = std::async(std::launch::async, [&] { return hasty.subscribe(); });
  const Served served = serving.get();
  for (const char letter : {'O', 'K', '\n'}) {
    attempt.wait_for(std::chrono::milliseconds(200));
    send(served.stream.get(), &letter, 1, MSG_NOSIGNAL);
  }
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_FAILED, attempt.get());
}

TEST_F(SceneSubscriberTest, AQuietStreamIsNoDisconnection) {
  // Long enough for the service of the test to answer, even on a busy machine.
  constexpr std::chrono::milliseconds TIMEOUT(2000);
  SceneSubscriber hasty(path, 0, FORMAT, &receiver, TIMEOUT);
  listen(hasty);
  std::future<Served> serving = service.serve("OK\n");
  ASSERT_EQ(0, hasty.subscribe());
  const Served served = serving.get();
  pollfd end{served.stream.get(), POLLIN, 0};
  EXPECT_EQ(0, poll(&end, 1, 2500));
  served.send(packet(sceneFrame(1)));
  EXPECT_THAT(receiver.waitForFrames(1), ElementsAre(sceneFrame(1)));
  EXPECT_EQ(0, receiver.countDisconnects());
}

TEST_F(SceneSubscriberTest, AFrameThatStallsEndsTheStream) {
  for (const std::size_t sent : {std::size_t{3}, std::size_t{20}}) {  // in the head, in the payload
    Receiver receiver;
    // Long enough for the service of the test to answer, even on a busy machine.
    SceneSubscriber hasty(path, 0, FORMAT, &receiver, std::chrono::milliseconds(2000));
    listen(hasty);
    std::future<Served> serving = service.serve("OK\n");
    ASSERT_EQ(0, hasty.subscribe());
    const Served served = serving.get();
    const Bytes whole = packet(sceneFrame(1));
    served.send(whole);
    receiver.waitForFrames(1);
    served.send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(sent)));
    receiver.waitForDisconnect();
    EXPECT_EQ(1U, receiver.getFrames().size());
  }
}

TEST_F(SceneSubscriberTest, ASocketThatMayNotBeUsedIsAPolicy) {
  std::filesystem::permissions(path, std::filesystem::perms::none);
  const uid_t user = geteuid();
  constexpr uid_t NOBODY = 65534;
  if (user == 0) {
    ASSERT_EQ(0, seteuid(NOBODY));  // permissions do not bind root
  }
  const int result = subscriber.subscribe();
  ASSERT_EQ(0, seteuid(user));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_NOT_ALLOWED, result);
}

TEST_F(SceneSubscriberTest, AnUnknownFormatIsRefusedAtTheSubscription) {
  SceneSubscriber other(path, 0, static_cast<data_format_t>(1), nullptr);
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_FORMAT, other.subscribe());
}

TEST_F(SceneSubscriberTest, HandsOnEachFrame) {
  const Served served = subscribe();
  served.send(packet(sceneFrame(1)));
  served.send(packet(sceneFrame(2, 100'000)) + packet(sceneFrame(3)));
  EXPECT_THAT(receiver.waitForFrames(3),
              ElementsAre(sceneFrame(1), sceneFrame(2, 100'000), sceneFrame(3)));
}

TEST_F(SceneSubscriberTest, AFrameMayComeInPieces) {
  const Served served = subscribe();
  for (const std::uint8_t byte : packet(sceneFrame(1)) + packet(sceneFrame(2))) {
    served.send({byte});
  }
  EXPECT_THAT(receiver.waitForFrames(2), ElementsAre(sceneFrame(1), sceneFrame(2)));
}

TEST_F(SceneSubscriberTest, WhatIsNoFrameIsLeftOut) {
  Bytes longer = sceneFrame(1);
  longer.push_back(0);
  Bytes shorter = sceneFrame(1);
  shorter.pop_back();
  const Bytes seven(7, 'S');
  const Bytes eight(8, 'S');
  const Served served = subscribe();
  served.send(packet(Bytes()) + packet(seven) + packet(eight) + packet(longer) + packet(shorter) +
              packet(sceneFrame(9)));
  EXPECT_THAT(receiver.waitForFrames(1), ElementsAre(sceneFrame(9)));
}

TEST_F(SceneSubscriberTest, TheEndOfTheStreamIsToldOnce) {
  {
    const Served served = subscribe();
    served.send(packet(sceneFrame(1)));
  }
  receiver.waitForDisconnect();
  EXPECT_EQ(0, subscriber.unsubscribe());
  EXPECT_EQ(1, receiver.countDisconnects());
  EXPECT_THAT(receiver.getFrames(), ElementsAre(sceneFrame(1)));
}

TEST_F(SceneSubscriberTest, AFrameCutByTheEndOfTheStreamIsNotHandedOn) {
  {
    Bytes cut = packet(sceneFrame(1));
    cut.pop_back();
    subscribe().send(cut);
  }
  receiver.waitForDisconnect();
  EXPECT_THAT(receiver.getFrames(), IsEmpty());
}

TEST_F(SceneSubscriberTest, AnImpossibleLengthEndsTheStream) {
  for (const std::uint32_t length : {(16U << 20) + 1, 0x80000000U, 0xffffffffU}) {
    Receiver receiver;
    SceneSubscriber subscriber(path, 0, FORMAT, &receiver);
    listen(subscriber);
    std::future<Served> serving = service.serve("OK\n");
    EXPECT_EQ(0, subscriber.subscribe());
    const Served served = serving.get();
    served.send(packet(length, sceneFrame(1)));
    receiver.waitForDisconnect();
    EXPECT_THAT(receiver.getFrames(), IsEmpty());
  }
}

TEST_F(SceneSubscriberTest, TheEndOfASubscriptionIsNoDisconnection) {
  const Served served = subscribe();
  EXPECT_EQ(0, subscriber.unsubscribe());
  EXPECT_EQ(0, receiver.countDisconnects());
}

TEST_F(SceneSubscriberTest, TheServiceSeesTheEndOfASubscription) {
  const Served served = subscribe();
  EXPECT_EQ(0, subscriber.unsubscribe());
  std::uint8_t byte = 0;
  EXPECT_EQ(0, recv(served.stream.get(), &byte, 1, 0));
}

TEST_F(SceneSubscriberTest, SubscribingAndEndingNeedTheRightState) {
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.unsubscribe());
  const Served served = subscribe();
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.subscribe());
  EXPECT_EQ(0, subscriber.unsubscribe());
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.unsubscribe());
}

TEST_F(SceneSubscriberTest, SettingsCannotChangeWhileSubscribed) {
  const Served served = subscribe();
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.setMessageCallback(nullptr));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE, subscriber.setDisconnectCallback(nullptr));
  EXPECT_EQ(VIDEO_SCENE_SUBSCRIBER_BAD_STATE,
            subscriber.setEnabled(SceneSubscriber::POLYGON, true));
  EXPECT_EQ(0, subscriber.unsubscribe());
  EXPECT_EQ(0, subscriber.setEnabled(SceneSubscriber::POLYGON, true));
}

TEST_F(SceneSubscriberTest, ANewSubscriptionFollowsAnEnd) {
  { const Served served = subscribe(); }
  receiver.waitForDisconnect();
  const Served served = subscribeAgain();
  served.send(packet(sceneFrame(2)));
  EXPECT_THAT(receiver.waitForFrames(1), ElementsAre(sceneFrame(2)));
  EXPECT_EQ(0, subscriber.unsubscribe());
  const Served third = subscribe();
  third.send(packet(sceneFrame(3)));
  EXPECT_THAT(receiver.waitForFrames(2), ElementsAre(sceneFrame(2), sceneFrame(3)));
  EXPECT_EQ(1, receiver.countDisconnects());
}

TEST_F(SceneSubscriberTest, ACallbackThatAsksForMoreIsRefused) {
  std::vector<int> results;
  receiver.during = [&] {
    results = {subscriber.subscribe(), subscriber.unsubscribe(),
               subscriber.setMessageCallback(nullptr)};
  };
  const Served served = subscribe();
  served.send(packet(sceneFrame(1)));
  receiver.waitForFrames(1);
  EXPECT_THAT(results, ElementsAre(-2, -2, -2));
}

TEST_F(SceneSubscriberTest, TheEndWaitsForARunningCallback) {
  std::promise<void> entered;
  std::promise<void> gate;
  std::atomic<bool> hasLeft = false;
  receiver.during = [&] {
    entered.set_value();
    gate.get_future().wait();
    hasLeft = true;
  };
  const Served served = subscribe();
  served.send(packet(sceneFrame(1)));
  entered.get_future().wait();
  std::future<bool> leftBeforeEnd = std::async(std::launch::async, [&] {
    subscriber.unsubscribe();
    return hasLeft.load();
  });
  EXPECT_EQ(std::future_status::timeout, leftBeforeEnd.wait_for(std::chrono::milliseconds(100)));
  gate.set_value();
  EXPECT_TRUE(leftBeforeEnd.get());
}

TEST_F(SceneSubscriberTest, WithoutCallbacksTheStreamIsStillRead) {
  SceneSubscriber silent(path, 0, FORMAT, nullptr);
  std::future<Served> serving = service.serve("OK\n");
  EXPECT_EQ(0, silent.subscribe());
  const Served served = serving.get();
  // More than the socket holds.
  for (int i = 0; i < 20; ++i) {
    served.send(packet(sceneFrame(i, 100'000)));
  }
}

TEST_F(SceneSubscriberTest, DeletingASubscriberEndsItsSubscription) {
  auto subscriber = std::make_unique<SceneSubscriber>(path, 0, FORMAT, &receiver);
  listen(*subscriber);
  std::future<Served> serving = service.serve("OK\n");
  EXPECT_EQ(0, subscriber->subscribe());
  const Served served = serving.get();
  subscriber.reset();
  std::uint8_t byte = 0;
  EXPECT_EQ(0, recv(served.stream.get(), &byte, 1, 0));
  EXPECT_EQ(0, receiver.countDisconnects());
}

class SubscriberModuleTest : public testing::Test {
 protected:
  SubscriberModuleTest() : module(dlopen(SCENE_SUBSCRIBER_MODULE, RTLD_LAZY)) {
    EXPECT_NE(nullptr, module) << dlerror();
  }
  ~SubscriberModuleTest() override { dlclose(module); }

  template <typename Function>
  Function find(const char* name) {
    auto function = reinterpret_cast<Function>(dlsym(module, name));
    EXPECT_NE(nullptr, function) << name;
    return function;
  }

  void* const module;
  const video_scene_subscriber_create_fn create =
      find<video_scene_subscriber_create_fn>("video_scene_subscriber_create");
  const video_scene_subscriber_delete_fn erase =
      find<video_scene_subscriber_delete_fn>("video_scene_subscriber_delete");
  const video_scene_subscriber_subscribe_fn subscribe =
      find<video_scene_subscriber_subscribe_fn>("video_scene_subscriber_subscribe");
  const video_scene_subscriber_unsubscribe_fn unsubscribe =
      find<video_scene_subscriber_unsubscribe_fn>("video_scene_subscriber_unsubscribe");
  const video_scene_subscriber_set_on_disconnect_callback_fn setOnDisconnect =
      find<video_scene_subscriber_set_on_disconnect_callback_fn>(
          "video_scene_subscriber_set_on_disconnect_callback");
  const video_scene_subscriber_set_on_message_arrived_callback_fn setOnMessage =
      find<video_scene_subscriber_set_on_message_arrived_callback_fn>(
          "video_scene_subscriber_set_on_message_arrived_callback");
  const std::vector<video_scene_subscriber_set_enabled_fn> setEnabled = {
      find<video_scene_subscriber_set_enabled_fn>(
          "video_scene_subscriber_set_bounding_box_enabled"),
      find<video_scene_subscriber_set_enabled_fn>("video_scene_subscriber_set_polygon_enabled"),
      find<video_scene_subscriber_set_enabled_fn>("video_scene_subscriber_set_velocity_enabled"),
      find<video_scene_subscriber_set_enabled_fn>(
          "video_scene_subscriber_set_low_confident_enabled")};
};

TEST_F(SubscriberModuleTest, NothingIsABadArgumentEverywhere) {
  EXPECT_EQ(-5, erase(nullptr));
  EXPECT_EQ(-5, subscribe(nullptr));
  EXPECT_EQ(-5, unsubscribe(nullptr));
  EXPECT_EQ(-5, setOnDisconnect(nullptr, nullptr));
  EXPECT_EQ(-5, setOnMessage(nullptr, nullptr));
  for (const auto enable : setEnabled) {
    EXPECT_EQ(-5, enable(nullptr, 1));
  }
}

TEST_F(SubscriberModuleTest, ThereIsNoNegativeChannel) {
  EXPECT_EQ(nullptr, create(-1, FORMAT, nullptr));
}

TEST_F(SubscriberModuleTest, ASubscriberTakesItsSettings) {
  video_scene_subscriber* subscriber = create(0, FORMAT, nullptr);
  ASSERT_NE(nullptr, subscriber);
  EXPECT_EQ(0, setOnDisconnect(subscriber, &Receiver::onDisconnect));
  EXPECT_EQ(0, setOnMessage(subscriber, &Receiver::onMessage));
  for (const auto enable : setEnabled) {
    EXPECT_EQ(0, enable(subscriber, 1));
  }
  EXPECT_EQ(-2, unsubscribe(subscriber));
  EXPECT_EQ(0, erase(subscriber));
}

TEST_F(SubscriberModuleTest, AnUnknownFormatIsRefusedAtTheSubscription) {
  video_scene_subscriber* subscriber = create(0, static_cast<data_format_t>(3), nullptr);
  ASSERT_NE(nullptr, subscriber);
  EXPECT_EQ(-4, subscribe(subscriber));
  EXPECT_EQ(0, erase(subscriber));
}

}  // namespace
