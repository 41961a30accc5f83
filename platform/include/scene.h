/* libscene: decoding of scene frames.
 *
 * A frame is the analytics' report on one picture of one channel: properties of the scene, objects
 * with properties, and events. The bytes are private to this library (and to the encoder of the
 * service that sends them); a frame begins with its own length, so that it can be handed on as a
 * bare pointer. Decoding copies what it needs and checks every read: no byte sequence makes it fail
 * otherwise than by returning null.
 *
 * Properties are numbered:
 *   scene   0   time stamp, 1 value of 64 bits, monotonic microseconds
 *   object  5   bounding box: values x, y of 4 vertices (Q12)
 *   object  6   polygon: values x, y of each vertex (Q12)
 *   object  7   velocity: 2 values, x and y (Q12 per second, y upwards)
 *   object 15   confidence: 1 value (Q12, 0 to 4096)
 *   event   9   ids the event comes from: deleted objects; the source of a split; the object that
 *               remains after a merge
 *   event  10   ids the event leads to: the parts of a split; the objects that a merge absorbs
 *
 * A decoded scene is used from one thread at a time. */
#ifndef PLATFORM_SCENE_H
#define PLATFORM_SCENE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SCENE_PROP_TIMESTAMP 0
#define SCENE_OBJ_PROP_BOUNDING_BOX 5
#define SCENE_OBJ_PROP_POLYGON 6
#define SCENE_OBJ_PROP_VELOCITY 7
#define SCENE_OBJ_PROP_CONFIDENCE 15
#define SCENE_EVT_PROP_FROM 9
#define SCENE_EVT_PROP_TO 10

#define SCENE_EVENT_DELETE 0
#define SCENE_EVENT_SPLIT 1
#define SCENE_EVENT_MERGE 2

typedef struct scene scene;
typedef struct scene_object scene_object;
typedef struct scene_event scene_event;

/* The length in bytes that a frame announces for itself, header included, or 0 when the first bytes
 * are not those of a frame. Reads the first 8 bytes only. */
size_t scene_area_size(const void* area);

/* Decodes a frame of at most size readable bytes. Null when the bytes are no whole, valid frame. */
scene* scene_copy_from_area(const void* area, size_t size);

/* Releases the scene with all its objects, events and values; null is ignored. */
void scene_delete(scene* s);

/* The number of 64-bit values of a property of the scene, -1 when it is absent; *values points to
 * them and lives as long as the scene. */
int scene_get_prop(const scene* s, int property, const int64_t** values);

/* Iteration in the frame's order: null starts, null ends. */
const scene_object* scene_next_object(const scene* s, const scene_object* previous);
const scene_event* scene_next_event(const scene* s, const scene_event* previous);

int32_t scene_get_object_id(const scene_object* object);

/* As scene_get_prop, with 32-bit values. */
int scene_get_obj_prop(const scene_object* object, int property, const int32_t** values);

/* SCENE_EVENT_DELETE, SCENE_EVENT_SPLIT or SCENE_EVENT_MERGE. */
int scene_get_event_action(const scene_event* event);

/* As scene_get_prop, with 32-bit values. */
int scene_get_evt_prop(const scene_event* event, int property, const int32_t** values);

#ifdef __cplusplus
}
#endif

#endif
