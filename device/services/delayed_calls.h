#ifndef DEVICE_SERVICES_DELAYED_CALLS_H
#define DEVICE_SERVICES_DELAYED_CALLS_H

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <list>

#include "base/glib_ptr.h"
#include "head/call_delay.h"

namespace device {

// Holds calls of a service on their way there and their answers on the way back, as a slow network
// does. No call overtakes another. Calls that are still on their way at the end are answered with
// an error. Used from the thread of the main loop only.
class DelayedCalls {
 public:
  // Completes the call.
  using Answer = std::function<void()>;
  // What the service does when the call has arrived; returns how it answers.
  using Work = std::function<Answer()>;

  explicit DelayedCalls(const CallDelay& delay) : delay(delay) {}
  DelayedCalls(const DelayedCalls&) = delete;
  DelayedCalls& operator=(const DelayedCalls&) = delete;
  ~DelayedCalls();

  // Takes the call over; done at once when there is no delay.
  void take(GDBusMethodInvocation* invocation, Work work);

 private:
  struct Call {
    DelayedCalls* owner;
    GDBusMethodInvocation* invocation;  // its answer releases it
    Work work;
    Answer answer;
    std::int64_t answered;  // monotonic microseconds, when the answer is back
    GSourcePtr timer;
  };

  static void wait(Call& call, std::int64_t until, GSourceFunc then);
  static gboolean arrived(gpointer call);
  static gboolean returned(gpointer call);

  CallDelay delay;
  std::int64_t lastArrival = 0;
  std::int64_t lastAnswer = 0;
  std::list<Call> calls;
};

}  // namespace device

#endif
