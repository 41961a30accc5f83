#ifndef TRACKER_TRACKER_H
#define TRACKER_TRACKER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "app/lock_order.h"
#include "app/thread.h"
#include "base/mutex.h"
#include "ptz/ptz_head.h"
#include "ptz/ptz_remote_travo.h"
#include "ptz/regulator.h"
#include "scene/tracking_object.h"
#include "tracker/autotuner.h"
#include "tracker/head_follower.h"
#include "tracker/homing.h"
#include "tracker/insight.h"
#include "tracker/observations.h"
#include "tracker/tracker_state.h"
#include "tracker/way_of_following.h"

// Steers the PTZ head: a thread of its own asks again and again which of the objects that guards
// have handed over is to be followed, and commands the head's speeds so that it stays in view.
//
//   stopped -> connecting -> running            a head whose gains are stored
//              connecting -> autotuning -> running   an unknown head
//   running -> connecting                       another way of following was chosen, or the head is
//                                               to be identified anew
//   any -> stopped
//
// Thread, settings and the steps from state to state are here; which state it is and who is told of
// it in TrackerState; what guards report in Observations, how the head follows in HeadFollower,
// which way that is and what it knows of the head in WayOfFollowing. Guards call what Observations
// have on scene threads; the API calls the setters and enableSentrel on its own. update, connect
// and autotune belong to the tracker's thread.
class Tracker : public Thread {
 public:
  using CameraState = TrackerState::CameraState;

  // The one tracker, counted: each getInstance needs a releaseInstance; the last one destroys it,
  // which stops the head and waits for the thread.
  static Tracker& getInstance();
  static void releaseInstance();

  ~Tracker() override;

  // What guards report, as Observations has it. profileId ranks objects: the higher the more
  // important.
  bool addCamera(int camera) { return observations.addCamera(camera); }
  void removeCamera(int camera) { observations.removeCamera(camera); }
  void see(int camera, const ParsedScene& scene) { observations.see(camera, scene); }
  std::optional<std::int64_t> knownSince(int camera, int objectId) const {
    return observations.knownSince(camera, objectId);
  }
  void track(int camera, int profileId, const TrackingObject& object) {
    observations.track(camera, profileId, object);
  }
  void untrack(int camera, int objectId) { observations.untrack(camera, objectId); }
  void hold(int camera, int objectId, const void* holder) {
    observations.hold(camera, objectId, holder);
  }
  void letGo(int camera, int objectId, const void* holder) {
    observations.letGo(camera, objectId, holder);
  }

  // Turns the head to the middle of a camera's picture for one step. On the tracker's thread only.
  // Only for developers: no request leads to it.
  void trackCameraCenter(int camera);

  // Switches tracking on or off, for good: the choice is stored.
  void enableSentrel(bool on);

  // Changes the state for this run only.
  void setState(CameraState newState);
  CameraState getState() const { return state.get(); }

  // "stopped", "connecting", "autotuning" or "running".
  std::string getStateString() const { return state.getString(); }

  // Settings; each is stored when it changes.
  bool getSwitchObject() const { return observations.getSwitchObject(); }
  void setSwitchObject(bool on);
  int getTimePerObject() const { return observations.getTimePerObject(); }  // seconds
  void setTimePerObject(int seconds);
  bool getReturnToHomeEnabled() const { return homing.isEnabled(); }
  void setReturnToHomeEnabled(bool on);
  int getReturnToHomeTimeout() const { return homing.getTimeout(); }  // seconds
  void setReturnToHomeTimeout(int seconds);
  double getZoomCorrectionValue() const { return optics.zoomScale.zoomCorrection; }
  void setZoomCorrectionValue(double correction);

  // The head's widest view, as connect reads it: what does not fit is not followed.
  void setWidestView(const WidestView& view) { observations.setWidestView(view); }

  // What the predictive way of following knows and expects; nothing while the specified one is at
  // work. The API calls it.
  std::optional<Insight> insight() const;
  bool isPredicting() const { return observations.isWatchingPeople(); }

  // One step in each state.
  void connect();
  void autotune();
  void update();

  // Counts the time to going home from now.
  void returnToHomeReset();

 private:
  Tracker();

  static gpointer run(gpointer self);
  std::int64_t runOneStep();

  static bool wasSwitchedOff(CameraState before, CameraState after);
  bool readHead();

  static Mutex s_instanceMutex ACQUIRED_AFTER(lock_order::GUARD)
      ACQUIRED_BEFORE(lock_order::TRACKER_INSTANCE);
  static std::unique_ptr<Tracker> s_tracker GUARDED_BY(s_instanceMutex);
  static std::int32_t s_referenceCount GUARDED_BY(s_instanceMutex);

  TrackerState state;
  Observations observations;
  Homing homing;

  // The tracker's thread's alone, but for the head and for what cuts a question to it short.
  PtzHead head;
  std::unique_ptr<PtzRemoteTravo> ptzRemote;
  Regulator regulator;
  WayOfFollowing way{regulator, observations};
  HeadFollower follower{head, way.getFollowing(), homing, state};
  Autotuner autotuner{head, regulator};
  HeadOptics optics;
};

#endif
