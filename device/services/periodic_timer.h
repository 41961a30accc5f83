#ifndef DEVICE_SERVICES_PERIODIC_TIMER_H
#define DEVICE_SERVICES_PERIODIC_TIMER_H

#include <cstdint>
#include <functional>

#include "base/glib_ptr.h"

namespace device {

// Calls back from the main loop at even times, the first one period after construction. Times that
// were missed are left out, and the later ones stay on the same grid. The callback may not destroy
// the timer.
class PeriodicTimer {
 public:
  PeriodicTimer(std::int64_t periodMicroseconds, std::function<void()> callback);
  PeriodicTimer(const PeriodicTimer&) = delete;
  PeriodicTimer& operator=(const PeriodicTimer&) = delete;

 private:
  static gboolean due(gpointer self);

  std::int64_t period;
  std::int64_t next;
  std::function<void()> callback;
  GSourcePtr source;
};

}  // namespace device

#endif
