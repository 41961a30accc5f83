#include "bus/system_bus.h"

#include <mutex>

namespace {

constexpr auto kFlags = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

std::mutex s_mutex;
GWeakRef s_bus;  // of the connection made last

GObjectPtr<GDBusConnection> connectToBus(GError** error) {
  const GTextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error));
  if (!address) return nullptr;
  return GObjectPtr<GDBusConnection>(
      g_dbus_connection_new_for_address_sync(address.get(), kFlags, nullptr, nullptr, error));
}

}  // namespace

GObjectPtr<GDBusConnection> openSystemBus(GError** error) {
  const std::scoped_lock lock(s_mutex);
  GObjectPtr<GDBusConnection> bus(static_cast<GDBusConnection*>(g_weak_ref_get(&s_bus)));
  if (bus && !g_dbus_connection_is_closed(bus.get())) return bus;
  bus = connectToBus(error);
  if (bus) g_weak_ref_set(&s_bus, bus.get());
  return bus;
}
