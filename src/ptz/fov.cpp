#include "ptz/fov.h"

#include <syslog.h>

#include <utility>

#include "app/lock_order.h"
#include "base/bus_names.h"
#include "base/glib_ptr.h"
#include "base/mutex.h"
#include "base/system_bus.h"
#include "events/main_loop_retry.h"

namespace {

using bus_names::LENSES;

constexpr const char* PROPERTIES = "org.freedesktop.DBus.Properties";
constexpr int FIRST_LOAD_TIMEOUT = 1000;  // milliseconds
constexpr int NO_TIMEOUT = G_MAXINT;

}  // namespace

// The way to the lens service. Its handlers run on the main loop's thread and hold weak pointers,
// as the Fov may have gone by then.
class Fov::Link : public std::enable_shared_from_this<Link> {
 public:
  explicit Link(std::shared_ptr<Values> values)
      : values(std::move(values)), path(LENSES.path + std::to_string(this->values->channel)) {}

  // Waits for the properties, for a second at most.
  void open() EXCLUDES(mutex);
  void close() EXCLUDES(mutex);

 private:
  using Weak = std::weak_ptr<Link>;

  Weak* weakCopy() { return new Weak(weak_from_this()); }
  static std::shared_ptr<Link> lock(gpointer weak) { return static_cast<Weak*>(weak)->lock(); }
  static void release(gpointer weak) { delete static_cast<Weak*>(weak); }
  static void releaseClosure(gpointer weak, GClosure*) { release(weak); }

  static void propertiesChanged(GDBusConnection* connection, const gchar* sender, const gchar* path,
                                const gchar* interface, const gchar* signal, GVariant* arguments,
                                gpointer weak);
  static void ownerChanged(GObject* proxy, GParamSpec* property, gpointer weak);
  static void propertiesLoaded(GObject* connection, GAsyncResult* result, gpointer weak);
  static void busLost(GDBusConnection* connection, gboolean byPeer, GError* error, gpointer weak);

  bool connect(bool isLogged) REQUIRES(mutex);
  void disconnect() REQUIRES(mutex);
  void load() REQUIRES(mutex);
  void loadLater() REQUIRES(mutex);

  // Whether nothing is left to be tried.
  bool reconnect() EXCLUDES(mutex);

  const std::shared_ptr<Values> values;
  const std::string path;

  Mutex mutex ACQUIRED_AFTER(lock_order::RETRY) ACQUIRED_BEFORE(lock_order::EVENTS);
  bool isOpen GUARDED_BY(mutex) = false;
  SystemBusPtr connection GUARDED_BY(mutex);
  GObjectPtr<GDBusProxy> proxy GUARDED_BY(mutex);
  gulong closedHandler GUARDED_BY(mutex) = 0;
  guint changeSubscription GUARDED_BY(mutex) = 0;
  gulong ownerHandler GUARDED_BY(mutex) = 0;

  MainLoopRetry reconnection{[this] { return reconnect(); }};
};

// ---- Opening and closing ----

void Fov::Link::open() {
  const LockGuard guard(mutex);
  isOpen = true;
  if (connect(true)) {
    load();
  } else {
    reconnection.begin();
  }
}

void Fov::Link::close() {
  const LockGuard guard(mutex);
  isOpen = false;
  disconnect();
}

bool Fov::Link::connect(bool isLogged) {
  ErrorSlot error;
  connection = openSystemBus(error.out());
  if (connection == nullptr) {
    if (isLogged) {
      syslog(LOG_ERR, "Could not connect to the bus %s\n", error.message().c_str());
    }
    return false;
  }
  // The proxy itself would wait for the properties for as long as a service that hangs.
  constexpr auto FLAGS =
      static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                   G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START_AT_CONSTRUCTION);
  proxy.reset(g_dbus_proxy_new_sync(connection.get(), FLAGS, nullptr, LENSES.name, path.c_str(),
                                    LENSES.name, nullptr, nullptr));
  if (proxy == nullptr) {
    if (isLogged) {
      syslog(LOG_ERR, "Failed to setup property proxy\n");
    }
    connection.reset();
    return false;
  }
  closedHandler = g_signal_connect_data(connection.get(), "closed", G_CALLBACK(busLost), weakCopy(),
                                        releaseClosure, GConnectFlags{});
  // Such a proxy does not listen to changes either.
  changeSubscription = g_dbus_connection_signal_subscribe(
      connection.get(), LENSES.name, PROPERTIES, "PropertiesChanged", path.c_str(), LENSES.name,
      G_DBUS_SIGNAL_FLAGS_NONE, propertiesChanged, weakCopy(), release);
  ownerHandler =
      g_signal_connect_data(proxy.get(), "notify::g-name-owner", G_CALLBACK(ownerChanged),
                            weakCopy(), releaseClosure, GConnectFlags{});
  return true;
}

void Fov::Link::disconnect() {
  if (proxy != nullptr) {
    g_signal_handler_disconnect(proxy.get(), ownerHandler);
    g_dbus_connection_signal_unsubscribe(connection.get(), changeSubscription);
    g_signal_handler_disconnect(connection.get(), closedHandler);
  }
  proxy.reset();
  connection.reset();
}

// ---- Properties ----

// A service that does not answer in time may do so later.
void Fov::Link::load() {
  ErrorSlot error;
  const GVariantPtr reply(g_dbus_connection_call_sync(
      connection.get(), LENSES.name, path.c_str(), PROPERTIES, "GetAll",
      g_variant_new("(s)", LENSES.name), G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NONE,
      FIRST_LOAD_TIMEOUT, nullptr, error.out()));
  if (reply != nullptr) {
    const GVariantPtr properties(g_variant_get_child_value(reply.get(), 0));
    values->setAll(properties.get());
  } else if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
    loadLater();
  }
}

void Fov::Link::loadLater() {
  g_dbus_connection_call(connection.get(), LENSES.name, path.c_str(), PROPERTIES, "GetAll",
                         g_variant_new("(s)", LENSES.name), G_VARIANT_TYPE("(a{sv})"),
                         G_DBUS_CALL_FLAGS_NONE, NO_TIMEOUT, nullptr, propertiesLoaded, weakCopy());
}

void Fov::Link::propertiesLoaded(GObject* connection, GAsyncResult* result, gpointer weak) {
  const std::unique_ptr<Weak> owned(static_cast<Weak*>(weak));
  const GVariantPtr reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  const auto self = owned->lock();
  if (self != nullptr && reply != nullptr) {
    const GVariantPtr properties(g_variant_get_child_value(reply.get(), 0));
    self->values->setAll(properties.get());
  }
}

void Fov::Link::propertiesChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                  const gchar*, GVariant* arguments, gpointer weak) {
  const auto self = lock(weak);
  if (self == nullptr || !g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sa{sv}as)"))) {
    return;
  }
  const GVariantPtr changed(g_variant_get_child_value(arguments, 1));
  self->values->setAll(changed.get());
}

// ---- The service and the bus come and go ----

void Fov::Link::ownerChanged(GObject* proxy, GParamSpec*, gpointer weak) {
  const GTextPtr owner(g_dbus_proxy_get_name_owner(G_DBUS_PROXY(proxy)));
  const auto self = lock(weak);
  if (owner != nullptr && self != nullptr) {
    const LockGuard guard(self->mutex);
    if (self->connection != nullptr) {
      self->loadLater();
    }
  }
}

void Fov::Link::busLost(GDBusConnection* connection, gboolean, GError*, gpointer weak) {
  if (const auto self = lock(weak)) {
    const LockGuard guard(self->mutex);
    if (self->connection.get() == connection) {
      self->disconnect();
      self->reconnection.begin();
    }
  }
}

bool Fov::Link::reconnect() {
  const LockGuard guard(mutex);
  if (isOpen) {
    if (!connect(false)) {
      return false;
    }
    loadLater();
  }
  return true;
}

// ---- Fov ----

Fov::Fov(std::uint32_t channel) {
  values->channel = channel;
  link = std::make_shared<Link>(values);
  link->open();
}

Fov::~Fov() {
  link->close();
}

void Fov::Values::setAll(GVariant* properties) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, properties);
  const gchar* name = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_loop(&iterator, "{&sv}", &name, &value)) {
    set(name, value);
  }
}

bool Fov::Values::hasType(const std::string& name, GVariant* value,
                          const GVariantType* type) const {
  if (g_variant_is_of_type(value, type)) {
    return true;
  }
  syslog(LOG_ERR, "channel %d: bad type for %s\n", static_cast<int>(channel), name.c_str());
  return false;
}

void Fov::Values::set(const std::string& name, GVariant* value) {
  if (name == "OpticsWideHFoV" && hasType(name, value, G_VARIANT_TYPE_DOUBLE)) {
    horizontalFov = g_variant_get_double(value);
  } else if (name == "OpticsWideVFoV" && hasType(name, value, G_VARIANT_TYPE_DOUBLE)) {
    verticalFov = g_variant_get_double(value);
  } else if (name == "SensorRotation" && hasType(name, value, G_VARIANT_TYPE_INT32)) {
    sensorRotation = g_variant_get_int32(value);
  }
}
