#include "events/main_loop_retry.h"

#include <glib.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace {

constexpr guint PERIOD = 1000;  // milliseconds

}  // namespace

// Shared with the timer, which may outlive the retry by one call.
struct MainLoopRetry::Link {
  using Weak = std::weak_ptr<Link>;

  std::mutex mutex;  // held while an attempt runs
  std::function<bool()> attempt;
  std::atomic<bool> isUnderWay{false};

  static gboolean tryAgain(gpointer weak) {
    const auto self = static_cast<Weak*>(weak)->lock();
    return self == nullptr || self->isOver() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }

  // What is asked for while an attempt runs may be too late for it: that one has a timer of its
  // own.
  bool isOver() {
    const std::lock_guard guard(mutex);
    isUnderWay = false;
    return attempt == nullptr || attempt() || isUnderWay.exchange(true);
  }

  static void release(gpointer weak) { delete static_cast<Weak*>(weak); }
};

MainLoopRetry::MainLoopRetry(std::function<bool()> attempt) : link(std::make_shared<Link>()) {
  link->attempt = std::move(attempt);
}

MainLoopRetry::~MainLoopRetry() {
  const std::lock_guard guard(link->mutex);
  link->attempt = nullptr;
}

void MainLoopRetry::begin() {
  if (!link->isUnderWay.exchange(true)) {
    g_timeout_add_full(G_PRIORITY_DEFAULT, PERIOD, Link::tryAgain, new Link::Weak(link),
                       Link::release);
  }
}
