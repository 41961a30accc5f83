#include "camera/callback_camera.h"

CallbackCamera::CallbackCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
                               std::int32_t propertyMask, const StartupPosition& startupPosition)
    : Camera(cameraNbr, rotation, aspectRatio, propertyMask, startupPosition) {}

CallbackCamera::~CallbackCamera() {
  // Attempt and callbacks use the whole camera.
  subscription.end();
}

void CallbackCamera::stop() {
  acceptsFrames = false;
  Thread::stop();
}

bool CallbackCamera::isStreamLost() const {
  const LockGuard guard(lock);
  return isLost;
}

void CallbackCamera::setStreamLost(bool isStreamLost) {
  const LockGuard guard(lock);
  isLost = isStreamLost;
}

void CallbackCamera::handleMoteData(SceneFrame frame) {
  const LockGuard guard(lock);
  if (frame.data != nullptr && acceptsFrames) {
    processFrame(frame);
  }
}
