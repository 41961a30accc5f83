#include "ovevent/subscription.h"

#include <utility>

#include "ovevent/types.h"

Subscription::Subscription(std::uint32_t id, EventKeys pattern,
                           OVEventSubscriptionCallback callback, void* user_data)
    : id_(id), pattern_(std::move(pattern)), callback_(callback), user_data_(user_data) {}

void Subscription::deliver(const EventKeys& keys, std::int64_t time) {
  if (is_live_) present(keys, time);
}

void Subscription::present(const EventKeys& keys, std::int64_t time) {
  if (!keys.match(pattern_) || !enter()) return;
  callback_(id_, new OVEvent{.set = {.keys = keys}, .time = time}, user_data_);
  leave();
}

void Subscription::close() {
  std::unique_lock lock(mutex_);
  is_closed_ = true;
  if (runner_ == std::this_thread::get_id()) return;
  left_.wait(lock, [this] { return depth_ == 0; });
}

bool Subscription::enter() {
  const std::scoped_lock lock(mutex_);
  if (is_closed_) return false;
  ++depth_;
  runner_ = std::this_thread::get_id();
  return true;
}

void Subscription::leave() {
  const std::scoped_lock lock(mutex_);
  if (--depth_ > 0) return;
  runner_ = {};
  left_.notify_all();
}
