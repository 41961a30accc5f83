/* libovevent: the device's event service.
 *
 * An event is a set of keys with values. A key is a name with an optional name space; "topic0" to
 * "topic2" tell what the event is, other keys are marked as source or data. An application declares
 * an event once, sends it as often as it likes and undeclares it. A stateful event keeps the values
 * sent last (at first those of its declaration), and a new subscriber is told them at once.
 *
 * A handler outlives the service and the bus. That is the library's own work, as an application is
 * not told of either's absence and makes no declaration twice because of it. A port has to see to
 * all of this, also when nobody calls it:
 *  - while the service or the bus is away, stateful events can be declared, sent and undeclared
 * with success, under ids that stay valid; all else fails;
 *  - once the service is back, or the bus and the service, it is told every declaration that stands
 *    anew, within a second and with the values sent last, and never what was undeclared meanwhile;
 *  - subscriptions go on, and subscribers are told the present state of the service that is back.
 * Only a handler that could not be made is for the application to ask for again.
 *
 * A call takes 3 s at most, and 0.5 s while the service has left the one before unanswered: it is
 * made by threads that have more to do.
 *
 * A handler may be used from any thread; it serialises its own calls. A key-value set belongs to
 * its caller and is used from one thread at a time. Functions with a GError return FALSE and set
 * *error (when error is not null) on failure. */
#ifndef PLATFORM_OVEVENT_H
#define PLATFORM_OVEVENT_H

#include <glib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct OVEventHandler OVEventHandler;
typedef struct OVEventKeyValueSet OVEventKeyValueSet;
typedef struct OVEvent OVEvent;

typedef enum OVEventValueType {
  OV_EVENT_VALUE_INT,    /* const int* */
  OV_EVENT_VALUE_BOOL,   /* const gboolean* */
  OV_EVENT_VALUE_DOUBLE, /* const double* */
  OV_EVENT_VALUE_STRING  /* const char* */
} OVEventValueType;

/* ---- Key-value sets ---- */

OVEventKeyValueSet* ov_event_key_value_set_new(void);

/* Null is ignored. */
void ov_event_key_value_set_free(OVEventKeyValueSet* set);

/* Adds a key or replaces its value. name_space may be null. value points to what the type says and
 * is copied; a null value adds the key without a value (in a subscription: any value matches). */
gboolean ov_event_key_value_set_add(OVEventKeyValueSet* set, const char* key,
                                    const char* name_space, OVEventValueType type,
                                    const void* value, GError** error);

/* Names for people, of the key and of its value; either may be null. */
gboolean ov_event_key_value_set_add_nice_names(OVEventKeyValueSet* set, const char* key,
                                               const char* name_space, const char* key_nice_name,
                                               const char* value_nice_name, GError** error);

/* Marks a present key. */
gboolean ov_event_key_value_set_mark_as_source(OVEventKeyValueSet* set, const char* key,
                                               const char* name_space, GError** error);
gboolean ov_event_key_value_set_mark_as_data(OVEventKeyValueSet* set, const char* key,
                                             const char* name_space, GError** error);
gboolean ov_event_key_value_set_mark_as_user_defined(OVEventKeyValueSet* set, const char* key,
                                                     const char* name_space, const char* tag,
                                                     GError** error);

/* Read the value of a key. FALSE when the key is absent, has no value or another type; *value is
 * then left alone. The text of get_string is released by the caller with g_free. */
gboolean ov_event_key_value_set_get_int(const OVEventKeyValueSet* set, const char* key,
                                        const char* name_space, int* value, GError** error);
gboolean ov_event_key_value_set_get_bool(const OVEventKeyValueSet* set, const char* key,
                                         const char* name_space, gboolean* value, GError** error);
gboolean ov_event_key_value_set_get_string(const OVEventKeyValueSet* set, const char* key,
                                           const char* name_space, char** value, GError** error);

/* ---- Events received ---- */

/* The keys and values; they belong to the event. */
const OVEventKeyValueSet* ov_event_get_key_value_set(const OVEvent* event);

/* When it was sent: microseconds of wall-clock time since 1970 (UTC). */
int64_t ov_event_get_time_stamp(const OVEvent* event);

/* Null is ignored. */
void ov_event_free(OVEvent* event);

/* ---- Handler ---- */

/* Called on the thread of the process' main loop (libglib-utils) for each event that matches the
 * subscription. The callee owns the event and releases it with ov_event_free. */
typedef void (*OVEventSubscriptionCallback)(uint32_t subscription, OVEvent* event, void* user_data);

/* Connects to the event service; null when it cannot be reached. */
OVEventHandler* ov_event_handler_new(void);

/* Undeclares and unsubscribes what is left and releases the handler. Null is ignored. */
void ov_event_handler_free(OVEventHandler* handler);

/* Declares an event with its keys and first values; the set stays the caller's. On success
 * *declaration is its id, never 0. */
gboolean ov_event_handler_declare(OVEventHandler* handler, const OVEventKeyValueSet* set,
                                  gboolean stateless, uint32_t* declaration, GError** error);

/* Sends a declared event. The set holds the keys whose values change. time_stamp is microseconds of
 * wall-clock time since 1970 (UTC). */
gboolean ov_event_handler_send_event(OVEventHandler* handler, uint32_t declaration,
                                     const OVEventKeyValueSet* set, int64_t time_stamp,
                                     GError** error);

gboolean ov_event_handler_undeclare(OVEventHandler* handler, uint32_t declaration, GError** error);

/* Subscribes to every event that has all keys of the set with the same values. The callback is
 * called with the present state of each matching stateful event first. On success *subscription is
 * the id, never 0. */
gboolean ov_event_handler_subscribe(OVEventHandler* handler, const OVEventKeyValueSet* set,
                                    OVEventSubscriptionCallback callback, void* user_data,
                                    uint32_t* subscription, GError** error);

/* Ends a subscription. No callback of it runs after the call returns, and none is waited for that
 * is called from the callback itself. A running callback is waited for: do not hold a lock that it
 * takes. */
gboolean ov_event_handler_unsubscribe(OVEventHandler* handler, uint32_t subscription,
                                      GError** error);

#ifdef __cplusplus
}
#endif

#endif
