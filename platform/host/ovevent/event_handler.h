// One application's connection to the event service: what it has declared and subscribed to.
#ifndef OVEVENT_EVENT_HANDLER_H
#define OVEVENT_EVENT_HANDLER_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "base/mutex.h"
#include "bus/service_client.h"
#include "ovevent.h"
#include "ovevent/event_keys.h"
#include "ovevent/subscription.h"

// The service forgets a client whose connection ends, and everything when it ends itself. The
// handler speaks with one owner of the service's name at a time and remembers what it has declared
// there; a new owner is told everything anew. It is noticed on the main context, or by the first
// call that the old one does not answer.
class EventHandler : public std::enable_shared_from_this<EventHandler> {
 public:
  // Null, with *error set when error is not null, when there is no event service.
  static std::shared_ptr<EventHandler> create(GError** error);

  // Ends all subscriptions as unsubscribe() does, and undeclares what is left. The last call.
  void shutDown();

  ~EventHandler();
  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;

  bool declare(const EventKeys& keys, bool stateless, std::uint32_t& declaration, GError** error);
  bool send(std::uint32_t declaration, const EventKeys& keys, std::int64_t time, GError** error);
  bool undeclare(std::uint32_t declaration, GError** error);

  bool subscribe(const EventKeys& pattern, OVEventSubscriptionCallback callback, void* userData,
                 std::uint32_t& id, GError** error);
  bool unsubscribe(std::uint32_t id, GError** error);

 private:
  // The subscriptions outlive the handler for as long as a signal is on its way to them.
  class Subscriptions;
  struct Signals;

  struct Declaration {
    EventKeys keys;  // with the values sent last
    bool stateless = false;
    std::uint32_t id = 0;  // at the service, 0 while it does not know the event
  };

  using MakeArguments = std::function<GVariant*()>;

  explicit EventHandler(std::unique_ptr<ServiceClient> service);

  bool attach(GError** error) REQUIRES(calls);
  void listenOn(GObjectPtr<GDBusConnection> connection) REQUIRES(calls);
  void listenToSent() REQUIRES(calls);
  void stopListening() REQUIRES(calls);
  void detach() REQUIRES(calls);
  bool tellEverything(GError** error) REQUIRES(calls);
  bool tellDeclaration(Declaration& declaration, GError** error) REQUIRES(calls);
  void askForPresentState(const std::shared_ptr<Subscription>& subscription) REQUIRES(calls);
  GVariantPtr call(const char* method, const MakeArguments& arguments, const char* reply,
                   GError** error) REQUIRES(calls);
  void lookForBus() REQUIRES(calls);

  // On the main context.
  void ownerChanged() EXCLUDES(calls);
  void busLost(GDBusConnection* connection) EXCLUDES(calls);
  bool busFound() EXCLUDES(calls);

  const std::unique_ptr<ServiceClient> service;
  const std::shared_ptr<Subscriptions> subscriptions;

  // Held over every call to the service. No callback is ever waited for under it.
  Mutex calls;
  bool isShutDown GUARDED_BY(calls) = false;
  GObjectPtr<GDBusConnection> bus GUARDED_BY(calls);  // the one that is listened on
  std::string owner GUARDED_BY(calls);  // of the service's name there, empty while it is away
  std::map<std::uint32_t, Declaration> declarations
      GUARDED_BY(calls);  // by the ids that the application has
  std::uint32_t lastDeclaration GUARDED_BY(calls) = 0;
  std::uint32_t lastSubscription GUARDED_BY(calls) = 0;
  guint ownerSignal GUARDED_BY(calls) = 0;
  guint sentSignal GUARDED_BY(calls) = 0;
  gulong closedSignal GUARDED_BY(calls) = 0;
  bool isLookingForBus GUARDED_BY(calls) = false;
};

#endif
