#ifndef DEVICE_SERVICES_EVENT_TABLE_H
#define DEVICE_SERVICES_EVENT_TABLE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/event_keys.h"

namespace device {

// What an owner declared. A stateful event's keys hold the values sent last.
struct Event {
  std::uint32_t id = 0;
  std::string owner;
  bool stateless = false;
  EventKeys keys;
  std::int64_t time = 0;  // of the last change, microseconds of wall-clock time
};

enum class EventStatus_e { ok, noKeys, duplicateKey, unknownDeclaration, unknownKey, wrongType };

// A message for the client; empty for ok.
const char* toString(EventStatus_e status);

// The declared events and their state. An owner reaches its own events only.
class EventTable {
 public:
  struct Declared {
    EventStatus_e status;
    std::uint32_t id = 0;  // when the status is ok
  };

  // Ids count from 1 and are never given twice.
  Declared declare(const std::string& owner, EventKeys keys, bool stateless, std::int64_t time);

  struct Sent {
    EventStatus_e status;
    Event event = {};  // with all its keys, when the status is ok
  };

  // Merges the values of keys into the event. A key without a value keeps the present one. The
  // values of a stateless event are forgotten after the send.
  Sent send(const std::string& owner, std::uint32_t id, const EventKeys& keys, std::int64_t time);

  EventStatus_e undeclare(const std::string& owner, std::uint32_t id);

  // Removes everything of an owner and returns the ids.
  std::vector<std::uint32_t> undeclareAll(const std::string& owner);

  bool hasEventsOf(const std::string& owner) const;

  const std::map<std::uint32_t, Event>& getEvents() const { return events; }

 private:
  Event* find(const std::string& owner, std::uint32_t id);

  std::map<std::uint32_t, Event> events;
  std::uint32_t lastId = 0;
};

}  // namespace device

#endif
