#ifndef ADDON_LIBS_VIGIL_PACK_LIB_GUARD_GUARD_H
#define ADDON_LIBS_VIGIL_PACK_LIB_GUARD_GUARD_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/guard/alarm_data.h"
#include "addon/libs/vigil_pack_lib/guard/visual_confirmation_handler.h"
#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"
#include "app/lock_order.h"
#include "base/mutex.h"
#include "config/preset.h"
#include "events/state_event_handler.h"
#include "scene/parsed_scene.h"

// Which guard draws its visual confirmation, and with what header.
struct VisualConfirmationData {
  std::int32_t uid = 0;
  std::string svgHeader;
  bool enabled = false;
  std::int64_t enabledSince = 0;  // monotonic microseconds
};

// The run-time form of one profile of one camera: decides for each frame which objects raise the
// profile's alarm, drives its alarm event, and draws what it sees while somebody watches.
//
// Frames come on the camera's scene thread; PTZ events and API calls on others. Each guard
// serialises them with its own recursive lock: all public operations take it, except where said.
// Times are monotonic microseconds, of frames as well as of PTZ events. Guards are called with
// their camera's lock held and take no lock above their own but the tracker's.
class Guard {
 public:
  // eventDuration in microseconds, negative counts as 0. preset is a preset number, PRESET_ANY or
  // PRESET_NOT_BOUND. The producer must outlive the guard.
  Guard(const std::string& name, std::int32_t uid, std::int32_t camera, std::int64_t eventDuration,
        const std::string& appName, StateEventProducerI& producer, std::int32_t preset);
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  virtual ~Guard();

  // The step for one frame.
  virtual void checkObjects(ParsedScene& scene) = 0;

  // Asks for a test alarm, which begins with the next frame. Takes no lock.
  virtual void sendAlarmEvent() = 0;

  // Where the camera rests when the guard is made.
  virtual void handleStartupPreset(std::int32_t p);
  virtual void handleArrivingAtPreset(std::int32_t p, std::int64_t time);
  virtual void handleLeavingPreset(std::int64_t time);
  virtual void handleMovementEvent(bool moving, std::int64_t time);

  virtual AlarmData updateObjectsAndGetAlarms(ParsedScene& scene) = 0;

  // Ends the alarm at once and clears the viewer's screen.
  virtual void stopAllEvents(std::int64_t time) = 0;

  // Feeds one observation to every filter in order.
  virtual void updateFilterData(TrackingObject& object);

  virtual std::string createVisualConfirmationSvg(const AlarmData& alarms) const;

  // The stream of frames has broken off: ends the alarm. What comes next may be other objects under
  // the same ids.
  virtual void handleTransportLoss(std::int64_t time);

  // On a device with a mechanical head: whether the camera rests, where this guard watches, since
  // before the given time.
  bool shouldDataBeProcessed(std::int64_t time) const;

  // Null is ignored.
  void addExclusionFilter(std::unique_ptr<ExclusionFilter> filter);

  // True when every filter lets the object pass; asked in order until one does not.
  bool canObjectTriggerAlarm(TrackingObject& object) const;

  // svgHeader begins every drawing. False, and nothing is drawn, when the event cannot be declared.
  bool enableVisualConfirmation(const std::string& svgHeader);

  // Goes on with the drawing of a former guard for the rest of its time; false when that is over or
  // the event cannot be declared.
  bool resumeVisualConfirmation(const VisualConfirmationData& drawing);
  void disableVisualConfirmation();

  // Only for other applications of these classes.
  bool isVisualConfirmationAllowedToSend() const;

  VisualConfirmationData getVC_Data() const;

  static AlarmDataStatus_e createAlarmStatus(bool triggers, bool passesFilters);

  const std::string& getName() const { return name; }
  std::int32_t getUid() const { return uid; }
  std::int32_t getCamera() const { return camera; }
  std::int32_t getPriority() const { return priority; }

 protected:
  // How areas and objects are drawn in a colour.
  static std::string drawingStyle(const char* colour);

  // The per-frame step of every kind of guard; svg is the drawing of its area.
  void checkObjects(ParsedScene& scene, const std::string& svg);

  // Ends a test alarm that is running.
  void stopTestAlarm() REQUIRES(lock);

  bool passesFilters(TrackingObject& object) const REQUIRES(lock);

  mutable RecursiveMutex lock ACQUIRED_AFTER(lock_order::CAMERA) ACQUIRED_BEFORE(lock_order::GUARD);

  const std::string name;
  const std::int32_t uid;
  const std::int32_t camera;
  const std::int64_t eventDuration;
  const bool isMechanicalPtz;
  VisualConfirmationHandler visualConfirmation GUARDED_BY(lock);
  std::vector<std::unique_ptr<ExclusionFilter>> filters GUARDED_BY(lock);
  std::int32_t preset GUARDED_BY(lock);
  std::int32_t currentPreset GUARDED_BY(lock) = PRESET_NONE;
  std::int64_t arrivalTime GUARDED_BY(lock) = 0;
  std::int64_t movementTime GUARDED_BY(lock) = 0;
  bool isMoving GUARDED_BY(lock) = false;
  std::string svgHeader GUARDED_BY(lock);
  StateEventHandler stateEvents GUARDED_BY(lock);
  bool testAlarmStarted GUARDED_BY(lock) = false;
  std::atomic<bool> testAlarmRequested{false};
  std::int32_t priority = 1;  // settled when the guard is made

 private:
  void handleTestEvent(std::int64_t time, const std::string& svg) REQUIRES(lock);
  void sendVisualConfirmationEvent(const AlarmData& alarms, std::int64_t time,
                                   const std::string& svg) REQUIRES(lock);
};

#endif
