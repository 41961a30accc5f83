#include "video_scene_subscriber.h"

#include <new>

#include "subscriber/scene_subscriber.h"

struct video_scene_subscriber : SceneSubscriber {
  using SceneSubscriber::SceneSubscriber;
};

namespace {

int setEnabled(video_scene_subscriber* subscriber, SceneSubscriber::Property property,
               int enabled) {
  return subscriber == nullptr ? VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT
                               : subscriber->setEnabled(property, enabled != 0);
}

}  // namespace

// The functions are looked up by name; the header declares their types only.
extern "C" {

video_scene_subscriber* video_scene_subscriber_create(int channel, data_format_t format,
                                                      void* userData) {
  if (channel < 0) {
    return nullptr;
  }
  return new (std::nothrow) video_scene_subscriber(SUBSCRIBER_SOCKET, channel, format, userData);
}

int video_scene_subscriber_delete(video_scene_subscriber* subscriber) {
  if (subscriber == nullptr) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT;
  }
  if (subscriber->isWithinCallback()) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  delete subscriber;
  return VIDEO_SCENE_SUBSCRIBER_OK;
}

int video_scene_subscriber_subscribe(video_scene_subscriber* subscriber) {
  return subscriber == nullptr ? VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT : subscriber->subscribe();
}

int video_scene_subscriber_unsubscribe(video_scene_subscriber* subscriber) {
  return subscriber == nullptr ? VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT : subscriber->unsubscribe();
}

int video_scene_subscriber_set_on_disconnect_callback(
    video_scene_subscriber* subscriber, video_scene_subscriber_disconnect_callback callback) {
  return subscriber == nullptr ? VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT
                               : subscriber->setDisconnectCallback(callback);
}

int video_scene_subscriber_set_on_message_arrived_callback(
    video_scene_subscriber* subscriber, video_scene_subscriber_message_callback callback) {
  return subscriber == nullptr ? VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT
                               : subscriber->setMessageCallback(callback);
}

int video_scene_subscriber_set_bounding_box_enabled(video_scene_subscriber* subscriber,
                                                    int enabled) {
  return setEnabled(subscriber, SceneSubscriber::BOUNDING_BOX, enabled);
}

int video_scene_subscriber_set_polygon_enabled(video_scene_subscriber* subscriber, int enabled) {
  return setEnabled(subscriber, SceneSubscriber::POLYGON, enabled);
}

int video_scene_subscriber_set_velocity_enabled(video_scene_subscriber* subscriber, int enabled) {
  return setEnabled(subscriber, SceneSubscriber::VELOCITY, enabled);
}

int video_scene_subscriber_set_low_confident_enabled(video_scene_subscriber* subscriber,
                                                     int enabled) {
  return setEnabled(subscriber, SceneSubscriber::LOW_CONFIDENT, enabled);
}

}  // extern "C"
