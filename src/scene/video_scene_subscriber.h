#ifndef SCENE_VIDEO_SCENE_SUBSCRIBER_H
#define SCENE_VIDEO_SCENE_SUBSCRIBER_H

// The platform's header of the same name.
#include <video_scene_subscriber.h>

#include <functional>

// The scene subscriber module, loaded at run time: one module handle and one table of its functions
// for the process. The wrappers return the module's result and log a nonzero one. Loading and
// unloading happen before and after all other calls.
class VideoSceneSubscriber {
 public:
  using Handle = video_scene_subscriber*;

  VideoSceneSubscriber() = delete;

  // Loads the module. False, logged, when it or one of its functions is missing.
  static bool initialize();

  // Closes the module. The last subscriber must be deleted before.
  static void deinitialize();

  // A subscriber of a channel (from 1); null on failure. user_data goes to both callbacks.
  static Handle createSubscriber(int channel, data_format_t format, void* userData);
  static int deleteSubscriber(Handle subscriber);
  static int subscribe(Handle subscriber);

  // The same; a failure that is wanted by the time it comes is not logged.
  static int trySubscribe(Handle subscriber, const std::function<bool()>& isFailureWanted);
  static int unsubscribe(Handle subscriber);

  // unsubscribe for an attempt on another thread; that it does not wait yet is not logged.
  static int cutShort(Handle subscriber);
  static int setOnDisconnectCallback(Handle subscriber,
                                     video_scene_subscriber_disconnect_callback callback);
  static int setOnMessageArrivedCallback(Handle subscriber,
                                         video_scene_subscriber_message_callback callback);
  static int setBoundingBoxEnabled(Handle subscriber, bool enabled);
  static int setPolygonEnabled(Handle subscriber, bool enabled);
  static int setVelocityEnabled(Handle subscriber, bool enabled);
  static int setLowConfidentEnabled(Handle subscriber, bool enabled);
};

#endif
