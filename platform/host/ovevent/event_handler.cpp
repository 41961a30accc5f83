#include "ovevent/event_handler.h"

#include <utility>
#include <vector>

namespace {

constexpr const char* kName = "com.orva.EventService";
constexpr const char* kPath = "/com/orva/EventService";
constexpr const char* kSentType = "(ua(ssavusss)x)";
constexpr const char* kListType = "(a(uba(ssavusss)x))";

using SubscriptionPtr = std::shared_ptr<Subscription>;

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

EventHandler::EventHandler(std::unique_ptr<ServiceClient> service)
    : service_(std::move(service)), subscriptions_(std::make_shared<Subscriptions>()) {}

std::unique_ptr<EventHandler> EventHandler::create(GError** error) {
  std::unique_ptr<ServiceClient> service = ServiceClient::connect(kName, kPath, error);
  if (!service) return nullptr;
  return std::unique_ptr<EventHandler>(new EventHandler(std::move(service)));
}

EventHandler::~EventHandler() {
  if (signal_ != 0) g_dbus_connection_signal_unsubscribe(service_->connection(), signal_);
  for (const SubscriptionPtr& subscription : subscriptions_->all()) subscription->close();
  // A service that fails once may take the whole time-out for each of the others.
  for (const std::uint32_t declaration : declarations_) {
    if (!service_->call("Undeclare", g_variant_new("(u)", declaration), "()", nullptr)) break;
  }
}

bool EventHandler::declare(const EventKeys& keys, bool stateless, std::uint32_t& declaration,
                           GError** error) {
  const std::scoped_lock lock(calls_);
  const GVariantPtr reply = service_->call(
      "Declare", g_variant_new("(@a(ssavusss)b)", keys.toVariant(), stateless ? TRUE : FALSE),
      "(u)", error);
  if (!reply) return false;
  g_variant_get(reply.get(), "(u)", &declaration);
  declarations_.insert(declaration);
  return true;
}

bool EventHandler::isDeclared(std::uint32_t declaration, GError** error) const {
  return declarations_.contains(declaration) || notFound(error, "declaration", declaration);
}

bool EventHandler::send(std::uint32_t declaration, const EventKeys& keys, std::int64_t time,
                        GError** error) {
  const std::scoped_lock lock(calls_);
  if (!isDeclared(declaration, error)) return false;
  return service_->call("Send",
                        g_variant_new("(u@a(ssavusss)x)", declaration, keys.toVariant(),
                                      static_cast<gint64>(time)),
                        "()", error) != nullptr;
}

bool EventHandler::undeclare(std::uint32_t declaration, GError** error) {
  const std::scoped_lock lock(calls_);
  if (!isDeclared(declaration, error)) return false;
  if (!service_->call("Undeclare", g_variant_new("(u)", declaration), "()", error)) return false;
  declarations_.erase(declaration);
  return true;
}

void EventHandler::listenToSignals() {
  if (signal_ != 0) return;
  signal_ = g_dbus_connection_signal_subscribe(
      service_->connection(), service_->name(), service_->name(), "Sent", service_->path(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, &Subscriptions::onSent,
      new std::shared_ptr<Subscriptions>(subscriptions_), &Subscriptions::release);
}

// The answer to List takes its place among the signals on their way to the main context: those
// before it are part of the present state, those behind it come after. The second call is waited
// for, so that the first has been handled too and whatever is sent after the return is told.
bool EventHandler::subscribe(const EventKeys& pattern, OVEventSubscriptionCallback callback,
                             void* user_data, std::uint32_t& id, GError** error) {
  const std::scoped_lock lock(calls_);
  listenToSignals();
  const std::uint32_t new_id = ++last_subscription_;
  auto subscription = std::make_shared<Subscription>(new_id, pattern, callback, user_data);
  subscriptions_->add(new_id, subscription);
  id = new_id;  // before the first callback, which may compare it with its own
  service_->callAsync("List", nullptr, kListType, &onPresentState,
                      new SubscriptionPtr(subscription));
  if (service_->call("List", nullptr, kListType, error)) return true;
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
