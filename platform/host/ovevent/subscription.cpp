#include "ovevent/subscription.h"

#include <utility>

#include "ovevent/types.h"

Subscription::Subscription(std::uint32_t id, EventKeys pattern,
                           OVEventSubscriptionCallback callback, void* userData)
    : id(id), pattern(std::move(pattern)), callback(callback), userData(userData) {}

void Subscription::deliver(const EventKeys& keys, std::int64_t time) {
  if (isLive) {
    present(keys, time);
  }
}

void Subscription::present(const EventKeys& keys, std::int64_t time) {
  if (!matches(keys, pattern) || !enter()) {
    return;
  }
  callback(id, new OVEvent{.set = {.keys = keys}, .time = time}, userData);
  leave();
}

void Subscription::close() {
  const LockGuard lock(mutex);
  isClosed = true;
  while (depth > 0 && runner != std::this_thread::get_id()) {
    left.wait(mutex);
  }
}

bool Subscription::enter() {
  const LockGuard lock(mutex);
  if (isClosed) {
    return false;
  }
  ++depth;
  runner = std::this_thread::get_id();
  return true;
}

void Subscription::leave() {
  const LockGuard lock(mutex);
  if (--depth > 0) {
    return;
  }
  runner = {};
  left.notifyAll();
}
