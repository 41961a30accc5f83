// The tracker on a device of the test's own.
#ifndef TESTS_SRC_TRACKER_TRACKER_FIXTURE_H
#define TESTS_SRC_TRACKER_TRACKER_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/units.h"
#include "config/persistent.h"
#include "events/sdk_wrapper.h"
#include "fakes/call_journal.h"
#include "fakes/fake_clock.h"
#include "fakes/fake_events.h"
#include "fakes/fake_lens.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/fake_ptz_library.h"
#include "fakes/fake_ptz_math.h"
#include "fakes/fake_remote_head.h"
#include "fakes/log_capture.h"
#include "scene/mote_object.h"
#include "scene/tracking_object.h"
#include "support/temporary_folder.h"
#include "tracker/super_object_manager.h"
#include "tracker/tracker.h"

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t STEP = 100'000;

// Where the middle of the camera's picture lies in the head's angles.
constexpr double CENTER_PAN = 10.0;
constexpr double CENTER_TILT = -20.0;

// In the picture of the fixture's camera 128 units of the scene are one degree of pan, and 256 one
// of tilt.
constexpr int PAN_UNITS = 128;
constexpr int TILT_UNITS = 256;

// What an object looks like; degrees.
struct Look {
  double pan = CENTER_PAN;
  double tilt = CENTER_TILT;
  double width = 6.0;
  double height = 2.0;
  double panVelocity = 0.0;  // per second
  double tiltVelocity = 0.0;
  bool isConfident = true;
};

// An object of the fixture's camera as a frame shows it.
inline MoteObject moteObject(std::int32_t id, std::int64_t timestamp, const Look& look = {}) {
  const auto units = [](double degrees, int unitsPerDegree) {
    return static_cast<std::int16_t>(degrees * unitsPerDegree);
  };
  const Point centre{units(look.pan - CENTER_PAN, PAN_UNITS),
                     units(look.tilt - CENTER_TILT, TILT_UNITS)};
  return MoteObject(
      id, timestamp,
      MoteVelocity{units(look.panVelocity, PAN_UNITS), units(look.tiltVelocity, TILT_UNITS)},
      std::make_unique<Polygon>(centre, units(look.width, PAN_UNITS),
                                units(look.height, TILT_UNITS)),
      nullptr, look.isConfident);
}

// Camera 1 has a picture of 2048 x 1024 and a lens of 64 by 32 degrees, so that a pixel is exactly
// 1/32 degree. The tracker's thread stands still while a test steps the tracker itself.
class TrackerFixture : public testing::Test {
 protected:
  TrackerFixture() {
    CallJournal::clear();
    FakeEvents::reset();
    FakeMainLoop::reset();
    FakeParameters::reset();
    FakePtzLibrary::reset();
    FakePtzMath::reset();
    Persistent::setPathForTest(folder.path("settings.json"));
    sdk_wrapper_init("SentrelVideo", "SentrelVideo", "MiruPlatform");
    FakeParameters::set("Image.I0.Appearance.Resolution", "2048x1024");
    FakePtzMath::setCenter(1, CENTER_PAN, CENTER_TILT);
    lens.set(0, 64.0, 32.0, 0);
    setHead(0.0, CENTER_TILT);
  }

  ~TrackerFixture() override {
    stop();
    sdk_wrapper_cleanup();
    Persistent::setPathForTest("");
    EXPECT_EQ(FakeEvents::setsAlive(), 0);
  }

  // Makes the tracker; its thread sleeps in the end.
  void start() {
    tracker = &Tracker::getInstance();
    ASSERT_TRUE(clock.waitForSleepers(1));
  }

  void stop() {
    if (tracker != nullptr) {
      tracker->setState(Tracker::CameraState::stopped);
      clock.free();
      Tracker::releaseInstance();
      tracker = nullptr;
    }
  }

  // Made and running on the limits that it starts with: angles 2.5 to 64.6, zoom 1 to 9999.
  void startRunning() {
    start();
    tracker->setState(Tracker::CameraState::running);
    ASSERT_TRUE(tracker->addCamera(1));
    FakeEvents::clearSent();
    FakePtzLibrary::clearMoves();
  }

  // Made and connected with a head whose gains are known.
  void startConnected(const std::string& productNumber) {
    Persistent::setCameraName(productNumber);
    start();
    head.setParameter("Brand.ProdNbr", productNumber);
    tracker->setState(Tracker::CameraState::connecting);
    tracker->connect();
    ASSERT_EQ(tracker->getState(), Tracker::CameraState::running);
    ASSERT_TRUE(tracker->addCamera(1));
    FakeEvents::clearSent();
    FakePtzLibrary::clearMoves();
  }

  // Time that wakes nobody up.
  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  static void setHead(double pan, double tilt, int zoom = 1, bool isMoving = false) {
    FakePtzLibrary::setStatus(
        {static_cast<float>(pan), isMoving ? 1 : 0, static_cast<float>(tilt), 0, zoom, 0});
  }

  void track(std::int32_t id, const Look& look = {}, int priority = 1) {
    const TrackingObject object(moteObject(id, clock.now(), look), 0, 1.0F);
    tracker->track(1, priority, object);
  }

  // One step of the control loop and what it commanded.
  std::vector<FakePtzLibrary::Move> step() {
    FakePtzLibrary::clearMoves();
    tracker->update();
    return FakePtzLibrary::moves();
  }

  static std::vector<std::string> sentStates() {
    std::vector<std::string> states;
    for (const FakeEvents::Sent& sent : FakeEvents::sentTo("state")) {
      states.push_back(std::get<std::string>(sent.keys.at("value").value));
    }
    return states;
  }

  static std::vector<bool> sentSentreling() {
    std::vector<bool> values;
    for (const FakeEvents::Sent& sent : FakeEvents::sentTo("isSentreling")) {
      values.push_back(std::get<bool>(sent.keys.at("active").value));
    }
    return values;
  }

  // Waits (really) for something that another thread does; false after 30 s.
  template <typename Condition>
  static bool waitFor(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) {
        return false;
      }
      std::this_thread::yield();
    }
    return true;
  }

  TemporaryFolder folder;
  FakeClock clock;
  FakeLens lens;
  FakeRemoteHead head;
  const LogCapture log;
  Tracker* tracker = nullptr;
};

#endif
