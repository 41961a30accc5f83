#ifndef DEVICE_SERVICES_APPLICATION_MONITOR_H
#define DEVICE_SERVICES_APPLICATION_MONITOR_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "services/event_table.h"

namespace device {

// Reads from the events that the application sends what it does: the tracker's state, whether it
// steers the head, and the alarms of its profiles.
class ApplicationMonitor {
 public:
  struct Callbacks {
    std::function<void(const std::string& state)> onState;
    std::function<void(bool active)> onSentreling;
    // The alarm of one profile began or ended; repetitions are left out.
    std::function<void(bool active)> onAlarm;
  };

  explicit ApplicationMonitor(Callbacks callbacks);

  // An event of any kind.
  void handle(const Event& event);

  // The tracker's state as it was told last, empty before.
  const std::string& getState() const { return state; }

 private:
  Callbacks callbacks;
  std::string state;
  std::map<std::uint32_t, bool> alarms;  // by declaration
};

}  // namespace device

#endif
