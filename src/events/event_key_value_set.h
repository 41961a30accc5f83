#ifndef EVENTS_EVENT_KEY_VALUE_SET_H
#define EVENTS_EVENT_KEY_VALUE_SET_H

#include <ovevent.h>

#include <memory>
#include <string>

// Owns one key-value set of the event service and builds it step by step. The first step that fails
// makes the set not ok, and further steps are passed over.
class EventKeyValueSet {
 public:
  EventKeyValueSet();

  EventKeyValueSet& add(const char* key, const char* nameSpace, const std::string& text);
  EventKeyValueSet& add(const char* key, const char* nameSpace, int value);
  EventKeyValueSet& addBool(const char* key, const char* nameSpace, bool value);
  EventKeyValueSet& niceName(const char* key, const char* nameSpace, const std::string& name);
  EventKeyValueSet& markAsSource(const char* key, const char* nameSpace);
  EventKeyValueSet& markAsData(const char* key, const char* nameSpace);
  EventKeyValueSet& markAsUserDefined(const char* key, const char* nameSpace, const char* tag);

  bool ok() const { return good; }
  const OVEventKeyValueSet* get() const { return set.get(); }

  // Gives the set up to the caller.
  OVEventKeyValueSet* release() { return set.release(); }

 private:
  struct Free {
    void operator()(OVEventKeyValueSet* set) const { ov_event_key_value_set_free(set); }
  };

  EventKeyValueSet& note(gboolean success);

  std::unique_ptr<OVEventKeyValueSet, Free> set;
  bool good;
};

#endif
