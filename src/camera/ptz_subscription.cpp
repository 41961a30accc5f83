#include "camera/ptz_subscription.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "events/event_key_value_set.h"
#include "events/event_names.h"
#include "events/sdk_wrapper.h"

namespace {

constexpr guint RETRY_PERIOD = 1000;  // milliseconds

struct Topic {
  const char* name;
  OVEventSubscriptionCallback callback;
  std::uint32_t id = 0;  // 0: not subscribed
};

using Topics = std::array<Topic, 2>;

bool subscribe(OVEventHandler* handler, Topic& topic) {
  EventKeyValueSet set;
  set.add("topic0", "tns1", std::string("PTZController"))
      .add("topic1", utils::NAME_SPACE, std::string(topic.name));
  return set.ok() && ov_event_handler_subscribe(handler, set.get(), topic.callback, nullptr,
                                                &topic.id, nullptr);
}

}  // namespace

// Shared with the timer that asks again, which may outlive the subscription by one call.
class PTZ_Subscription::Link {
 public:
  explicit Link(const Topics& topics) : topics(topics) {}

  // True when nothing is left to be asked for again.
  bool open(bool isLogged) {
    const LockGuard guard(mutex);
    if (isClosed) {
      return true;
    }
    if (handler == nullptr) {
      handler = sdk_wrapper_handler_new();
    }
    if (handler == nullptr) {
      if (isLogged) {
        syslog(LOG_ERR, "Could not subscribe to PTZ events\n");
      }
      return false;
    }
    for (Topic& topic : topics) {
      if (topic.id == 0 && !subscribe(handler, topic) && isLogged) {
        syslog(LOG_ERR, "Could not subscribe to PTZ events %s\n", topic.name);
      }
    }
    return std::ranges::all_of(topics, [](const Topic& topic) { return topic.id != 0; });
  }

  // Not with the mutex, and not through the platform wrapper: no lock must be held while a running
  // callback is waited for.
  void close() {
    const auto [lastHandler, lastTopics] = takeAll();
    for (const Topic& topic : lastTopics) {
      if (topic.id != 0) {
        ov_event_handler_unsubscribe(lastHandler, topic.id, nullptr);
      }
    }
    sdk_wrapper_handler_free(lastHandler);
  }

  static gboolean openAgain(gpointer weak) {
    const auto self = static_cast<Weak*>(weak)->lock();
    return self == nullptr || self->open(false) ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }

  static void release(gpointer weak) { delete static_cast<Weak*>(weak); }

  using Weak = std::weak_ptr<Link>;

 private:
  std::pair<OVEventHandler*, Topics> takeAll() {
    const LockGuard guard(mutex);
    isClosed = true;
    return {std::exchange(handler, nullptr), topics};
  }

  Mutex mutex ACQUIRED_AFTER(lock_order::TRACKER) ACQUIRED_BEFORE(lock_order::RETRY);
  bool isClosed GUARDED_BY(mutex) = false;
  OVEventHandler* handler GUARDED_BY(mutex) = nullptr;
  Topics topics GUARDED_BY(mutex);
};

PTZ_Subscription::PTZ_Subscription(OVEventSubscriptionCallback presetCallback,
                                   OVEventSubscriptionCallback movementCallback)
    : link(std::make_shared<Link>(Topics{{{.name = "PTZPresets", .callback = presetCallback},
                                          {.name = "Move", .callback = movementCallback}}})) {
  if (!link->open(true)) {
    g_timeout_add_full(G_PRIORITY_DEFAULT, RETRY_PERIOD, Link::openAgain, new Link::Weak(link),
                       Link::release);
  }
}

PTZ_Subscription::~PTZ_Subscription() {
  link->close();
}
