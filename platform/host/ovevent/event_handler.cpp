#include "ovevent/event_handler.h"

#include <utility>
#include <vector>

namespace {

constexpr const char* kName = "com.orva.EventService";
constexpr const char* kPath = "/com/orva/EventService";
constexpr const char* kSentType = "(ua(ssavusss)x)";
constexpr const char* kListType = "(a(uba(ssavusss)x))";
constexpr guint kLookForBusMs = 500;

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
    GVariant* raw_keys = nullptr;
    gint64 time = 0;
    g_variant_get(event.get(), "(ub@a(ssavusss)x)", nullptr, &stateless, &raw_keys, &time);
    const GVariantPtr keys(raw_keys);
    if (stateless == FALSE) subscription.present(EventKeys::fromVariant(keys.get()), time);
  }
}

// Takes over a SubscriptionPtr on the heap. A service that has gone has no present state.
void onPresentState(GObject* bus, GAsyncResult* result, void* user_data) {
  const std::unique_ptr<SubscriptionPtr> subscription(static_cast<SubscriptionPtr*>(user_data));
  const GVariantPtr list(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr));
  if (list) presentState(**subscription, list.get());
  (*subscription)->goLive();
}

}  // namespace

class EventHandler::Subscriptions {
 public:
  void add(std::uint32_t id, SubscriptionPtr subscription) {
    const std::scoped_lock lock(mutex_);
    subscriptions_.emplace(id, std::move(subscription));
  }

  // Null when there is no such subscription.
  SubscriptionPtr take(std::uint32_t id) {
    const std::scoped_lock lock(mutex_);
    const auto found = subscriptions_.find(id);
    return found == subscriptions_.end() ? nullptr : subscriptions_.extract(found).mapped();
  }

  std::vector<SubscriptionPtr> all() {
    const std::scoped_lock lock(mutex_);
    std::vector<SubscriptionPtr> result;
    for (const auto& [id, subscription] : subscriptions_) result.push_back(subscription);
    return result;
  }

  static void onSent(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                     const char* /*interface*/, const char* /*signal*/, GVariant* arguments,
                     void* user_data) {
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE(kSentType))) return;
    GVariant* raw_keys = nullptr;
    gint64 time = 0;
    g_variant_get(arguments, "(u@a(ssavusss)x)", nullptr, &raw_keys, &time);
    const GVariantPtr owned(raw_keys);
    const EventKeys keys = EventKeys::fromVariant(owned.get());
    const auto& self = *static_cast<std::shared_ptr<Subscriptions>*>(user_data);
    for (const SubscriptionPtr& subscription : self->all()) subscription->deliver(keys, time);
  }

  static void release(void* user_data) {
    delete static_cast<std::shared_ptr<Subscriptions>*>(user_data);
  }

 private:
  std::mutex mutex_;
  std::map<std::uint32_t, SubscriptionPtr> subscriptions_;
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
    if (const auto self = handler(weak)) self->ownerChanged();
  }

  static void onClosed(GDBusConnection* bus, gboolean /*by_peer*/, GError* /*error*/, void* weak) {
    if (const auto self = handler(weak)) self->busLost(bus);
  }

  static gboolean onLookForBus(void* weak) {
    const auto self = handler(weak);
    return self && !self->busFound() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
  }

  static void release(void* weak) { delete static_cast<Weak*>(weak); }
  static void releaseClosure(void* weak, GClosure* /*closure*/) { release(weak); }
};

EventHandler::EventHandler(std::unique_ptr<ServiceClient> service)
    : service_(std::move(service)), subscriptions_(std::make_shared<Subscriptions>()) {}

std::shared_ptr<EventHandler> EventHandler::create(GError** error) {
  std::unique_ptr<ServiceClient> service = ServiceClient::connect(kName, kPath, error);
  if (!service) return nullptr;
  std::shared_ptr<EventHandler> handler(new EventHandler(std::move(service)));
  const std::scoped_lock lock(handler->calls_);
  return handler->attach(error) ? handler : nullptr;
}

EventHandler::~EventHandler() {
  stopListening();
}

void EventHandler::shutDown() {
  for (const SubscriptionPtr& subscription : subscriptions_->all()) subscription->close();
  const std::scoped_lock lock(calls_);
  is_shut_down_ = true;
  stopListening();
  // A service that fails once may take the whole time-out for each of the others.
  for (const auto& [declaration, event] : declarations_) {
    if (owner_.empty() || event.id == 0) continue;
    if (!service_->callOwner(bus_.get(), owner_, "Undeclare", g_variant_new("(u)", event.id), "()",
                             nullptr)) {
      break;
    }
  }
}

// ---- The service and its owner ----

// True when there is an owner of the service that knows what there is to know.
bool EventHandler::attach(GError** error) {
  GObjectPtr<GDBusConnection> bus = service_->bus(error);
  if (!bus) {
    detach();
    return false;
  }
  if (bus != bus_) listenOn(std::move(bus));
  if (!owner_.empty()) return true;
  owner_ = service_->owner(bus_.get(), error);
  return !owner_.empty() && tellEverything(error);
}

void EventHandler::listenOn(GObjectPtr<GDBusConnection> bus) {
  stopListening();
  detach();
  bus_ = std::move(bus);
  owner_signal_ = g_dbus_connection_signal_subscribe(
      bus_.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
      "/org/freedesktop/DBus", service_->name(), G_DBUS_SIGNAL_FLAGS_NONE, &Signals::onOwnerChanged,
      Signals::of(*this), &Signals::release);
  closed_signal_ =
      g_signal_connect_data(bus_.get(), "closed", G_CALLBACK(&Signals::onClosed),
                            Signals::of(*this), &Signals::releaseClosure, GConnectFlags{});
  if (!subscriptions_->all().empty()) listenToSent();
}

void EventHandler::listenToSent() {
  if (sent_signal_ != 0) return;
  sent_signal_ = g_dbus_connection_signal_subscribe(
      bus_.get(), service_->name(), service_->name(), "Sent", service_->path(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, &Subscriptions::onSent,
      new std::shared_ptr<Subscriptions>(subscriptions_), &Subscriptions::release);
}

void EventHandler::stopListening() {
  if (!bus_) return;
  if (owner_signal_ != 0) g_dbus_connection_signal_unsubscribe(bus_.get(), owner_signal_);
  if (sent_signal_ != 0) g_dbus_connection_signal_unsubscribe(bus_.get(), sent_signal_);
  if (closed_signal_ != 0) g_signal_handler_disconnect(bus_.get(), closed_signal_);
  owner_signal_ = 0;
  sent_signal_ = 0;
  closed_signal_ = 0;
}

// The service knows nothing any more.
void EventHandler::detach() {
  owner_.clear();
  for (auto& [declaration, event] : declarations_) event.id = 0;
}

bool EventHandler::tellEverything(GError** error) {
  for (auto& [declaration, event] : declarations_) {
    GError* failure = nullptr;
    if (!tellDeclaration(event, &failure) && (isAway(failure) || isSilent(failure))) {
      g_propagate_error(error, failure);
      detach();
      return false;
    }
    g_clear_error(&failure);
  }
  for (const SubscriptionPtr& subscription : subscriptions_->all()) {
    askForPresentState(subscription);
  }
  return true;
}

// To the present owner.
bool EventHandler::tellDeclaration(Declaration& declaration, GError** error) {
  const GVariantPtr reply =
      service_->callOwner(bus_.get(), owner_, "Declare",
                          g_variant_new("(@a(ssavusss)b)", declaration.keys.toVariant(),
                                        declaration.stateless ? TRUE : FALSE),
                          "(u)", error);
  if (!reply) return false;
  g_variant_get(reply.get(), "(u)", &declaration.id);
  return true;
}

void EventHandler::askForPresentState(const SubscriptionPtr& subscription) {
  service_->callOwnerAsync(bus_.get(), owner_, "List", nullptr, kListType, &onPresentState,
                           new SubscriptionPtr(subscription));
}

// Calls the owner of the service; a new one, when the one that was known has gone. The error tells
// whether there was one (see isAway).
GVariantPtr EventHandler::call(const char* method, const MakeArguments& arguments,
                               const char* reply, GError** error) {
  GError* failure = nullptr;
  for (const bool is_last : {false, true}) {
    g_clear_error(&failure);
    if (!attach(&failure)) break;
    GVariantPtr answer =
        service_->callOwner(bus_.get(), owner_, method, arguments(), reply, &failure);
    if (answer) return answer;
    if (!isAway(failure)) break;
    detach();
    if (is_last) break;
  }
  g_propagate_error(error, failure);
  return nullptr;
}

void EventHandler::ownerChanged() {
  const std::scoped_lock lock(calls_);
  if (is_shut_down_ || !bus_) return;
  if (service_->owner(bus_.get(), nullptr) == owner_) return;
  detach();
  attach(nullptr);
}

void EventHandler::busLost(GDBusConnection* bus) {
  const std::scoped_lock lock(calls_);
  if (is_shut_down_ || bus != bus_.get()) return;
  detach();
  lookForBus();
}

void EventHandler::lookForBus() {
  if (is_looking_for_bus_) return;
  is_looking_for_bus_ = true;
  const std::unique_ptr<GSource, GDeleter<g_source_unref>> source(
      g_timeout_source_new(kLookForBusMs));
  g_source_set_callback(source.get(), &Signals::onLookForBus, Signals::of(*this),
                        &Signals::release);
  g_source_attach(source.get(), nullptr);
}

// The service may come later than its bus: its coming is heard of then.
bool EventHandler::busFound() {
  const std::scoped_lock lock(calls_);
  if (!is_shut_down_) attach(nullptr);
  is_looking_for_bus_ = !is_shut_down_ && g_dbus_connection_is_closed(bus_.get());
  return !is_looking_for_bus_;
}

// ---- Events ----

bool EventHandler::declare(const EventKeys& keys, bool stateless, std::uint32_t& declaration,
                           GError** error) {
  const std::scoped_lock lock(calls_);
  Declaration event{.keys = keys, .stateless = stateless};
  GError* failure = nullptr;
  const GVariantPtr reply = call(
      "Declare",
      [&] { return g_variant_new("(@a(ssavusss)b)", keys.toVariant(), stateless ? TRUE : FALSE); },
      "(u)", &failure);
  if (reply) {
    g_variant_get(reply.get(), "(u)", &event.id);
  } else if (stateless || !owner_.empty()) {
    g_propagate_error(error, failure);
    return false;
  }
  g_clear_error(&failure);
  declaration = ++last_declaration_;
  declarations_.emplace(declaration, std::move(event));
  return true;
}

bool EventHandler::send(std::uint32_t declaration, const EventKeys& keys, std::int64_t time,
                        GError** error) {
  const std::scoped_lock lock(calls_);
  const auto found = declarations_.find(declaration);
  if (found == declarations_.end()) return notFound(error, "declaration", declaration);
  Declaration& event = found->second;
  event.keys.update(keys);
  GError* failure = nullptr;
  const GVariantPtr reply = call(
      "Send",
      [&] {
        return g_variant_new("(u@a(ssavusss)x)", event.id, keys.toVariant(),
                             static_cast<gint64>(time));
      },
      "()", &failure);
  if (!reply && (event.stateless || !owner_.empty())) {
    g_propagate_error(error, failure);
    return false;
  }
  g_clear_error(&failure);
  return true;
}

bool EventHandler::undeclare(std::uint32_t declaration, GError** error) {
  const std::scoped_lock lock(calls_);
  const auto found = declarations_.find(declaration);
  if (found == declarations_.end()) return notFound(error, "declaration", declaration);
  GError* failure = nullptr;
  const GVariantPtr reply = call(
      "Undeclare", [&] { return g_variant_new("(u)", found->second.id); }, "()", &failure);
  if (!reply && !owner_.empty()) {
    g_propagate_error(error, failure);
    return false;
  }
  g_clear_error(&failure);
  declarations_.erase(found);
  return true;
}

// ---- Subscriptions ----

// The answer to List takes its place among the signals on their way to the main context: those
// before it are part of the present state, those behind it come after. The second call is waited
// for, so that the first has been handled too and whatever is sent after the return is told.
bool EventHandler::subscribe(const EventKeys& pattern, OVEventSubscriptionCallback callback,
                             void* user_data, std::uint32_t& id, GError** error) {
  const std::scoped_lock lock(calls_);
  if (!attach(error)) return false;
  listenToSent();
  const std::uint32_t new_id = ++last_subscription_;
  auto subscription = std::make_shared<Subscription>(new_id, pattern, callback, user_data);
  subscriptions_->add(new_id, subscription);
  id = new_id;  // before the first callback, which may compare it with its own
  askForPresentState(subscription);
  if (call(
          "List", [] { return nullptr; }, kListType, error))
    return true;
  subscriptions_->take(new_id);
  subscription->close();
  id = 0;
  return false;
}

bool EventHandler::unsubscribe(std::uint32_t id, GError** error) {
  const SubscriptionPtr subscription = subscriptions_->take(id);
  if (!subscription) return notFound(error, "subscription", id);
  subscription->close();
  return true;
}
