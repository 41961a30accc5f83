#include "base/system_bus.h"

#include "base/mutex.h"

namespace {

constexpr auto FLAGS = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

Mutex s_mutex;
GWeakRef s_connection GUARDED_BY(s_mutex);  // the one made last

SystemBusPtr connectToBus(GError** error, GCancellable* cancellable) {
  const GTextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, cancellable, error));
  if (address == nullptr) {
    return nullptr;
  }
  return SystemBusPtr(
      g_dbus_connection_new_for_address_sync(address.get(), FLAGS, nullptr, cancellable, error));
}

}  // namespace

SystemBusPtr openSystemBus(GError** error, GCancellable* cancellable) {
  const LockGuard lock(s_mutex);
  SystemBusPtr connection(static_cast<GDBusConnection*>(g_weak_ref_get(&s_connection)));
  if (connection != nullptr && !g_dbus_connection_is_closed(connection.get())) {
    return connection;
  }
  connection = connectToBus(error, cancellable);
  if (connection != nullptr) {
    g_weak_ref_set(&s_connection, connection.get());
  }
  return connection;
}
