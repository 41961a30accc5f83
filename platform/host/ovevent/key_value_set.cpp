#include <gio/gio.h>

#include <string>

#include "ovevent/types.h"
#include "platform/arguments.h"

namespace {

using arguments::isText;
using arguments::isTextOrNull;
using arguments::orEmpty;
using arguments::refuse;

bool isKeyName(const char* key, const char* nameSpace) {
  return isText(key) && *key != '\0' && isTextOrNull(nameSpace);
}

EventValue copyValue(OVEventValueType type, const void* value) {
  switch (type) {
    case OV_EVENT_VALUE_INT:
      return *static_cast<const int*>(value);
    case OV_EVENT_VALUE_BOOL:
      return *static_cast<const gboolean*>(value) != FALSE;
    case OV_EVENT_VALUE_DOUBLE:
      return *static_cast<const double*>(value);
    case OV_EVENT_VALUE_STRING:
      break;
  }
  return std::string(static_cast<const char*>(value));
}

bool isValueType(OVEventValueType type) {
  return type >= OV_EVENT_VALUE_INT && type <= OV_EVENT_VALUE_STRING;
}

void reportAbsent(GError** error, const char* key) {
  g_set_error(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "No key %s in the set", key);
}

// Null, with *error set, when the key is absent.
EventKey* findKey(OVEventKeyValueSet* set, const char* key, const char* nameSpace, GError** error) {
  if (set == nullptr || key == nullptr) {
    refuse(error, "A set and a key are needed");
    return nullptr;
  }
  EventKey* found = findKey(set->keys, key, orEmpty(nameSpace));
  if (found == nullptr) {
    reportAbsent(error, key);
  }
  return found;
}

// Null, with *error set, when the key is absent or has no value of the type.
template <typename T>
const T* findValue(const OVEventKeyValueSet* set, const char* key, const char* nameSpace,
                   GError** error) {
  if (set == nullptr || key == nullptr) {
    refuse(error, "A set and a key are needed");
    return nullptr;
  }
  const EventKey* found = findKey(set->keys, key, orEmpty(nameSpace));
  if (found == nullptr) {
    reportAbsent(error, key);
    return nullptr;
  }
  const T* value = found->value ? std::get_if<T>(&*found->value) : nullptr;
  if (value == nullptr) {
    g_set_error(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "The key %s has no such value", key);
  }
  return value;
}

}  // namespace

OVEventKeyValueSet* ov_event_key_value_set_new(void) {
  return new OVEventKeyValueSet;
}

void ov_event_key_value_set_free(OVEventKeyValueSet* set) {
  delete set;
}

gboolean ov_event_key_value_set_add(OVEventKeyValueSet* set, const char* key, const char* nameSpace,
                                    OVEventValueType type, const void* value, GError** error) {
  if (set == nullptr) {
    return refuse(error, "A set is needed");
  }
  if (!isKeyName(key, nameSpace)) {
    return refuse(error, "The key is no valid text");
  }
  if (!isValueType(type)) {
    return refuse(error, "Unknown type of value");
  }
  if (value != nullptr && type == OV_EVENT_VALUE_STRING &&
      !isText(static_cast<const char*>(value))) {
    return refuse(error, "The value is no valid text");
  }
  EventKey& target = keyAt(set->keys, key, orEmpty(nameSpace));
  target.value.reset();
  if (value != nullptr) {
    target.value = copyValue(type, value);
  }
  return TRUE;
}

gboolean ov_event_key_value_set_add_nice_names(OVEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, const char* keyNiceName,
                                               const char* valueNiceName, GError** error) {
  if (!isTextOrNull(keyNiceName) || !isTextOrNull(valueNiceName)) {
    return refuse(error, "The nice name is no valid text");
  }
  EventKey* target = findKey(set, key, nameSpace, error);
  if (target == nullptr) {
    return FALSE;
  }
  target->niceName = orEmpty(keyNiceName);
  target->valueNiceName = orEmpty(valueNiceName);
  return TRUE;
}

gboolean ov_event_key_value_set_mark_as_source(OVEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, GError** error) {
  EventKey* target = findKey(set, key, nameSpace, error);
  if (target == nullptr) {
    return FALSE;
  }
  target->isSource = true;
  return TRUE;
}

gboolean ov_event_key_value_set_mark_as_data(OVEventKeyValueSet* set, const char* key,
                                             const char* nameSpace, GError** error) {
  EventKey* target = findKey(set, key, nameSpace, error);
  if (target == nullptr) {
    return FALSE;
  }
  target->isData = true;
  return TRUE;
}

gboolean ov_event_key_value_set_mark_as_user_defined(OVEventKeyValueSet* set, const char* key,
                                                     const char* nameSpace, const char* tag,
                                                     GError** error) {
  if (!isText(tag)) {
    return refuse(error, "The tag is no valid text");
  }
  EventKey* target = findKey(set, key, nameSpace, error);
  if (target == nullptr) {
    return FALSE;
  }
  if (!target->userTag.empty()) {
    target->userTag += ' ';
  }
  target->userTag += tag;
  return TRUE;
}

gboolean ov_event_key_value_set_get_int(const OVEventKeyValueSet* set, const char* key,
                                        const char* nameSpace, int* value, GError** error) {
  if (value == nullptr) {
    return refuse(error, "A place for the value is needed");
  }
  const int* found = findValue<int>(set, key, nameSpace, error);
  if (found == nullptr) {
    return FALSE;
  }
  *value = *found;
  return TRUE;
}

gboolean ov_event_key_value_set_get_bool(const OVEventKeyValueSet* set, const char* key,
                                         const char* nameSpace, gboolean* value, GError** error) {
  if (value == nullptr) {
    return refuse(error, "A place for the value is needed");
  }
  const bool* found = findValue<bool>(set, key, nameSpace, error);
  if (found == nullptr) {
    return FALSE;
  }
  *value = *found ? TRUE : FALSE;
  return TRUE;
}

gboolean ov_event_key_value_set_get_string(const OVEventKeyValueSet* set, const char* key,
                                           const char* nameSpace, char** value, GError** error) {
  if (value == nullptr) {
    return refuse(error, "A place for the value is needed");
  }
  const std::string* found = findValue<std::string>(set, key, nameSpace, error);
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
  delete event;
}
