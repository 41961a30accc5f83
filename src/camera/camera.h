#ifndef CAMERA_CAMERA_H
#define CAMERA_CAMERA_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/guard/guard.h"
#include "app/lock_order.h"
#include "app/thread.h"
#include "base/mutex.h"
#include "camera/camera_configuration.h"
#include "camera/ptz_events.h"
#include "scene/mote_scene.h"
#include "scene/mote_scene_parser.h"
#include "scene/scene_frame.h"

// Where the head is when a camera is made.
struct StartupPosition {
  std::int32_t preset = PRESET_NONE;
  PTZ_MovementEvent movement;
};

// One video channel: receives its scene frames and gives each to its guards, the most important one
// last; passes PTZ events on to them. All public operations take the camera's recursive lock,
// inside the container's lock where that is held.
class Camera : public Thread {
 public:
  // cameraNbr counts from 1; propertyMask tells what its frames hold (SceneProperty).
  Camera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
         std::int32_t propertyMask, const StartupPosition& startupPosition);
  ~Camera() override;

  // Takes one frame as its transport delivered it; a frame without data is ignored.
  virtual void handleMoteData(SceneFrame frame) = 0;

  // Only for other applications of these classes.
  void insertGuard(std::unique_ptr<Guard> guard);

  // The guard of that uid, or null; valid until the guards change.
  Guard* getGuard(int uid) const;

  // Only for other applications of these classes.
  void removeAllGuards();

  bool doesProfileExist(int uid) const;

  // Asks a profile for a test alarm; false when there is no such profile.
  bool sendAlarmEvent(int uid);

  // Switches the drawings of one profile on; false when it is unknown or its event cannot be
  // declared.
  bool enableVisualConfirmation(int uid, const std::string& svgHeader);
  void disableVisualConfirmation();

  // Only for other applications of these classes.
  void disableVisualConfirmation(int uid);

  // Goes on with a drawing of that profile for the rest of its time; false when there is no such
  // profile or nothing is drawn any more.
  bool resumeVisualConfirmation(const VisualConfirmationData& drawing);

  // The guard whose drawings are on.
  std::optional<VisualConfirmationData> getVC_Data() const;

  void handlePTZ_PresetEvent(const PTZ_PresetEvent& event);
  void handlePTZ_MovementEvent(const PTZ_MovementEvent& event);

  // Puts the configuration's guards in the place of the present ones and takes over its rotation.
  // Objects in view stay known; a drawing that is on goes on under the same uid.
  void updateWithNewConfiguration(CameraConfiguration& configuration);

  // Width over height of the picture; objects in view are forgotten when it is another one.
  void updateAspectRatio(float aspectRatio);

  // The stream of frames has broken off: all objects are forgotten, all alarms end.
  void handleTransportLoss();

  // A configuration is for this camera when it names its number, whatever the rotation.
  bool matches(const CameraConfiguration& configuration) const {
    return cameraNbr == configuration.cameraNbr;
  }

  std::int32_t getCameraNbr() const { return cameraNbr; }

  // Only for tests.
  std::int32_t getCurrentPreset() const;

  std::int32_t getPropertyMask() const;

 protected:
  // Decodes the frame and runs the guards.
  void processFrame(const SceneFrame& frame) REQUIRES(lock);

  // The service may deliver less than was asked for.
  void setPropertyMask(std::int32_t mask);

  const std::int32_t cameraNbr;
  mutable RecursiveMutex lock ACQUIRED_AFTER(lock_order::CONTAINER)
      ACQUIRED_BEFORE(lock_order::CAMERA);

 private:
  void sortGuards() REQUIRES(lock);
  void tellPosition(Guard& guard) const REQUIRES(lock);

  std::int32_t propertyMask GUARDED_BY(lock);
  CameraConfiguration::Guards guards GUARDED_BY(lock);
  std::int32_t currentPreset GUARDED_BY(lock);
  PTZ_MovementEvent lastMovement GUARDED_BY(lock);
  std::optional<std::int64_t> lastTimestamp GUARDED_BY(lock);  // of the stream's frames
  MoteScene scene GUARDED_BY(lock){0};                         // the latest frame
  MoteSceneParser parser GUARDED_BY(lock);
};

#endif
