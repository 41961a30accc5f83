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
  if (!keys.match(pattern) || !enter()) {
    return;
  }
  callback(id, new OVEvent{.set = {.keys = keys}, .time = time}, userData);
  leave();
}

void Subscription::close() {
  std::unique_lock lock(mutex);
  isClosed = true;
  if (runner == std::this_thread::get_id()) {
    return;
  }
  left.wait(lock, [this] { return depth == 0; });
}

bool Subscription::enter() {
  const std::lock_guard lock(mutex);
  if (isClosed) {
    return false;
  }
  ++depth;
  runner = std::this_thread::get_id();
  return true;
}

void Subscription::leave() {
  const std::lock_guard lock(mutex);
  if (--depth > 0) {
    return;
  }
  runner = {};
  left.notify_all();
}
