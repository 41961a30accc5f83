// One application's connection to the event service: what it has declared and subscribed to.
#ifndef OVEVENT_EVENT_HANDLER_H
#define OVEVENT_EVENT_HANDLER_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "bus/service_client.h"
#include "ovevent.h"
#include "ovevent/event_keys.h"
#include "ovevent/subscription.h"

class EventHandler {
 public:
  // Null, with *error set when error is not null, when there is no event service.
  static std::unique_ptr<EventHandler> create(GError** error);

  // Ends all subscriptions as unsubscribe() does, and undeclares what is left.
  ~EventHandler();

  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;

  bool declare(const EventKeys& keys, bool stateless, std::uint32_t& declaration, GError** error);
  bool send(std::uint32_t declaration, const EventKeys& keys, std::int64_t time, GError** error);
  bool undeclare(std::uint32_t declaration, GError** error);

  bool subscribe(const EventKeys& pattern, OVEventSubscriptionCallback callback, void* user_data,
                 std::uint32_t& id, GError** error);
  bool unsubscribe(std::uint32_t id, GError** error);

 private:
  // The subscriptions outlive the handler for as long as a signal is on its way to them.
  class Subscriptions;

  explicit EventHandler(std::unique_ptr<ServiceClient> service);

  bool isDeclared(std::uint32_t declaration, GError** error) const;
  void listenToSignals();

  const std::unique_ptr<ServiceClient> service_;
  const std::shared_ptr<Subscriptions> subscriptions_;

  // Held over every call to the service. No callback is ever waited for under it.
  std::mutex calls_;
  std::set<std::uint32_t> declarations_;
  std::uint32_t last_subscription_ = 0;
  guint signal_ = 0;
};

#endif
