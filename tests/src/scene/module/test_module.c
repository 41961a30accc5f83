#include "test_module.h"

#include <stddef.h>

static int subscriber;
static test_scene_module state = {.subscriber = (video_scene_subscriber*)&subscriber};

test_scene_module* test_scene_module_state(void);
test_scene_module* test_scene_module_state(void) {
  return &state;
}

#if FUNCTION_COUNT > 0
video_scene_subscriber* video_scene_subscriber_create(int channel, data_format_t format,
                                                      void* userData) {
  state.function = "create";
  ++state.callCount;
  state.channel = channel;
  state.format = format;
  state.userData = userData;
  return state.isCreateFailing ? NULL : state.subscriber;
}
#endif

#if FUNCTION_COUNT > 1
static int record(const char* function, video_scene_subscriber* given) {
  state.function = function;
  ++state.callCount;
  state.given = given;
  return state.result;
}

int video_scene_subscriber_delete(video_scene_subscriber* given) {
  return record("delete", given);
}
#endif

#if FUNCTION_COUNT > 2
int video_scene_subscriber_subscribe(video_scene_subscriber* given) {
  return record("subscribe", given);
}
#endif

#if FUNCTION_COUNT > 3
int video_scene_subscriber_unsubscribe(video_scene_subscriber* given) {
  return record("unsubscribe", given);
}
#endif

#if FUNCTION_COUNT > 4
int video_scene_subscriber_set_on_disconnect_callback(
    video_scene_subscriber* given, video_scene_subscriber_disconnect_callback callback) {
  state.onDisconnect = callback;
  return record("set_on_disconnect_callback", given);
}
#endif

#if FUNCTION_COUNT > 5
int video_scene_subscriber_set_on_message_arrived_callback(
    video_scene_subscriber* given, video_scene_subscriber_message_callback callback) {
  state.onMessage = callback;
  return record("set_on_message_arrived_callback", given);
}
#endif

#if FUNCTION_COUNT > 6
int video_scene_subscriber_set_bounding_box_enabled(video_scene_subscriber* given, int enabled) {
  state.enabled = enabled;
  return record("set_bounding_box_enabled", given);
}
#endif

#if FUNCTION_COUNT > 7
int video_scene_subscriber_set_polygon_enabled(video_scene_subscriber* given, int enabled) {
  state.enabled = enabled;
  return record("set_polygon_enabled", given);
}
#endif

#if FUNCTION_COUNT > 8
int video_scene_subscriber_set_velocity_enabled(video_scene_subscriber* given, int enabled) {
  state.enabled = enabled;
  return record("set_velocity_enabled", given);
}
#endif

#if FUNCTION_COUNT > 9
int video_scene_subscriber_set_low_confident_enabled(video_scene_subscriber* given, int enabled) {
  state.enabled = enabled;
  return record("set_low_confident_enabled", given);
}
#endif
