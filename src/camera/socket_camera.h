#ifndef CAMERA_SOCKET_CAMERA_H
#define CAMERA_SOCKET_CAMERA_H

#include <cstdint>
#include <mutex>

#include "app/api_version_handler.h"
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
  SceneReaderResult shakeHands(const API_Version& version) const;
  bool negotiateVersion();

  const API_VersionHandler versionHandler;
  const std::int32_t requestedMask;
  std::mutex socketMutex;       // guards changes of the descriptor, which the thread alone makes
  int socketFd = -1;            // -1 when not connected
  API_Version acceptedVersion;  // what the service speaks with us
};

#endif
