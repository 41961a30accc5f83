#ifndef CAMERA_CALLBACK_CAMERA_CONTAINER_H
#define CAMERA_CALLBACK_CAMERA_CONTAINER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <set>

#include "camera/callback_camera.h"
#include "camera/camera_container.h"

// Cameras that the subscriber module feeds. A camera that cannot be subscribed, or whose stream
// ends, is tried again every 200 ms. Attempts to subscribe run on threads of their own, so that a
// service that does not answer holds up nobody else.
class CallbackCameraContainer : public CameraContainer {
 public:
  CallbackCameraContainer(const API_VersionHandler& versionHandler, std::int32_t propertyMask);
  ~CallbackCameraContainer() override;

  // Called by the module: a frame, which is taken over, and the end of a camera's stream.
  static void newMoteDataCallback(char* frame, void* camera);
  static void disconnectCallback(void* camera);

 protected:
  void removeUnusedCameras(const CameraConfigurationContainer& configurations) override;
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler& versionHandler,
                    int propertyMask) override;
  void shutDownSub() override;

 private:
  // Without the lock: the module may take seconds. Called by the camera's attempt, which then tells
  // the container what has come of it.
  static bool subscribeToMoteData(CallbackCamera* camera);
  static void attemptSubscription(CallbackCamera* camera);

  // An observer of the timer, while a camera waits.
  struct Observer {
    std::int32_t id;
    std::int64_t lastSign;  // of life, monotonic microseconds
  };

  // All with the lock held. A reconnection that is scheduled stays until the camera is subscribed.
  static void startSubscribing(CallbackCamera* camera);
  static void scheduleReconnection(CallbackCamera* camera);
  static void removeOngoingReconnections(const Camera* camera);
  static void reconnectAll();
  static bool noteSignOfLife(std::int32_t timerId);
  static void keepObserving();
  static std::int32_t registerUnderOwnId();
  static void stopObserving();

  // The timer's callback. Takes the lock.
  static void reconnectCamera(int timerId);

  static std::atomic<bool> s_isRunning;

  // All guarded by the lock. Other observers of the timer may share an id with one of ours, and
  // unregister it with theirs: there are two, and each puts another in the place of one that has
  // gone silent.
  static std::set<CallbackCamera*> s_reconnections;  // the cameras to be subscribed again
  static std::array<Observer, 2> s_observers;
  static std::int64_t s_lastReconnection;  // monotonic microseconds
};

#endif
