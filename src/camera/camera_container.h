#ifndef CAMERA_CAMERA_CONTAINER_H
#define CAMERA_CAMERA_CONTAINER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "app/api_version_handler.h"
#include "app/lock_order.h"
#include "base/mutex.h"
#include "camera/camera.h"
#include "camera/camera_configuration_container.h"
#include "camera/ptz_subscription.h"

// Owns all cameras: creates, reconfigures and removes them when a configuration arrives, and passes
// PTZ events on. There is one container in the process.
//
// One process-wide lock serialises the delivery of subscribed frames, PTZ events, API requests and
// changes of the set of cameras; inside it cameras take their own locks. Transports are stopped,
// and waited for, only after it has been released.
class CameraContainer {
 public:
  // Every camera asks for the scene properties of the mask. On a device with a mechanical head the
  // PTZ events are subscribed to.
  CameraContainer(const API_VersionHandler& versionHandler, std::int32_t propertyMask);
  CameraContainer(const CameraContainer&) = delete;
  CameraContainer& operator=(const CameraContainer&) = delete;

  // Removes all cameras.
  virtual ~CameraContainer();

  // Whether no camera has been created yet.
  static bool isEmpty();

  // Removes the cameras that no configuration names, gives new guards to those that remain, and
  // creates the others.
  void updateWithNewConfiguration(CameraConfigurationContainer configurations);

  // Only for other applications of these classes.
  void insertCamera(std::unique_ptr<Camera> camera);

  // The camera of a configuration, or null; valid until the set of cameras changes.
  Camera* getCamera(const CameraConfiguration& configuration) const;
  void removeAllCameras();

  bool doesProfileExist(int uid) const;

  // Asks a profile for a test alarm; false when there is no such profile.
  virtual bool sendAlarmEvent(int uid);

  // Switches the drawings of one profile on and all others off. False when it is unknown or its
  // event cannot be declared.
  bool enableVisualConfirmation(int uid);
  void disableVisualConfirmation();

  // Only for other applications of these classes.
  void disableVisualConfirmation(int uid);

  // The uid of the profile whose drawings are on, -1 for none.
  int getVisualConfIdNbr() const;

  // Only for other applications of these classes.
  bool isVisualConfEnabled() const;

  // Only for other applications of these classes, both: the daemon's events come by callbacks.
  void handlePTZ_PresetEvent(const PTZ_PresetEvent& event);
  void handlePTZ_MovementEvent(const PTZ_MovementEvent& event);

  // Ends the PTZ events, then all frames. The cameras stay until they are removed.
  void shutDown() EXCLUDES(s_mutex);

  static void PTZ_PresetCallback(std::uint32_t subscription, OVEvent* event, void* userData);
  static void PTZ_MovementCallback(std::uint32_t subscription, OVEvent* event, void* userData);

 protected:
  using Cameras = std::vector<std::unique_ptr<Camera>>;

  static Mutex s_mutex ACQUIRED_AFTER(lock_order::REQUEST) ACQUIRED_BEFORE(lock_order::CONTAINER);

  // Removes the cameras that no configuration names.
  virtual void removeUnusedCameras(const CameraConfigurationContainer& configurations)
      EXCLUDES(s_mutex);

  // Makes a camera, with its transport, and inserts it.
  virtual void createCamera(int cameraNbr, int rotation, const API_VersionHandler& versionHandler,
                            int propertyMask) EXCLUDES(s_mutex) = 0;

  // Stops the family's transports.
  virtual void shutDownSub() EXCLUDES(s_mutex) = 0;

  void shutDownPTZ() EXCLUDES(s_mutex);

  static bool doesCameraExist(const Camera* camera) REQUIRES(s_mutex);

  // Takes the cameras that no configuration names out of the set.
  static Cameras takeUnusedCameras(const CameraConfigurationContainer& configurations)
      EXCLUDES(s_mutex);

  // Width over height of a camera's picture, from the device's parameters; 16:9 when they do not
  // tell; it is then read again with each configuration until they do.
  static float readAspectRatio(int cameraNbr) EXCLUDES(s_mutex);

  // Cameras are numbered from 1; another number gets no frames.
  static bool hasTransport(int cameraNbr) { return cameraNbr >= 1; }

  static Cameras s_cameras GUARDED_BY(s_mutex);
  static std::atomic<bool> s_canReceivePTZ_Callbacks;

  // Where the head rests and whether it moves, for cameras and guards that are made later.
  static std::int32_t s_lastPreset GUARDED_BY(s_mutex);
  static PTZ_MovementEvent s_lastMovement GUARDED_BY(s_mutex);

 private:
  // Cameras are waited for.
  static void end(Cameras cameras) EXCLUDES(s_mutex);
  static bool isAspectRatioAssumed(int cameraNbr) EXCLUDES(s_mutex);
  static void readAspectRatioAgain(const CameraConfiguration& configuration) EXCLUDES(s_mutex);
  static void handlePresetEvent(const PTZ_PresetEvent& event) REQUIRES(s_mutex);
  static void handleMovementEvent(const PTZ_MovementEvent& event) REQUIRES(s_mutex);
  bool anyCamera(const std::function<bool(Camera&)>& predicate) const EXCLUDES(s_mutex);
  std::optional<VisualConfirmationData> findVC_Data() const EXCLUDES(s_mutex);
  void resumeOnAnotherCamera(const std::optional<VisualConfirmationData>& drawing);

  // The numbers of the cameras whose parameters did not tell.
  static std::set<int> s_assumedAspectRatios GUARDED_BY(s_mutex);

  const API_VersionHandler versionHandler;
  const std::int32_t propertyMask;
  std::unique_ptr<PTZ_Subscription> ptzSubscription;
};

#endif
