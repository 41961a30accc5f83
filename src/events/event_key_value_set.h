#ifndef EVENTS_EVENT_KEY_VALUE_SET_H
#define EVENTS_EVENT_KEY_VALUE_SET_H

#include <ovevent.h>

#include <memory>
#include <string>

#include "platform/owners.h"

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
  EventKeyValueSet& note(gboolean success);

  KeyValueSetPtr set;
  bool good;
};

#endif
