#include "events/event_key_value_set.h"

EventKeyValueSet::EventKeyValueSet() : set(ov_event_key_value_set_new()), good(set != nullptr) {}

EventKeyValueSet& EventKeyValueSet::note(gboolean success) {
  good = good && success;
  return *this;
}

EventKeyValueSet& EventKeyValueSet::add(const char* key, const char* nameSpace,
                                        const std::string& text) {
  return note(good && ov_event_key_value_set_add(set.get(), key, nameSpace, OV_EVENT_VALUE_STRING,
                                                 text.c_str(), nullptr));
}

EventKeyValueSet& EventKeyValueSet::add(const char* key, const char* nameSpace, int value) {
  return note(good && ov_event_key_value_set_add(set.get(), key, nameSpace, OV_EVENT_VALUE_INT,
                                                 &value, nullptr));
}

EventKeyValueSet& EventKeyValueSet::addBool(const char* key, const char* nameSpace, bool value) {
  const gboolean flag = value ? TRUE : FALSE;
  return note(good && ov_event_key_value_set_add(set.get(), key, nameSpace, OV_EVENT_VALUE_BOOL,
                                                 &flag, nullptr));
}

EventKeyValueSet& EventKeyValueSet::niceName(const char* key, const char* nameSpace,
                                             const std::string& name) {
  return note(good && ov_event_key_value_set_add_nice_names(set.get(), key, nameSpace, nullptr,
                                                            name.c_str(), nullptr));
}

EventKeyValueSet& EventKeyValueSet::markAsSource(const char* key, const char* nameSpace) {
  return note(good && ov_event_key_value_set_mark_as_source(set.get(), key, nameSpace, nullptr));
}

EventKeyValueSet& EventKeyValueSet::markAsData(const char* key, const char* nameSpace) {
  return note(good && ov_event_key_value_set_mark_as_data(set.get(), key, nameSpace, nullptr));
}

EventKeyValueSet& EventKeyValueSet::markAsUserDefined(const char* key, const char* nameSpace,
                                                      const char* tag) {
  return note(good &&
              ov_event_key_value_set_mark_as_user_defined(set.get(), key, nameSpace, tag, nullptr));
}
