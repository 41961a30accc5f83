#include "services/delayed_calls.h"

#include <algorithm>
#include <utility>

#include "base/units.h"

namespace device {

DelayedCalls::~DelayedCalls() {
  for (const Call& call : calls) {
    g_dbus_method_invocation_return_dbus_error(
        call.invocation, "org.freedesktop.DBus.Error.NoReply", "The service has ended");
  }
}

void DelayedCalls::take(GDBusMethodInvocation* invocation, Work work) {
  if (delay.isOff()) {
    work()();
    return;
  }
  const std::int64_t now = g_get_monotonic_time();
  const std::int64_t duration = units::truncatedFromSeconds(delay.next());
  lastArrival = std::max(lastArrival, now + duration / 2);
  lastAnswer = std::max(lastAnswer, now + duration);
  calls.push_back({this, invocation, std::move(work), nullptr, lastAnswer, nullptr});
  wait(calls.back(), lastArrival, arrived);
}

void DelayedCalls::wait(Call& call, std::int64_t until, GSourceFunc then) {
  const std::int64_t left = std::max<std::int64_t>(until - g_get_monotonic_time(), 0);
  call.timer = startTimer(static_cast<guint>((left + 999) / 1000), then, &call);
}

gboolean DelayedCalls::arrived(gpointer data) {
  auto* call = static_cast<Call*>(data);
  call->answer = call->work();
  wait(*call, call->answered, returned);
  return G_SOURCE_REMOVE;
}

gboolean DelayedCalls::returned(gpointer data) {
  auto* call = static_cast<Call*>(data);
  call->answer();
  call->owner->calls.remove_if([call](const Call& other) { return &other == call; });
  return G_SOURCE_REMOVE;
}

}  // namespace device
