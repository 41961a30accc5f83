#include "scene/video_scene_subscriber.h"

#include <gmodule.h>
#include <syslog.h>

#include <stdexcept>
#include <string>

namespace {

constexpr const char* MODULE_NAME = "libvideo_scene_subscriber.so.0";

struct Functions {
  video_scene_subscriber_create_fn create = nullptr;
  video_scene_subscriber_delete_fn deleteSubscriber = nullptr;
  video_scene_subscriber_subscribe_fn subscribe = nullptr;
  video_scene_subscriber_unsubscribe_fn unsubscribe = nullptr;
  video_scene_subscriber_set_on_disconnect_callback_fn setOnDisconnectCallback = nullptr;
  video_scene_subscriber_set_on_message_arrived_callback_fn setOnMessageArrivedCallback = nullptr;
  video_scene_subscriber_set_enabled_fn setBoundingBoxEnabled = nullptr;
  video_scene_subscriber_set_enabled_fn setPolygonEnabled = nullptr;
  video_scene_subscriber_set_enabled_fn setVelocityEnabled = nullptr;
  video_scene_subscriber_set_enabled_fn setLowConfidentEnabled = nullptr;
};

GModule* s_module = nullptr;
Functions s_functions;

template <typename Function>
void resolve(const char* symbol, Function& function) {
  gpointer address = nullptr;
  if (!g_module_symbol(s_module, symbol, &address) || address == nullptr) {
    throw std::runtime_error(std::string("Could not open ") + symbol);
  }
  function = reinterpret_cast<Function>(address);
}

void load() {
  s_module = g_module_open(MODULE_NAME, G_MODULE_BIND_LAZY);
  if (s_module == nullptr) {
    throw std::runtime_error("Could not open video_scene_subscriber module");
  }
  Functions& f = s_functions;
  resolve("video_scene_subscriber_create", f.create);
  resolve("video_scene_subscriber_delete", f.deleteSubscriber);
  resolve("video_scene_subscriber_subscribe", f.subscribe);
  resolve("video_scene_subscriber_unsubscribe", f.unsubscribe);
  resolve("video_scene_subscriber_set_on_disconnect_callback", f.setOnDisconnectCallback);
  resolve("video_scene_subscriber_set_on_message_arrived_callback", f.setOnMessageArrivedCallback);
  resolve("video_scene_subscriber_set_bounding_box_enabled", f.setBoundingBoxEnabled);
  resolve("video_scene_subscriber_set_polygon_enabled", f.setPolygonEnabled);
  resolve("video_scene_subscriber_set_velocity_enabled", f.setVelocityEnabled);
  resolve("video_scene_subscriber_set_low_confident_enabled", f.setLowConfidentEnabled);
}

void logError(int result, const char* operation) {
  switch (result) {
    case 0:
      return;
    case -2:
      syslog(LOG_WARNING, "Scene provider in invalid running state (%s).\n", operation);
      return;
    case -3:
      syslog(LOG_WARNING, "No valid scene provider available  (%s).\n", operation);
      return;
    case -4:
      syslog(LOG_WARNING, "Invalid data format to scene provider  (%s).\n", operation);
      return;
    case -6:
      syslog(LOG_WARNING, "System policy error, unauthorized API call (%s).\n", operation);
      return;
    default:
      syslog(LOG_WARNING, "Unknown error in subscriber in (%s).\n", operation);
  }
}

int report(int result, const char* operation) {
  logError(result, operation);
  return result;
}

}  // namespace

bool VideoSceneSubscriber::initialize() {
  try {
    load();
    return true;
  } catch (const std::runtime_error& error) {
    deinitialize();
    syslog(LOG_WARNING, "Failed to load video_scene_subsriber. %s\n", error.what());
    return false;
  }
}

void VideoSceneSubscriber::deinitialize() {
  if (s_module != nullptr && !g_module_close(s_module)) {
    syslog(LOG_WARNING, "Could not close module %s: %s\n", MODULE_NAME, g_module_error());
  }
  s_module = nullptr;
  s_functions = {};
}

VideoSceneSubscriber::Handle VideoSceneSubscriber::createSubscriber(int channel,
                                                                    data_format_t format,
                                                                    void* userData) {
  return s_functions.create(channel - 1, format, userData);  // the module counts from 0
}

int VideoSceneSubscriber::deleteSubscriber(Handle subscriber) {
  return report(s_functions.deleteSubscriber(subscriber), "deleteSubscriber");
}

int VideoSceneSubscriber::subscribe(Handle subscriber) {
  return report(s_functions.subscribe(subscriber), "subscribe");
}

int VideoSceneSubscriber::trySubscribe(Handle subscriber,
                                       const std::function<bool()>& isFailureWanted) {
  const int result = s_functions.subscribe(subscriber);
  return isFailureWanted() ? result : report(result, "subscribe");
}

int VideoSceneSubscriber::unsubscribe(Handle subscriber) {
  return report(s_functions.unsubscribe(subscriber), "unsubscribe");
}

int VideoSceneSubscriber::cutShort(Handle subscriber) {
  const int result = s_functions.unsubscribe(subscriber);
  return result == VIDEO_SCENE_SUBSCRIBER_BAD_STATE ? result : report(result, "unsubscribe");
}

int VideoSceneSubscriber::setOnDisconnectCallback(
    Handle subscriber, video_scene_subscriber_disconnect_callback callback) {
  return report(s_functions.setOnDisconnectCallback(subscriber, callback),
                "setOnDisconnectCallback");
}

int VideoSceneSubscriber::setOnMessageArrivedCallback(
    Handle subscriber, video_scene_subscriber_message_callback callback) {
  return report(s_functions.setOnMessageArrivedCallback(subscriber, callback),
                "setOnMessageArrivedCallback");
}

int VideoSceneSubscriber::setBoundingBoxEnabled(Handle subscriber, bool enabled) {
  return report(s_functions.setBoundingBoxEnabled(subscriber, enabled), "setBoundingBoxEnabled");
}

int VideoSceneSubscriber::setPolygonEnabled(Handle subscriber, bool enabled) {
  return report(s_functions.setPolygonEnabled(subscriber, enabled), "setPolygonEnabled");
}

int VideoSceneSubscriber::setVelocityEnabled(Handle subscriber, bool enabled) {
  return report(s_functions.setVelocityEnabled(subscriber, enabled), "setVelocityEnabled");
}

int VideoSceneSubscriber::setLowConfidentEnabled(Handle subscriber, bool enabled) {
  return report(s_functions.setLowConfidentEnabled(subscriber, enabled), "setLowConfidentEnabled");
}
