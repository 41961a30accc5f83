/* libvideo_scene_subscriber.so.0: scene frames by subscription.
 *
 * The module is loaded at run time; this header declares the types of its functions, which an
 * application looks up by the names in the comments. Results are 0 on success, else a negative
 * VideoSceneSubscriberError.
 *
 * Callbacks are called on a thread of the module, one at a time for a subscriber, and never before
 * video_scene_subscriber_subscribe was called or after video_scene_subscriber_unsubscribe has
 * returned. The first may come before subscribe has returned.
 * unsubscribe and delete wait for a running callback: hold no lock that it takes, and do not call
 * them from a callback.
 *
 * video_scene_subscriber_subscribe may wait up to 5 s for the service's answer. Nothing else waits
 * for the service, and one subscriber's waiting holds up no other's functions and callbacks.
 *
 * Different subscribers may be used by different threads at the same time. The functions of one are
 * called one at a time, but for video_scene_subscriber_unsubscribe: called while subscribe waits on
 * another thread it cuts the attempt short and returns 0 at once; subscribe then returns
 * VIDEO_SCENE_SUBSCRIBER_FAILED within 0.1 s, and no callback comes of it. Called before subscribe
 * has begun to wait it may find nothing to cut short (VIDEO_SCENE_SUBSCRIBER_BAD_STATE), and is
 * called again. */
#ifndef PLATFORM_VIDEO_SCENE_SUBSCRIBER_H
#define PLATFORM_VIDEO_SCENE_SUBSCRIBER_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct video_scene_subscriber video_scene_subscriber;

/* What the message callback is given; frames as libscene decodes them are format 2. */
typedef enum data_format_t { DATA_FORMAT_SCENE = 2 } data_format_t;

typedef enum VideoSceneSubscriberError {
  VIDEO_SCENE_SUBSCRIBER_OK = 0,
  VIDEO_SCENE_SUBSCRIBER_FAILED = -1,      /* among others: cut short */
  VIDEO_SCENE_SUBSCRIBER_BAD_STATE = -2,   /* subscribed already, or not subscribed */
  VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER = -3, /* no scene service for the channel */
  VIDEO_SCENE_SUBSCRIBER_BAD_FORMAT = -4,  /* the data format is unknown */
  VIDEO_SCENE_SUBSCRIBER_BAD_ARGUMENT = -5,
  VIDEO_SCENE_SUBSCRIBER_NOT_ALLOWED = -6 /* system policy */
} VideoSceneSubscriberError;

/* data is one frame (its length is in its head, scene_area_size); the callee owns it and releases
 * it with free(). */
typedef void (*video_scene_subscriber_message_callback)(char* data, void* user_data);

/* The service has gone. No further callback comes until a new subscription. */
typedef void (*video_scene_subscriber_disconnect_callback)(void* user_data);

/* "video_scene_subscriber_create": channel counts from 0; user_data is given to both callbacks.
 * Null on failure. */
typedef video_scene_subscriber* (*video_scene_subscriber_create_fn)(int channel,
                                                                    data_format_t format,
                                                                    void* user_data);
/* "video_scene_subscriber_delete": releases a subscriber; ends its subscription first. Not while
 * another function of it is under way. */
typedef int (*video_scene_subscriber_delete_fn)(video_scene_subscriber* subscriber);
/* "video_scene_subscriber_subscribe" and "video_scene_subscriber_unsubscribe". */
typedef int (*video_scene_subscriber_subscribe_fn)(video_scene_subscriber* subscriber);
typedef int (*video_scene_subscriber_unsubscribe_fn)(video_scene_subscriber* subscriber);
/* "video_scene_subscriber_set_on_disconnect_callback". */
typedef int (*video_scene_subscriber_set_on_disconnect_callback_fn)(
    video_scene_subscriber* subscriber, video_scene_subscriber_disconnect_callback callback);
/* "video_scene_subscriber_set_on_message_arrived_callback". */
typedef int (*video_scene_subscriber_set_on_message_arrived_callback_fn)(
    video_scene_subscriber* subscriber, video_scene_subscriber_message_callback callback);
/* "video_scene_subscriber_set_bounding_box_enabled", "..._set_polygon_enabled",
 * "..._set_velocity_enabled" and "..._set_low_confident_enabled": what the frames are to hold; set
 * before subscribing. Nonzero enables. Low-confident objects come with their confidence. */
typedef int (*video_scene_subscriber_set_enabled_fn)(video_scene_subscriber* subscriber,
                                                     int enabled);

#ifdef __cplusplus
}
#endif

#endif
