#ifndef CAMERA_CALLBACK_CAMERA_H
#define CAMERA_CALLBACK_CAMERA_H

#include <atomic>
#include <cstdint>

#include "camera/camera.h"
#include "scene/scene_subscription.h"

// A camera that the subscriber module feeds, on the module's thread.
class CallbackCamera : public Camera {
 public:
  CallbackCamera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
                 std::int32_t propertyMask, const StartupPosition& startupPosition);

  // Ends the subscription, and an attempt that is under way; without the container's lock.
  ~CallbackCamera() override;

  // From now on frames are dropped.
  void stop() override;
  void handleMoteData(SceneFrame frame) override;

  SceneSubscription& getSubscription() { return subscription; }

  // Whether the present subscription has come to its end.
  bool isStreamLost() const;
  void setStreamLost(bool isStreamLost);

 private:
  std::atomic<bool> acceptsFrames{true};
  bool isLost GUARDED_BY(lock) = false;
  SceneSubscription subscription;
};

#endif
