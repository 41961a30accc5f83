// The application's one handle to the device's event service and its one handle to the parameter
// store, with the table of the events that the application has declared.
//
// Every function holds one process-wide mutex for its whole run, the calls into the platform
// included. Failures are logged and come back as false.
#ifndef EVENTS_SDK_WRAPPER_H
#define EVENTS_SDK_WRAPPER_H

#include <ovevent.h>

#include <cstdint>
#include <string>

class EventKeyValueSet;

// Flags of a declared event, to be combined.
enum SdkEventFlags : std::uint32_t {
  SDK_EVENT_QUIET = 1,             // the first five failures in a row are only informational
  SDK_EVENT_STATEFUL = 2,          // with a boolean data key "active"
  SDK_EVENT_APPLICATION_DATA = 4,  // tagged "isApplicationData"
  SDK_EVENT_DEPRECATED = 8         // tagged "isDeprecated"
};

// Starts the main loop and obtains both handles, each with up to 10 attempts 100 ms apart. topic0
// is the top-level topic of the application's events.
void sdk_wrapper_init(const std::string& appName, const std::string& niceName,
                      const std::string& topic0);

// Whether the event service has been reached; when it has not, one attempt more is made. Once it
// has, it stays so: what is declared outlives the service's absence.
bool sdk_wrapper_has_event_service();

// Declares an application event under a name of the caller's choosing. Declaring a name again with
// the same flags and data key shares the event: each declaration needs a removal of its own. With
// another topic or nice name it is declared anew at once, under those given last; a stateful event
// keeps its value, which is sent again at the time it had. When that fails, the event goes on under
// its former names; the next send tries again, yet not within a second of such a failure. The
// former declaration, should the service not take it back, is tried to be taken back until it is.
// An empty data key means none; one longer than 127 characters is cut.
bool sdk_wrapper_event_add(const std::string& name, const std::string& topic,
                           const std::string& niceName, int flags, const std::string& dataKey = "");

// The same with a set of keys built by the caller, which is freed in any case. Other topics are
// those that the set has; a new declaration that fails is not tried again.
bool sdk_wrapper_event_add(const std::string& name, const char* niceName, int flags,
                           const std::string& dataKey, OVEventKeyValueSet* set);

// Declares (or shares) the ONVIF motion alarm of a source.
bool sdk_wrapper_event_add_onvif_motion_alarm_event(const std::string& name, int source, int state);

// Sends an event: its state, and data text when it has a data key (null: none). A timestamp in
// monotonic microseconds is converted to wall-clock time, one of 0 stays 0, null means now.
bool sdk_wrapper_event_send(const std::string& name, int value, const char* data,
                            const std::int64_t* timestamp);

bool sdk_wrapper_onvif_motion_alarm_event_send(const std::string& name, int state,
                                               const std::int64_t* timestamp);

// Drops one declaration of the name. The last one undeclares the event 50 ms later, unless it has
// been declared again by then, and tries again when that fails. False for an unknown name.
bool sdk_wrapper_event_remove(const std::string& name);

// Copies a parameter's value, cut to destSize - 1 characters; empty text when it cannot be read.
// False when the question was lost, which tells nothing of whether there is such a parameter.
bool sdk_wrapper_param_get(const std::string& name, char* dest, int destSize);

// Completes pending removals, undeclares every event and releases both handles.
void sdk_wrapper_cleanup();

// For events with keys of their own: the same calls to the event service, serialised with all
// others, on a handler that belongs to the caller.
OVEventHandler* sdk_wrapper_handler_new();
void sdk_wrapper_handler_free(OVEventHandler* handler);
bool sdk_wrapper_handler_declare(OVEventHandler* handler, const EventKeyValueSet& set,
                                 bool stateless, std::uint32_t& declarationId);
bool sdk_wrapper_handler_send(OVEventHandler* handler, std::uint32_t declarationId,
                              const EventKeyValueSet& set);
bool sdk_wrapper_handler_undeclare(OVEventHandler* handler, std::uint32_t declarationId);

#endif
