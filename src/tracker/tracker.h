#ifndef TRACKER_TRACKER_H
#define TRACKER_TRACKER_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "app/thread.h"
#include "ptz/ptz_remote_travo.h"
#include "ptz/regulator.h"
#include "ptz/video_channels.h"
#include "scene/tracking_object.h"
#include "tracker/autotuner.h"
#include "tracker/ptz_head.h"
#include "tracker/super_object_manager.h"
#include "tracker/tracker_events.h"
#include "tracker/zoom_scale.h"

// Steers the PTZ head: a thread of its own asks every 100 ms which of the objects that guards have
// handed over is to be followed, and commands the head's speeds so that it stays in view.
//
//   stopped -> connecting -> running            a head whose gains are stored
//              connecting -> autotuning -> running   an unknown head
//   any -> stopped
//
// Guards call track, untrack, addCamera and removeCamera on scene threads; the API calls the
// setters and enableSentrel on its own; the mutex covers selection and channels. update, connect
// and autotune belong to the tracker's thread.
class Tracker : public Thread, private AutotuneListener {
 public:
  enum class CameraState : std::int32_t {
    stopped = 0,
    connecting = 1,
    autotuning = 2,
    running = 3
  };

  // The one tracker, counted: each getInstance needs a releaseInstance; the last one destroys it,
  // which stops the head and waits for the thread.
  static Tracker& getInstance();
  static void releaseInstance();

  ~Tracker() override;

  // Adds a user of a camera (from 1). False when its geometry is not known (yet).
  bool addCamera(int camera);

  // Drops a user; the last one takes the camera's objects along.
  void removeCamera(int camera);

  // Takes an observation of an object. Ignored for a camera that was not added; an object too large
  // for the head's widest view is dropped. profileId ranks objects: the higher the more important.
  void track(int camera, int profileId, const TrackingObject& object);

  // Forgets an object.
  void untrack(int camera, int objectId);

  // Several guards may watch an object: it is forgotten when the last one that holds it lets go.
  void hold(int camera, int objectId, const void* holder);
  void letGo(int camera, int objectId, const void* holder);

  // Turns the head to the middle of a camera's picture for one step. On the tracker's thread only.
  // Only for developers: no request leads to it.
  void trackCameraCenter(int camera);

  // Switches tracking on or off, for good: the choice is stored.
  void enableSentrel(bool on);

  // Changes the state for this run only.
  void setState(CameraState newState);
  CameraState getState() const { return state; }

  // "stopped", "connecting", "autotuning" or "running".
  std::string getStateString() const;

  // Settings; each is stored when it changes.
  bool getSwitchObject() const;
  void setSwitchObject(bool on);
  int getTimePerObject() const;  // seconds
  void setTimePerObject(int seconds);
  bool getReturnToHomeEnabled() const { return returnToHomeEnabled; }
  void setReturnToHomeEnabled(bool on);
  int getReturnToHomeTimeout() const { return returnToHomeTimeout; }  // seconds
  void setReturnToHomeTimeout(int seconds);
  double getZoomCorrectionValue() const { return zoomScale.zoomCorrection; }
  void setZoomCorrectionValue(double correction);

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

  void sendStateEvent();
  bool changeState(CameraState from, CameraState to);
  static bool wasSwitchedOff(CameraState before, CameraState after);
  void stopForGood();
  bool readHead();
  void zoomCorrectionFound(double correction) override;
  void gainsFound() override;

  bool readStatus(PtzHeadStatus& status);
  void updateTarget(const PtzHeadStatus& status);
  void stopFollowing();
  void commandHead(double multiplier);
  double calculateTargetMultiplier(const SuperObject& target) const;
  void returnToHomeIfTimeout();
  void ptzGotoHome();

  static std::unique_ptr<Tracker> s_tracker;
  static std::int32_t s_referenceCount;
  static std::mutex s_instanceMutex;

  mutable std::recursive_mutex mutex;  // guards selection and channels
  std::atomic<CameraState> state{CameraState::stopped};
  std::unique_ptr<SuperObjectManager> superObjectManager;
  std::unique_ptr<Regulator> regulator;
  VideoChannels videoChannels;
  std::map<std::pair<int, int>, std::set<const void*>> holders;  // by camera and object
  std::unique_ptr<PtzRemoteTravo> ptzRemote;
  PtzHead head;
  std::unique_ptr<Autotuner> autotuner;
  std::string cameraName;     // the head for which the stored gains were tuned
  std::string productNumber;  // the head at hand
  std::atomic<bool> returnToHomeEnabled{false};
  std::atomic<std::int32_t> returnToHomeTimeout{5};  // seconds
  std::atomic<std::int64_t> returnToHomeTime{0};     // of the last movement; 0 when disarmed
  ZoomScale zoomScale;
  double aspectRatio = 1.33;
  std::mutex stateEventMutex;  // orders the state events
  TrackerEvents events;
  std::int64_t lastZoomCommandTime = 0;  // of the last absolute zoom; 0 when none
  int statusFailures = 0;                // in a row
  bool isStopOwed = false;               // the one after many of them did not get through
};

#endif
