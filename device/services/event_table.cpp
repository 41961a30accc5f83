#include "services/event_table.h"

#include <algorithm>
#include <utility>

namespace device {

namespace {

bool hasDuplicates(const EventKeys& keys) {
  for (const EventKey& key : keys) {
    if (findKey(keys, key.name, key.nameSpace) != &key) {
      return true;
    }
  }
  return false;
}

EventStatus_e merge(const EventKeys& changes, EventKeys* keys) {
  for (const EventKey& change : changes) {
    EventKey* key = findKey(*keys, change.name, change.nameSpace);
    if (key == nullptr) {
      return EventStatus_e::unknownKey;
    }
    if (!change.value) {
      continue;
    }
    if (key->value && key->value->index() != change.value->index()) {
      return EventStatus_e::wrongType;
    }
    key->value = change.value;
  }
  return EventStatus_e::ok;
}

}  // namespace

const char* toString(EventStatus_e status) {
  switch (status) {
    case EventStatus_e::ok:
      return "";
    case EventStatus_e::noKeys:
      return "An event needs keys";
    case EventStatus_e::duplicateKey:
      return "A key is given twice";
    case EventStatus_e::unknownDeclaration:
      return "The caller has no such declaration";
    case EventStatus_e::unknownKey:
      return "The event was declared without this key";
    case EventStatus_e::wrongType:
      return "The value's type is not the declared one";
  }
  return "";
}

EventTable::Declared EventTable::declare(const std::string& owner, EventKeys keys, bool stateless,
                                         std::int64_t time) {
  if (keys.empty()) {
    return {EventStatus_e::noKeys};
  }
  if (hasDuplicates(keys)) {
    return {EventStatus_e::duplicateKey};
  }
  const std::uint32_t id = ++lastId;
  events[id] = Event{id, owner, stateless, std::move(keys), time};
  return {EventStatus_e::ok, id};
}

EventTable::Sent EventTable::send(const std::string& owner, std::uint32_t id, const EventKeys& keys,
                                  std::int64_t time) {
  Event* event = find(owner, id);
  if (event == nullptr) {
    return {EventStatus_e::unknownDeclaration};
  }
  Event changed = *event;
  changed.time = time;
  const EventStatus_e status = merge(keys, &changed.keys);
  if (status != EventStatus_e::ok) {
    return {status};
  }
  event->time = time;
  if (!event->stateless) {
    event->keys = changed.keys;
  }
  return {EventStatus_e::ok, std::move(changed)};
}

EventStatus_e EventTable::undeclare(const std::string& owner, std::uint32_t id) {
  if (find(owner, id) == nullptr) {
    return EventStatus_e::unknownDeclaration;
  }
  events.erase(id);
  return EventStatus_e::ok;
}

std::vector<std::uint32_t> EventTable::undeclareAll(const std::string& owner) {
  std::vector<std::uint32_t> ids;
  for (const auto& [id, event] : events) {
    if (event.owner == owner) {
      ids.push_back(id);
    }
  }
  for (const std::uint32_t id : ids) {
    events.erase(id);
  }
  return ids;
}

bool EventTable::hasEventsOf(const std::string& owner) const {
  return std::ranges::any_of(events, [&](const auto& item) { return item.second.owner == owner; });
}

Event* EventTable::find(const std::string& owner, std::uint32_t id) {
  const auto found = events.find(id);
  return found == events.end() || found->second.owner != owner ? nullptr : &found->second;
}

}  // namespace device
