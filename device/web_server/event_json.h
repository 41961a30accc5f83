#ifndef DEVICE_WEB_SERVER_EVENT_JSON_H
#define DEVICE_WEB_SERVER_EVENT_JSON_H

#include <cstdint>
#include <string>

#include "services/event_table.h"

namespace device {

// Where an event stands among those of its topics: a reader drops what it is told again, and sees
// what it has missed.
struct EventPlace {
  std::string start;      // of the device, as isoTime()
  std::uint64_t seq = 0;  // from 1, since then
};

// An event for other programs, in one line:
//
//   {"id":3,"topics":{"topic0":"...",...},"data":{...},"source":{...},"stateful":true,
//    "time":"2026-01-01T12:00:00.123Z","nice":"...","start":"2026-01-01T11:00:00.000Z","seq":1}
//
// Keys that are neither topic nor source are data; a key without a value is null. nice is the name
// for people of the last topic that has one.
std::string eventJson(const Event& event, const EventPlace& place);

// {"id":3,"topics":{...}}
std::string undeclaredJson(const Event& event);

// Microseconds since 1970 as a time of UTC with milliseconds.
std::string isoTime(std::int64_t time);

// The name for people of the last topic that has one; empty without.
std::string niceName(const EventKeys& keys);

// True for the alarms of profiles, cameras and the device, and the motion alarm.
bool isAlarm(const Event& event);

// The name of the event's messages at a broker: the values of topic0 to topic2, those that are
// missing left out, then those of its source keys, as these tell apart events of the same topics.
// Characters that mean something in such names become "_".
std::string brokerTopic(const Event& event);

// The topic without what some brokers end a connection for: dots, blanks, stars and the like.
std::string plainTopic(std::string topic);

}  // namespace device

#endif
