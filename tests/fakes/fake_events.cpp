#include "fakes/fake_events.h"

#include <ovevent.h>

#include <algorithm>
#include <utility>

#include "base/mutex.h"
#include "fakes/call_journal.h"

struct OVEventKeyValueSet {
  FakeEvents::Keys keys;
};

struct OVEvent {
  OVEventKeyValueSet set;
  std::int64_t time = 0;
};

struct OVEventHandler {
  int number = 0;
};

namespace {

using FakeEvents::Declaration;
using FakeEvents::Key;
using FakeEvents::Keys;
using FakeEvents::Sent;
using FakeEvents::Subscription;
using FakeEvents::Value;

struct Subscriber {
  Subscription seen;
  OVEventSubscriptionCallback callback = nullptr;
  void* userData = nullptr;
};

struct Service {
  Mutex mutex;  // guards all below
  std::vector<Declaration> declarations;
  std::vector<Sent> sent;
  std::vector<Subscriber> subscribers;
  std::uint32_t lastId = 0;
  int calls = 0;
  std::function<void()> freeCallback;
  int handlersMade = 0;
  int handlersFreed = 0;
  int sets = 0;
  int events = 0;
  int handlersToFail = 0;
  int declaresTried = 0;
  int declaresToFail = 0;
  int undeclaresToFail = 0;
  int sendsToFail = 0;
  int addsToFail = 0;
  int subscribesToFail = 0;
};

Service& theService() {
  static Service s_service;
  return s_service;
}

gboolean failed(GError** error, const char* text) {
  g_set_error_literal(error, g_quark_from_static_string("fake-events"), 1, text);
  return FALSE;
}

// Takes one of the failures that a test asked for.
bool strikes(int& failures) {
  if (failures == 0) {
    return false;
  }
  --failures;
  return true;
}

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

Value valueOf(OVEventValueType type, const void* value) {
  if (value == nullptr) {
    return {};
  }
  switch (type) {
    case OV_EVENT_VALUE_INT:
      return *static_cast<const int*>(value);
    case OV_EVENT_VALUE_BOOL:
      return *static_cast<const gboolean*>(value) != FALSE;
    case OV_EVENT_VALUE_DOUBLE:
      return *static_cast<const double*>(value);
    case OV_EVENT_VALUE_STRING:
      return std::string(static_cast<const char*>(value));
  }
  return {};
}

// Null when the key is absent or was added with another name space.
template <typename Set>
auto findKey(Set* set, const char* key, const char* nameSpace)
    -> decltype(&set->keys.begin()->second) {
  const auto found = set->keys.find(key);
  if (found == set->keys.end() || found->second.nameSpace != textOf(nameSpace)) {
    return nullptr;
  }
  return &found->second;
}

template <typename Change>
gboolean changeKey(OVEventKeyValueSet* set, const char* key, const char* nameSpace, GError** error,
                   Change change) {
  Key* const found = findKey(set, key, nameSpace);
  if (found == nullptr) {
    return failed(error, "no such key");
  }
  change(*found);
  return TRUE;
}

// The key's value when it has that type.
template <typename Type>
const Type* readKey(const OVEventKeyValueSet* set, const char* key, const char* nameSpace,
                    GError** error) {
  const Key* const found = findKey(set, key, nameSpace);
  const Type* const value = found != nullptr ? std::get_if<Type>(&found->value) : nullptr;
  if (value == nullptr) {
    failed(error, "no such value");
  }
  return value;
}

Declaration* findDeclaration(std::uint32_t id) {
  auto& all = theService().declarations;
  const auto found = std::find_if(all.begin(), all.end(), [id](const Declaration& declaration) {
    return declaration.id == id && !declaration.undeclared;
  });
  return found != all.end() ? &*found : nullptr;
}

Subscriber* findSubscriber(std::uint32_t id) {
  auto& all = theService().subscribers;
  const auto found = std::find_if(all.begin(), all.end(), [id](const Subscriber& subscriber) {
    return subscriber.seen.id == id && !subscriber.seen.unsubscribed;
  });
  return found != all.end() ? &*found : nullptr;
}

std::string topic2Of(const Keys& keys) {
  const auto found = keys.find("topic2");
  const std::string* const text =
      found != keys.end() ? std::get_if<std::string>(&found->second.value) : nullptr;
  return text != nullptr ? *text : "";
}

}  // namespace

namespace FakeEvents {

void reset() {
  Service& service = theService();
  const LockGuard lock(service.mutex);
  service.declarations.clear();
  service.sent.clear();
  service.subscribers.clear();
  service.freeCallback = nullptr;
  service.handlersMade = 0;
  service.handlersFreed = 0;
  service.handlersToFail = 0;
  service.declaresTried = 0;
  service.declaresToFail = 0;
  service.undeclaresToFail = 0;
  service.sendsToFail = 0;
  service.addsToFail = 0;
  service.subscribesToFail = 0;
}

std::vector<Declaration> declarations() {
  const LockGuard lock(theService().mutex);
  return theService().declarations;
}

std::vector<Declaration> activeDeclarations() {
  std::vector<Declaration> active = declarations();
  std::erase_if(active, [](const Declaration& declaration) { return declaration.undeclared; });
  return active;
}

std::vector<Sent> sent() {
  const LockGuard lock(theService().mutex);
  return theService().sent;
}

void clearSent() {
  const LockGuard lock(theService().mutex);
  theService().sent.clear();
}

std::vector<Subscription> subscriptions() {
  const LockGuard lock(theService().mutex);
  std::vector<Subscription> all;
  for (const Subscriber& subscriber : theService().subscribers) {
    all.push_back(subscriber.seen);
  }
  return all;
}

std::vector<Sent> sentTo(const std::string& topic2) {
  std::vector<Sent> matching = sent();
  std::erase_if(matching, [&topic2](const Sent& event) { return event.topic2 != topic2; });
  return matching;
}

int handlersMade() {
  const LockGuard lock(theService().mutex);
  return theService().handlersMade;
}

int handlersFreed() {
  const LockGuard lock(theService().mutex);
  return theService().handlersFreed;
}

int setsAlive() {
  const LockGuard lock(theService().mutex);
  return theService().sets;
}

int eventsAlive() {
  const LockGuard lock(theService().mutex);
  return theService().events;
}

int declaresTried() {
  const LockGuard lock(theService().mutex);
  return theService().declaresTried;
}

void failHandlers(int count) {
  const LockGuard lock(theService().mutex);
  theService().handlersToFail = count;
}

void failDeclares(int count) {
  const LockGuard lock(theService().mutex);
  theService().declaresToFail = count;
}

void failUndeclares(int count) {
  const LockGuard lock(theService().mutex);
  theService().undeclaresToFail = count;
}

void failSends(int count) {
  const LockGuard lock(theService().mutex);
  theService().sendsToFail = count;
}

void failAdds(int count) {
  const LockGuard lock(theService().mutex);
  theService().addsToFail = count;
}

void failSubscribes(int count) {
  const LockGuard lock(theService().mutex);
  theService().subscribesToFail = count;
}

void onFree(std::function<void()> callback) {
  const LockGuard lock(theService().mutex);
  theService().freeCallback = std::move(callback);
}

void deliver(std::uint32_t subscription, const Keys& keys, std::int64_t time) {
  OVEventSubscriptionCallback callback = nullptr;
  void* userData = nullptr;
  {
    const LockGuard lock(theService().mutex);
    const Subscriber* const subscriber = findSubscriber(subscription);
    if (subscriber == nullptr) {
      return;
    }
    callback = subscriber->callback;
    userData = subscriber->userData;
    ++theService().events;
  }
  callback(subscription, new OVEvent{.set = {keys}, .time = time}, userData);
}

}  // namespace FakeEvents

extern "C" {

OVEventKeyValueSet* ov_event_key_value_set_new(void) {
  const LockGuard lock(theService().mutex);
  ++theService().sets;
  return new OVEventKeyValueSet;
}

void ov_event_key_value_set_free(OVEventKeyValueSet* set) {
  if (set == nullptr) {
    return;
  }
  delete set;
  std::function<void()> callback;
  {
    const LockGuard lock(theService().mutex);
    --theService().sets;
    callback = theService().freeCallback;
  }
  if (callback) {
    callback();
  }
}

gboolean ov_event_key_value_set_add(OVEventKeyValueSet* set, const char* key, const char* nameSpace,
                                    OVEventValueType type, const void* value, GError** error) {
  const LockGuard lock(theService().mutex);
  if (strikes(theService().addsToFail)) {
    return failed(error, "the key cannot be added");
  }
  Key& added = set->keys[key];
  added.nameSpace = textOf(nameSpace);
  added.value = valueOf(type, value);
  return TRUE;
}

gboolean ov_event_key_value_set_add_nice_names(OVEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, const char* keyNiceName,
                                               const char* valueNiceName, GError** error) {
  return changeKey(set, key, nameSpace, error, [&](Key& found) {
    found.keyNiceName = textOf(keyNiceName);
    found.valueNiceName = textOf(valueNiceName);
  });
}

gboolean ov_event_key_value_set_mark_as_source(OVEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, GError** error) {
  return changeKey(set, key, nameSpace, error, [](Key& found) { found.source = true; });
}

gboolean ov_event_key_value_set_mark_as_data(OVEventKeyValueSet* set, const char* key,
                                             const char* nameSpace, GError** error) {
  return changeKey(set, key, nameSpace, error, [](Key& found) { found.data = true; });
}

gboolean ov_event_key_value_set_mark_as_user_defined(OVEventKeyValueSet* set, const char* key,
                                                     const char* nameSpace, const char* tag,
                                                     GError** error) {
  return changeKey(set, key, nameSpace, error, [tag](Key& found) {
    found.userDefined = textOf(tag);
    found.userDefinedTags.push_back(textOf(tag));
  });
}

gboolean ov_event_key_value_set_get_int(const OVEventKeyValueSet* set, const char* key,
                                        const char* nameSpace, int* value, GError** error) {
  const int* const found = readKey<int>(set, key, nameSpace, error);
  if (found == nullptr) {
    return FALSE;
  }
  *value = *found;
  return TRUE;
}

gboolean ov_event_key_value_set_get_bool(const OVEventKeyValueSet* set, const char* key,
                                         const char* nameSpace, gboolean* value, GError** error) {
  const bool* const found = readKey<bool>(set, key, nameSpace, error);
  if (found == nullptr) {
    return FALSE;
  }
  *value = *found ? TRUE : FALSE;
  return TRUE;
}

gboolean ov_event_key_value_set_get_string(const OVEventKeyValueSet* set, const char* key,
                                           const char* nameSpace, char** value, GError** error) {
  const std::string* const found = readKey<std::string>(set, key, nameSpace, error);
  if (found == nullptr) {
    return FALSE;
  }
  *value = g_strdup(found->c_str());
  return TRUE;
}

const OVEventKeyValueSet* ov_event_get_key_value_set(const OVEvent* event) {
  return &event->set;
}

int64_t ov_event_get_time_stamp(const OVEvent* event) {
  return event->time;
}

void ov_event_free(OVEvent* event) {
  if (event == nullptr) {
    return;
  }
  delete event;
  const LockGuard lock(theService().mutex);
  --theService().events;
}

OVEventHandler* ov_event_handler_new(void) {
  const LockGuard lock(theService().mutex);
  if (strikes(theService().handlersToFail)) {
    return nullptr;
  }
  return new OVEventHandler{++theService().handlersMade};
}

void ov_event_handler_free(OVEventHandler* handler) {
  if (handler == nullptr) {
    return;
  }
  delete handler;
  const LockGuard lock(theService().mutex);
  ++theService().handlersFreed;
}

gboolean ov_event_handler_declare(OVEventHandler*, const OVEventKeyValueSet* set,
                                  gboolean stateless, uint32_t* declaration, GError** error) {
  const LockGuard lock(theService().mutex);
  ++theService().declaresTried;
  if (strikes(theService().declaresToFail)) {
    return failed(error, "the event cannot be declared");
  }
  *declaration = ++theService().lastId;
  theService().declarations.push_back({.id = *declaration,
                                       .keys = set->keys,
                                       .stateless = stateless != FALSE,
                                       .declaredAt = ++theService().calls});
  CallJournal::add("declare " + topic2Of(set->keys));
  return TRUE;
}

gboolean ov_event_handler_send_event(OVEventHandler*, uint32_t declaration,
                                     const OVEventKeyValueSet* set, int64_t timeStamp,
                                     GError** error) {
  const LockGuard lock(theService().mutex);
  const Declaration* const target = findDeclaration(declaration);
  if (strikes(theService().sendsToFail) || target == nullptr) {
    return failed(error, "the event cannot be sent");
  }
  theService().sent.push_back({.declaration = declaration,
                               .keys = set->keys,
                               .time = timeStamp,
                               .topic2 = topic2Of(target->keys),
                               .at = ++theService().calls});
  return TRUE;
}

gboolean ov_event_handler_undeclare(OVEventHandler*, uint32_t declaration, GError** error) {
  const LockGuard lock(theService().mutex);
  Declaration* const target = findDeclaration(declaration);
  if (strikes(theService().undeclaresToFail) || target == nullptr) {
    return failed(error, "no such declaration");
  }
  target->undeclared = true;
  target->undeclaredAt = ++theService().calls;
  CallJournal::add("undeclare " + topic2Of(target->keys));
  return TRUE;
}

gboolean ov_event_handler_subscribe(OVEventHandler*, const OVEventKeyValueSet* set,
                                    OVEventSubscriptionCallback callback, void* userData,
                                    uint32_t* subscription, GError** error) {
  const LockGuard lock(theService().mutex);
  if (strikes(theService().subscribesToFail)) {
    return failed(error, "the service does not take subscriptions");
  }
  *subscription = ++theService().lastId;
  theService().subscribers.push_back({.seen = {.id = *subscription, .keys = set->keys},
                                      .callback = callback,
                                      .userData = userData});
  return TRUE;
}

gboolean ov_event_handler_unsubscribe(OVEventHandler*, uint32_t subscription, GError** error) {
  const LockGuard lock(theService().mutex);
  Subscriber* const subscriber = findSubscriber(subscription);
  if (subscriber == nullptr) {
    return failed(error, "no such subscription");
  }
  subscriber->seen.unsubscribed = true;
  return TRUE;
}

}  // extern "C"
