// Cameras and guards that tell what is done to them.
#ifndef TESTS_SRC_CAMERA_TEST_CAMERA_H
#define TESTS_SRC_CAMERA_TEST_CAMERA_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "camera/camera.h"
#include "camera/camera_container.h"
#include "scene/scene_encoder.h"
#include "src/addon/recording_producer.h"
#include "src/scene/frames.h"
#include "support/patience.h"

// What happened, in order: "frame 7: 1 2" with the time and the ids in view, and so on. Any thread.
class Notes {
 public:
  void add(const std::string& note) {
    const LockGuard lock(mutex);
    notes.push_back(note);
    changed.notifyAll();
  }

  std::vector<std::string> take() {
    const LockGuard lock(mutex);
    return std::exchange(notes, {});
  }

  // Waits (really) until there are that many; false after 30 s.
  bool waitFor(std::size_t count) {
    const LockGuard lock(mutex);
    return waitUntil([&] { return notes.size() >= count; }, changed, mutex,
                     std::chrono::seconds(30));
  }

  // Waits (really) for that note; false after 10 s.
  bool waitForNote(const std::string& note) {
    const LockGuard lock(mutex);
    return waitUntil([&] { return std::ranges::count(notes, note) > 0; }, changed, mutex,
                     std::chrono::seconds(10));
  }

 private:
  Mutex mutex;
  Condition changed;
  std::vector<std::string> notes;
};

// A guard that notes what it is told, under a name of its own.
class NotingGuard : public Guard {
 public:
  NotingGuard(std::string label, std::int32_t uid, std::int32_t camera,
              StateEventProducerI& producer, Notes& notes, std::int32_t givenPriority = 1)
      : Guard("Profile", uid, camera, 5'000'000, "SentrelVideo", producer, PRESET_NOT_BOUND),
        label(std::move(label)),
        notes(notes) {
    priority = givenPriority;
  }
  ~NotingGuard() override { note("gone"); }

  void checkObjects(ParsedScene& scene) override {
    std::string text = "frame " + std::to_string(scene.getTimestamp()) + ":";
    for (const TrackingObject* object : scene.getActiveObjects()) {
      text += " " + std::to_string(object->getId());
      if (showsAge) {
        text += "/" + std::to_string(scene.getTimestamp() - object->getFirstSeen());
      }
      if (showsSize) {
        text +=
            "/" + std::to_string(object->getWidth()) + "x" + std::to_string(object->getHeight());
      }
      if (!object->getIsConfident()) {
        text += "?";
      }
    }
    for (const auto& object : scene.getDeletedObjects()) {
      text += " -" + std::to_string(object->getId());
    }
    note(text);
  }
  void sendAlarmEvent() override { note("test alarm"); }
  void handleStartupPreset(std::int32_t p) override { note("startup " + std::to_string(p)); }
  void handleArrivingAtPreset(std::int32_t p, std::int64_t time) override {
    lastTime = time;
    note("arrive " + std::to_string(p));
  }
  void handleLeavingPreset(std::int64_t time) override {
    lastTime = time;
    note("leave");
  }
  void handleMovementEvent(bool moving, std::int64_t time) override {
    lastTime = time;
    note(moving ? "moving" : "resting");
  }
  AlarmData updateObjectsAndGetAlarms(ParsedScene&) override { return {}; }
  void stopAllEvents(std::int64_t) override { note("stop"); }
  void handleTransportLoss(std::int64_t time) override {
    lastTime = time;
    note("lost");
  }

  bool showsAge = false;
  bool showsSize = false;
  std::int64_t lastTime = -1;

 private:
  void note(const std::string& text) const { notes.add(label + " " + text); }

  std::string label;
  Notes& notes;
};

// A camera without a transport.
class TestCamera : public Camera {
 public:
  explicit TestCamera(std::int32_t cameraNbr, std::int32_t rotation = 0, std::int32_t mask = 14,
                      const StartupPosition& startupPosition = {})
      : Camera(cameraNbr, rotation, 16.0F / 9.0F, mask, startupPosition) {}

  void handleMoteData(SceneFrame frame) override { processFrame(frame); }
};

// A container of such cameras, which notes their making.
class TestContainer : public CameraContainer {
 public:
  explicit TestContainer(Notes& notes, std::int32_t mask = 14)
      : CameraContainer(API_VersionHandler(VERSIONS, 1), mask), notes(notes) {}

  using CameraContainer::readAspectRatio;
  using CameraContainer::s_canReceivePTZ_Callbacks;

  bool sendAlarmEvent(int uid) override {
    return !refusesTestAlarms && CameraContainer::sendAlarmEvent(uid);
  }

  bool refusesTestAlarms = false;

 protected:
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler& versions,
                    int propertyMask) override {
    notes.add("create " + std::to_string(cameraNbr) + " " + std::to_string(rotation) + " " +
              versions.toString() + " " + std::to_string(propertyMask));
    insertCamera(std::make_unique<TestCamera>(cameraNbr, rotation, propertyMask,
                                              StartupPosition{s_lastPreset, s_lastMovement}));
  }
  void shutDownSub() override { notes.add("shut down"); }

 private:
  static constexpr const char* VERSIONS[] = {"1.0"};

  Notes& notes;
};

// A frame that shows objects of 400 by 800 units in a row.
struct FrameOf {
  std::int64_t time = 0;
  std::vector<std::int32_t> ids{};
  std::vector<std::int32_t> deleted{};
  std::int32_t confidence = 4096;

  SceneFrame make() const { return frameOf(bytes()); }

  std::vector<std::uint8_t> bytes() const {
    SceneEncoder encoder;
    addTimestamp(encoder, time);
    std::int32_t x = -3000;
    for (const std::int32_t id : ids) {
      encoder.beginObject(id);
      const std::int32_t outline[] = {x, 0, x, 800, x + 400, 800, x + 400, 0};
      encoder.addObjectProperty(SCENE_OBJ_PROP_BOUNDING_BOX, outline);
      encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, outline);
      const std::int32_t velocity[] = {0, 0};
      encoder.addObjectProperty(SCENE_OBJ_PROP_VELOCITY, velocity);
      encoder.addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, std::span(&confidence, 1));
      x += 500;
    }
    if (!deleted.empty()) {
      encoder.addEvent(SCENE_EVENT_DELETE, deleted, {});
    }
    return encoder.bytes();
  }

  // For a transport's callback, which takes the bytes over.
  char* release() const { return make().data.release(); }
};

#endif
