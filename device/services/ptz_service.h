#ifndef DEVICE_SERVICES_PTZ_SERVICE_H
#define DEVICE_SERVICES_PTZ_SERVICE_H

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <utility>

#include "services/bus.h"
#include "services/delayed_calls.h"
#include "services/event_service.h"
#include "services/served_head.h"

namespace device {

enum class HeadCall_e { move, status };

// Drives the head for clients on the bus, on channel 1, and tells by the events "PTZPresets" and
// "Move" when it comes to rest on a preset, leaves it, starts and stops. Used from the thread of
// the main loop only.
class PtzService {
 public:
  // Head and events must outlive the service.
  PtzService(GDBusConnection* connection, ServedHead& head, EventService& events);

  // Sends the events that are due. Call it often.
  void update();

  // Is told of each such call when it is answered: how long its caller has waited. Stays for good.
  using CallObserver = std::function<void(HeadCall_e call, double seconds)>;
  void observeCalls(CallObserver told) { callObserver = std::move(told); }

 private:
  struct Handlers;

  void sendPreset(bool onPreset, int token);

  ServedHead& head;
  DelayedCalls calls;
  EventService& events;
  std::uint32_t presetEvent;
  std::uint32_t moveEvent;
  int preset = 0;  // at which the head rests, 0 for none
  bool moving = false;
  CallObserver callObserver;
  BusObject object;
  BusName name;
};

}  // namespace device

#endif
