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
  static void newMoteDataCallback(char* frame, void* camera) EXCLUDES(s_mutex);
  static void disconnectCallback(void* camera) EXCLUDES(s_mutex);

 protected:
  void removeUnusedCameras(const CameraConfigurationContainer& configurations)
      EXCLUDES(s_mutex) override;
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler& versionHandler,
                    int propertyMask) EXCLUDES(s_mutex) override;
  void shutDownSub() EXCLUDES(s_mutex) override;

 private:
  // The module may take seconds. Called by the camera's attempt, which then tells the container
  // what has come of it.
  static bool subscribeToMoteData(CallbackCamera* camera) EXCLUDES(s_mutex);
  static void attemptSubscription(CallbackCamera* camera) EXCLUDES(s_mutex);

  // An observer of the timer, while a camera waits.
  struct Observer {
    std::int32_t id;
    std::int64_t lastSign;  // of life, monotonic microseconds
  };

  // A reconnection that is scheduled stays until the camera is subscribed.
  static void startSubscribing(CallbackCamera* camera) REQUIRES(s_mutex);
  static void scheduleReconnection(CallbackCamera* camera) REQUIRES(s_mutex);
  static void removeOngoingReconnections(const Camera* camera) REQUIRES(s_mutex);
  static void reconnectAll() REQUIRES(s_mutex);
  static bool noteSignOfLife(std::int32_t timerId) REQUIRES(s_mutex);
  static void keepObserving() REQUIRES(s_mutex);
  static std::int32_t registerUnderOwnId() REQUIRES(s_mutex);
  static void stopObserving() REQUIRES(s_mutex);

  // The timer's callback.
  static void reconnectCamera(int timerId) EXCLUDES(s_mutex);

  static std::atomic<bool> s_isRunning;

  // The cameras to be subscribed again.
  static std::set<CallbackCamera*> s_reconnections GUARDED_BY(s_mutex);
  static std::int64_t s_lastReconnection GUARDED_BY(s_mutex);  // monotonic microseconds

  // Other observers of the timer may share an id with one of ours, and unregister it with theirs:
  // there are two, and each puts another in the place of one that has gone silent.
  static std::array<Observer, 2> s_observers GUARDED_BY(s_mutex);
};

#endif
