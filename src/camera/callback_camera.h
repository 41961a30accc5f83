#ifndef CAMERA_CALLBACK_CAMERA_H
#define CAMERA_CALLBACK_CAMERA_H

#include <atomic>
#include <cstdint>

#include "camera/camera.h"
#include "scene/video_scene_subscriber.h"

// A camera that the subscriber module feeds, on the module's thread.
class CallbackCamera : public Camera {
 public:
  CallbackCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
                 std::int32_t propertyMask, const StartupPosition& startupPosition);

  // Ends the subscription; without the container's lock.
  ~CallbackCamera() override;

  // From now on frames are dropped.
  void stop() override;
  void handleMoteData(SceneFrame frame) override;

  VideoSceneSubscriber::Handle getSubscriber() const { return subscriber; }

  // Takes the subscriber, or gives it up to the caller. With the container's lock held.
  void setSubscriber(VideoSceneSubscriber::Handle handle) { subscriber = handle; }
  VideoSceneSubscriber::Handle releaseSubscriber();

 private:
  std::atomic<bool> acceptsFrames{true};
  VideoSceneSubscriber::Handle subscriber = nullptr;
};

#endif
