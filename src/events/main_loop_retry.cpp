#include "events/main_loop_retry.h"

#include <glib.h>

#include <atomic>
#include <utility>

#include "app/lock_order.h"
#include "base/mutex.h"

namespace {

constexpr guint PERIOD = 1000;  // milliseconds

}  // namespace

// Shared with the timer, which may outlive the retry by one call.
struct MainLoopRetry::Link {
  using Weak = std::weak_ptr<Link>;

  // Held while an attempt runs.
  Mutex mutex ACQUIRED_AFTER(lock_order::TRACKER) ACQUIRED_BEFORE(lock_order::RETRY);
  std::function<bool()> attempt GUARDED_BY(mutex);
  std::atomic<bool> isUnderWay{false};

  static gboolean tryAgain(gpointer weak) {
    const auto self = static_cast<Weak*>(weak)->lock();
    return self == nullptr || self->isOver() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }

  // What is asked for while an attempt runs may be too late for it: that one has a timer of its
  // own.
  bool isOver() {
    const LockGuard guard(mutex);
    isUnderWay = false;
    return attempt == nullptr || attempt() || isUnderWay.exchange(true);
  }

  static void release(gpointer weak) { delete static_cast<Weak*>(weak); }
};

MainLoopRetry::MainLoopRetry(std::function<bool()> attempt) : link(std::make_shared<Link>()) {
  link->attempt = std::move(attempt);
}

MainLoopRetry::~MainLoopRetry() {
  const LockGuard guard(link->mutex);
  link->attempt = nullptr;
}

void MainLoopRetry::begin() {
  if (!link->isUnderWay.exchange(true)) {
    g_timeout_add_full(G_PRIORITY_DEFAULT, PERIOD, Link::tryAgain, new Link::Weak(link),
                       Link::release);
  }
}
