#include "camera/socket_camera.h"

#include <sys/socket.h>
#include <syslog.h>

#include <utility>

#include "app/clock.h"
#include "base/units.h"
#include "scene/mote_utils.h"
#include "scene/scene_reader.h"

namespace {

constexpr std::int64_t RECONNECT_PAUSE = 100 * units::MICROSECONDS_PER_MILLISECOND;

}  // namespace

SocketCamera::SocketCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
                           std::int32_t propertyMask, const StartupPosition& startupPosition,
                           const API_VersionHandler& versionHandler)
    : Camera(cameraNbr, rotation, aspectRatio, propertyMask, startupPosition),
      versionHandler(versionHandler),
      requestedMask(propertyMask) {}

SocketCamera::~SocketCamera() {
  stop();
  shutDownSocket();
  join();
}

void SocketCamera::stop() {
  Thread::stop();
}

void SocketCamera::start() {
  Thread::start(&SocketCamera::run, this);
}

void SocketCamera::shutDownSocket() {
  const LockGuard guard(socketMutex);
  if (socketFd >= 0) {
    shutdown(socketFd, SHUT_RDWR);
  }
}

void SocketCamera::handleMoteData(SceneFrame frame) {
  const LockGuard guard(lock);
  if (frame.data != nullptr) {
    processFrame(frame);
  }
}

gpointer SocketCamera::run(gpointer self) {
  static_cast<SocketCamera*>(self)->runLoop();
  return nullptr;
}

void SocketCamera::runLoop() {
  bool isConnected = connect();
  while (isRunning()) {
    SceneFrame frame;
    if (isConnected && SceneReader::readScene(getSocket(), frame)) {
      handleMoteData(std::move(frame));
      continue;
    }
    if (!isRunning()) {
      break;
    }
    if (isConnected) {
      syslog(LOG_WARNING, "Could not read scene.\n");
      handleTransportLoss();
    }
    utils::sleep(RECONNECT_PAUSE);
    isConnected = isRunning() && reconnect();
  }
  closeSocket();
}

bool SocketCamera::reconnect() {
  closeSocket();
  return connect();
}

bool SocketCamera::connect() {
  if (connectSocket() && negotiateVersion()) {
    setPropertyMask(MoteUtils::removeUnsupportedCapabilites(acceptedVersion, requestedMask));
    return true;
  }
  closeSocket();
  return false;
}

// A descriptor that appears after stop() would not be shut down any more.
bool SocketCamera::connectSocket() {
  const int fd = SceneReader::connect(SceneReader::SCENE_SOCKET_PATH);
  const LockGuard guard(socketMutex);
  if (!isRunning()) {
    SceneReader::disconnect(fd);
    return false;
  }
  socketFd = fd;
  return fd >= 0;
}

void SocketCamera::closeSocket() {
  const LockGuard guard(socketMutex);
  SceneReader::disconnect(socketFd);
  socketFd = -1;
}

int SocketCamera::getSocket() const {
  const LockGuard guard(socketMutex);
  return socketFd;
}

SceneReaderResult SocketCamera::shakeHands(const API_Version& version) const {
  return SceneReader::initialize(getSocket(), requestedMask, cameraNbr, version);
}

// Begins with the highest version of ours; then all of ours that the service can speak.
bool SocketCamera::negotiateVersion() {
  acceptedVersion = versionHandler.getHighestSupportedVersion();
  const SceneReaderResult first = shakeHands(acceptedVersion);
  if (first.success) {
    return true;
  }
  const API_Version& answered = first.version;
  for (const API_Version& version : versionHandler.getSupportedVersions(answered)) {
    closeSocket();
    acceptedVersion = version;
    if (connectSocket() && shakeHands(version).success) {
      return true;
    }
  }
  if (!isRunning()) {
    return false;
  }
  syslog(LOG_WARNING,
         "Could not initialize the object data stream to camera %i, requred version %s supported "
         "versions %s\n",
         cameraNbr, answered.toString().c_str(), versionHandler.toString().c_str());
  return false;
}
