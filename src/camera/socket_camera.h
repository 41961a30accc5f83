#ifndef CAMERA_SOCKET_CAMERA_H
#define CAMERA_SOCKET_CAMERA_H

#include <cstdint>

#include "app/api_version_handler.h"
#include "app/lock_order.h"
#include "base/mutex.h"
#include "camera/camera.h"
#include "scene/scene_reader_result.h"

// A camera that reads its frames from the scene socket on a thread of its own, and connects again,
// every 100 ms, when the stream breaks off. Takes its own lock only, never the container's.
class SocketCamera : public Camera {
 public:
  // The mask is what to ask for; the versions are those of the scene service that the application
  // speaks.
  SocketCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
               std::int32_t propertyMask, const StartupPosition& startupPosition,
               const API_VersionHandler& versionHandler);

  // Ends the thread.
  ~SocketCamera() override;

  void stop() override;
  void handleMoteData(SceneFrame frame) override;

  // Starts the thread.
  void start();

  // Wakes the thread from a read that would block; for after stop().
  void shutDownSocket();

 private:
  static gpointer run(gpointer self);
  void runLoop();
  bool connect();
  bool reconnect();
  bool connectSocket();
  void closeSocket();

  // For the thread, which alone opens and closes it.
  int getSocket() const;
  SceneReaderResult shakeHands(const API_Version& version) const;
  bool negotiateVersion();

  const API_VersionHandler versionHandler;
  const std::int32_t requestedMask;

  mutable Mutex socketMutex ACQUIRED_AFTER(lock_order::CONTAINER)
      ACQUIRED_BEFORE(lock_order::CAMERA);
  int socketFd GUARDED_BY(socketMutex) = -1;  // -1 when not connected
  API_Version acceptedVersion;                // what the service speaks with us; the thread's
};

#endif
