#include "events/sdk_wrapper.h"

#include <gio/gio.h>
#include <glib-utils.h>
#include <glib.h>
#include <ovparameter.h>
#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "app/clock.h"
#include "app/interval_timer_observable.h"
#include "app/lock_order.h"
#include "base/glib_ptr.h"
#include "base/mutex.h"
#include "base/units.h"
#include "events/event_key_value_set.h"
#include "events/event_names.h"
#include "events/time_conversion.h"

namespace {

constexpr int HANDLE_ATTEMPTS = 10;
constexpr std::int64_t ATTEMPT_PAUSE = 100 * units::MICROSECONDS_PER_MILLISECOND;
constexpr std::int64_t REMOVAL_DELAY = 50 * units::MICROSECONDS_PER_MILLISECOND;
constexpr std::int64_t BACK_OFF = units::MICROSECONDS_PER_SECOND;  // after a renaming that failed
constexpr std::int64_t FIRST_PAUSE =
    units::MICROSECONDS_PER_SECOND;  // of undeclarations that failed
constexpr std::int64_t LONGEST_PAUSE = 60 * FIRST_PAUSE;
constexpr std::size_t MAX_DATA_KEY_LENGTH = 127;
constexpr std::int32_t QUIET_FAILURES = 5;

using utils::NAME_SPACE;
using utils::ONVIF_NAME_SPACE;

// What others know an event by.
struct EventNames {
  std::string topic;
  std::string niceName;

  bool operator==(const EventNames&) const = default;
};

struct DeclaredEvent {
  std::uint32_t declarationId = 0;
  std::uint32_t value = 0;
  std::uint32_t flags = 0;
  std::uint32_t refCount = 0;
  std::uint32_t source = 0;
  std::string dataKey;
  std::int32_t failures = 0;
  std::string data;                      // of a stateful event, sent last
  std::optional<std::int64_t> sentTime;  // of what was sent last, as the service was told it
  EventNames names;                      // as the service knows them
  EventNames wantedNames;                // those given last
};

struct PendingRemoval {
  std::string name;
  std::int32_t timerId;
};

// A declaration that the service did not take back. It would be there for ever, in alarm perhaps.
struct LeftDeclaration {
  std::uint32_t id;
  std::int64_t pause;      // microseconds
  std::int64_t nextTrial;  // monotonic microseconds
};

using EventTable = std::map<std::string, std::unique_ptr<DeclaredEvent>>;

Mutex s_mutex ACQUIRED_AFTER(lock_order::DEVICE_FACTS) ACQUIRED_BEFORE(lock_order::PLATFORM);
OVEventHandler* s_eventHandler GUARDED_BY(s_mutex) = nullptr;
OVParameter* s_parameterHandler GUARDED_BY(s_mutex) = nullptr;
std::string s_appName GUARDED_BY(s_mutex);
std::string s_niceName GUARDED_BY(s_mutex);
std::string s_topic0 GUARDED_BY(s_mutex);
std::unique_ptr<EventTable> s_events GUARDED_BY(s_mutex) POINTED_GUARDED_BY(s_mutex);
std::vector<PendingRemoval> s_pendingRemovals GUARDED_BY(s_mutex);
std::optional<std::int64_t> s_renamingFailedAt GUARDED_BY(s_mutex);  // monotonic microseconds
std::vector<LeftDeclaration> s_leftDeclarations GUARDED_BY(s_mutex);
std::optional<std::int32_t> s_leftTimerId GUARDED_BY(s_mutex);  // there is one while there are such

// What the two ways of sending call an event in their messages.
struct SentKind {
  const char* name;
  bool isTold;  // which event it is, too
};

constexpr SentKind APPLICATION_EVENT{.name = "event", .isTold = true};
constexpr SentKind MOTION_ALARM_EVENT{.name = "ONVIF Motion Alarm event", .isTold = false};

void logRefusal(const SentKind& kind, const std::string& name, const char* reason) {
  syslog(LOG_ERR, "Cannot send %s%s. %s\n", kind.name, kind.isTold ? (" " + name).c_str() : "",
         reason);
}

void logSendFailure(const SentKind& kind, const std::string& name, DeclaredEvent& event) {
  const bool quiet = (event.flags & SDK_EVENT_QUIET) != 0 && event.failures < QUIET_FAILURES;
  syslog(quiet ? LOG_INFO : LOG_ERR, "Could not send %s %s (id %d)\n", kind.name, name.c_str(),
         static_cast<int>(event.declarationId));
  ++event.failures;
}

void obtainEventHandler() REQUIRES(s_mutex) {
  if (s_eventHandler != nullptr) {
    syslog(LOG_WARNING, "The event handler is already initialized.\n");
    return;
  }
  for (int attempt = 1; attempt <= HANDLE_ATTEMPTS && s_eventHandler == nullptr; ++attempt) {
    s_eventHandler = ov_event_handler_new();
    if (s_eventHandler == nullptr) {
      syslog(LOG_WARNING, "Could not get an event-handler, try %d of %d\n", attempt,
             HANDLE_ATTEMPTS);
      utils::sleep(ATTEMPT_PAUSE);
    }
  }
  if (s_events == nullptr) {
    s_events = std::make_unique<EventTable>();
  }
}

void obtainParameterHandler() REQUIRES(s_mutex) {
  if (s_parameterHandler != nullptr) {
    syslog(LOG_WARNING, "The parameter handler is already initialized.\n");
    return;
  }
  for (int attempt = 1; attempt <= HANDLE_ATTEMPTS && s_parameterHandler == nullptr; ++attempt) {
    s_parameterHandler = ov_parameter_new(s_appName.c_str(), nullptr);
    if (s_parameterHandler == nullptr) {
      syslog(LOG_WARNING, "Could not get an parameter-handler, try %d of %d\n", attempt,
             HANDLE_ATTEMPTS);
      utils::sleep(ATTEMPT_PAUSE);
    }
  }
}

// A service may come up after the attempts of the start, yet before the cameras are made and their
// configuration is applied: no alarm may be lost for that. Without initialisation there is no
// handle.
bool hasEventHandler() REQUIRES(s_mutex) {
  const bool isInitialised = s_events != nullptr;
  if (s_eventHandler == nullptr && isInitialised) {
    s_eventHandler = ov_event_handler_new();
  }
  return s_eventHandler != nullptr;
}

bool hasParameterHandler() REQUIRES(s_mutex) {
  const bool isInitialised = s_events != nullptr;
  if (s_parameterHandler == nullptr && isInitialised) {
    s_parameterHandler = ov_parameter_new(s_appName.c_str(), nullptr);
  }
  return s_parameterHandler != nullptr;
}

// The record of a name: null when there is no table or no such name.
DeclaredEvent* findEvent(const std::string& name) REQUIRES(s_mutex) {
  if (s_events == nullptr) {
    return nullptr;
  }
  const auto found = s_events->find(name);
  return found == s_events->end() ? nullptr : found->second.get();
}

// Adds a declaration to an event of that name. False, logged, when the event is another one.
bool shareEvent(DeclaredEvent& event, const std::string& name, bool sameProperties) {
  if (!sameProperties) {
    syslog(LOG_ERR, "Cannot add event %s as it is already declared, but with other properties\n",
           name.c_str());
    return false;
  }
  ++event.refCount;
  return true;
}

bool isStateless(const DeclaredEvent& event) {
  return (event.flags & SDK_EVENT_STATEFUL) == 0;
}

bool declareEvent(const std::string& name, std::unique_ptr<DeclaredEvent> event,
                  const OVEventKeyValueSet* set, bool stateless) REQUIRES(s_mutex) {
  if (set == nullptr ||
      !ov_event_handler_declare(s_eventHandler, set, stateless, &event->declarationId, nullptr)) {
    return false;
  }
  event->refCount = 1;
  (*s_events)[name] = std::move(event);
  return true;
}

// With the event's present values.
EventKeyValueSet createApplicationEventSet(const DeclaredEvent& event, const EventNames& names)
    REQUIRES(s_mutex) {
  EventKeyValueSet set;
  set.add("topic0", NAME_SPACE, s_topic0)
      .add("topic1", NAME_SPACE, s_appName)
      .niceName("topic1", NAME_SPACE, s_niceName)
      .add("topic2", NAME_SPACE, names.topic)
      .niceName("topic2", NAME_SPACE, names.niceName);
  if (!isStateless(event)) {
    set.addBool("active", nullptr, event.value != 0).markAsData("active", nullptr);
  }
  if ((event.flags & SDK_EVENT_APPLICATION_DATA) != 0) {
    set.markAsUserDefined("topic2", NAME_SPACE, "isApplicationData");
  }
  if ((event.flags & SDK_EVENT_DEPRECATED) != 0) {
    set.markAsUserDefined("topic2", NAME_SPACE, "isDeprecated");
  }
  if (!event.dataKey.empty()) {
    set.add(event.dataKey.c_str(), nullptr, event.data).markAsData(event.dataKey.c_str(), nullptr);
  }
  return set;
}

// The topics of a set that a caller has built, as one text.
std::string readTopics(const OVEventKeyValueSet* set) {
  std::string topics;
  for (const char* key : {"topic0", "topic1", "topic2"}) {
    char* topic = nullptr;
    if (ov_event_key_value_set_get_string(set, key, NAME_SPACE, &topic, nullptr)) {
      topics += GTextPtr(topic).get();
    }
    topics += '/';
  }
  return topics;
}

bool hasPropertiesOf(const DeclaredEvent& event, const DeclaredEvent& added) {
  return event.flags == added.flags && event.source == 0 && event.dataKey == added.dataKey;
}

// The event to send, or null after a message.
DeclaredEvent* findEventToSend(const SentKind& kind, const std::string& name) REQUIRES(s_mutex) {
  if (s_eventHandler == nullptr) {
    logRefusal(kind, name, "Handler is not initialized");
    return nullptr;
  }
  if (s_events == nullptr) {
    logRefusal(kind, name, "No events are registered");
    return nullptr;
  }
  const auto found = s_events->find(name);
  if (found == s_events->end()) {
    logRefusal(kind, name, " Event is not registered");
    return nullptr;
  }
  if (found->second == nullptr) {
    logRefusal(kind, name, "Event properties = NULL");
  }
  return found->second.get();
}

std::int64_t toEventTime(const std::int64_t* timestamp) {
  if (timestamp == nullptr) {
    return utils::utcTime();
  }
  return *timestamp == 0 ? 0 : utils::convertMonotonicToUTC_Time(*timestamp);
}

bool sendEvent(const SentKind& kind, const std::string& name, DeclaredEvent& event,
               const EventKeyValueSet& set, std::int64_t eventTime) REQUIRES(s_mutex) {
  event.sentTime = eventTime;
  if (!ov_event_handler_send_event(s_eventHandler, event.declarationId, set.get(), eventTime,
                                   nullptr)) {
    logSendFailure(kind, name, event);
    return false;
  }
  event.failures = 0;
  return true;
}

// The event's value; data is left out when it is null or there is no key for it.
bool sendValue(const std::string& name, DeclaredEvent& event, const char* data,
               std::int64_t eventTime) REQUIRES(s_mutex) {
  EventKeyValueSet set;
  if (!isStateless(event)) {
    set.addBool("active", nullptr, event.value != 0);
  }
  if (data != nullptr && !event.dataKey.empty()) {
    set.add(event.dataKey.c_str(), nullptr, std::string(data));
  }
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not send event %s.  Internal error\n", name.c_str());
    return false;
  }
  return sendEvent(APPLICATION_EVENT, name, event, set, eventTime);
}

// ---- Declarations that are to go ----

bool tryToUndeclare(std::uint32_t id) REQUIRES(s_mutex) {
  return ov_event_handler_undeclare(s_eventHandler, id, nullptr);
}

// Not while another observer of this module has been given the same id.
void dropTimer(std::int32_t timerId) REQUIRES(s_mutex) {
  const bool isUsed = timerId == s_leftTimerId ||
                      std::ranges::find(s_pendingRemovals, timerId, &PendingRemoval::timerId) !=
                          s_pendingRemovals.end();
  if (!isUsed) {
    IntervalTimerObservable::unregisterObserver(timerId);
  }
}

// Ever more seldom: the service may have taken one back without its answer having arrived, and then
// knows nothing of it any more. At most one failure at a time, for it may take a time-out.
void undeclareWhatIsLeft() REQUIRES(s_mutex) {
  const std::int64_t now = utils::monotonicTime();
  for (LeftDeclaration& left : s_leftDeclarations) {
    if (left.nextTrial > now) {
      continue;
    }
    if (!tryToUndeclare(left.id)) {
      left.pause = std::min(2 * left.pause, LONGEST_PAUSE);
      left.nextTrial = now + left.pause;
      break;
    }
    left.id = 0;
  }
  std::erase_if(s_leftDeclarations, [](const LeftDeclaration& left) { return left.id == 0; });
}

void leftTimerCallback(std::int32_t timerId) {
  const LockGuard lock(s_mutex);
  undeclareWhatIsLeft();
  if (s_leftDeclarations.empty() && s_leftTimerId == timerId) {
    s_leftTimerId.reset();
  }
  dropTimer(timerId);
}

// At once, or as soon as the service takes it back.
void undeclare(std::uint32_t id) REQUIRES(s_mutex) {
  if (tryToUndeclare(id)) {
    return;
  }
  s_leftDeclarations.push_back({id, FIRST_PAUSE, utils::monotonicTime() + FIRST_PAUSE});
  if (!s_leftTimerId) {
    s_leftTimerId = IntervalTimerObservable::registerObserver(leftTimerCallback, FIRST_PAUSE);
  }
}

// ---- Names ----

// Puts a new declaration in the place of the present one, which goes last: an event that is active
// is active for every listener all the time. What was a message is not sent again.
bool declareAnew(const std::string& name, DeclaredEvent& event, EventNames names,
                 const OVEventKeyValueSet* set) REQUIRES(s_mutex) {
  std::uint32_t id = 0;
  if (set == nullptr ||
      !ov_event_handler_declare(s_eventHandler, set, isStateless(event), &id, nullptr)) {
    return false;
  }
  const std::uint32_t former = std::exchange(event.declarationId, id);
  event.names = names;
  event.wantedNames = names;
  if (!isStateless(event) && event.sentTime) {
    sendValue(name, event, event.data.c_str(), *event.sentTime);
  }
  undeclare(former);
  return true;
}

bool hasRenamingJustFailed() REQUIRES(s_mutex) {
  return s_renamingFailedAt && utils::monotonicTime() < *s_renamingFailedAt + BACK_OFF;
}

// Sees to it that the service knows the event by the names that are wanted. While it cannot be told
// them, the event goes on under the former ones.
void applyNames(const std::string& name, DeclaredEvent& event) REQUIRES(s_mutex) {
  if (event.wantedNames == event.names) {
    return;
  }
  const EventKeyValueSet set = createApplicationEventSet(event, event.wantedNames);
  if (!declareAnew(name, event, event.wantedNames, set.ok() ? set.get() : nullptr)) {
    syslog(LOG_ERR, "Cannot declare event %s (internal error)\n", name.c_str());
    s_renamingFailedAt = utils::monotonicTime();
  }
}

// ---- Removal ----

// Undeclares an event that nobody uses any more; one that was declared again meanwhile stays.
void completeRemoval(const std::string& name) REQUIRES(s_mutex) {
  const DeclaredEvent* event = findEvent(name);
  if (event == nullptr || event->refCount > 0) {
    return;
  }
  undeclare(event->declarationId);
  s_events->erase(name);
}

void removalTimerCallback(std::int32_t timerId) {
  const LockGuard lock(s_mutex);
  const auto pending = std::ranges::find(s_pendingRemovals, timerId, &PendingRemoval::timerId);
  if (pending != s_pendingRemovals.end()) {
    const std::string name = pending->name;
    s_pendingRemovals.erase(pending);
    completeRemoval(name);
  }
  // Also without an entry: an observer that was unregistered before it became active stays active.
  dropTimer(timerId);
}

std::unique_ptr<DeclaredEvent> createEvent(int flags, const std::string& dataKey,
                                           EventNames names) {
  auto event = std::make_unique<DeclaredEvent>();
  event->flags = static_cast<std::uint32_t>(flags);
  event->dataKey = dataKey.substr(0, MAX_DATA_KEY_LENGTH);
  event->names = std::move(names);
  event->wantedNames = event->names;
  return event;
}

// The same with the keys of a caller, which are there for this one declaration only.
bool declareOwnAnew(const std::string& name, DeclaredEvent& event, const EventNames& names,
                    OVEventKeyValueSet* set) REQUIRES(s_mutex) {
  const gboolean isActive = event.value != 0 ? TRUE : FALSE;
  if (set != nullptr && !isStateless(event) &&
      !ov_event_key_value_set_add(set, "active", nullptr, OV_EVENT_VALUE_BOOL, &isActive,
                                  nullptr)) {
    return false;
  }
  return declareAnew(name, event, names, set);
}

}  // namespace

void sdk_wrapper_init(const std::string& appName, const std::string& niceName,
                      const std::string& topic0) {
  const LockGuard lock(s_mutex);
  mainloop_start(appName.c_str(), niceName.c_str(), topic0.c_str());
  s_appName = appName;
  s_niceName = niceName;
  s_topic0 = topic0;
  obtainEventHandler();
  obtainParameterHandler();
}

bool sdk_wrapper_event_add(const std::string& name, const std::string& topic,
                           const std::string& niceName, int flags, const std::string& dataKey) {
  const LockGuard lock(s_mutex);
  if (!hasEventHandler()) {
    syslog(LOG_ERR, "Cannot register event %s (handler not initialized)\n", niceName.c_str());
    return false;
  }
  auto added = createEvent(flags, dataKey, {topic, niceName});
  if (DeclaredEvent* event = findEvent(name)) {
    if (!shareEvent(*event, name, hasPropertiesOf(*event, *added))) {
      return false;
    }
    event->wantedNames = added->names;
    applyNames(name, *event);
    return true;
  }
  const EventKeyValueSet set = createApplicationEventSet(*added, added->names);
  const bool stateless = isStateless(*added);
  if (declareEvent(name, std::move(added), set.ok() ? set.get() : nullptr, stateless)) {
    return true;
  }
  syslog(LOG_ERR, "Cannot declare event %s (internal error)\n", name.c_str());
  return false;
}

bool sdk_wrapper_event_add(const std::string& name, const char* niceName, int flags,
                           const std::string& dataKey, OVEventKeyValueSet* set) {
  const LockGuard lock(s_mutex);
  const KeyValueSetPtr owned(set);
  if (!hasEventHandler()) {
    syslog(LOG_ERR, "SDK Wrapper: Cannot register event %s (handler not initialized)\n",
           name.c_str());
    return false;
  }
  auto added = createEvent(flags, dataKey,
                           {set != nullptr ? readTopics(set) : std::string(),
                            niceName != nullptr ? niceName : std::string()});
  if (DeclaredEvent* event = findEvent(name)) {
    if (!hasPropertiesOf(*event, *added)) {
      syslog(LOG_ERR,
             "SDK Wrapper: Cannot add event %s as it is already declared, but with other "
             "properties\n",
             name.c_str());
      return false;
    }
    ++event->refCount;
    if (event->names != added->names && !declareOwnAnew(name, *event, added->names, set)) {
      syslog(LOG_ERR, "SDK Wrapper: Cannot declare event %s (internal error)\n", name.c_str());
    }
    return true;
  }
  const bool stateless = isStateless(*added);
  if (declareEvent(name, std::move(added), set, stateless)) {
    return true;
  }
  syslog(LOG_ERR, "SDK Wrapper: Cannot declare event %s (internal error)\n", name.c_str());
  return false;
}

bool sdk_wrapper_event_add_onvif_motion_alarm_event(const std::string& name, int source,
                                                    int state) {
  const LockGuard lock(s_mutex);
  if (!hasEventHandler()) {
    syslog(LOG_ERR, "Cannot register event %s (handler not initialized)\n", name.c_str());
    return false;
  }
  const auto sourceNumber = static_cast<std::uint32_t>(source);
  if (DeclaredEvent* event = findEvent(name)) {
    return shareEvent(
        *event, name,
        event->flags == SDK_EVENT_QUIET && event->source == sourceNumber && event->dataKey.empty());
  }
  EventKeyValueSet set;
  set.add("topic0", ONVIF_NAME_SPACE, "VideoSource")
      .add("topic1", ONVIF_NAME_SPACE, "MotionAlarm")
      .add("Source", nullptr, source)
      .markAsSource("Source", nullptr)
      .markAsUserDefined("Source", nullptr, "wstype:tt:ReferenceToken")
      .addBool("State", nullptr, state != 0)
      .markAsData("State", nullptr);
  auto event = std::make_unique<DeclaredEvent>();
  event->flags = SDK_EVENT_QUIET;
  event->source = sourceNumber;
  event->value = static_cast<std::uint32_t>(state);
  if (declareEvent(name, std::move(event), set.ok() ? set.get() : nullptr, false)) {
    return true;
  }
  syslog(LOG_ERR, "Cannot declare ONVIF Motion Alarm event %s (internal error)\n", name.c_str());
  return false;
}

bool sdk_wrapper_event_send(const std::string& name, int value, const char* data,
                            const std::int64_t* timestamp) {
  const LockGuard lock(s_mutex);
  DeclaredEvent* event = findEventToSend(APPLICATION_EVENT, name);
  if (event == nullptr) {
    return false;
  }
  if (!hasRenamingJustFailed()) {
    applyNames(name, *event);
  }
  event->value = static_cast<std::uint32_t>(value);
  if (data != nullptr && !isStateless(*event)) {
    event->data = data;
  }
  return sendValue(name, *event, data, toEventTime(timestamp));
}

bool sdk_wrapper_onvif_motion_alarm_event_send(const std::string& name, int state,
                                               const std::int64_t* timestamp) {
  const LockGuard lock(s_mutex);
  DeclaredEvent* event = findEventToSend(MOTION_ALARM_EVENT, name);
  if (event == nullptr) {
    return false;
  }
  event->value = static_cast<std::uint32_t>(state);
  EventKeyValueSet set;
  set.add("Source", nullptr, static_cast<int>(event->source)).addBool("State", nullptr, state != 0);
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not send event %s.  Internal error\n", name.c_str());
    return false;
  }
  return sendEvent(MOTION_ALARM_EVENT, name, *event, set, toEventTime(timestamp));
}

bool sdk_wrapper_event_remove(const std::string& name) {
  const LockGuard lock(s_mutex);
  DeclaredEvent* event = findEvent(name);
  if (event == nullptr || event->refCount == 0) {
    return false;
  }
  --event->refCount;
  if (event->refCount == 0) {
    const std::int32_t timerId =
        IntervalTimerObservable::registerObserver(removalTimerCallback, REMOVAL_DELAY);
    s_pendingRemovals.push_back({name, timerId});
  }
  return true;
}

bool sdk_wrapper_has_event_service() {
  const LockGuard lock(s_mutex);
  return hasEventHandler();
}

bool sdk_wrapper_param_get(const std::string& name, char* dest, int destSize) {
  if (dest == nullptr || destSize < 1) {
    return false;
  }
  const LockGuard lock(s_mutex);
  dest[0] = '\0';
  if (!hasParameterHandler()) {
    syslog(LOG_WARNING, "Cannot get parameter %s (handler not initialized). Using: %s = %s\n",
           name.c_str(), name.c_str(), dest);
    return false;
  }
  char* value = nullptr;
  ErrorSlot error;
  if (!ov_parameter_get(s_parameterHandler, name.c_str(), &value, error.out()) ||
      value == nullptr) {
    return g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS) != FALSE;
  }
  g_strlcpy(dest, GTextPtr(value).get(), static_cast<gsize>(destSize));
  return true;
}

void sdk_wrapper_cleanup() {
  const LockGuard lock(s_mutex);
  for (const PendingRemoval& pending : s_pendingRemovals) {
    completeRemoval(pending.name);
    IntervalTimerObservable::unregisterObserver(pending.timerId);
  }
  s_pendingRemovals.clear();
  for (const LeftDeclaration& left : s_leftDeclarations) {
    tryToUndeclare(left.id);
  }
  s_leftDeclarations.clear();
  if (s_leftTimerId) {
    IntervalTimerObservable::unregisterObserver(*std::exchange(s_leftTimerId, std::nullopt));
  }
  s_renamingFailedAt.reset();
  if (s_events != nullptr) {
    for (const auto& [name, event] : *s_events) {
      ov_event_handler_undeclare(s_eventHandler, event->declarationId, nullptr);
    }
    s_events.reset();
  }
  ov_event_handler_free(s_eventHandler);
  s_eventHandler = nullptr;
  ov_parameter_free(s_parameterHandler);
  s_parameterHandler = nullptr;
}

OVEventHandler* sdk_wrapper_handler_new() {
  const LockGuard lock(s_mutex);
  return ov_event_handler_new();
}

void sdk_wrapper_handler_free(OVEventHandler* handler) {
  const LockGuard lock(s_mutex);
  ov_event_handler_free(handler);
}

bool sdk_wrapper_handler_declare(OVEventHandler* handler, const EventKeyValueSet& set,
                                 bool stateless, std::uint32_t& declarationId) {
  const LockGuard lock(s_mutex);
  return handler != nullptr && set.ok() &&
         ov_event_handler_declare(handler, set.get(), stateless, &declarationId, nullptr);
}

bool sdk_wrapper_handler_send(OVEventHandler* handler, std::uint32_t declarationId,
                              const EventKeyValueSet& set) {
  const LockGuard lock(s_mutex);
  return handler != nullptr && set.ok() &&
         ov_event_handler_send_event(handler, declarationId, set.get(), utils::utcTime(), nullptr);
}

bool sdk_wrapper_handler_undeclare(OVEventHandler* handler, std::uint32_t declarationId) {
  const LockGuard lock(s_mutex);
  return handler != nullptr && ov_event_handler_undeclare(handler, declarationId, nullptr);
}
