#include "camera/ptz_subscription.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "events/event_key_value_set.h"
#include "events/event_names.h"
#include "events/main_loop_retry.h"
#include "events/sdk_wrapper.h"

namespace {

struct Topic {
  const char* name;
  OVEventSubscriptionCallback callback;
  std::uint32_t id = 0;  // 0: not subscribed
};

using Topics = std::array<Topic, 2>;

bool subscribe(OVEventHandler* handler, Topic& topic) {
  EventKeyValueSet set;
  set.add("topic0", utils::ONVIF_NAME_SPACE, std::string("PTZController"))
      .add("topic1", utils::NAME_SPACE, std::string(topic.name));
  return set.ok() && ov_event_handler_subscribe(handler, set.get(), topic.callback, nullptr,
                                                &topic.id, nullptr);
}

}  // namespace

// First the constructor's, then the attempts', then the destructor's: no lock is needed.
class PTZ_Subscription::Link {
 public:
  explicit Link(const Topics& topics) : topics(topics) {
    if (!open(true)) {
      retry.emplace([this] { return open(false); });
      retry->begin();
    }
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // Not through the platform wrapper, and after the last attempt: no lock must be held while a
  // running callback is waited for.
  ~Link() {
    retry.reset();
    for (const Topic& topic : topics) {
      if (topic.id != 0) {
        ov_event_handler_unsubscribe(handler, topic.id, nullptr);
      }
    }
    sdk_wrapper_handler_free(handler);
  }

 private:
  // True when nothing is left to be asked for again.
  bool open(bool isLogged) {
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

  OVEventHandler* handler = nullptr;
  Topics topics;
  std::optional<MainLoopRetry> retry;
};

PTZ_Subscription::PTZ_Subscription(OVEventSubscriptionCallback presetCallback,
                                   OVEventSubscriptionCallback movementCallback)
    : link(std::make_unique<Link>(Topics{{{.name = "PTZPresets", .callback = presetCallback},
                                          {.name = "Move", .callback = movementCallback}}})) {}

PTZ_Subscription::~PTZ_Subscription() = default;
