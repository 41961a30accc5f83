#include "ptz/system_bus.h"

#include <mutex>

namespace {

constexpr auto FLAGS = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

std::mutex s_mutex;
GWeakRef s_connection;  // the one made last

SystemBusPtr connectToBus(GError** error, GCancellable* cancellable) {
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, cancellable, error);
  if (address == nullptr) {
    return nullptr;
  }
  SystemBusPtr connection(
      g_dbus_connection_new_for_address_sync(address, FLAGS, nullptr, cancellable, error));
  g_free(address);
  return connection;
}

}  // namespace

SystemBusPtr openSystemBus(GError** error, GCancellable* cancellable) {
  const std::lock_guard lock(s_mutex);
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
