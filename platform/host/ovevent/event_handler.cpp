#include "ovevent/event_handler.h"

#include <utility>
#include <vector>

#include "base/bus_names.h"

namespace {

using bus_names::BUS;
using bus_names::EVENTS;

constexpr const char* SENT_TYPE = "(ua(ssavusss)x)";
constexpr const char* LIST_TYPE = "(a(uba(ssavusss)x))";
constexpr guint LOOK_FOR_BUS_MS = 500;

using SubscriptionPtr = std::shared_ptr<Subscription>;

// True for an error that tells of nobody at the other end rather than of a refusal.
bool isAway(const GError* error) {
  return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_DISCONNECTED) ||
         g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED);
}

bool isSilent(const GError* error) {
  return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
}

bool notFound(GError** error, const char* what, std::uint32_t id) {
  g_set_error(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "No %s %u of this handler", what, id);
  return false;
}

void presentState(Subscription& subscription, GVariant* list) {
  const GVariantPtr events(g_variant_get_child_value(list, 0));
  GVariantIter iter;
  g_variant_iter_init(&iter, events.get());
  while (const GVariantPtr event{g_variant_iter_next_value(&iter)}) {
    gboolean stateless = FALSE;
    GVariant* rawKeys = nullptr;
    gint64 time = 0;
    g_variant_get(event.get(), "(ub@a(ssavusss)x)", nullptr, &stateless, &rawKeys, &time);
    const GVariantPtr keys(rawKeys);
    if (stateless == FALSE) {
      subscription.present(keysFrom(keys.get()), time);
    }
  }
}

// Takes over a SubscriptionPtr on the heap. A service that has gone has no present state.
void onPresentState(GObject* bus, GAsyncResult* result, void* userData) {
  const std::unique_ptr<SubscriptionPtr> subscription(static_cast<SubscriptionPtr*>(userData));
  const GVariantPtr list(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr));
  if (list) {
    presentState(**subscription, list.get());
  }
  (*subscription)->goLive();
}

}  // namespace

class EventHandler::Subscriptions {
 public:
  void add(std::uint32_t id, SubscriptionPtr subscription) {
    const LockGuard lock(mutex);
    subscriptions.emplace(id, std::move(subscription));
  }

  // Null when there is no such subscription.
  SubscriptionPtr take(std::uint32_t id) {
    const LockGuard lock(mutex);
    const auto found = subscriptions.find(id);
    return found == subscriptions.end() ? nullptr : subscriptions.extract(found).mapped();
  }

  std::vector<SubscriptionPtr> all() {
    const LockGuard lock(mutex);
    std::vector<SubscriptionPtr> result;
    for (const auto& [id, subscription] : subscriptions) {
      result.push_back(subscription);
    }
    return result;
  }

  static void onSent(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                     const char* /*interface*/, const char* /*signal*/, GVariant* arguments,
                     void* userData) {
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE(SENT_TYPE))) {
      return;
    }
    GVariant* rawKeys = nullptr;
    gint64 time = 0;
    g_variant_get(arguments, "(u@a(ssavusss)x)", nullptr, &rawKeys, &time);
    const GVariantPtr owned(rawKeys);
    const EventKeys keys = keysFrom(owned.get());
    const auto& self = *static_cast<std::shared_ptr<Subscriptions>*>(userData);
    for (const SubscriptionPtr& subscription : self->all()) {
      subscription->deliver(keys, time);
    }
  }

  static void release(void* userData) {
    delete static_cast<std::shared_ptr<Subscriptions>*>(userData);
  }

 private:
  Mutex mutex;
  std::map<std::uint32_t, SubscriptionPtr> subscriptions GUARDED_BY(mutex);
};

// What is called on the main context; each is given a weak pointer of its own, as the handler may
// be gone by then.
struct EventHandler::Signals {
  using Weak = std::weak_ptr<EventHandler>;

  static Weak* of(EventHandler& handler) { return new Weak(handler.weak_from_this()); }
  static std::shared_ptr<EventHandler> handler(void* weak) {
    return static_cast<Weak*>(weak)->lock();
  }

  static void onOwnerChanged(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                             const char* /*interface*/, const char* /*signal*/,
                             GVariant* /*arguments*/, void* weak) {
    if (const auto self = handler(weak)) {
      self->ownerChanged();
    }
  }

  static void onClosed(GDBusConnection* bus, gboolean /*by_peer*/, GError* /*error*/, void* weak) {
    if (const auto self = handler(weak)) {
      self->busLost(bus);
    }
  }

  static gboolean onLookForBus(void* weak) {
    const auto self = handler(weak);
    return self && !self->busFound() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
  }

  static void release(void* weak) { delete static_cast<Weak*>(weak); }
  static void releaseClosure(void* weak, GClosure* /*closure*/) { release(weak); }
};

EventHandler::EventHandler(std::unique_ptr<ServiceClient> service)
    : service(std::move(service)), subscriptions(std::make_shared<Subscriptions>()) {}

std::shared_ptr<EventHandler> EventHandler::create(GError** error) {
  std::unique_ptr<ServiceClient> service = ServiceClient::connect(EVENTS.name, EVENTS.path, error);
  if (!service) {
    return nullptr;
  }
  std::shared_ptr<EventHandler> handler(new EventHandler(std::move(service)));
  const LockGuard lock(handler->calls);
  return handler->attach(error) ? handler : nullptr;
}

EventHandler::~EventHandler() {
  stopListening();
}

void EventHandler::shutDown() {
  for (const SubscriptionPtr& subscription : subscriptions->all()) {
    subscription->close();
  }
  const LockGuard lock(calls);
  isShutDown = true;
  stopListening();
  // A service that fails once may take the whole time-out for each of the others.
  for (const auto& [declaration, event] : declarations) {
    if (owner.empty() || event.id == 0) {
      continue;
    }
    if (!service->callOwner(bus.get(), owner, "Undeclare", g_variant_new("(u)", event.id), "()",
                            nullptr)) {
      break;
    }
  }
}

// ---- The service and its owner ----

// True when there is an owner of the service that knows what there is to know.
bool EventHandler::attach(GError** error) {
  GObjectPtr<GDBusConnection> connection = service->bus(error);
  if (!connection) {
    detach();
    return false;
  }
  if (connection != bus) {
    listenOn(std::move(connection));
  }
  if (!owner.empty()) {
    return true;
  }
  owner = service->owner(bus.get(), error);
  return !owner.empty() && tellEverything(error);
}

void EventHandler::listenOn(GObjectPtr<GDBusConnection> connection) {
  stopListening();
  detach();
  bus = std::move(connection);
  ownerSignal = g_dbus_connection_signal_subscribe(
      bus.get(), BUS.name, BUS.name, "NameOwnerChanged", BUS.path, service->getName(),
      G_DBUS_SIGNAL_FLAGS_NONE, &Signals::onOwnerChanged, Signals::of(*this), &Signals::release);
  closedSignal =
      g_signal_connect_data(bus.get(), "closed", G_CALLBACK(&Signals::onClosed), Signals::of(*this),
                            &Signals::releaseClosure, GConnectFlags{});
  if (!subscriptions->all().empty()) {
    listenToSent();
  }
}

void EventHandler::listenToSent() {
  if (sentSignal != 0) {
    return;
  }
  sentSignal = g_dbus_connection_signal_subscribe(
      bus.get(), service->getName(), service->getName(), "Sent", service->getPath(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, &Subscriptions::onSent,
      new std::shared_ptr<Subscriptions>(subscriptions), &Subscriptions::release);
}

void EventHandler::stopListening() {
  if (!bus) {
    return;
  }
  if (ownerSignal != 0) {
    g_dbus_connection_signal_unsubscribe(bus.get(), ownerSignal);
  }
  if (sentSignal != 0) {
    g_dbus_connection_signal_unsubscribe(bus.get(), sentSignal);
  }
  if (closedSignal != 0) {
    g_signal_handler_disconnect(bus.get(), closedSignal);
  }
  ownerSignal = 0;
  sentSignal = 0;
  closedSignal = 0;
}

// The service knows nothing any more.
void EventHandler::detach() {
  owner.clear();
  for (auto& [declaration, event] : declarations) {
    event.id = 0;
  }
}

bool EventHandler::tellEverything(GError** error) {
  for (auto& [declaration, event] : declarations) {
    ErrorSlot failure;
    if (!tellDeclaration(event, failure.out()) &&
        (isAway(failure.get()) || isSilent(failure.get()))) {
      failure.handTo(error);
      detach();
      return false;
    }
  }
  for (const SubscriptionPtr& subscription : subscriptions->all()) {
    askForPresentState(subscription);
  }
  return true;
}

// To the present owner.
bool EventHandler::tellDeclaration(Declaration& declaration, GError** error) {
  const GVariantPtr reply =
      service->callOwner(bus.get(), owner, "Declare",
                         g_variant_new("(@a(ssavusss)b)", toVariant(declaration.keys),
                                       declaration.stateless ? TRUE : FALSE),
                         "(u)", error);
  if (!reply) {
    return false;
  }
  g_variant_get(reply.get(), "(u)", &declaration.id);
  return true;
}

void EventHandler::askForPresentState(const SubscriptionPtr& subscription) {
  service->callOwnerAsync(bus.get(), owner, "List", nullptr, LIST_TYPE, &onPresentState,
                          new SubscriptionPtr(subscription));
}

// Calls the owner of the service; a new one, when the one that was known has gone. The error tells
// whether there was one (see isAway).
GVariantPtr EventHandler::call(const char* method, const MakeArguments& arguments,
                               const char* reply, GError** error) {
  ErrorSlot failure;
  for (const bool isLast : {false, true}) {
    if (!attach(failure.out())) {
      break;
    }
    GVariantPtr answer =
        service->callOwner(bus.get(), owner, method, arguments(), reply, failure.out());
    if (answer) {
      return answer;
    }
    if (!isAway(failure.get())) {
      break;
    }
    detach();
    if (isLast) {
      break;
    }
  }
  failure.handTo(error);
  return nullptr;
}

void EventHandler::ownerChanged() {
  const LockGuard lock(calls);
  if (isShutDown || !bus) {
    return;
  }
  if (service->owner(bus.get(), nullptr) == owner) {
    return;
  }
  detach();
  attach(nullptr);
}

void EventHandler::busLost(GDBusConnection* connection) {
  const LockGuard lock(calls);
  if (isShutDown || connection != bus.get()) {
    return;
  }
  detach();
  lookForBus();
}

void EventHandler::lookForBus() {
  if (isLookingForBus) {
    return;
  }
  isLookingForBus = true;
  const GSourceReference source(g_timeout_source_new(LOOK_FOR_BUS_MS));
  g_source_set_callback(source.get(), &Signals::onLookForBus, Signals::of(*this),
                        &Signals::release);
  g_source_attach(source.get(), nullptr);
}

// The service may come later than its bus: its coming is heard of then.
bool EventHandler::busFound() {
  const LockGuard lock(calls);
  if (!isShutDown) {
    attach(nullptr);
  }
  isLookingForBus = !isShutDown && g_dbus_connection_is_closed(bus.get());
  return !isLookingForBus;
}

// ---- Events ----

bool EventHandler::declare(const EventKeys& keys, bool stateless, std::uint32_t& declaration,
                           GError** error) {
  const LockGuard lock(calls);
  Declaration event{.keys = keys, .stateless = stateless};
  ErrorSlot failure;
  const GVariantPtr reply = call(
      "Declare",
      [&] { return g_variant_new("(@a(ssavusss)b)", toVariant(keys), stateless ? TRUE : FALSE); },
      "(u)", failure.out());
  if (reply) {
    g_variant_get(reply.get(), "(u)", &event.id);
  } else if (stateless || !owner.empty()) {
    failure.handTo(error);
    return false;
  }
  declaration = ++lastDeclaration;
  declarations.emplace(declaration, std::move(event));
  return true;
}

bool EventHandler::send(std::uint32_t declaration, const EventKeys& keys, std::int64_t time,
                        GError** error) {
  const LockGuard lock(calls);
  const auto found = declarations.find(declaration);
  if (found == declarations.end()) {
    return notFound(error, "declaration", declaration);
  }
  Declaration& event = found->second;
  updateValues(event.keys, keys);
  ErrorSlot failure;
  const GVariantPtr reply = call(
      "Send",
      [&] {
        return g_variant_new("(u@a(ssavusss)x)", event.id, toVariant(keys),
                             static_cast<gint64>(time));
      },
      "()", failure.out());
  if (!reply && (event.stateless || !owner.empty())) {
    failure.handTo(error);
    return false;
  }
  return true;
}

bool EventHandler::undeclare(std::uint32_t declaration, GError** error) {
  const LockGuard lock(calls);
  const auto found = declarations.find(declaration);
  if (found == declarations.end()) {
    return notFound(error, "declaration", declaration);
  }
  ErrorSlot failure;
  const GVariantPtr reply = call(
      "Undeclare", [&] { return g_variant_new("(u)", found->second.id); }, "()", failure.out());
  if (!reply && !owner.empty()) {
    failure.handTo(error);
    return false;
  }
  declarations.erase(found);
  return true;
}

// ---- Subscriptions ----

// The answer to List takes its place among the signals on their way to the main context: those
// before it are part of the present state, those behind it come after. The second call is waited
// for, so that the first has been handled too and whatever is sent after the return is told.
bool EventHandler::subscribe(const EventKeys& pattern, OVEventSubscriptionCallback callback,
                             void* userData, std::uint32_t& id, GError** error) {
  const LockGuard lock(calls);
  if (!attach(error)) {
    return false;
  }
  listenToSent();
  const std::uint32_t newId = ++lastSubscription;
  auto subscription = std::make_shared<Subscription>(newId, pattern, callback, userData);
  subscriptions->add(newId, subscription);
  id = newId;  // before the first callback, which may compare it with its own
  askForPresentState(subscription);
  if (call(
          "List", [] { return nullptr; }, LIST_TYPE, error)) {
    return true;
  }
  subscriptions->take(newId);
  subscription->close();
  id = 0;
  return false;
}

bool EventHandler::unsubscribe(std::uint32_t id, GError** error) {
  const SubscriptionPtr subscription = subscriptions->take(id);
  if (!subscription) {
    return notFound(error, "subscription", id);
  }
  subscription->close();
  return true;
}
