/* What a test sees and sets of the scene subscriber module that stands in for the device's. */
#ifndef TESTS_SRC_SCENE_MODULE_TEST_MODULE_H
#define TESTS_SRC_SCENE_MODULE_TEST_MODULE_H

#include <video_scene_subscriber.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct test_scene_module {
  int result;                         /* of every function but create */
  int isCreateFailing;                /* create returns null */
  video_scene_subscriber* subscriber; /* what create returns otherwise */

  /* The last call. */
  const char* function; /* without "video_scene_subscriber_"; null before the first call */
  int callCount;
  video_scene_subscriber* given;
  int channel;
  data_format_t format;
  void* userData;
  int enabled;
  video_scene_subscriber_disconnect_callback onDisconnect;
  video_scene_subscriber_message_callback onMessage;
} test_scene_module;

/* Exported as "test_scene_module_state". */
typedef test_scene_module* (*test_scene_module_state_fn)(void);

#ifdef __cplusplus
}
#endif

#endif
