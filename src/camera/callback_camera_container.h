#ifndef CAMERA_CALLBACK_CAMERA_CONTAINER_H
#define CAMERA_CALLBACK_CAMERA_CONTAINER_H

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "camera/callback_camera.h"
#include "camera/camera_container.h"

// Cameras that the subscriber module feeds. A camera that cannot be subscribed, or whose stream
// ends, is tried again every 200 ms.
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
  // All with the lock held.
  static bool subscribeToMoteData(CallbackCamera* camera);
  static void scheduleReconnection(CallbackCamera* camera);
  static void removeOngoingReconnections(const Camera* camera);

  // The timer's callback. Takes the reconnect mutex, then the lock.
  static void reconnectCamera(int timerId);

  static std::atomic<bool> s_isRunning;

  // The cameras to be subscribed again, by timer id. Guarded by the lock.
  static std::map<std::int32_t, CallbackCamera*> s_reconnections;

  // Keeps the module loaded while a reconnection is under way. Taken before the lock.
  static std::mutex s_reconnectMutex;
};

#endif
