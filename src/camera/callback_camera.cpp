#include "camera/callback_camera.h"

#include <utility>

CallbackCamera::CallbackCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
                               std::int32_t propertyMask, const StartupPosition& startupPosition)
    : Camera(cameraNbr, rotation, aspectRatio, propertyMask, startupPosition) {}

CallbackCamera::~CallbackCamera() {
  if (VideoSceneSubscriber::Handle handle = releaseSubscriber()) {
    VideoSceneSubscriber::unsubscribe(handle);
    VideoSceneSubscriber::deleteSubscriber(handle);
  }
}

void CallbackCamera::stop() {
  acceptsFrames = false;
  Thread::stop();
}

void CallbackCamera::handleMoteData(SceneFrame frame) {
  const std::lock_guard guard(lock);
  if (frame.data != nullptr && acceptsFrames) {
    processFrame(frame);
  }
}

VideoSceneSubscriber::Handle CallbackCamera::releaseSubscriber() {
  return std::exchange(subscriber, nullptr);
}
