#include "services/event_table.h"

#include <algorithm>
#include <utility>

namespace device {

namespace {

bool hasDuplicates(const EventKeys& keys) {
  for (const EventKey& key : keys) {
    if (findKey(keys, key.name, key.nameSpace) != &key) return true;
  }
  return false;
}

EventStatus_e merge(const EventKeys& changes, EventKeys* keys) {
  for (const EventKey& change : changes) {
    EventKey* key = findKey(*keys, change.name, change.nameSpace);
    if (key == nullptr) return EventStatus_e::kUnknownKey;
    if (!change.value) continue;
    if (key->value && key->value->index() != change.value->index()) {
      return EventStatus_e::kWrongType;
    }
    key->value = change.value;
  }
  return EventStatus_e::kOk;
}

}  // namespace

const char* toString(EventStatus_e status) {
  switch (status) {
    case EventStatus_e::kOk:
      return "";
    case EventStatus_e::kNoKeys:
      return "An event needs keys";
    case EventStatus_e::kDuplicateKey:
      return "A key is given twice";
    case EventStatus_e::kUnknownDeclaration:
      return "The caller has no such declaration";
    case EventStatus_e::kUnknownKey:
      return "The event was declared without this key";
    case EventStatus_e::kWrongType:
      return "The value's type is not the declared one";
  }
  return "";
}

EventStatus_e EventTable::declare(const std::string& owner, EventKeys keys, bool stateless,
                                  std::int64_t time, std::uint32_t* id) {
  if (keys.empty()) return EventStatus_e::kNoKeys;
  if (hasDuplicates(keys)) return EventStatus_e::kDuplicateKey;
  *id = ++lastId_;
  events_[*id] = Event{*id, owner, stateless, std::move(keys), time};
  return EventStatus_e::kOk;
}

EventStatus_e EventTable::send(const std::string& owner, std::uint32_t id, const EventKeys& keys,
                               std::int64_t time, Event* sent) {
  Event* event = find(owner, id);
  if (event == nullptr) return EventStatus_e::kUnknownDeclaration;
  Event changed = *event;
  changed.time = time;
  const EventStatus_e status = merge(keys, &changed.keys);
  if (status != EventStatus_e::kOk) return status;
  event->time = time;
  if (!event->stateless) event->keys = changed.keys;
  *sent = std::move(changed);
  return EventStatus_e::kOk;
}

EventStatus_e EventTable::undeclare(const std::string& owner, std::uint32_t id) {
  if (find(owner, id) == nullptr) return EventStatus_e::kUnknownDeclaration;
  events_.erase(id);
  return EventStatus_e::kOk;
}

std::vector<std::uint32_t> EventTable::undeclareAll(const std::string& owner) {
  std::vector<std::uint32_t> ids;
  for (const auto& [id, event] : events_) {
    if (event.owner == owner) ids.push_back(id);
  }
  for (const std::uint32_t id : ids) events_.erase(id);
  return ids;
}

bool EventTable::hasEventsOf(const std::string& owner) const {
  return std::ranges::any_of(events_, [&](const auto& item) { return item.second.owner == owner; });
}

Event* EventTable::find(const std::string& owner, std::uint32_t id) {
  const auto found = events_.find(id);
  return found == events_.end() || found->second.owner != owner ? nullptr : &found->second;
}

}  // namespace device
